// The memory cache of images: requests of a full cache, hits and misses, on one core.
#include <zel/cache/image_cache.h>

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace zel {
namespace {

constexpr int entries = 1000;
constexpr int requests = 100'000;

Ref<ZelImage> picture()
{
    return makeZelImage(
        CGImage::make({.width = 1, .height = 1}, Data(std::vector<std::uint8_t>{1, 2, 3, 255}), std::size_t{4}));
}

std::vector<std::string> names(int count)
{
    std::vector<std::string> all;
    for (int i = 0; i < count; ++i)
        all.push_back("picture-" + std::to_string(i));
    return all;
}

/// A hundred thousand requests of what is there, the entries of the last tenth more often than others.
void recentHits(benchmark::State& state)
{
    ZelImageCache cache({.maxImagesInCache = entries});
    const auto image = picture();
    const auto ids = names(entries);
    for (const auto& id : ids)
        (void)cache.getImageOrCalc({.withId = id, .calcClosure = [&] { return image; }});
    int missed = 0;
    for (auto _ : state)
        for (int i = 0; i < requests; ++i) {
            const int recent = i % 3 == 0 ? i * 7 % entries : entries - 1 - i % (entries / 10);
            const auto found =
                cache.getImageOrCalc({.withId = ids[static_cast<std::size_t>(recent)], .calcClosure = [&] {
                                          ++missed;
                                          return image;
                                      }});
            benchmark::DoNotOptimize(found.get());
        }
    if (missed != 0)
        state.SkipWithError("an entry was not found");
    state.SetItemsProcessed(state.iterations() * requests);
}
BENCHMARK(recentHits)->Unit(benchmark::kMillisecond);

/// Each request is one too many, sorts the list and removes the oldest entry.
void misses(benchmark::State& state)
{
    ZelImageCache cache({.maxImagesInCache = entries});
    const auto image = picture();
    const auto ids = names(2 * entries);
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            cache.getImageOrCalc({.withId = ids[next++ % ids.size()], .calcClosure = [&] { return image; }}).get());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(misses)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace zel
