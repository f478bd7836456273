#include <zel/platform/codecs/exif_edit.h>

#include <algorithm>
#include <cmath>
#include <cstring>

// Every place is compared with what the block holds before it is read or written; at most as many entries are looked at
// as a block of 64 KiB has room for, so that directories that lead in circles end.
namespace zel {
namespace {

constexpr std::size_t nameBytes = 6; // "Exif\0\0"
constexpr std::size_t entryBytes = 12;
constexpr std::size_t mostEntries = 4096;

enum Tag : std::uint32_t {
    tagOrientation = 0x0112,
    tagXResolution = 0x011A,
    tagYResolution = 0x011B,
    tagResolutionUnit = 0x0128,
    tagThumbnail = 0x0201,
    tagThumbnailBytes = 0x0202,
    tagExifDirectory = 0x8769,
    tagPixelWidth = 0xA002,
    tagPixelHeight = 0xA003,
};
enum Type : std::uint32_t { typeShort = 3, typeLong = 4, typeRational = 5 };
constexpr std::uint32_t inch = 2;

class Block {
public:
    explicit Block(std::span<std::uint8_t> bytes) : bytes_(bytes)
    {
        isSound_ = bytes.size() >= 8 && bytes[0] == bytes[1] && (bytes[0] == 'I' || bytes[0] == 'M');
        isBigEndian_ = isSound_ && bytes[0] == 'M';
        isSound_ = isSound_ && read(2, 2) == 42U;
    }
    [[nodiscard]] bool isSound() const { return isSound_; }

    [[nodiscard]] std::optional<std::uint32_t> read(std::size_t place, std::size_t count) const
    {
        if (!holds(place, count))
            return std::nullopt;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < count; ++i)
            value = value << 8 | bytes_[place + (isBigEndian_ ? i : count - 1 - i)];
        return value;
    }
    bool write(std::size_t place, std::size_t count, std::uint32_t value)
    {
        if (!holds(place, count))
            return false;
        for (std::size_t i = 0; i < count; ++i, value >>= 8)
            bytes_[place + (isBigEndian_ ? count - 1 - i : i)] = static_cast<std::uint8_t>(value & 0xFF);
        return true;
    }
    void clear(std::size_t place, std::size_t count)
    {
        if (holds(place, count))
            std::fill_n(bytes_.begin() + static_cast<std::ptrdiff_t>(place), count, std::uint8_t{0});
    }
    void swap(std::size_t left, std::size_t right, std::size_t count)
    {
        const bool overlap = left < right + count && right < left + count;
        if (holds(left, count) && holds(right, count) && !overlap)
            std::swap_ranges(bytes_.begin() + static_cast<std::ptrdiff_t>(left),
                             bytes_.begin() + static_cast<std::ptrdiff_t>(left + count),
                             bytes_.begin() + static_cast<std::ptrdiff_t>(right));
    }

private:
    [[nodiscard]] bool holds(std::size_t place, std::size_t count) const
    {
        return place <= bytes_.size() && bytes_.size() - place >= count;
    }
    std::span<std::uint8_t> bytes_;
    bool isSound_ = false, isBigEndian_ = false;
};

/// Of one directory.
class Directory {
public:
    Directory(Block& block, std::size_t place) : block_(block), place_(place)
    {
        entries_ = std::min<std::size_t>(block.read(place, 2).value_or(0), mostEntries);
    }

    /// The place of the link to the next directory.
    [[nodiscard]] std::size_t next() const { return place_ + 2 + entries_ * entryBytes; }

    /// A whole number's own bytes.
    [[nodiscard]] std::optional<std::uint32_t> number(Tag tag) const
    {
        const auto entry = find(tag);
        const std::size_t bytes = entry ? bytesOfNumber(*entry) : 0;
        return bytes > 0 ? block_.read(*entry + 8, bytes) : std::nullopt;
    }
    bool setNumber(Tag tag, std::uint32_t value)
    {
        const auto entry = find(tag);
        const std::size_t bytes = entry ? bytesOfNumber(*entry) : 0;
        return bytes > 0 && (bytes == 4 || value <= 0xFFFF) && block_.write(*entry + 8, bytes, value);
    }
    /// Where the eight bytes of a fraction stand.
    [[nodiscard]] std::optional<std::size_t> fraction(Tag tag) const
    {
        const auto entry = find(tag);
        if (!entry || block_.read(*entry + 2, 2) != typeRational || block_.read(*entry + 4, 4) != 1U)
            return std::nullopt;
        const auto place = block_.read(*entry + 8, 4);
        return place && block_.read(*place, 4) && block_.read(std::size_t{*place} + 4, 4)
                   ? std::optional<std::size_t>(*place)
                   : std::nullopt;
    }

private:
    [[nodiscard]] std::optional<std::size_t> find(Tag tag) const
    {
        for (std::size_t i = 0; i < entries_; ++i) {
            const std::size_t entry = place_ + 2 + i * entryBytes;
            if (block_.read(entry, 2) == static_cast<std::uint32_t>(tag))
                return entry;
        }
        return std::nullopt;
    }
    [[nodiscard]] std::size_t bytesOfNumber(std::size_t entry) const
    {
        if (block_.read(entry + 4, 4) != 1U)
            return 0;
        const auto type = block_.read(entry + 2, 2);
        return type == typeShort ? 2 : type == typeLong ? 4 : 0;
    }

    Block& block_;
    std::size_t place_;
    std::size_t entries_;
};

/// False where the block states a resolution that cannot be changed where it stands.
bool setResolution(Block& block, Directory& first, double dpi)
{
    constexpr double denominator = 1000;
    const auto horizontal = first.fraction(tagXResolution), vertical = first.fraction(tagYResolution);
    if (!horizontal || !vertical)
        return false;
    for (const std::size_t place : {*horizontal, *vertical}) {
        block.write(place, 4, static_cast<std::uint32_t>(std::lround(dpi * denominator)));
        block.write(place + 4, 4, static_cast<std::uint32_t>(denominator));
    }
    return first.setNumber(tagResolutionUnit, inch) || !first.number(tagResolutionUnit); // inch where none is stated
}

void clearThumbnail(Block& block, const Directory& first)
{
    const auto link = block.read(first.next(), 4);
    if (!link || *link == 0)
        return;
    const Directory thumbnail(block, *link);
    const auto place = thumbnail.number(tagThumbnail), bytes = thumbnail.number(tagThumbnailBytes);
    block.write(first.next(), 4, 0);
    if (place && bytes)
        block.clear(*place, *bytes);
}

} // namespace

bool editExif(std::span<std::uint8_t> bytes, const ExifEdit& edit)
{
    Block block(bytes.subspan(std::min(nameBytes, bytes.size())));
    if (!block.isSound())
        return !edit.dpi;
    Directory first(block, block.read(4, 4).value_or(0));
    if (edit.clearThumbnail)
        clearThumbnail(block, first); // first: its place is a claim, and must not undo what follows
    if (edit.makeUpright)
        first.setNumber(tagOrientation, 1);
    if (const auto place = first.number(tagExifDirectory); place && edit.width && edit.height) {
        Directory details(block, *place);
        details.setNumber(tagPixelWidth, *edit.width);
        details.setNumber(tagPixelHeight, *edit.height);
    }
    if (edit.swapResolution) {
        const auto horizontal = first.fraction(tagXResolution), vertical = first.fraction(tagYResolution);
        if (horizontal && vertical)
            block.swap(*horizontal, *vertical, 8);
    }
    return !edit.dpi || setResolution(block, first, *edit.dpi);
}

} // namespace zel
