#include <zel/engine/composite.h>

#include <zel/engine/blend.h>
#include <zel/engine/composite_kernels.h>
#include <zel/engine/parallel.h>
#include <zel/engine/resample_axis.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>
#include <optional>

// A layer is cut to the target first: positions and weights exist for visible pixels alone. Where a vector of columns,
// or two, hold all neighbours of a vector of result pixels, one pass scales and blends (see the kernels); everything
// else goes through the resampler strip by strip.
namespace zel::engine {
namespace {

constexpr double tolerance = 1e-6;
constexpr double furthest = 1073741824.0;     // 2^30 pixels
constexpr double mostReduction = 2;           // of one pass: the columns of a vector of results then fit in two vectors
constexpr long long pixelsPerStrip = 1 << 19; // 2 MiB, and work for two threads
constexpr int weightBits = 16;

/// One direction of the visible part: positions [first, first + count) of the target, and where they lie in the source.
struct Visible {
    int first = 0, count = 0;
    double start = 0;   ///< of the source
    double length = 0;  ///< of the source
    bool whole = false; ///< not scaled
};

/// Absent where nothing shows; `least` and `size` are the side of the rectangle.
std::optional<Visible> visible(double least, double size, int source, int target)
{
    const double from = std::floor(least + tolerance);
    const double to = std::max(from + 1, std::ceil(least + size - tolerance));
    const double first = std::max(0.0, from);
    const double last = std::min(static_cast<double>(target), to);
    if (last <= first)
        return {};
    const double scale = source / (to - from);
    return Visible{static_cast<int>(first), static_cast<int>(last - first), (first - from) * scale,
                   (last - first) * scale, to - from == source};
}

struct Layer {
    Visible columns, rows;
    ConstPixels from;
    Pixels to; ///< the visible part of the target
};

/// Calls `take(k, weight)` for weights in proportion, rounded by way of their running sum, so that they add up to
/// `total` exactly.
template <class Take>
void scaleWeights(const Axis& axis, const Taps& taps, double total, const Take& take)
{
    const std::int32_t* weights = axis.weightsOf(taps);
    const double unit = total / (1 << weightBits);
    std::int64_t running = 0;
    std::int64_t before = 0;
    for (int k = 0; k < taps.count; ++k) {
        running += weights[k];
        const auto now = static_cast<std::int64_t>(static_cast<double>(running) * unit + 0.5);
        take(static_cast<std::size_t>(k), static_cast<std::uint16_t>(now - before));
        before = now;
    }
}

/// Leaves out weights of 0 at both ends, which stand where a centre lies on a pixel's: one such position would cost all
/// others a tap.
void trim(Axis& axis)
{
    for (Taps& taps : axis.taps) {
        while (taps.count > 1 && axis.weightsOf(taps)[0] == 0) {
            ++taps.first;
            ++taps.offset;
            --taps.count;
        }
        while (taps.count > 1 && axis.weightsOf(taps)[taps.count - 1] == 0)
            --taps.count;
    }
}

LayerRows layerRows(const Axis& axis)
{
    LayerRows rows;
    rows.taps = axis.mostTaps();
    const auto taps = static_cast<std::size_t>(rows.taps);
    const std::size_t height = axis.taps.size();
    rows.first.resize(height);
    rows.weights.resize(height * taps);
    for (std::size_t y = 0; y < height; ++y) {
        rows.first[y] = axis.taps[y].first;
        scaleWeights(axis, axis.taps[y], 65535,
                     [&](std::size_t k, std::uint16_t weight) { rows.weights[y * taps + k] = weight; });
    }
    return rows;
}

LayerColumns layerColumns(const Axis& axis, double opacity)
{
    LayerColumns columns;
    columns.taps = axis.mostTaps();
    const std::size_t width = axis.taps.size();
    columns.first.resize(width);
    columns.weights.resize(width * static_cast<std::size_t>(columns.taps));
    for (std::size_t x = 0; x < width; ++x) {
        columns.first[x] = static_cast<std::uint32_t>(axis.taps[x].first - axis.first);
        scaleWeights(axis, axis.taps[x], 65535 * opacity,
                     [&](std::size_t k, std::uint16_t weight) { columns.weights[k * width + x] = weight * 0x10001u; });
    }
    return columns;
}

bool drawInOnePass(const Layer& layer, Kernel kernel, double opacity)
{
    auto across =
        makeAxis(layer.from.width, layer.columns.count, layer.columns.start, layer.columns.length, kernel, weightBits);
    auto down = makeAxis(layer.from.height, layer.rows.count, layer.rows.start, layer.rows.length, kernel, weightBits);
    if (!across || !down)
        return false;
    trim(*across);
    trim(*down);
    const LayerColumns columns = layerColumns(*across, opacity);
    const LayerRows rows = layerRows(*down);
    const ConstPixels from = layer.from.part(across->first, 0, across->end - across->first, layer.from.height);
    std::atomic<bool> enough = true;
    parallelFor(layer.to.height, layer.to.width, [&](int first, int last) {
        PixelBuffer scratch(from.width + layerPadding, 2);
        if (scratch.empty()) {
            enough = false;
            return;
        }
        const auto row = [&](int y) { return reinterpret_cast<std::uint32_t*>(scratch.pixels().row(y)); };
        drawLayer(from, rows, columns, layer.to, first, last, {row(0), row(1)});
    });
    return enough;
}

bool drawByStrips(const Layer& layer, Kernel kernel, double opacity)
{
    const int width = layer.to.width;
    const int height = layer.to.height;
    const int most = static_cast<int>(std::clamp<long long>(pixelsPerStrip / width, 1, height));
    PixelBuffer strip(width, most);
    if (strip.empty())
        return false;
    const double scale = layer.rows.length / height;
    for (int y = 0; y < height; y += most) {
        const int count = std::min(most, height - y);
        const Window window{layer.columns.start, layer.rows.start + y * scale, layer.columns.length, count * scale};
        const Pixels result = strip.pixels().rows(0, count);
        if (!resample(layer.from, result, kernel, window) || !sourceOver(result, layer.to.rows(y, count), opacity))
            return false;
    }
    return true;
}

} // namespace

bool drawScaled(const ConstPixels& from, const Pixels& to, const Placement& place, Kernel kernel, double opacity)
try {
    const auto near = [](double value) { return std::abs(value) < furthest; };
    if (from.empty() || to.empty() || from.bytesPerPixel != 4 || to.bytesPerPixel != 4 || !near(place.x) ||
        !near(place.y) || !near(place.width) || !near(place.height) || !(place.width > 0) || !(place.height > 0))
        return false;
    const auto columns = visible(place.x, place.width, from.width, to.width);
    const auto rows = visible(place.y, place.height, from.height, to.height);
    if (!columns || !rows || !(opacity > 0))
        return true;
    const Layer layer{*columns, *rows, from, to.part(columns->first, rows->first, columns->count, rows->count)};
    if (columns->whole && rows->whole)
        return sourceOver(
            from.part(static_cast<int>(columns->start), static_cast<int>(rows->start), columns->count, rows->count),
            layer.to, opacity);
    const bool fits = columns->length <= mostReduction * columns->count && rows->length <= mostReduction * rows->count;
    if (kernel != Kernel::lanczos3 && fits)
        return drawInOnePass(layer, kernel, std::min(opacity, 1.0));
    return drawByStrips(layer, kernel, opacity);
} catch (const std::bad_alloc&) {
    return false;
}

} // namespace zel::engine
