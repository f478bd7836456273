#include <zel/platform/codecs/exif_extract.h>

#include <zel/platform/codecs/exif_directories.h>
#include <zel/platform/codecs/heif_boxes.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/codecs/iso_box.h>

#include <algorithm>
#include <array>
#include <string_view>

// Every container is walked by the lengths that it states: an offset or a length that leads nowhere ends the walk.
namespace zel {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t mostBytes = 16U << 20U;
constexpr int mostPieces = 200'000; ///< segments or chunks that a walk steps over
constexpr std::string_view exifName{"Exif\0\0", 6};

/// What stands at a place; fewer bytes where the file ends.
template <std::size_t count>
bool read(const ByteSource& source, std::uint64_t offset, std::array<std::uint8_t, count>& into)
{
    return source.read(offset, into) == count;
}

Bytes block(const ByteSource& source, std::uint64_t offset, std::uint64_t length)
{
    Bytes bytes(static_cast<std::size_t>(std::min(length, mostBytes)));
    bytes.resize(source.read(offset, bytes));
    return bytes;
}

bool beginsWith(const Bytes& bytes, std::string_view name)
{
    return bytes.size() >= name.size() && std::equal(name.begin(), name.end(), bytes.begin(),
                                                     [](char a, auto b) { return static_cast<std::uint8_t>(a) == b; });
}

Bytes withoutName(Bytes bytes)
{
    if (beginsWith(bytes, exifName))
        bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(exifName.size()));
    return bytes;
}

Bytes ofJpeg(const ByteSource& source)
{
    std::uint64_t place = 2;
    std::array<std::uint8_t, 4> head;
    for (int pieces = 0; pieces < mostPieces && read(source, place, head); ++pieces) {
        if (head[0] != 0xFF)
            break;
        if (head[1] == 0xFF) { // a fill byte
            ++place;
            continue;
        }
        constexpr int application1 = 0xE1, startOfScan = 0xDA, endOfImage = 0xD9;
        const std::uint64_t length = head[2] * 256U + head[3];
        if (head[1] == startOfScan || head[1] == endOfImage || length < 2)
            break;
        if (head[1] == application1) {
            Bytes bytes = block(source, place + head.size(), length - 2);
            if (beginsWith(bytes, exifName))
                return withoutName(std::move(bytes));
        }
        place += 2 + length;
    }
    return {};
}

/// The chunks of PNG (big-endian, length before type, a checksum behind) and WebP (little-endian, type before length,
/// data of odd length padded).
struct ChunkRules {
    std::uint64_t first;
    bool isPng;
    std::string_view wanted;
};

Bytes ofChunks(const ByteSource& source, const ChunkRules& rules)
{
    std::uint64_t place = rules.first;
    std::array<std::uint8_t, 8> head;
    for (int pieces = 0; pieces < mostPieces && read(source, place, head); ++pieces) {
        std::uint64_t length = 0;
        for (std::size_t i = 0; i < 4; ++i)
            length = length << 8U | (rules.isPng ? head[i] : head[7 - i]);
        const auto name = head.begin() + (rules.isPng ? 4 : 0);
        if (std::equal(rules.wanted.begin(), rules.wanted.end(), name,
                       [](char a, auto b) { return static_cast<std::uint8_t>(a) == b; }))
            return withoutName(block(source, place + head.size(), length));
        place += head.size() + (rules.isPng ? length + 4 : length + length % 2);
    }
    return {};
}

/// The box Exif of JPEG XL, behind an offset that nobody uses otherwise; the one of JPEG 2000 that a number of 16 bytes
/// names.
Bytes ofBoxes(const ByteSource& source)
{
    constexpr std::string_view jpeg2000Exif = "JpgTiffExif->JP2";
    constexpr std::uint64_t offsetBytes = 4;
    std::uint64_t place = 0;
    for (int pieces = 0; pieces < mostPieces; ++pieces) {
        const std::optional<IsoBox> box = isoBoxAt(source, place, source.size());
        if (!box)
            break;
        if (box->type == boxType("Exif") && box->end - box->data > offsetBytes)
            return withoutName(block(source, box->data + offsetBytes, box->end - box->data - offsetBytes));
        std::array<std::uint8_t, jpeg2000Exif.size()> name;
        if (box->type == boxType("uuid") && box->end - box->data > name.size() && read(source, box->data, name) &&
            std::equal(jpeg2000Exif.begin(), jpeg2000Exif.end(), name.begin()))
            return withoutName(block(source, box->data + name.size(), box->end - box->data - name.size()));
        place = box->end;
    }
    return {};
}

/// The item of type "Exif" that describes the primary picture: a length of what stands before the block, then that,
/// then the block (ISO/IEC 23008-12, annex A.2.1).
Bytes ofHeif(const ByteSource& source)
{
    const NotesOnTrial silent; // a file whose boxes make no sense says so when it is opened
    const auto tables = heif::readTables(source);
    if (!tables)
        return {};
    for (const heif::Reference& reference : tables->references) {
        const auto item = tables->items.find(reference.from);
        if (reference.type != heif::fourCharacters("cdsc") || reference.to != tables->primary ||
            item == tables->items.end() || item->second.type != heif::fourCharacters("Exif"))
            continue;
        Bytes bytes = heif::readItem(source, item->second, mostBytes);
        heif::Fields fields(bytes);
        const std::uint64_t before = fields.u32();
        fields.take(before);
        const auto rest = fields.rest();
        return fields.good() ? withoutName({rest.begin(), rest.end()}) : Bytes();
    }
    return {};
}

} // namespace

std::vector<std::uint8_t> exifBlockOf(const ByteSource& source)
{
    std::array<std::uint8_t, 12> head{};
    if (source.read(0, head) < 4)
        return {};
    const auto holds = [&head](std::size_t place, std::string_view text) {
        return std::equal(text.begin(), text.end(), head.begin() + static_cast<std::ptrdiff_t>(place),
                          [](char a, auto b) { return static_cast<std::uint8_t>(a) == b; });
    };
    if (holds(0, "\xFF\xD8"))
        return ofJpeg(source);
    if (holds(0, "\x89PNG"))
        return ofChunks(source, {.first = 8, .isPng = true, .wanted = "eXIf"});
    if (holds(0, "RIFF") && holds(8, "WEBP"))
        return ofChunks(source, {.first = 12, .isPng = false, .wanted = "EXIF"});
    if (holds(4, "JXL ") || holds(4, "jP  "))
        return ofBoxes(source);
    if (holds(4, "ftyp"))
        return ofHeif(source);
    if (holds(0, std::string_view("II*\0", 4)) || holds(0, std::string_view("MM\0*", 4)))
        return gatherDirectories(source);
    return {};
}

} // namespace zel
