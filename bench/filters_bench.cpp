// Filters of a picture of 12 megapixels in memory, each kernel beside its reference in plain C++. The figure to look at
// is bytes a second, read and written.
#include <zel/engine/cube_kernels.h>
#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>
#include <zel/engine/sharpen.h>
#include <zel/engine/sharpen_kernels.h>
#include <zel/engine/tone_kernels.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace zel::engine {
namespace {

constexpr int width = 4000;
constexpr int height = 3000;

/// Smooth, as photographs are, with a little noise: neighbours find neighbouring entries of a cube.
PixelBuffer photograph()
{
    PixelBuffer picture(width, height);
    std::minstd_rand random(1);
    const auto noise = [&] { return static_cast<int>(random() >> 20 & 7); };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = picture.pixels().at(x, y);
            pixel[0] = static_cast<std::uint8_t>((x / 20 + noise()) & 255);
            pixel[1] = static_cast<std::uint8_t>((y / 15 + noise()) & 255);
            pixel[2] = static_cast<std::uint8_t>(((x + y) / 40 + noise()) & 255);
            pixel[3] = 255;
        }
    return picture;
}

template <class Run>
void filter(benchmark::State& state, const Run& run)
{
    const PixelBuffer from = photograph();
    PixelBuffer to(width, height);
    run(from.pixels(), to.pixels());
    for ([[maybe_unused]] auto _ : state)
        run(from.pixels(), to.pixels());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(2 * from.sizeInBytes()));
}

using Tone = void (*)(const ToneTable&, const ConstPixels&, const Pixels&);

void tone(benchmark::State& state, Tone kernel)
{
    ToneTable table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<std::uint8_t>(255 - i);
    filter(state, [&](const ConstPixels& from, const Pixels& to) { kernel(table, from, to); });
}
BENCHMARK_CAPTURE(tone, reference, toneRowsReference)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(tone, simd, toneRows)->Unit(benchmark::kMillisecond);

using CubeRows = void (*)(const ColorCube&, const ConstPixels&, const Pixels&);

void cube(benchmark::State& state, CubeRows kernel)
{
    constexpr int side = 33;
    PixelBuffer slices(side, side * side, 8);
    std::minstd_rand random(2);
    for (std::size_t i = 0; i < slices.sizeInBytes(); ++i)
        slices.pixels().data[i] = static_cast<std::uint8_t>(random() >> 9);
    const ColorCube made(std::as_const(slices).pixels());
    filter(state, [&](const ConstPixels& from, const Pixels& to) { kernel(made, from, to); });
}
BENCHMARK_CAPTURE(cube, reference, cubeRowsReference)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cube, simd, cubeRows)->Unit(benchmark::kMillisecond);

/// The passes over one row, again and again: what they take without the memory.
void sharpenPasses(benchmark::State& state, bool reference)
{
    constexpr std::size_t count = width, margin = 16;
    const PixelBuffer from = photograph();
    const std::uint8_t* pixels = from.pixels().data;
    const Gaussian gaussian{.reach = 5, .weights = {6700, 4100, 1800, 500, 100}};
    std::vector<std::int16_t> luma(count + 2 * margin), across(count), soft(count);
    std::vector<std::uint8_t> result(4 * count);
    const std::vector<const std::int16_t*> rows(11, across.data());
    for ([[maybe_unused]] auto _ : state) {
        (reference ? lumaRowReference : lumaRow)(pixels, luma.data() + margin, count);
        (reference ? blurAcrossReference : blurAcross)(luma.data() + margin, gaussian, across.data(), count);
        (reference ? blurDownReference : blurDown)(rows.data(), gaussian, soft.data(), count);
        (reference ? addDetailReference : addDetail)(pixels, luma.data() + margin, soft.data(), gainOf(1),
                                                     result.data(), count);
        benchmark::DoNotOptimize(result.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(8 * count));
}
BENCHMARK_CAPTURE(sharpenPasses, reference, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(sharpenPasses, simd, false)->Unit(benchmark::kMicrosecond);

void sharpen(benchmark::State& state)
{
    setConcurrency(static_cast<int>(state.range(0)));
    const bool opaque = state.range(1) != 0;
    filter(state, [&](const ConstPixels& from, const Pixels& to) { (void)sharpenLuma(from, to, {}, opaque); });
    setConcurrency(0);
}
BENCHMARK(sharpen)->ArgsProduct({{1, 2}, {1, 0}})->ArgNames({"threads", "opaque"})->Unit(benchmark::kMillisecond);

} // namespace
} // namespace zel::engine
