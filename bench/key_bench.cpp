// Keying, filling and labelling of 12 megapixels in memory: bytes a second, the plain loop beside the vectors.
#include <zel/engine/fill_holes.h>
#include <zel/engine/key.h>
#include <zel/engine/label_kernels.h>
#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>

#include <benchmark/benchmark.h>

#include <random>

namespace zel::engine {
namespace {

constexpr int width = 4000;
constexpr int height = 3000;

/// Random colours; alpha in discs of 60 pixels across, each with a hole.
PixelBuffer discs()
{
    PixelBuffer picture(width, height);
    std::minstd_rand random(1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = picture.pixels().at(x, y);
            for (int i = 0; i < 3; ++i)
                pixel[i] = static_cast<std::uint8_t>(random() >> 8);
            const int dx = x % 80 - 40, dy = y % 80 - 40, square = dx * dx + dy * dy;
            pixel[3] = square < 900 && square > 40 ? 255 : 0;
        }
    return picture;
}

template <class Work>
void measure(benchmark::State& state, std::size_t bytesWritten, const Work& work)
{
    setConcurrency(static_cast<int>(state.range(0)));
    const PixelBuffer from = discs();
    for (auto _ : state)
        work(from.pixels());
    setConcurrency(0);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(from.sizeInBytes() + bytesWritten));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(width) * height);
}

constexpr ColorKey green{{32, 178, 64}, 3600};

void key(benchmark::State& state)
{
    PixelBuffer to = discs();
    measure(state, to.sizeInBytes(), [&](const ConstPixels& from) {
        benchmark::DoNotOptimize(keyOut(from, to.pixels(), {.fromAlphaFirst = false, .toAlphaFirst = true}, green));
    });
}
BENCHMARK(key)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void keyReference(benchmark::State& state)
{
    PixelBuffer to = discs();
    measure(state, to.sizeInBytes(), [&](const ConstPixels& from) {
        keyRowsReference(from, to.pixels(), {.fromAlphaFirst = false, .toAlphaFirst = true}, green);
    });
}
BENCHMARK(keyReference)->Arg(1)->Unit(benchmark::kMillisecond);

void paint(benchmark::State& state)
{
    PixelBuffer to = discs();
    measure(state, to.sizeInBytes(),
            [&](const ConstPixels& from) { benchmark::DoNotOptimize(paintOver(from, to.pixels(), {}, green.color)); });
}
BENCHMARK(paint)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void mark(benchmark::State& state)
{
    measure(state, 0, [](const ConstPixels& from) { benchmark::DoNotOptimize(alphaAbove(from, 10)); });
}
BENCHMARK(mark)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void markReference(benchmark::State& state)
{
    std::vector<std::uint64_t> bits(width / 64 + 1);
    measure(state, 0, [&](const ConstPixels& from) {
        for (int y = 0; y < height; ++y)
            markAlphaAboveReference(from.row(y), width, 10, bits.data());
    });
}
BENCHMARK(markReference)->Arg(1)->Unit(benchmark::kMillisecond);

void regions(benchmark::State& state)
{
    measure(state, 0, [](const ConstPixels& from) {
        benchmark::DoNotOptimize(RegionMap(alphaAbove(from, 10)).regions().size());
    });
}
BENCHMARK(regions)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void regionsAndHoles(benchmark::State& state)
{
    measure(state, 0, [](const ConstPixels& from) {
        benchmark::DoNotOptimize(findHoles(RegionMap(alphaAbove(from, 10))).list.size());
    });
}
BENCHMARK(regionsAndHoles)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace zel::engine
