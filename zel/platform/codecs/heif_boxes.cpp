#include <zel/platform/codecs/heif_boxes.h>

#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>

// The file is a row of boxes; the tables are those within "meta". Each table is read whole, which is why its size has a
// limit; media data are never read here.
namespace zel::heif {
namespace {

constexpr std::uint64_t mostTableBytes = std::uint64_t{8} << 20U; // profiles, of up to 4 MiB, stand in one of them
constexpr int mostTopLevelBoxes = 1024;
constexpr std::size_t mostExtents = 65'536, mostReferences = 262'144;

bool fault(const char* what)
{
    return fail(ZelFailureCode::unreadable, "decode", fmt::format("HEIF: {}", what));
}

/// Items beyond this number are refused; each of them may be a picture.
std::uint64_t mostItems()
{
    return static_cast<std::uint64_t>(std::max(1, ZelLimits::current().frames));
}

bool fewEnough(std::uint64_t count, std::uint64_t most, const char* what)
{
    return count <= most ||
           fail(ZelFailureCode::limit, "decode", fmt::format("HEIF: {} {} exceed the limit of {}", count, what, most));
}

/// A box of the file, found by its header alone.
struct FileBox {
    std::uint32_t type = 0;
    Extent payload;
    std::uint64_t end = 0; ///< may lie beyond the end of what holds it
};

/// The header at `offset`, of a box that may not pass `end`. Absent where there is no room for one.
std::optional<FileBox> boxAt(const ByteSource& source, std::uint64_t offset, std::uint64_t end)
{
    std::uint8_t bytes[16] = {};
    const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(sizeof bytes, end - offset));
    const std::size_t got = source.read(offset, std::span(bytes).first(wanted));
    Fields fields(std::span<const std::uint8_t>(bytes).first(got));
    std::uint64_t size = fields.u32(), header = 8;
    FileBox box;
    box.type = fields.u32();
    if (size == 1) {
        size = fields.number(8);
        header = 16;
    } else if (size == 0)
        size = end - offset;
    if (!fields.good() || size < header || size > ~std::uint64_t{0} - offset)
        return std::nullopt;
    box.payload = {offset + header, size - header};
    box.end = offset + size;
    return box;
}

/// A table's bytes, read whole.
std::optional<std::vector<std::uint8_t>> readTable(const ByteSource& source, const FileBox& box)
{
    if (!fewEnough(box.payload.length, mostTableBytes, "bytes of a table"))
        return std::nullopt;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(box.payload.length));
    if (source.read(box.payload.offset, bytes) != bytes.size()) {
        fail(ZelFailureCode::truncated, "decode", "HEIF: the file ends within its tables");
        return std::nullopt;
    }
    return bytes;
}

std::uint8_t versionOf(Fields& table, std::uint32_t& flags)
{
    flags = table.u32();
    return static_cast<std::uint8_t>(flags >> 24U);
}

bool readPrimary(Fields table, Tables& tables)
{
    std::uint32_t flags = 0;
    tables.primary = static_cast<std::uint32_t>(table.number(versionOf(table, flags) == 0 ? 2 : 4));
    return table.good() || fault("it does not say which picture is the primary one");
}

bool readInfo(Fields table, Tables& tables)
{
    std::uint32_t flags = 0;
    const std::uint64_t count = table.number(versionOf(table, flags) == 0 ? 2 : 4);
    if (!fewEnough(count, mostItems(), "items"))
        return false;
    while (const std::optional<Box> box = nextBox(table)) {
        if (box->type != fourCharacters("infe"))
            continue;
        Fields entry(box->payload);
        const std::uint8_t version = versionOf(entry, flags);
        if (version < 2)
            continue; // of files that hold no pictures
        const auto id = static_cast<std::uint32_t>(entry.number(version == 2 ? 2 : 4));
        entry.u16(); // protection
        const std::uint32_t type = entry.u32();
        if (!entry.good())
            return fault("an entry of its list of items ends early");
        Item& item = tables.items[id];
        item.type = type;
        item.isHidden = (flags & 1U) != 0;
        if (!fewEnough(tables.items.size(), mostItems(), "items"))
            return false;
    }
    return table.good() || fault("its list of items makes no sense");
}

/// One item's places. Their sum may not pass the file's size, or a short file could be read for hours.
bool readPlaces(Fields& table, std::uint64_t count, const std::size_t (&sizes)[4], const Extent& within,
                std::uint64_t base, std::uint64_t fileSize, Item& item)
{
    const auto [offsetSize, lengthSize, baseSize, indexSize] = sizes;
    std::uint64_t sum = 0;
    for (; count > 0 && table.good(); --count) {
        table.number(indexSize);
        const std::uint64_t offset = table.number(offsetSize), length = table.number(lengthSize);
        if (offset > within.length || base > within.length - offset) {
            item.isCut = true;
            continue;
        }
        const std::uint64_t start = base + offset, room = within.length - start;
        item.isCut = item.isCut || length > room;
        const std::uint64_t there = length == 0 ? room : std::min(length, room);
        if (there > fileSize - sum)
            return fault("an item has more data than the file");
        sum += there;
        item.data.push_back({within.offset + start, there});
    }
    return true;
}

bool readLocations(Fields table, const Extent& inner, std::uint64_t fileSize, Tables& tables)
{
    std::uint32_t flags = 0;
    const std::uint8_t version = versionOf(table, flags);
    const std::size_t first = table.u8(), second = table.u8();
    const std::size_t sizes[] = {first >> 4U, first & 15U, second >> 4U, version == 0 ? 0 : second & 15U};
    for (const std::size_t size : sizes)
        if (size != 0 && size != 4 && size != 8)
            return fault("its list of places makes no sense");
    const std::uint64_t count = table.number(version < 2 ? 2 : 4);
    if (!fewEnough(count, mostItems(), "items"))
        return false;
    std::size_t extents = 0;
    for (std::uint64_t i = 0; i < count && table.good(); ++i) {
        const auto id = static_cast<std::uint32_t>(table.number(version < 2 ? 2 : 4));
        const unsigned method = version == 0 ? 0 : table.u16() & 15U;
        const bool isOutside = table.u16() != 0;
        const std::uint64_t base = table.number(sizes[2]), places = table.u16();
        extents += places;
        if (!fewEnough(extents, mostExtents, "places of items"))
            return false;
        Item unknown;
        const auto found = tables.items.find(id);
        Item& item = found == tables.items.end() ? unknown : found->second;
        item.data.clear();
        item.isElsewhere = isOutside || method > 1;
        if (!readPlaces(table, places, sizes, method == 1 ? inner : Extent{0, fileSize}, base, fileSize, item))
            return false;
        tables.isCut = tables.isCut || (item.isCut && !item.isElsewhere);
    }
    return table.good() || fault("its list of places ends early");
}

bool readReferences(Fields table, Tables& tables)
{
    std::uint32_t flags = 0;
    const std::size_t idSize = versionOf(table, flags) == 0 ? 2 : 4;
    std::size_t count = 0;
    while (const std::optional<Box> box = nextBox(table)) {
        Fields entry(box->payload);
        const auto from = static_cast<std::uint32_t>(entry.number(idSize));
        const std::uint16_t targets = entry.u16();
        count += targets;
        if (!fewEnough(count, mostReferences, "references"))
            return false;
        const auto item = tables.items.find(from);
        for (int i = 0; i < targets && entry.good(); ++i) {
            const auto to = static_cast<std::uint32_t>(entry.number(idSize));
            if (box->type != fourCharacters("dimg"))
                tables.references.push_back({box->type, from, to});
            else if (item != tables.items.end())
                item->second.sources.push_back(to);
        }
        if (!entry.good())
            return fault("its references end early");
    }
    return table.good() || fault("its references make no sense");
}

bool readAssociations(Fields table, Tables& tables)
{
    std::uint32_t flags = 0;
    const std::size_t idSize = versionOf(table, flags) == 0 ? 2 : 4;
    const std::uint32_t count = table.u32();
    if (!fewEnough(count, mostItems(), "items"))
        return false;
    const bool isWide = (flags & 1U) != 0;
    for (std::uint32_t i = 0; i < count && table.good(); ++i) {
        const auto item = tables.items.find(static_cast<std::uint32_t>(table.number(idSize)));
        for (int left = table.u8(); left > 0 && table.good(); --left) {
            // The highest bit tells whether readers must know the property.
            const auto place = static_cast<std::uint16_t>(isWide ? table.u16() & 0x7FFFU : table.u8() & 0x7FU);
            if (place != 0 && place < tables.properties.size() && item != tables.items.end())
                item->second.properties.push_back(place);
        }
    }
    return table.good() || fault("what its items are ends early");
}

bool readProperties(std::vector<std::uint8_t> bytes, Tables& tables)
{
    tables.propertyBytes = std::move(bytes);
    tables.properties.assign(1, {});
    Fields table(tables.propertyBytes);
    while (const std::optional<Box> box = nextBox(table)) {
        Fields inner(box->payload);
        if (box->type == fourCharacters("ipco")) {
            while (const std::optional<Box> property = nextBox(inner))
                tables.properties.push_back(*property);
            if (!inner.good())
                return fault("its list of properties makes no sense");
        } else if (box->type == fourCharacters("ipma") && !readAssociations(inner, tables))
            return false;
    }
    return table.good() || fault("its properties make no sense");
}

/// The "meta" box of the file.
std::optional<FileBox> findMeta(const ByteSource& source)
{
    bool isFilm = false, endsEarly = false;
    std::uint64_t at = 0;
    for (int i = 0; i < mostTopLevelBoxes && at < source.size(); ++i) {
        const std::optional<FileBox> box = boxAt(source, at, source.size());
        if (!box) {
            endsEarly = source.size() - at < 16;
            break;
        }
        if (box->type == fourCharacters("meta") && box->end <= source.size())
            return box;
        isFilm = isFilm || box->type == fourCharacters("moov");
        endsEarly = box->end > source.size();
        at = box->end;
    }
    if (endsEarly)
        return fail(ZelFailureCode::truncated, "decode", "HEIF: the file ends before its tables do");
    if (isFilm)
        return fail(ZelFailureCode::unsupported, "decode", "HEIF: it holds a film and no picture");
    return fail(ZelFailureCode::unreadable, "decode", "HEIF: it has no tables");
}

} // namespace

std::uint64_t Fields::number(std::size_t bytes)
{
    std::uint64_t value = 0;
    for (const std::uint8_t byte : take(bytes))
        value = value << 8U | byte;
    return value;
}

std::span<const std::uint8_t> Fields::take(std::uint64_t count)
{
    if (count > rest_.size()) {
        good_ = false;
        rest_ = {};
        return {};
    }
    const auto taken = rest_.first(static_cast<std::size_t>(count));
    rest_ = rest_.subspan(taken.size());
    return taken;
}

std::optional<Box> nextBox(Fields& fields)
{
    if (fields.atEnd())
        return std::nullopt;
    const std::size_t before = fields.rest().size();
    std::uint64_t size = fields.u32();
    Box box;
    box.type = fields.u32();
    if (size == 1)
        size = fields.number(8);
    else if (size == 0)
        size = before;
    const std::uint64_t header = before - fields.rest().size();
    // A size below that of the header wraps, and is then beyond every end.
    box.payload = fields.take(size - header);
    return fields.good() ? std::optional(box) : std::nullopt;
}

const Box* Tables::property(const Item& item, std::uint32_t type) const
{
    for (const std::uint16_t place : item.properties)
        if (properties[place].type == type)
            return &properties[place];
    return nullptr;
}

std::optional<Tables> readTables(const ByteSource& source)
{
    const std::optional<FileBox> meta = findMeta(source);
    if (!meta)
        return std::nullopt;
    std::map<std::uint32_t, FileBox> found;
    std::uint64_t at = meta->payload.offset + 4; // version and flags
    for (int i = 0; i < mostTopLevelBoxes && at < meta->end; ++i) {
        const std::optional<FileBox> box = boxAt(source, at, meta->end);
        if (!box || box->end > meta->end) {
            fault("its tables make no sense");
            return std::nullopt;
        }
        found.emplace(box->type, *box);
        at = box->end;
    }
    const auto inner = found.find(fourCharacters("idat"));
    const Extent innerData = inner == found.end() ? Extent{} : inner->second.payload;
    const auto with = [&](std::uint32_t type, const char* missing, const auto& use) {
        const auto box = found.find(type);
        if (box == found.end())
            return missing == nullptr || fault(missing);
        std::optional<std::vector<std::uint8_t>> bytes = readTable(source, box->second);
        return bytes && use(std::move(*bytes));
    };
    using Bytes = std::vector<std::uint8_t>;
    Tables tables;
    // In the order in which they need one another.
    const bool good =
        with(fourCharacters("pitm"), "it does not say which picture is the primary one",
             [&](const Bytes& bytes) { return readPrimary(Fields(bytes), tables); }) &&
        with(fourCharacters("iinf"), "it has no list of items",
             [&](const Bytes& bytes) { return readInfo(Fields(bytes), tables); }) &&
        with(fourCharacters("iloc"), "it does not say where its items are",
             [&](const Bytes& bytes) { return readLocations(Fields(bytes), innerData, source.size(), tables); }) &&
        with(fourCharacters("iref"), nullptr,
             [&](const Bytes& bytes) { return readReferences(Fields(bytes), tables); }) &&
        with(fourCharacters("iprp"), "it does not say what its items are",
             [&](Bytes bytes) { return readProperties(std::move(bytes), tables); });
    return good ? std::optional(std::move(tables)) : std::nullopt;
}

std::vector<std::uint8_t> readItem(const ByteSource& source, const Item& item, std::uint64_t most)
{
    std::vector<std::uint8_t> bytes;
    for (const Extent& extent : item.data) {
        const std::size_t before = bytes.size();
        const std::uint64_t wanted = std::min(extent.length, most - before);
        bytes.resize(before + static_cast<std::size_t>(wanted));
        bytes.resize(before + source.read(extent.offset, std::span(bytes).subspan(before)));
    }
    return bytes;
}

} // namespace zel::heif
