// Conversions, blending, turns and fills of a picture of 12 megapixels in memory. The figure to look at is bytes a
// second beside the copy at the top: every pass here could at best be as fast as that.
#include <zel/engine/affine.h>
#include <zel/engine/blend.h>
#include <zel/engine/convert.h>
#include <zel/engine/convert_packed.h>
#include <zel/engine/convolve.h>
#include <zel/engine/convolve_kernels.h>
#include <zel/engine/fill.h>
#include <zel/engine/mean.h>
#include <zel/engine/orient.h>
#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>

namespace zel::engine {
namespace {

constexpr int width = 4000;
constexpr int height = 3000;
using Alpha = PixelLayout::Alpha;

enum class Content { opaque, mixed };

/// A premultiplied picture of 8 or 16 bits; `mixed` has every alpha.
PixelBuffer picture(int w, int h, int bytesPerPixel, Content content = Content::mixed)
{
    PixelBuffer buffer(w, h, bytesPerPixel);
    std::minstd_rand random(1);
    std::uint8_t* bytes = buffer.pixels().data;
    for (std::size_t i = 0; i < buffer.sizeInBytes(); i += static_cast<std::size_t>(bytesPerPixel)) {
        for (int b = 0; b < bytesPerPixel; ++b)
            bytes[i + static_cast<std::size_t>(b)] = static_cast<std::uint8_t>(random() >> 9 & 127);
        std::memset(bytes + i + static_cast<std::size_t>(bytesPerPixel) * 3 / 4,
                    content == Content::opaque ? 255 : static_cast<int>(128 + (random() >> 10 & 127)),
                    static_cast<std::size_t>(bytesPerPixel) / 4);
    }
    return buffer;
}

void report(benchmark::State& state, std::size_t bytesRead, std::size_t bytesWritten)
{
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytesRead + bytesWritten));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(width) * height);
}

void plainCopy(benchmark::State& state)
{
    const PixelBuffer from = picture(width, height, 4);
    PixelBuffer to(width, height, 4);
    std::memset(to.pixels().data, 0, to.sizeInBytes());
    for (auto _ : state)
        std::memcpy(to.pixels().data, from.pixels().data, from.sizeInBytes());
    report(state, from.sizeInBytes(), to.sizeInBytes());
}
BENCHMARK(plainCopy)->Unit(benchmark::kMillisecond);

/// Runs `work(from, to)` on pictures of the given bytes a pixel with one thread and with two.
template <class Work>
void measure(benchmark::State& state, int fromBytes, int toBytes, const Work& work, Content content = Content::mixed,
             bool turned = false)
{
    setConcurrency(static_cast<int>(state.range(0)));
    const PixelBuffer from = picture(width, height, fromBytes, content);
    PixelBuffer to = turned ? picture(height, width, toBytes) : picture(width, height, toBytes);
    for (auto _ : state) {
        work(from.pixels(), to.pixels());
        benchmark::ClobberMemory();
    }
    setConcurrency(0);
    report(state, from.sizeInBytes(), to.sizeInBytes());
}

#define ZEL_BENCH(name, ...)                                                                                           \
    void name(benchmark::State& state)                                                                                 \
    {                                                                                                                  \
        measure(state, __VA_ARGS__);                                                                                   \
    }                                                                                                                  \
    BENCHMARK(name)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()

auto conversion(PixelLayout from, PixelLayout to)
{
    return [from, to](const ConstPixels& a, const Pixels& b) { benchmark::DoNotOptimize(convert(a, from, b, to)); };
}

ZEL_BENCH(copied, 4, 4, [](const ConstPixels& a, const Pixels& b) { benchmark::DoNotOptimize(copy(a, b)); });
ZEL_BENCH(filled, 4, 4, [](const ConstPixels&, const Pixels& b) { fill(b, {1, 2, 3, 4}); });
ZEL_BENCH(premultiply, 4, 4, conversion({false, Alpha::straight, 1}, {false, Alpha::premultiplied, 1}));
ZEL_BENCH(divide, 4, 4, conversion({false, Alpha::premultiplied, 1}, {false, Alpha::straight, 1}));
ZEL_BENCH(divideOpaque, 4, 4, conversion({false, Alpha::premultiplied, 1}, {false, Alpha::straight, 1}),
          Content::opaque);
ZEL_BENCH(reorder, 4, 4, conversion({true, Alpha::straight, 1}, {false, Alpha::straight, 1}));
ZEL_BENCH(narrow, 8, 4, conversion({false, Alpha::straight, 2}, {false, Alpha::straight, 1}));
ZEL_BENCH(widen, 4, 8, conversion({false, Alpha::straight, 1}, {false, Alpha::straight, 2}));
ZEL_BENCH(premultiplyDeep, 8, 8, conversion({false, Alpha::straight, 2}, {false, Alpha::premultiplied, 2}));
ZEL_BENCH(divideDeep, 8, 8, conversion({false, Alpha::premultiplied, 2}, {false, Alpha::straight, 2}));
ZEL_BENCH(flattened, 4, 4,
          [](const ConstPixels& a, const Pixels& b) { benchmark::DoNotOptimize(flatten(a, Alpha::premultiplied, b)); });
ZEL_BENCH(flattenedStraight, 4, 4,
          [](const ConstPixels& a, const Pixels& b) { benchmark::DoNotOptimize(flatten(a, Alpha::straight, b)); });
ZEL_BENCH(blendedHalf, 4, 4,
          [](const ConstPixels& a, const Pixels& b) { benchmark::DoNotOptimize(sourceOver(a, b, 0.5)); });
ZEL_BENCH(mirrored, 4, 4,
          [](const ConstPixels& a, const Pixels& b) { benchmark::DoNotOptimize(orient(a, Orientation::mirrored, b)); });
ZEL_BENCH(
    quarterTurn, 4, 4,
    [](const ConstPixels& a, const Pixels& b) { benchmark::DoNotOptimize(orient(a, Orientation::clockwise, b)); },
    Content::mixed, true);
ZEL_BENCH(
    quarterTurnDeep, 8, 8,
    [](const ConstPixels& a, const Pixels& b) { benchmark::DoNotOptimize(orient(a, Orientation::clockwise, b)); },
    Content::mixed, true);
ZEL_BENCH(meanStraight, 4, 4, [](const ConstPixels& a, const Pixels&) {
    benchmark::DoNotOptimize(meanColor(a, {false, Alpha::straight, 1}));
});
ZEL_BENCH(turnedBy7, 4, 4, [](const ConstPixels& a, const Pixels& b) {
    const double c = std::cos(0.1222);
    const double s = std::sin(0.1222);
    const AffineMap map{c,  s, width / 2.0 * (1 - c) - height / 2.0 * s,
                        -s, c, height / 2.0 * (1 - c) + width / 2.0 * s};
    benchmark::DoNotOptimize(drawAffine(a, b, {map, 1, Rim::clear, Onto::replace}));
});

ZEL_BENCH(convolved, 4, 4, [](const ConstPixels& a, const Pixels& b) {
    benchmark::DoNotOptimize(convolve(a, {{-1, -1, -1, -1, 11, -1, -1, -1, -1}, {}}, b));
});
ZEL_BENCH(convolvedWithLargeWeights, 4, 4, [](const ConstPixels& a, const Pixels& b) {
    benchmark::DoNotOptimize(convolve(a, {{-1000, 0, 0, 0, 1003, 0, 0, 0, 0}, {}}, b));
});
ZEL_BENCH(convolvedByReference, 4, 4, [](const ConstPixels& a, const Pixels& b) {
    for (int y = 1; y < a.height - 1; ++y)
        convolveRowReference({{a.at(1, y - 1), a.at(1, y), a.at(1, y + 1)}, {-1, -1, -1, -1, 11, -1, -1, -1, -1}},
                             b.at(1, y), static_cast<std::size_t>(a.width - 2) * 4);
});

/// 24-bit rows, as decoders give and encoders take them.
template <class Work>
void measureRows(benchmark::State& state, std::size_t packed, const Work& work)
{
    PixelBuffer pixels = picture(width, height, 4);
    std::vector<std::uint8_t> rows(packed * width * height, 100);
    for (auto _ : state) {
        for (int y = 0; y < height; ++y)
            work(rows.data() + packed * width * static_cast<std::size_t>(y), pixels.pixels().row(y));
        benchmark::ClobberMemory();
    }
    report(state, rows.size(), pixels.sizeInBytes());
}

void expandRgb(benchmark::State& state)
{
    measureRows(state, 3, [](auto* packed, auto* row) { expandRow(packed, PackedFormat::rgb, 1, row, width); });
}
BENCHMARK(expandRgb)->Unit(benchmark::kMillisecond);

void expandGrey(benchmark::State& state)
{
    measureRows(state, 1, [](auto* packed, auto* row) { expandRow(packed, PackedFormat::grey, 1, row, width); });
}
BENCHMARK(expandGrey)->Unit(benchmark::kMillisecond);

void packRgb(benchmark::State& state)
{
    measureRows(state, 3, [](auto* packed, auto* row) { packRow(row, packed, PackedFormat::rgb, 1, width); });
}
BENCHMARK(packRgb)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace zel::engine
