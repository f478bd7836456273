#include <zel/platform/codecs/jpeg2000_header.h>

#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/codecs/iso_box.h>
#include <zel/platform/codecs/modules/jpeg2000_module.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <cmath>

namespace zel::jpeg2000 {
namespace {

enum Marker : std::uint32_t {
    startOfStream = 0xFF4F,
    sizes = 0xFF51,
    coding = 0xFF52,
    codingOfOne = 0xFF53,
    startOfTile = 0xFF90,
    endOfStream = 0xFFD9
};
constexpr std::size_t sizesBytes = 38, componentBytes = 3; // of the marker segment, without its components
// OpenJPEG keeps some kilobytes for each tile and component before it reads any.
constexpr std::uint64_t mostTiles = 16384;
constexpr int mostBoxes = 1000, mostSegments = 1000;
constexpr int mostBits = 31;
constexpr double metresPerInch = 0.0254;

std::uint32_t big16(const std::uint8_t* bytes)
{
    return std::uint32_t{bytes[0]} << 8U | bytes[1];
}

Absent failShort()
{
    return fail(ZelFailureCode::truncated, "decode", "JPEG 2000: the file ends in its header");
}

std::uint64_t ceilDivide(std::uint64_t value, std::uint64_t by)
{
    return (value + by - 1) / by;
}

bool readSizes(ByteReader& reader, std::uint32_t length, Header& header)
{
    std::array<std::uint8_t, sizesBytes - 2> bytes{};
    if (!reader.read(bytes))
        return failShort();
    const auto field = [&](std::size_t i) { return big32(bytes.data() + 2 + 4 * i); };
    const std::uint32_t x1 = field(0), y1 = field(1), tileWidth = field(4), tileHeight = field(5);
    const std::uint32_t tileX = field(6), tileY = field(7), components = big16(bytes.data() + 34);
    header.x0 = field(2);
    header.y0 = field(3);
    if (header.x0 >= x1 || header.y0 >= y1 || tileWidth == 0 || tileHeight == 0 || tileX > header.x0 ||
        tileY > header.y0 || length != sizesBytes + componentBytes * components || components == 0)
        return fail(ZelFailureCode::unreadable, "decode", "JPEG 2000: its sizes contradict one another");
    if (components > mostComponents)
        return fail(ZelFailureCode::unsupported, "decode",
                    fmt::format("JPEG 2000: {} components are no picture for people", components));
    header.components = static_cast<int>(components);
    header.bits = 0;
    header.unitX = header.unitY = 255;
    for (std::uint32_t i = 0; i < components; ++i) {
        std::array<std::uint8_t, componentBytes> component{};
        if (!reader.read(component))
            return failShort();
        if (component[1] == 0 || component[2] == 0)
            return fail(ZelFailureCode::unreadable, "decode", "JPEG 2000: a component without samples");
        header.bits = std::max(header.bits, (component[0] & 0x7F) + 1);
        header.unitX = std::min<std::uint32_t>(header.unitX, component[1]);
        header.unitY = std::min<std::uint32_t>(header.unitY, component[2]);
    }
    if (header.bits > mostBits)
        return fail(ZelFailureCode::unsupported, "decode",
                    fmt::format("JPEG 2000: components of {} bits", header.bits));
    header.width = static_cast<std::int64_t>(ceilDivide(x1, header.unitX) - ceilDivide(header.x0, header.unitX));
    header.height = static_cast<std::int64_t>(ceilDivide(y1, header.unitY) - ceilDivide(header.y0, header.unitY));
    // Samples are decoded to 32 bits each, all of them at once, beside the picture.
    const int bytesPerPixel = 4 * header.components + (header.bits > 8 ? 8 : 4);
    if (!withinDecodeLimits(header.width, header.height, bytesPerPixel, "decode"))
        return false;
    header.tiles = ceilDivide(x1 - tileX, tileWidth) * ceilDivide(y1 - tileY, tileHeight);
    header.tilePixels = ceilDivide(std::min(tileWidth, x1 - header.x0), header.unitX) *
                        ceilDivide(std::min(tileHeight, y1 - header.y0), header.unitY);
    const std::uint64_t parts = header.tiles * components;
    return parts <= mostTiles ||
           fail(ZelFailureCode::limit, "decode",
                fmt::format("JPEG 2000: {} tiles of components, the limit is {}", parts, mostTiles));
}

/// Whether the box of definitions gives a colour another place than its component's.
bool changesOrder(const ByteSource& source, const IsoBox& definitions)
{
    constexpr std::size_t entryBytes = 6;
    std::array<std::uint8_t, 2 + entryBytes * mostComponents> bytes{};
    const std::size_t held =
        source.read(definitions.data, std::span(bytes).first(std::min<std::size_t>(
                                          bytes.size(), static_cast<std::size_t>(std::min<std::uint64_t>(
                                                            bytes.size(), definitions.end - definitions.data)))));
    for (std::size_t at = 2; at + entryBytes <= held; at += entryBytes) {
        const std::uint32_t component = big16(bytes.data() + at), kind = big16(bytes.data() + at + 2),
                            color = big16(bytes.data() + at + 4);
        constexpr std::uint32_t all = 0, none = 65535;
        if (kind == 0 && color != all && color != none && color - 1 != component)
            return true;
    }
    return false;
}

bool isRearranged(const ByteSource& source, const IsoBox& headers)
{
    std::uint64_t at = headers.data;
    for (int i = 0; i < mostBoxes; ++i) {
        const std::optional<IsoBox> box = isoBoxAt(source, at, headers.end);
        if (!box)
            return false;
        if (box->type == boxType("pclr") || (box->type == boxType("cdef") && changesOrder(source, *box)))
            return true;
        at = box->end;
    }
    return true;
}

/// Tiles too large to be decoded without a stop, which no program writes.
bool canBeStopped(const Header& header)
{
    // A host that raises the limit means it.
    const bool isRaised = ZelLimits::current().pixels > ZelLimits().pixels;
    return isRaised || header.tilePixels <= mostPixelsAtOnce || (header.tiles == 1 && !header.isRearranged) ||
           fail(ZelFailureCode::limit, "decode",
                fmt::format("JPEG 2000: a tile of {} pixels, the limit is {}", header.tilePixels, mostPixelsAtOnce));
}

/// Walks the parts of tiles, to see whether the file holds them all.
void findEnd(const ByteSource& source, std::uint64_t at, std::uint64_t end, Header& header)
{
    constexpr int mostParts = 1'000'000;
    std::array<std::uint8_t, 10> part{};
    header.end = source.size();
    for (int i = 0; i < mostParts; ++i) {
        const std::size_t held = source.read(
            at, std::span(part).first(static_cast<std::size_t>(std::min<std::uint64_t>(part.size(), end - at))));
        if (held >= 2 && big16(part.data()) != startOfTile)
            return; // its end, or damage that the decoder will meet
        const std::uint64_t length = held < part.size() ? part.size() : big32(part.data() + 6);
        std::array<std::uint8_t, 2> last{};
        const bool isLast = length == 0; // up to the end
        const bool isWhole = isLast ? source.read(end - 2, last) == last.size() && big16(last.data()) == endOfStream
                                    : held == part.size() && length <= end - at;
        if (!isWhole) {
            header.isCut = true;
            header.end = at;
        }
        if (!isWhole || isLast)
            return;
        at += std::max<std::uint64_t>(length, part.size());
        if (at > end)
            return;
    }
}

/// The main header of a codestream, up to its first tile.
bool readStream(const ByteSource& source, std::uint64_t at, std::uint64_t end, Header& header)
{
    ByteReader reader(source, at, end);
    std::array<std::uint8_t, 2> bytes{};
    if (!reader.read(bytes))
        return failShort();
    if (big16(bytes.data()) != startOfStream)
        return fail(ZelFailureCode::unreadable, "decode", "JPEG 2000: no codestream in the file");
    int levels = 32;
    for (int i = 0; i < mostSegments; ++i) {
        if (!reader.read(bytes))
            return failShort();
        const std::uint32_t marker = big16(bytes.data());
        if (marker == startOfTile) {
            header.reductions = levels > 31 ? 0 : levels;
            findEnd(source, reader.position() - 2, end, header);
            return header.components > 0 ||
                   fail(ZelFailureCode::unreadable, "decode", "JPEG 2000: its sizes are missing");
        }
        if (!reader.read(bytes))
            return failShort();
        const std::uint32_t length = big16(bytes.data());
        if (marker < 0xFF00 || length < 2 || (marker == sizes) != (i == 0))
            return fail(ZelFailureCode::unreadable, "decode", "JPEG 2000: its header makes no sense");
        const std::uint64_t next = reader.position() + length - 2;
        if (marker == sizes && !readSizes(reader, length, header))
            return false;
        // How often a component can be halved stands behind its number, style, order, layers, transform.
        if (marker == coding || marker == codingOfOne) {
            const std::uint64_t passed = marker == coding ? 5 : 2;
            const int stated = reader.skip(passed) ? reader.next() : -1;
            levels = std::min(levels, std::max(stated, 0));
        }
        if (next > reader.position() && !reader.skip(next - reader.position()))
            return failShort();
    }
    return fail(ZelFailureCode::unreadable, "decode", "JPEG 2000: its header has no end");
}

/// Dots a metre: a fraction and a power of ten.
double dotsAnInch(const std::uint8_t* bytes, std::uint8_t exponent)
{
    const double below = big16(bytes + 2);
    const auto power = static_cast<std::int8_t>(exponent);
    return below > 0 ? plausibleDpi(big16(bytes) / below * std::pow(10.0, power) * metresPerInch) : 0;
}

/// The resolution for display, or else that of the capture: in a box "res " of the header box, no deeper.
void readResolution(const ByteSource& source, const IsoBox& outer, bool isHeaderBox, Header& header)
{
    std::uint64_t at = outer.data;
    for (int i = 0; i < mostBoxes; ++i) {
        const std::optional<IsoBox> box = isoBoxAt(source, at, outer.end);
        if (!box)
            return;
        at = box->end;
        if (isHeaderBox && box->type == boxType("res "))
            readResolution(source, *box, false, header);
        std::array<std::uint8_t, 10> bytes{};
        const bool isDisplay = box->type == boxType("resd");
        if ((!isDisplay && box->type != boxType("resc")) || (!isDisplay && header.dpiX > 0) ||
            box->end - box->data < bytes.size() || source.read(box->data, bytes) < bytes.size())
            continue;
        header.dpiY = dotsAnInch(bytes.data(), bytes[8]);
        header.dpiX = dotsAnInch(bytes.data() + 4, bytes[9]);
    }
}

} // namespace

std::optional<Header> readHeader(const ByteSource& source)
{
    Header header;
    std::array<std::uint8_t, 2> head{};
    if (source.read(0, head) < head.size())
        return failShort();
    if (big16(head.data()) == startOfStream) {
        if (!readStream(source, 0, source.size(), header) || !canBeStopped(header))
            return std::nullopt;
        return header;
    }
    header.isBoxed = true;
    std::uint64_t at = 0;
    for (int i = 0; i < mostBoxes; ++i) {
        const std::optional<IsoBox> box = isoBoxAt(source, at, source.size());
        if (!box)
            return failShort();
        if (box->type == boxType("jp2h"))
            readResolution(source, *box, true, header);
        if (box->type == boxType("jp2h"))
            header.isRearranged = isRearranged(source, *box);
        if (box->type == boxType("jp2c")) {
            header.begin = box->data;
            if (!readStream(source, box->data, box->end, header) || !canBeStopped(header))
                return std::nullopt;
            return header;
        }
        at = box->end;
    }
    return fail(ZelFailureCode::unreadable, "decode", "JPEG 2000: no codestream in the file");
}

} // namespace zel::jpeg2000
