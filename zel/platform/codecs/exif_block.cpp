#include <zel/platform/codecs/exif_block.h>

#include <algorithm>
#include <array>

// An EXIF block is a TIFF file without pixels. Only IFD 0 is read, and of it four entries; offsets are compared with
// what the block holds before anything is read, so that nothing has to be trusted.
namespace zel {
namespace {

constexpr std::size_t mostEntries = 4096;
constexpr std::size_t entryBytes = 12;
constexpr double centimetresPerInch = 2.54;

enum Tag : unsigned {
    tagOrientation = 0x0112,
    tagXResolution = 0x011A,
    tagYResolution = 0x011B,
    tagResolutionUnit = 0x0128
};
enum Type : unsigned { typeShort = 3, typeLong = 4, typeRational = 5 };

/// The block's figures in its own byte order; absent where the block ends before them.
class Block {
public:
    Block(std::span<const std::uint8_t> bytes, bool bigEndian) : bytes_(bytes), bigEndian_(bigEndian) {}

    [[nodiscard]] std::optional<unsigned> u16(std::size_t offset) const { return figure<2>(offset); }
    [[nodiscard]] std::optional<unsigned> u32(std::size_t offset) const { return figure<4>(offset); }

private:
    template <std::size_t count>
    [[nodiscard]] std::optional<unsigned> figure(std::size_t offset) const
    {
        if (offset > bytes_.size() || bytes_.size() - offset < count)
            return std::nullopt;
        unsigned value = 0;
        for (std::size_t i = 0; i < count; ++i)
            value = value << 8 | bytes_[offset + (bigEndian_ ? i : count - 1 - i)];
        return value;
    }

    std::span<const std::uint8_t> bytes_;
    bool bigEndian_;
};

struct Entry {
    unsigned tag = 0, type = 0, count = 0;
    std::size_t valueOffset = 0; ///< of the four bytes that hold the value, or the place where it lies
};

/// The first one of an entry's whole numbers.
std::optional<unsigned> wholeNumber(const Block& block, const Entry& entry)
{
    if (entry.count < 1)
        return std::nullopt;
    if (entry.type == typeShort)
        return block.u16(entry.valueOffset);
    if (entry.type == typeLong)
        return block.u32(entry.valueOffset);
    return std::nullopt;
}

/// The first one of an entry's fractions; absent where its denominator is 0.
std::optional<double> fraction(const Block& block, const Entry& entry)
{
    if (entry.type != typeRational || entry.count < 1)
        return std::nullopt;
    const std::optional<unsigned> place = block.u32(entry.valueOffset);
    if (!place)
        return std::nullopt;
    const std::optional<unsigned> numerator = block.u32(*place);
    const std::optional<unsigned> denominator = block.u32(std::size_t{*place} + 4);
    if (!numerator || !denominator || *denominator == 0)
        return std::nullopt;
    return static_cast<double>(*numerator) / static_cast<double>(*denominator);
}

/// The block behind its byte-order mark; absent when it has none.
std::optional<Block> openBlock(std::span<const std::uint8_t> bytes)
{
    constexpr std::array<std::uint8_t, 6> exifName = {'E', 'x', 'i', 'f', 0, 0};
    if (bytes.size() >= exifName.size() && std::equal(exifName.begin(), exifName.end(), bytes.begin()))
        bytes = bytes.subspan(exifName.size());
    if (bytes.size() < 8 || bytes[0] != bytes[1] || (bytes[0] != 'I' && bytes[0] != 'M'))
        return std::nullopt;
    const Block block(bytes, bytes[0] == 'M');
    return block.u16(2) == 42U ? std::optional<Block>(block) : std::nullopt;
}

} // namespace

double plausibleDpi(double dpi)
{
    return dpi >= 10 && dpi <= 100'000 ? dpi : 0;
}

ExifFacts readExifFacts(std::span<const std::uint8_t> bytes)
{
    ExifFacts facts;
    const std::optional<Block> block = openBlock(bytes);
    if (!block)
        return facts;
    const std::size_t ifd = block->u32(4).value_or(0);
    const std::size_t entries = std::min<std::size_t>(block->u16(ifd).value_or(0), mostEntries);

    std::optional<unsigned> orientation, unit;
    std::optional<double> dotsX, dotsY;
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t place = ifd + 2 + i * entryBytes;
        const std::optional<unsigned> tag = block->u16(place), type = block->u16(place + 2),
                                      count = block->u32(place + 4);
        if (!tag || !type || !count)
            break;
        const Entry entry{*tag, *type, *count, place + 8};
        if (entry.tag == tagOrientation && !orientation)
            orientation = wholeNumber(*block, entry);
        else if (entry.tag == tagResolutionUnit && !unit)
            unit = wholeNumber(*block, entry);
        else if (entry.tag == tagXResolution && !dotsX)
            dotsX = fraction(*block, entry);
        else if (entry.tag == tagYResolution && !dotsY)
            dotsY = fraction(*block, entry);
    }

    if (orientation && *orientation >= 1 && *orientation <= 8)
        facts.orientation = static_cast<Orientation>(*orientation);
    // 2 = inch, also where no unit is stated; 3 = centimetre; 1 = the figures are a ratio, no resolution.
    const unsigned stated = unit.value_or(2);
    const double perInch = stated == 2 ? 1 : stated == 3 ? centimetresPerInch : 0;
    facts.dpiX = plausibleDpi(dotsX.value_or(dotsY.value_or(0)) * perInch);
    facts.dpiY = plausibleDpi(dotsY.value_or(dotsX.value_or(0)) * perInch);
    return facts;
}

} // namespace zel
