#include <zel/platform/codecs/png_smallest.h>

#include <zel/engine/parallel.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <array>
#include <new>
#include <unordered_map>

namespace zel::png {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int trialLevel = 6;
constexpr int finalLevel = 12;
constexpr std::size_t finalists = 2; // what is smallest at the trial's level is not always so at the last

/// Rows of samples as a PNG file would hold them.
struct Samples {
    ColorType type = ColorType::rgba;
    int bits = 8;
    std::size_t rowBytes = 0;
    std::size_t distance = 1;
    Bytes rows;
    Bytes palette, transparency;
};

bool isOpaque(const Samples& samples, std::size_t sampleBytes)
{
    const std::size_t alpha = samples.distance - sampleBytes;
    for (std::size_t i = 0; i < samples.rows.size(); i += samples.distance)
        for (std::size_t k = 0; k < sampleBytes; ++k)
            if (samples.rows[i + alpha + k] != 255)
                return false;
    return true;
}

void dropAlpha(Samples& samples, std::size_t sampleBytes)
{
    const std::size_t kept = samples.distance - sampleBytes;
    std::size_t to = 0;
    for (std::size_t from = 0; from < samples.rows.size(); from += samples.distance)
        for (std::size_t k = 0; k < kept; ++k)
            samples.rows[to++] = samples.rows[from + k];
    samples.rows.resize(to);
    samples.rowBytes = samples.rowBytes / samples.distance * kept;
    samples.distance = kept;
    samples.type = samples.type == ColorType::rgba ? ColorType::rgb : ColorType::gray;
}

std::uint32_t colorAt(const std::uint8_t* pixel, std::size_t channels)
{
    std::uint32_t color = 0;
    for (std::size_t k = 0; k < 4; ++k)
        color = color << 8 | (k < channels ? pixel[k] : 255U);
    return color;
}

/// Indices into a palette in place of colours, where there are at most 256 of them; else false and nothing changed.
bool usePalette(Samples& samples, int width)
{
    std::unordered_map<std::uint32_t, std::uint8_t> indices;
    std::vector<std::uint32_t> colors;
    for (std::size_t i = 0; i < samples.rows.size(); i += samples.distance) {
        const std::uint32_t color = colorAt(&samples.rows[i], samples.distance);
        if (indices.try_emplace(color, 0).second) {
            if (colors.size() == 256)
                return false;
            colors.push_back(color);
        }
    }
    // What is not opaque comes first, because only leading entries need an alpha.
    std::stable_sort(colors.begin(), colors.end(), [](std::uint32_t a, std::uint32_t b) {
        return static_cast<int>((a & 255) == 255) < static_cast<int>((b & 255) == 255);
    });
    for (std::size_t i = 0; i < colors.size(); ++i) {
        indices[colors[i]] = static_cast<std::uint8_t>(i);
        for (const int shift : {24, 16, 8})
            samples.palette.push_back(static_cast<std::uint8_t>(colors[i] >> shift));
        if ((colors[i] & 255) != 255)
            samples.transparency.push_back(static_cast<std::uint8_t>(colors[i]));
    }
    samples.bits = colors.size() <= 2 ? 1 : colors.size() <= 4 ? 2 : colors.size() <= 16 ? 4 : 8;
    const auto perByte = static_cast<std::size_t>(8 / samples.bits), columns = static_cast<std::size_t>(width);
    const std::size_t packedRow = (columns + perByte - 1) / perByte, height = samples.rows.size() / samples.rowBytes;
    Bytes rows(packedRow * height);
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < columns; ++x) {
            const auto index =
                indices[colorAt(&samples.rows[y * samples.rowBytes + x * samples.distance], samples.distance)];
            const auto shift = (perByte - 1 - x % perByte) * static_cast<std::size_t>(samples.bits);
            std::uint8_t& to = rows[y * packedRow + x / perByte];
            to = static_cast<std::uint8_t>(to | index << shift);
        }
    samples.type = ColorType::palette;
    samples.rows = std::move(rows);
    samples.rowBytes = packedRow;
    samples.distance = 1;
    return true;
}

/// The filtered rows: all by one filter, or by the one of least differences where none is given.
Bytes filtered(const Samples& samples, std::optional<engine::PngFilter> everywhere)
{
    const std::size_t rowBytes = samples.rowBytes, height = samples.rows.size() / rowBytes;
    const Bytes zeros(rowBytes);
    Bytes result((rowBytes + 1) * height);
    for (std::size_t y = 0; y < height; ++y) {
        const std::uint8_t* const row = &samples.rows[y * rowBytes];
        const std::uint8_t* const above = y == 0 ? zeros.data() : row - rowBytes;
        const auto filter =
            everywhere ? *everywhere : engine::pngMeasure(samples.distance, row, above, rowBytes).best();
        std::uint8_t* const to = &result[y * (rowBytes + 1)];
        to[0] = static_cast<std::uint8_t>(filter);
        engine::pngFilter(filter, samples.distance, row, above, to + 1, rowBytes);
    }
    return result;
}

struct Trial {
    std::optional<engine::PngFilter> filter;
    std::optional<Bytes> stream; ///< absent: memory was short
};

/// Compresses each trial at the level, several at a time.
void compress(const Samples& samples, std::span<Trial> trials, int level)
{
    engine::parallelFor(static_cast<int>(trials.size()), static_cast<long long>(samples.rows.size()),
                        [&](int first, int last) {
                            for (int i = first; i < last; ++i) {
                                Trial& trial = trials[static_cast<std::size_t>(i)];
                                try {
                                    trial.stream = zlibStream(filtered(samples, trial.filter), level);
                                } catch (const std::bad_alloc&) {
                                    trial.stream.reset();
                                }
                            }
                        });
    if (std::any_of(trials.begin(), trials.end(), [](const Trial& trial) { return !trial.stream; }))
        throw std::bad_alloc();
}

bool isSmaller(const Trial& a, const Trial& b)
{
    return a.stream->size() < b.stream->size();
}

} // namespace

ColorType colorTypeOf(engine::PackedFormat packed)
{
    switch (packed) {
    case engine::PackedFormat::grey:
        return ColorType::gray;
    case engine::PackedFormat::greyAlpha:
        return ColorType::grayAlpha;
    case engine::PackedFormat::rgb:
        return ColorType::rgb;
    default:
        return ColorType::rgba;
    }
}

std::optional<SmallestPixels> makeSmallest(const SampleFormat& format, Bytes samplesOfPicture)
{
    Samples samples{colorTypeOf(format.packed),
                    format.from.bytesPerComponent * 8,
                    format.rowBytes(),
                    format.distance(),
                    std::move(samplesOfPicture),
                    {},
                    {}};
    const auto sampleBytes = static_cast<std::size_t>(format.from.bytesPerComponent);
    const bool hasAlpha = samples.type == ColorType::rgba || samples.type == ColorType::grayAlpha;
    if (hasAlpha && isOpaque(samples, sampleBytes))
        dropAlpha(samples, sampleBytes);
    if (samples.bits == 8 && (samples.type == ColorType::rgb || samples.type == ColorType::rgba))
        usePalette(samples, format.width);

    using engine::PngFilter;
    std::array<Trial, engine::pngFilterCount + 1> trials{};
    for (std::size_t i = 0; i < engine::pngFilterCount; ++i)
        trials[i].filter = static_cast<PngFilter>(i);
    if (!keepGoing(0, "encode"))
        return std::nullopt;
    compress(samples, trials, trialLevel);
    std::stable_sort(trials.begin(), trials.end(), isSmaller);
    if (!keepGoing(0.25, "encode"))
        return std::nullopt;
    const auto best = std::span(trials).first(finalists);
    compress(samples, best, finalLevel);
    Trial& winner = *std::min_element(best.begin(), best.end(), isSmaller);
    return SmallestPixels{samples.type, samples.bits, std::move(samples.palette), std::move(samples.transparency),
                          std::move(*winner.stream)};
}

} // namespace zel::png
