#include <zel/engine/parallel.h>
#include <zel/engine/resample.h>
#include <zel/engine/resample_plan.h>

#include <benchmark/benchmark.h>

#include <random>

// Sizes as they come: a 24 MP photograph to 1600 × 1067, 1 MP to 16. Rates are in source pixels, or in result pixels
// where there are more of those.
namespace zel::engine {
namespace {

PixelBuffer photograph(int width, int height, int bytesPerPixel)
{
    PixelBuffer picture(width, height, bytesPerPixel);
    std::minstd_rand random(1);
    for (std::size_t i = 0; i < picture.sizeInBytes(); ++i)
        picture.pixels().data[i] = static_cast<std::uint8_t>((i >> 12) + (random() >> 26));
    return picture;
}

void countPixels(benchmark::State& state, const ConstPixels& from, const ConstPixels& to)
{
    const std::int64_t pixels = std::max(std::int64_t{from.width} * from.height, std::int64_t{to.width} * to.height);
    state.SetItemsProcessed(state.iterations() * pixels);
}

void whole(benchmark::State& state, int fromWidth, int fromHeight, int toWidth, int toHeight, Kernel kernel, int bytes)
{
    const PixelBuffer from = photograph(fromWidth, fromHeight, bytes);
    PixelBuffer to(toWidth, toHeight, bytes);
    setConcurrency(static_cast<int>(state.range(0)));
    for (auto _ : state) // NOLINT(clang-analyzer-deadcode.DeadStores)
        benchmark::DoNotOptimize(resample(from.pixels(), to.pixels(), kernel));
    countPixels(state, from.pixels(), to.pixels());
}

/// In bands of 16 rows, as decoders give them.
void byRows(benchmark::State& state, int fromWidth, int fromHeight, int toWidth, int toHeight, Kernel kernel)
{
    const PixelBuffer from = photograph(fromWidth, fromHeight, 4);
    setConcurrency(static_cast<int>(state.range(0)));
    int rows = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
        RowResampler resampler({fromWidth, fromHeight, toWidth, toHeight, 4}, kernel, zel::engine::whole,
                               Alpha::premultiplied, [&](int, const ConstPixels& strip) {
                                   rows += strip.height;
                                   return true;
                               });
        for (int y = 0; y < fromHeight; y += 16)
            benchmark::DoNotOptimize(resampler.push(y, from.pixels().rows(y, std::min(16, fromHeight - y))));
    }
    benchmark::DoNotOptimize(rows);
    state.SetItemsProcessed(state.iterations() *
                            std::max(std::int64_t{fromWidth} * fromHeight, std::int64_t{toWidth} * toHeight));
}

void mean(benchmark::State& state, int columns, int rows)
{
    const PixelBuffer from = photograph(6000, 4000, 4);
    PixelBuffer to(columns, rows);
    setConcurrency(static_cast<int>(state.range(0)));
    for (auto _ : state) // NOLINT(clang-analyzer-deadcode.DeadStores)
        benchmark::DoNotOptimize(areaMean(from.pixels(), to.pixels()));
    countPixels(state, from.pixels(), to.pixels());
}

/// One row of a reduction by 3.75: the first pass over 24 rows, then the second, through `Kernels` or the definition.
template <class Kernels, bool first>
void passes(benchmark::State& state)
{
    constexpr int width = 6000;
    const PixelBuffer from = photograph(width, 24, 4);
    const std::optional<Plan> plan =
        makePlan({width, 24, 1600, 1, 4}, Kernel::lanczos3, zel::engine::whole, Alpha::premultiplied);
    TapRows<std::uint8_t> rows(24);
    const auto in = rows.gather(plan->rows.weights.data(), 24, [&](int k) { return from.pixels().row(k); });
    ScratchRows<std::int16_t> middle(width, 1, plan->columns.padded);
    PixelBuffer to(1600, 1);
    Kernels::verticalIn(in, middle.row(0), width * 4);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores)
        if (first)
            Kernels::verticalIn(in, middle.row(0), width * 4);
        else
            Kernels::horizontalOut(middle.row(0), plan->columns, plan->hold, to.pixels().data);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * (first ? width * 24 : width));
}

void threads(benchmark::internal::Benchmark* run)
{
    run->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_TEMPLATE(passes, Kernels<Depth8>, true)->Name("verticalPass");
BENCHMARK_TEMPLATE(passes, ReferenceKernels<Depth8>, true)->Name("verticalPass/definition");
BENCHMARK_TEMPLATE(passes, Kernels<Depth8>, false)->Name("horizontalPass");
BENCHMARK_TEMPLATE(passes, ReferenceKernels<Depth8>, false)->Name("horizontalPass/definition");
BENCHMARK_CAPTURE(whole, reduceLanczos, 6000, 4000, 1600, 1067, Kernel::lanczos3, 4)->Apply(threads);
BENCHMARK_CAPTURE(whole, reduceTriangle, 6000, 4000, 1600, 1067, Kernel::triangle, 4)->Apply(threads);
BENCHMARK_CAPTURE(whole, reduceNearest, 6000, 4000, 1600, 1067, Kernel::nearest, 4)->Apply(threads);
BENCHMARK_CAPTURE(whole, reduceLanczos16, 6000, 4000, 1600, 1067, Kernel::lanczos3, 8)->Apply(threads);
BENCHMARK_CAPTURE(whole, thumbnailLanczos, 6000, 4000, 256, 171, Kernel::lanczos3, 4)->Apply(threads);
BENCHMARK_CAPTURE(whole, enlargeLanczos, 1000, 1000, 4000, 4000, Kernel::lanczos3, 4)->Apply(threads);
BENCHMARK_CAPTURE(whole, enlargeTriangle, 1000, 1000, 4000, 4000, Kernel::triangle, 4)->Apply(threads);
BENCHMARK_CAPTURE(whole, enlargeNearest, 1000, 1000, 4000, 4000, Kernel::nearest, 4)->Apply(threads);
BENCHMARK_CAPTURE(byRows, reduceLanczos, 6000, 4000, 1600, 1067, Kernel::lanczos3)->Apply(threads);
BENCHMARK_CAPTURE(byRows, enlargeTriangle, 1000, 1000, 4000, 4000, Kernel::triangle)->Apply(threads);
BENCHMARK_CAPTURE(mean, one, 1, 1)->Apply(threads);
BENCHMARK_CAPTURE(mean, grid, 16, 16)->Apply(threads);
BENCHMARK_CAPTURE(mean, reduce, 1600, 1067)->Apply(threads);

} // namespace
} // namespace zel::engine
