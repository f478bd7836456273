#include <zel/platform/codecs/heif_contents.h>

#include <zel/platform/codecs/heif_geometry.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <set>

// From the primary item over what it is derived from to the coded pictures, each step checked: sizes within the limits,
// chains of items that end, no more tiles than the picture needs.
namespace zel::heif {
namespace {

constexpr std::uint64_t mostExifBytes = 64U << 10U; // pixels depend on its beginning alone
constexpr std::uint64_t mostUsualPixels = std::uint64_t{1} << 27;
constexpr int mostDerivations = 8;
constexpr int mostSide = 1 << 24; // keeps sums of sides far from 2^31

bool fault(const std::string& what)
{
    return fail(ZelFailureCode::unreadable, "decode", "HEIF: " + what);
}

/// Decoding cannot be stopped within a coded picture, so that the limit on pixels is lower than that of other formats,
/// unless the host raised it.
std::uint64_t mostPixels()
{
    const std::uint64_t allowed = ZelLimits::current().pixels;
    return allowed > ZelLimits{}.pixels ? allowed : std::min(allowed, mostUsualPixels);
}

bool sizeIsAllowed(std::uint64_t width, std::uint64_t height, int bits)
{
    if (width == 0 || height == 0)
        return fault(fmt::format("{} x {} pixels make no picture", width, height));
    if (width > mostSide || height > mostSide)
        return fail(ZelFailureCode::limit, "decode",
                    fmt::format("HEIF: {} x {} pixels are more than can be handled", width, height));
    if (!withinDecodeLimits(static_cast<std::int64_t>(width), static_cast<std::int64_t>(height), bits > 8 ? 8 : 4,
                            "decode"))
        return false;
    return width * height <= mostPixels() || fail(ZelFailureCode::limit, "decode",
                                                  fmt::format("HEIF: {} x {} are {} pixels, the limit is {}", width,
                                                              height, width * height, mostPixels()));
}

struct Size {
    std::uint32_t width = 0, height = 0;
};

std::optional<Size> statedSize(const Tables& tables, const Item& item)
{
    const Box* const box = tables.property(item, fourCharacters("ispe"));
    Fields fields(box != nullptr ? box->payload : std::span<const std::uint8_t>());
    fields.u32(); // version and flags
    const Size size{fields.u32(), fields.u32()};
    if (!fields.good())
        return fail(ZelFailureCode::unreadable, "decode", "HEIF: a picture does not state its size");
    return size;
}

struct Depth {
    int bits = 8;
    bool hasColor = true;
};

std::optional<Depth> depthOf(Coding coding, std::span<const std::uint8_t> configuration)
{
    if (configuration.size() < (coding == Coding::hevc ? 23U : 4U))
        return fail(ZelFailureCode::unreadable, "decode", "HEIF: a decoder configuration ends early");
    if (coding == Coding::hevc) // ISO/IEC 14496-15, 8.3.3.1
        return Depth{8 + (configuration[17] & 7), (configuration[16] & 3) != 0};
    const std::uint8_t flags = configuration[2]; // AV1 in ISOBMFF, 2.3.3
    return Depth{(flags & 0x40) == 0 ? 8 : (flags & 0x20) == 0 ? 10 : 12, (flags & 0x10) == 0};
}

class Reader {
public:
    Reader(const ByteSource& source, const Tables& tables) : source_(source), tables_(tables) {}

    std::optional<Contents> read();

private:
    [[nodiscard]] const Item* item(std::uint32_t id) const
    {
        const auto found = tables_.items.find(id);
        return found == tables_.items.end() ? nullptr : &found->second;
    }
    Ref<const Tile> readTile(const Item& item, Depth& depth) const;
    std::optional<Mosaic> readMosaic(const Item& item) const;
    bool readGrid(const Item& item, Mosaic& mosaic) const;
    bool gridIsSound(const Mosaic& mosaic) const;
    bool readAlpha(Contents& contents) const;
    void readColors(const Item& item, Contents& contents) const;
    void readExif(Contents& contents) const;
    [[nodiscard]] int countPictures() const;

    const ByteSource& source_;
    const Tables& tables_;
};

Ref<const Tile> Reader::readTile(const Item& item, Depth& depth) const
{
    const auto read = std::make_shared<Tile>();
    Tile& tile = *read;
    tile.coding = item.type == fourCharacters("av01") ? Coding::av1 : Coding::hevc;
    const std::optional<Size> size = statedSize(tables_, item);
    const Box* const configuration =
        tables_.property(item, tile.coding == Coding::av1 ? fourCharacters("av1C") : fourCharacters("hvcC"));
    if (!size)
        return nullptr;
    const auto found =
        depthOf(tile.coding, configuration != nullptr ? configuration->payload : std::span<const std::uint8_t>());
    if (!found || !sizeIsAllowed(size->width, size->height, found->bits))
        return nullptr;
    if (item.isElsewhere || (item.data.empty() && !item.isCut))
        return fail(ZelFailureCode::unreadable, "decode", "HEIF: a picture has no data in this file");
    depth = *found;
    tile.width = static_cast<int>(size->width);
    tile.height = static_cast<int>(size->height);
    tile.isCut = item.isCut;
    tile.data = item.data;
    if (tile.coding == Coding::hevc)
        tile.configuration.assign(configuration->payload.begin(), configuration->payload.end());
    return read;
}

/// The grid's own data, ISO/IEC 23008-12, 6.6.2.3.
bool Reader::readGrid(const Item& item, Mosaic& mosaic) const
{
    const std::vector<std::uint8_t> bytes = readItem(source_, item, 12);
    Fields fields(bytes);
    fields.u8(); // version
    const std::size_t sideBytes = (fields.u8() & 1) == 0 ? 2 : 4;
    mosaic.rows = fields.u8() + 1;
    mosaic.columns = fields.u8() + 1;
    const std::uint64_t width = fields.number(sideBytes), height = fields.number(sideBytes);
    if (!fields.good())
        return item.isCut ? fail(ZelFailureCode::truncated, "decode", "HEIF: the file ends before its grid does")
                          : fault("its grid cannot be read");
    const auto wanted = static_cast<std::size_t>(mosaic.rows) * static_cast<std::size_t>(mosaic.columns);
    if (item.sources.size() != wanted)
        return fault(fmt::format("a grid of {} tiles has {}", wanted, item.sources.size()));
    if (!sizeIsAllowed(width, height, 8))
        return false;
    mosaic.width = static_cast<int>(width);
    mosaic.height = static_cast<int>(height);
    std::map<std::uint32_t, Ref<const Tile>> known; // a hostile grid names one item ten thousand times
    for (const std::uint32_t id : item.sources) {
        Ref<const Tile>& tile = known[id];
        if (tile) {
            mosaic.tiles.push_back(tile);
            continue;
        }
        const Item* const source = this->item(id);
        if (source == nullptr || (source->type != fourCharacters("hvc1") && source->type != fourCharacters("av01")))
            return fault("a tile of its grid is no coded picture");
        Depth depth;
        tile = readTile(*source, depth);
        if (!tile)
            return false;
        if (mosaic.tiles.empty()) {
            mosaic.bits = depth.bits;
            mosaic.hasColor = depth.hasColor;
        }
        mosaic.tiles.push_back(tile);
        if (tile->width != mosaic.tileWidth() || tile->height != mosaic.tileHeight() || depth.bits != mosaic.bits ||
            depth.hasColor != mosaic.hasColor)
            return fault("the tiles of its grid are not alike");
        if (mosaic.tiles.size() == 1 && !gridIsSound(mosaic))
            return false;
    }
    return true;
}

/// Tiles cover the picture, and none of them is superfluous: so few tiles cost no more than the picture they make.
bool Reader::gridIsSound(const Mosaic& mosaic) const
{
    const auto covers = [](int count, int tile, int side) {
        return static_cast<std::int64_t>(count) * tile >= side && static_cast<std::int64_t>(count - 1) * tile < side;
    };
    if (!covers(mosaic.columns, mosaic.tileWidth(), mosaic.width) ||
        !covers(mosaic.rows, mosaic.tileHeight(), mosaic.height))
        return fault(fmt::format("{} x {} tiles of {} x {} pixels do not make {} x {}", mosaic.columns, mosaic.rows,
                                 mosaic.tileWidth(), mosaic.tileHeight(), mosaic.width, mosaic.height));
    return sizeIsAllowed(static_cast<std::uint64_t>(mosaic.columns) * static_cast<std::uint64_t>(mosaic.tileWidth()),
                         static_cast<std::uint64_t>(mosaic.rows) * static_cast<std::uint64_t>(mosaic.tileHeight()),
                         mosaic.bits);
}

std::optional<Mosaic> Reader::readMosaic(const Item& item) const
{
    Mosaic mosaic;
    if (item.type == fourCharacters("grid"))
        return readGrid(item, mosaic) ? std::optional(std::move(mosaic)) : std::nullopt;
    if (item.type != fourCharacters("hvc1") && item.type != fourCharacters("av01")) {
        std::string name;
        for (unsigned shift = 32; shift > 0; shift -= 8) {
            const auto letter = static_cast<char>(item.type >> (shift - 8) & 0xFFU);
            name += letter >= ' ' && letter <= '~' ? letter : '?';
        }
        return fail(ZelFailureCode::unsupported, "decode",
                    fmt::format("HEIF: pictures of the kind \"{}\" cannot be read", name));
    }
    Depth depth;
    Ref<const Tile> tile = readTile(item, depth);
    if (!tile)
        return std::nullopt;
    mosaic.width = tile->width;
    mosaic.height = tile->height;
    mosaic.bits = depth.bits;
    mosaic.hasColor = depth.hasColor;
    mosaic.tiles.push_back(std::move(tile));
    return mosaic;
}

bool isAlpha(const Tables& tables, const Item& item)
{
    const Box* const box = tables.property(item, fourCharacters("auxC"));
    if (box == nullptr || box->payload.size() < 5)
        return false;
    const auto text = box->payload.subspan(4);
    const std::string_view kind(reinterpret_cast<const char*>(text.data()),
                                static_cast<std::size_t>(std::find(text.begin(), text.end(), 0) - text.begin()));
    return kind == "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha" || kind == "urn:mpeg:hevc:2015:auxid:1";
}

bool Reader::readAlpha(Contents& contents) const
{
    const auto references = [&](const Reference& reference, const char(&type)[5]) {
        return reference.type == fourCharacters(type) &&
               (type[0] == 'a' ? reference.to : reference.from) == tables_.primary;
    };
    for (const Reference& reference : tables_.references) {
        const Item* const auxiliary = item(reference.from);
        if (!references(reference, "auxl") || auxiliary == nullptr || !isAlpha(tables_, *auxiliary))
            continue;
        std::optional<Mosaic> alpha = readMosaic(*auxiliary);
        if (!alpha)
            return false;
        if (alpha->width != contents.picture.width || alpha->height != contents.picture.height) {
            warn(ZelFailureCode::unsupported, "decode", "HEIF: its transparency has another size and is not used");
            return true;
        }
        contents.alpha = std::move(alpha);
        contents.isPremultiplied =
            std::any_of(tables_.references.begin(), tables_.references.end(), [&](const Reference& other) {
                return references(other, "prem") && other.to == reference.from;
            });
        return true;
    }
    return true;
}

void Reader::readColors(const Item& item, Contents& contents) const
{
    for (const std::uint16_t place : item.properties) {
        const Box& box = tables_.properties[place];
        if (box.type != fourCharacters("colr"))
            continue;
        Fields fields(box.payload);
        const std::uint32_t kind = fields.u32();
        if (kind == fourCharacters("nclx")) {
            StatedColors colors{fields.u16(), fields.u16(), fields.u16(), false};
            colors.isFullRange = (fields.u8() & 0x80) != 0;
            if (fields.good())
                contents.colors = colors;
        } else if (kind == fourCharacters("prof") || kind == fourCharacters("rICC"))
            contents.profile.assign(fields.rest().begin(), fields.rest().end());
    }
}

void Reader::readExif(Contents& contents) const
{
    for (const Reference& reference : tables_.references) {
        const Item* const block = item(reference.from);
        if (reference.type != fourCharacters("cdsc") || reference.to != tables_.primary || block == nullptr ||
            block->type != fourCharacters("Exif") || block->isElsewhere)
            continue;
        std::vector<std::uint8_t> bytes = readItem(source_, *block, mostExifBytes);
        Fields fields(bytes);
        fields.take(fields.u32()); // the way from here to the TIFF header
        if (fields.good())
            contents.exif.assign(fields.rest().begin(), fields.rest().end());
        return;
    }
}

/// Pictures that stand for themselves: no thumbnails, no planes of others, no tiles.
int Reader::countPictures() const
{
    std::set<std::uint32_t> parts;
    for (const Reference& reference : tables_.references)
        if (reference.type == fourCharacters("thmb") || reference.type == fourCharacters("auxl"))
            parts.insert(reference.from);
    for (const auto& [id, item] : tables_.items)
        parts.insert(item.sources.begin(), item.sources.end());
    constexpr std::uint32_t kinds[] = {fourCharacters("hvc1"), fourCharacters("av01"), fourCharacters("grid"),
                                       fourCharacters("iden"), fourCharacters("iovl"), fourCharacters("jpeg"),
                                       fourCharacters("avc1")};
    int count = 1;
    for (const auto& [id, item] : tables_.items)
        if (id != tables_.primary && !item.isHidden && parts.count(id) == 0 &&
            std::find(std::begin(kinds), std::end(kinds), item.type) != std::end(kinds))
            ++count;
    return count;
}

std::optional<Contents> Reader::read()
{
    const Item* primary = item(tables_.primary);
    // Where a picture is another one, turned: that of the innermost is done first.
    std::vector<const Item*> chain;
    while (primary != nullptr && primary->type == fourCharacters("iden") && chain.size() < mostDerivations) {
        chain.push_back(primary);
        primary = primary->sources.size() == 1 ? item(primary->sources.front()) : nullptr;
    }
    if (primary == nullptr || primary->type == fourCharacters("iden"))
        return fail(ZelFailureCode::unreadable, "decode", "HEIF: its primary picture is not there");
    Contents contents;
    std::optional<Mosaic> picture = readMosaic(*primary);
    if (!picture)
        return std::nullopt;
    contents.picture = std::move(*picture);
    if (!readAlpha(contents))
        return std::nullopt;
    readColors(*primary, contents);
    const Item* const tile = primary->sources.empty() ? nullptr : item(primary->sources.front());
    if (tile != nullptr && contents.profile.empty() && !contents.colors)
        readColors(*tile, contents); // of a grid whose tiles alone say what they are
    chain.push_back(primary);
    Geometry geometry(contents.picture.width, contents.picture.height);
    for (auto step = chain.rbegin(); step != chain.rend(); ++step)
        for (const std::uint16_t place : (*step)->properties)
            geometry.apply(tables_.properties[place]);
    contents.crop = geometry.crop();
    contents.orientation = geometry.orientation();
    contents.isCut = tables_.isCut;
    contents.pictures = countPictures();
    readExif(contents);
    return contents;
}

} // namespace

std::optional<Contents> readContents(const ByteSource& source)
{
    const std::optional<Tables> tables = readTables(source);
    if (!tables)
        return std::nullopt;
    return Reader(source, *tables).read();
}

} // namespace zel::heif
