#include <zel/platform/codecs/tiff_samples.h>

#include <zel/engine/convert_packed.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>

// First all samples become whole numbers of 8 or 16 bits that fill their range (indices of a palette stay as they are),
// then a pixel is put together from them, then CMYK and L*a*b* are converted.
namespace zel::tiff {
namespace {

// Values of TIFF 6.0 and its technical notes.
enum Photometric : unsigned {
    minIsWhite = 0,
    minIsBlack = 1,
    rgb = 2,
    palette = 3,
    separated = 5,
    yCbCr = 6,
    cieLab = 8,
    iccLab = 9,
    logL = 32844,
    logLuv = 32845,
};
enum Format : unsigned { unsignedNumbers = 1, signedNumbers = 2, floatingNumbers = 3, anything = 4 };
constexpr unsigned associatedAlpha = 1, unassociatedAlpha = 2;
constexpr unsigned oldJpeg = 6;
constexpr unsigned separatePlanes = 2;
constexpr unsigned inksCmyk = 1;

std::optional<Colors> colorsOf(const Header& header)
{
    if (header.compression == oldJpeg)
        return Colors::byLibtiff;
    switch (header.photometric) {
    case minIsWhite:
    case minIsBlack:
        return Colors::gray;
    case rgb:
        return Colors::rgb;
    case palette:
        return Colors::palette;
    case separated:
        return Colors::cmyk;
    case yCbCr:
        return header.yCbCrAsRgb ? Colors::rgb : Colors::byLibtiff;
    case cieLab:
    case iccLab:
        return Colors::lab;
    case logL:
    case logLuv:
        return Colors::byLibtiff;
    default:
        return std::nullopt;
    }
}

/// Nothing where the samples can be unpacked, else what stands against it.
std::string obstacle(const Header& header, const Samples& samples)
{
    const unsigned format = header.sampleFormat;
    if (samples.perPixel < samples.colorants())
        return fmt::format("{} samples a pixel are too few for its kind of colours", samples.perPixel);
    if (format != unsignedNumbers && format != anything && !(format == floatingNumbers && samples.bits == 32))
        return fmt::format("{} samples of {} bits",
                           format == signedNumbers     ? "signed"
                           : format == floatingNumbers ? "floating"
                                                       : "strange",
                           samples.bits);
    if (samples.bits < 1 || (samples.bits > 16 && samples.bits != 32))
        return fmt::format("samples of {} bits", samples.bits);
    if (samples.colors == Colors::palette && (samples.bits > 8 || header.colorMap[0] == nullptr))
        return header.colorMap[0] == nullptr ? "a palette that is missing"
                                             : fmt::format("a palette of {} bits", samples.bits);
    if (samples.colors == Colors::cmyk && header.inkSet != inksCmyk)
        return "inks other than CMYK";
    if (samples.colors == Colors::lab && samples.bits != 8 && samples.bits != 16)
        return fmt::format("L*a*b* of {} bits", samples.bits);
    return {};
}

/// Entries of 16 bits brought to 8. Some writers left the high byte empty: then the low one is meant.
std::array<std::vector<std::uint8_t>, 3> paletteOf(const Header& header)
{
    const std::size_t count = std::size_t{1} << header.bitsPerSample;
    const bool narrow =
        std::all_of(std::begin(header.colorMap), std::end(header.colorMap), [&](const std::uint16_t* map) {
            return std::all_of(map, map + count, [](std::uint16_t entry) { return entry < 256; });
        });
    std::array<std::vector<std::uint8_t>, 3> result;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t entry = 0; entry < count; ++entry)
            result[i].push_back(static_cast<std::uint8_t>(narrow ? header.colorMap[i][entry]
                                                                 : (header.colorMap[i][entry] + 128) / 257));
    return result;
}

/// The first extra sample that is an alpha.
void findAlpha(const Header& header, Samples& samples)
{
    for (int i = 0; i < header.extraSampleCount && samples.colorants() + i < samples.perPixel; ++i) {
        const unsigned kind = header.extraSamples[i];
        if (kind != associatedAlpha && kind != unassociatedAlpha)
            continue;
        const bool convertible = samples.colors == Colors::gray || samples.colors == Colors::rgb;
        if (kind == associatedAlpha && !convertible) {
            warn(ZelFailureCode::unsupported, "decode", "TIFF: alpha that is multiplied into such colours is not used");
            return;
        }
        samples.alpha = samples.colorants() + i;
        samples.associated = kind == associatedAlpha;
        return;
    }
}

/// Samples of any width up to 16 bits, high bit first, filling the range of `Sample` where `scale`.
template <class Sample>
void spread(const std::uint8_t* from, int bits, bool scale, std::size_t count, std::uint8_t* to)
{
    constexpr unsigned full = std::numeric_limits<Sample>::max();
    const unsigned most = (1U << static_cast<unsigned>(bits)) - 1;
    unsigned held = 0; // bits not used yet, in the low end
    int width = 0;
    for (std::size_t i = 0; i < count; ++i, to += sizeof(Sample)) {
        while (width < bits) {
            held = held << 8U | *from++;
            width += 8;
        }
        width -= bits;
        const unsigned value = held >> static_cast<unsigned>(width) & most;
        const auto sample = static_cast<Sample>(scale ? (value * full + most / 2) / most : value);
        std::memcpy(to, &sample, sizeof sample);
    }
}

void narrowWords(const std::uint8_t* from, bool floating, std::size_t count, std::uint8_t* to)
{
    for (std::size_t i = 0; i < count; ++i, from += 4, to += 2) {
        std::uint16_t sample = 0;
        if (floating) {
            float value = 0;
            std::memcpy(&value, from, 4);
            const float held = value > 0 ? (value < 1 ? value : 1.0F) : 0.0F; // not a number: 0
            sample = static_cast<std::uint16_t>(held * 65535 + 0.5F);
        } else {
            std::uint32_t value = 0;
            std::memcpy(&value, from, 4);
            sample = static_cast<std::uint16_t>(value >> 16U);
        }
        std::memcpy(to, &sample, 2);
    }
}

template <class Sample>
Sample load(const std::uint8_t* place)
{
    Sample sample;
    std::memcpy(&sample, place, sizeof sample);
    return sample;
}

/// Units of 1/256 to units of 1/257, the whole range of 16 bits; 8 bits stay.
template <class Sample>
Sample stretched(int value)
{
    return static_cast<Sample>(sizeof(Sample) == 2 ? std::min((value * 257 + 128) / 256, 65535) : value);
}

} // namespace

std::optional<Samples> samplesOf(const Header& header)
{
    if (!header.canDecompress)
        return fail(ZelFailureCode::unsupported, "decode",
                    fmt::format("TIFF: compression {} cannot be read", header.compression));
    const std::optional<Colors> colors = colorsOf(header);
    if (!colors)
        return fail(ZelFailureCode::unsupported, "decode",
                    fmt::format("TIFF: colours of kind {} cannot be read", header.photometric));
    Samples samples;
    samples.colors = *colors;
    samples.bits = header.bitsPerSample;
    if (*colors == Colors::byLibtiff) {
        samples.bits = 8;
        return samples;
    }
    samples.inverted = header.photometric == minIsWhite;
    samples.signedAxes = header.photometric == cieLab;
    samples.floating = header.sampleFormat == floatingNumbers;
    samples.perPixel = header.samplesPerPixel;
    samples.separate = header.planarConfiguration == separatePlanes && header.samplesPerPixel > 1;
    if (const std::string reason = obstacle(header, samples); !reason.empty())
        return fail(ZelFailureCode::unsupported, "decode", fmt::format("TIFF: {} cannot be read", reason));
    if (samples.bits == 32)
        warn(ZelFailureCode::unsupported, "decode", "TIFF: samples of 32 bits are reduced to 16");
    if (samples.colors == Colors::palette)
        samples.palette = paletteOf(header);
    findAlpha(header, samples);
    return samples;
}

Unpacker::Unpacker(const Samples& samples, Ref<const ColorTransform> toRgb)
    : samples_(samples), toRgb_(std::move(toRgb))
{
    for (int i = 0; i < samples_.colorants(); ++i)
        needed_.push_back(i);
    if (samples_.alpha >= 0)
        needed_.push_back(samples_.alpha);
    if (samples_.colors == Colors::lab)
        toRgb_ = ColorTransform::labToSrgb();
    if (samples_.bits == 1 || samples_.bits == 2 || samples_.bits == 4) {
        ofByte_.resize(256);
        for (std::size_t i = 0; i < 256; ++i) {
            const auto byte = static_cast<std::uint8_t>(i);
            spread<std::uint8_t>(&byte, samples_.bits, samples_.colors != Colors::palette,
                                 static_cast<std::size_t>(8 / samples_.bits), ofByte_[i].data());
        }
    }
}

/// The samples as whole numbers of 8 or 16 bits: where they stand, or in `room`.
const std::uint8_t* Unpacker::plain(const std::uint8_t* from, std::size_t count, std::vector<std::uint8_t>& room)
{
    const int bits = samples_.bits;
    if (bits == 8 || bits == 16)
        return from;
    const std::size_t needed = count * (bits > 8 ? 2 : 1) + 8; // whole bytes of small samples are spread
    if (room.size() < needed)
        room.resize(needed);
    if (bits == 32) {
        narrowWords(from, samples_.floating, count, room.data());
    } else if (!ofByte_.empty()) {
        const auto perByte = static_cast<std::size_t>(8 / bits);
        for (std::size_t i = 0; i < count; i += perByte)
            std::memcpy(room.data() + i, ofByte_[*from++].data(), perByte);
    } else if (bits < 8) {
        spread<std::uint8_t>(from, bits, samples_.colors != Colors::palette, count, room.data());
    } else {
        spread<std::uint16_t>(from, bits, true, count, room.data());
    }
    return room.data();
}

template <class Sample>
void Unpacker::assemble(const Planes& planes, std::size_t stride, int pixels, std::uint8_t* to) const
{
    constexpr auto full = std::numeric_limits<Sample>::max();
    constexpr auto middle = static_cast<Sample>(full / 2 + 1);
    const std::size_t step = stride * sizeof(Sample);
    const std::uint8_t* const alpha =
        samples_.alpha < 0 ? nullptr : planes[static_cast<std::size_t>(samples_.colorants())];
    const auto each = [&](const auto& colorsAt) {
        for (int x = 0; x < pixels; ++x, to += 4 * sizeof(Sample)) {
            const std::size_t place = static_cast<std::size_t>(x) * step;
            std::array<Sample, 4> pixel = colorsAt(place);
            if (alpha != nullptr)
                pixel[3] = load<Sample>(alpha + place);
            std::memcpy(to, pixel.data(), sizeof pixel);
        }
    };
    const auto at = [&](std::size_t plane, std::size_t place) { return load<Sample>(planes[plane] + place); };
    switch (samples_.colors) {
    case Colors::gray: {
        const Sample flip = samples_.inverted ? full : Sample{0};
        each([&](std::size_t place) {
            const auto value = static_cast<Sample>(at(0, place) ^ flip);
            return std::array<Sample, 4>{value, value, value, full};
        });
        break;
    }
    case Colors::palette:
        each([&](std::size_t place) {
            const std::size_t entry = at(0, place);
            return std::array<Sample, 4>{samples_.palette[0][entry], samples_.palette[1][entry],
                                         samples_.palette[2][entry], full};
        });
        break;
    case Colors::lab: {
        const Sample flip = samples_.signedAxes ? middle : Sample{0};
        const bool wideLightness = samples_.signedAxes; // fills the range, where ICC's form ends at 0xFF00
        each([&](std::size_t place) {
            const Sample lightness = at(0, place);
            return std::array<Sample, 4>{wideLightness ? lightness : stretched<Sample>(lightness),
                                         stretched<Sample>(at(1, place) ^ flip), stretched<Sample>(at(2, place) ^ flip),
                                         full};
        });
        break;
    }
    case Colors::cmyk:
        for (int x = 0; x < pixels; ++x, to += 4 * sizeof(Sample)) {
            const std::size_t place = static_cast<std::size_t>(x) * step;
            const std::array<Sample, 4> inks = {at(0, place), at(1, place), at(2, place), at(3, place)};
            std::memcpy(to, inks.data(), sizeof inks);
        }
        break;
    default:
        each([&](std::size_t place) { return std::array<Sample, 4>{at(0, place), at(1, place), at(2, place), full}; });
    }
}

void Unpacker::unpack(const Planes& planes, int pixels, std::uint8_t* to)
{
    const std::size_t perPlane = samples_.separate ? 1 : static_cast<std::size_t>(samples_.perPixel);
    const std::size_t count = perPlane * static_cast<std::size_t>(pixels);
    const bool wide = samples_.bits > 8;
    Planes places{};
    if (samples_.separate) {
        for (std::size_t i = 0; i < needed_.size(); ++i)
            places[i] = plain(planes[i], count, rooms_[i]);
    } else {
        const std::uint8_t* const all = plain(planes[0], count, rooms_[0]);
        for (std::size_t i = 0; i < needed_.size(); ++i)
            places[i] = all + static_cast<std::size_t>(needed_[i]) * (wide ? 2 : 1);
    }

    const bool packed = !samples_.separate && !samples_.inverted && !wide &&
                        (samples_.colors == Colors::gray || samples_.colors == Colors::rgb) &&
                        needed_.size() == perPlane && needed_.back() == static_cast<int>(perPlane) - 1;
    if (packed)
        engine::expandRow(places[0], static_cast<engine::PackedFormat>(perPlane - 1), 1, to,
                          static_cast<std::size_t>(pixels));
    else if (wide)
        assemble<std::uint16_t>(places, perPlane, pixels, to);
    else
        assemble<std::uint8_t>(places, perPlane, pixels, to);

    if (!toRgb_)
        return;
    const engine::Pixels row = {to, 0, pixels, 1, wide ? 8 : 4};
    toRgb_->apply(row, row);
    if (samples_.colors == Colors::cmyk && samples_.alpha >= 0) { // its place held the black ink
        const std::size_t size = wide ? 2 : 1;
        for (std::size_t x = 0; x < static_cast<std::size_t>(pixels); ++x)
            std::memcpy(to + (4 * x + 3) * size, places[4] + x * perPlane * size, size);
    }
}

} // namespace zel::tiff
