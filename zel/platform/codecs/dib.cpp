#include <zel/platform/codecs/dib.h>

#include <zel/platform/codecs/byte_reader.h>
#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>

#include <fmt/format.h>

#include <bit>
#include <cstring>

namespace zel::dib {
namespace {

// Sizes of the header tell its version.
constexpr std::uint32_t coreSize = 12, leastSize = 16, infoSize = 40, withMasks = 52, withAlphaMask = 56, os2Size = 64,
                        version4Size = 108, version5Size = 124;
enum Compression : std::uint32_t { rgb = 0, rle8 = 1, rle4 = 2, bitFields = 3, jpeg = 4, png = 5, alphaBitFields = 6 };
constexpr std::uint32_t embeddedProfile = 0x4D424544; // "MBED"
constexpr std::uint64_t mostProfileBytes = std::uint64_t{4} << 20U;
constexpr double metresPerInch = 0.0254;

/// The fields of all versions, those that a version lacks at 0.
struct Fields {
    std::uint32_t size = 0;
    std::int64_t width = 0, height = 0;
    std::uint32_t bits = 0, compression = 0, colors = 0;
    std::uint32_t dotsPerMetreX = 0, dotsPerMetreY = 0;
    std::array<std::uint32_t, 4> masks = {};
    std::uint32_t space = 0, profileAt = 0, profileSize = 0;
};

std::int64_t asSigned(std::uint32_t value)
{
    return static_cast<std::int32_t>(value);
}

std::optional<Fields> readFields(const ByteSource& source, std::uint64_t at, std::string_view format)
{
    std::array<std::uint8_t, version5Size> bytes{};
    const std::size_t held = source.read(at, bytes);
    const auto field = [&](std::size_t place) { return little32(bytes.data() + place); };
    Fields fields;
    fields.size = held < 4 ? 0 : field(0);
    const bool isKnown = fields.size == coreSize || (fields.size >= leastSize && fields.size <= os2Size) ||
                         fields.size == version4Size || fields.size == version5Size;
    if (held >= 4 && !isKnown)
        return fail(ZelFailureCode::unreadable, "decode",
                    fmt::format("{}: no bitmap has a header of {} bytes", format, fields.size));
    if (held < 4 || held < fields.size)
        return fail(ZelFailureCode::truncated, "decode", fmt::format("{}: the file ends in its header", format));
    // What stands behind a short header is no part of it.
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(fields.size), bytes.end(), std::uint8_t{0});
    if (fields.size == coreSize) {
        fields.width = little16(bytes.data() + 4);
        fields.height = little16(bytes.data() + 6);
        fields.bits = little16(bytes.data() + 10);
        return fields;
    }
    fields.width = asSigned(field(4));
    fields.height = asSigned(field(8));
    fields.bits = little16(bytes.data() + 14);
    fields.compression = field(16);
    fields.dotsPerMetreX = field(24);
    fields.dotsPerMetreY = field(28);
    fields.colors = field(32);
    if (fields.size == os2Size)
        return fields; // what follows means something else there
    for (std::size_t i = 0; i < fields.masks.size(); ++i)
        fields.masks[i] = field(infoSize + 4 * i);
    fields.space = field(56);
    fields.profileAt = field(112);
    fields.profileSize = field(116);
    return fields;
}

bool isHandled(const Fields& fields, bool inIcon, std::string_view format)
{
    const auto refuse = [&](std::string_view what) {
        return fail(ZelFailureCode::unsupported, "decode", fmt::format("{}: {}", format, what));
    };
    const std::uint32_t bits = fields.bits;
    if (fields.compression == jpeg || fields.compression == png)
        return refuse(fields.compression == jpeg ? "a JPEG inside a bitmap, meant for printers"
                                                 : "a PNG inside a bitmap, meant for printers");
    if (fields.size == os2Size && (fields.compression == bitFields || fields.compression == jpeg))
        return refuse("compressed in a way that OS/2 alone knows");
    if (bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return fail(ZelFailureCode::unreadable, "decode", fmt::format("{}: no pixel has {} bits", format, bits));
    if (fields.compression > alphaBitFields)
        return refuse(fmt::format("compression {} is not known", fields.compression));
    const bool isRun = fields.compression == rle8 || fields.compression == rle4;
    const bool fits = isRun ? !inIcon && bits == (fields.compression == rle8 ? 8U : 4U)
                            : fields.compression == rgb || bits == 16 || bits == 32;
    return fits || fail(ZelFailureCode::unreadable, "decode",
                        fmt::format("{}: compression {} does not go with {} bits", format, fields.compression, bits));
}

bool isAllowed(const Fields& fields, const Bitmap& bitmap, std::int64_t height, std::string_view format)
{
    if (fields.width < 1 || height < 1)
        return fail(ZelFailureCode::unreadable, "decode",
                    fmt::format("{}: {} x {} pixels make no picture", format, fields.width, fields.height));
    if (height > 0x7FFFFFFF)
        return fail(ZelFailureCode::limit, "decode",
                    fmt::format("{}: {} rows are more than can be handled", format, height));
    return withinDecodeLimits(fields.width, height, bitmap.bitsPerComponent() == 16 ? 8 : 4, "decode");
}

bool setChannel(Channel& channel, std::uint32_t mask)
{
    channel.mask = mask;
    if (mask == 0)
        return true;
    channel.shift = std::countr_zero(mask);
    channel.bits = std::popcount(mask);
    const std::uint32_t most = mask >> static_cast<unsigned>(channel.shift);
    if ((most & (most + 1)) != 0)
        return false; // with gaps
    if (channel.bits <= 8)
        for (std::uint32_t value = 0; value <= most; ++value)
            channel.to8.push_back(static_cast<std::uint8_t>((value * 255 + most / 2) / most));
    return true;
}

/// Masks of 16 and 32 bits; `at` moves behind those that stand outside the header.
bool readChannels(const ByteSource& source, const Fields& fields, bool inIcon, std::uint64_t& at, Bitmap& bitmap,
                  std::string_view format)
{
    if (bitmap.bits != 16 && bitmap.bits != 32)
        return true;
    std::array<std::uint32_t, 4> masks = {0x7C00, 0x03E0, 0x001F, 0};
    if (bitmap.bits == 32)
        masks = {0xFF0000, 0xFF00, 0xFF, inIcon ? 0xFF000000 : 0};
    if (fields.compression == bitFields || fields.compression == alphaBitFields) {
        masks = fields.masks;
        if (fields.size < withMasks) {
            const std::size_t count = fields.compression == alphaBitFields ? 4 : 3;
            std::array<std::uint8_t, 16> bytes{};
            if (source.read(at, std::span(bytes).first(count * 4)) < count * 4)
                return fail(ZelFailureCode::truncated, "decode",
                            fmt::format("{}: the file ends in its header", format));
            for (std::size_t i = 0; i < masks.size(); ++i)
                masks[i] = i < count ? little32(bytes.data() + 4 * i) : 0;
            at += count * 4;
        } else if (fields.size < withAlphaMask) {
            masks[3] = 0;
        }
    }
    for (std::size_t i = 0; i < masks.size(); ++i)
        if (!setChannel(bitmap.channels[i], masks[i]))
            return fail(ZelFailureCode::unreadable, "decode",
                        fmt::format("{}: the bits of a component have gaps ({:#x})", format, masks[i]));
    return true;
}

/// Entries beyond those that the file has are black. `room`: bytes up to where the pixels are said to begin.
void readPalette(const ByteSource& source, const Fields& fields, std::uint64_t& at, std::uint64_t room, Bitmap& bitmap)
{
    const std::size_t entryBytes = fields.size == coreSize ? 3 : 4;
    const std::size_t indices = bitmap.bits <= 8 ? std::size_t{1} << static_cast<unsigned>(bitmap.bits) : 0;
    const std::size_t stated = fields.colors == 0 ? indices : fields.colors;
    if (indices > 0) {
        bitmap.palette.assign(indices, {0, 0, 0, 255});
        std::vector<std::uint8_t> bytes(
            static_cast<std::size_t>(std::min<std::uint64_t>(std::min(stated, indices) * entryBytes, room)));
        const std::size_t count = source.read(at, bytes) / entryBytes;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint8_t* const entry = bytes.data() + i * entryBytes;
            bitmap.palette[i] = {entry[2], entry[1], entry[0], 255};
        }
    }
    at += std::uint64_t{stated} * entryBytes;
}

void readProfile(const ByteSource& source, std::uint64_t headerAt, const Fields& fields, Bitmap& bitmap,
                 std::string_view format)
{
    // A linked profile is the name of a file, and none is opened for a picture's sake.
    if (fields.size != version5Size || fields.space != embeddedProfile || fields.profileSize == 0)
        return;
    if (fields.profileSize > mostProfileBytes) {
        warn(ZelFailureCode::unreadable, "decode",
             fmt::format("{}: a profile of {} bytes is left out", format, fields.profileSize));
        return;
    }
    std::vector<std::uint8_t> bytes(fields.profileSize);
    if (source.read(headerAt + fields.profileAt, bytes) < bytes.size())
        warn(ZelFailureCode::truncated, "decode", fmt::format("{}: the file ends before its profile does", format));
    else
        bitmap.profile = CGColorSpace::fromProfile(Data(std::move(bytes)), 3, "decode");
}

std::optional<Bitmap> readAny(const ByteSource& source, std::uint64_t headerAt, std::uint64_t pixels, bool inIcon,
                              std::string_view format)
{
    const std::optional<Fields> fields = readFields(source, headerAt, format);
    if (!fields || !isHandled(*fields, inIcon, format))
        return std::nullopt;
    Bitmap bitmap;
    bitmap.bits = static_cast<int>(fields->bits);
    bitmap.coding = fields->compression == rle8   ? Coding::rle8
                    : fields->compression == rle4 ? Coding::rle4
                                                  : Coding::plain;
    std::uint64_t at = headerAt + fields->size;
    if (!readChannels(source, *fields, inIcon, at, bitmap, format))
        return std::nullopt;
    const std::int64_t height = (fields->height < 0 ? -fields->height : fields->height) / (inIcon ? 2 : 1);
    if (!isAllowed(*fields, bitmap, height, format))
        return std::nullopt;
    bitmap.width = static_cast<int>(fields->width);
    bitmap.height = static_cast<int>(height);
    bitmap.topDown = fields->height < 0;
    const bool isStated = pixels > headerAt + fields->size && pixels < source.size();
    readPalette(source, *fields, at, isStated && pixels > at ? pixels - at : UINT64_MAX, bitmap);
    bitmap.pixels = isStated ? pixels : at;
    bitmap.dpiX = plausibleDpi(fields->dotsPerMetreX * metresPerInch);
    bitmap.dpiY = plausibleDpi(fields->dotsPerMetreY * metresPerInch);
    readProfile(source, headerAt, *fields, bitmap, format);
    return bitmap;
}

std::uint32_t valueOf(const Channel& channel, std::uint32_t pixel)
{
    return (pixel & channel.mask) >> static_cast<unsigned>(channel.shift);
}

void unpackPixels8(const Bitmap& bitmap, const std::uint8_t* from, std::uint8_t* to)
{
    const int step = bitmap.bits / 8;
    const std::array<Channel, 4>& channels = bitmap.channels;
    for (int x = 0; x < bitmap.width; ++x, from += step, to += 4) {
        const std::uint32_t pixel = step == 4 ? little32(from) : little16(from);
        for (std::size_t i = 0; i < 4; ++i)
            to[i] = channels[i].bits > 0 ? channels[i].to8[valueOf(channels[i], pixel)]
                                         : static_cast<std::uint8_t>(i == 3 ? 255 : 0);
    }
}

void unpackPixels16(const Bitmap& bitmap, const std::uint8_t* from, std::uint8_t* to)
{
    const int step = bitmap.bits / 8;
    for (int x = 0; x < bitmap.width; ++x, from += step, to += 8) {
        const std::uint32_t pixel = step == 4 ? little32(from) : little16(from);
        std::array<std::uint16_t, 4> components = {0, 0, 0, 65535};
        for (std::size_t i = 0; i < 4; ++i) {
            const Channel& channel = bitmap.channels[i];
            if (channel.bits == 0)
                continue;
            const std::uint64_t most = channel.mask >> static_cast<unsigned>(channel.shift);
            components[i] =
                static_cast<std::uint16_t>((std::uint64_t{valueOf(channel, pixel)} * 65535 + most / 2) / most);
        }
        std::memcpy(to, components.data(), 8);
    }
}

} // namespace

int Bitmap::fileBits() const
{
    int most = bits <= 8 ? 8 : bits == 24 ? 8 : 0; // a palette's entries have 8
    for (const Channel& channel : channels)
        most = std::max(most, channel.bits);
    return std::max(most, 1);
}

int Bitmap::bitsPerComponent() const
{
    return fileBits() > 8 ? 16 : 8;
}

std::uint64_t Bitmap::rowBytes() const
{
    return (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(bits) + 31) / 32 * 4;
}

std::optional<Bitmap> read(const ByteSource& source, std::uint64_t at, std::uint64_t pixels, std::string_view format)
{
    return readAny(source, at, pixels, false, format);
}

std::optional<Bitmap> readInIcon(const ByteSource& source, std::string_view format)
{
    return readAny(source, 0, 0, true, format);
}

void unpackIndices(const Bitmap& bitmap, const std::uint8_t* indices, std::uint8_t* to)
{
    const std::array<std::uint8_t, 4>* const palette = bitmap.palette.data();
    for (int x = 0; x < bitmap.width; ++x)
        std::memcpy(to + std::ptrdiff_t{4} * x, palette + indices[x], 4);
}

void unpackRow(const Bitmap& bitmap, const std::uint8_t* stored, std::uint8_t* to)
{
    if (bitmap.bits == 8)
        return unpackIndices(bitmap, stored, to);
    if (bitmap.bits < 8) {
        const auto bits = static_cast<unsigned>(bitmap.bits);
        const unsigned perByte = 8 / bits, most = (1U << bits) - 1;
        for (unsigned x = 0; x < static_cast<unsigned>(bitmap.width); ++x) {
            const unsigned index = stored[x / perByte] >> (8 - bits - x % perByte * bits) & most;
            std::memcpy(to + std::size_t{4} * x, bitmap.palette[index].data(), 4);
        }
    } else if (bitmap.bits == 24) {
        for (int x = 0; x < bitmap.width; ++x, stored += 3, to += 4) {
            to[0] = stored[2];
            to[1] = stored[1];
            to[2] = stored[0];
            to[3] = 255;
        }
    } else if (bitmap.bitsPerComponent() == 16) {
        unpackPixels16(bitmap, stored, to);
    } else {
        unpackPixels8(bitmap, stored, to);
    }
}

} // namespace zel::dib
