// What a drag costs: the search for a line to snap to, 60 times a second, and the saving of every move; on a document
// of 1000 layers. Then the whole text, which the first save alone has to make.
#include <zel/composition/guides.h>
#include <zel/composition/manager.h>
#include <zel/platform/foundation/console.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>

#include <unistd.h>

namespace {

using namespace zel;
using Layer = ZelComposer::Layer;

ZelComposer documentOf(std::int64_t layers)
{
    ZelComposer composer;
    for (std::int64_t number = 0; number < layers; ++number) {
        Layer layer;
        layer.layerType = allCases<Layer::LayerType>()[static_cast<std::size_t>(number % 3)];
        layer.image.ratio = 1.5;
        layer.image.resourceAccess.shareAppId = "0123456789abcdef-" + std::to_string(number) + ".jpg";
        layer.text.text = "Words of a caption, number " + std::to_string(number);
        layer.transform.location = {static_cast<double>(number % 37) / 37 - 0.5, static_cast<double>(number % 23) / 46};
        layer.transform.scale = {0.1, 0.1};
        composer.layerList.push_back(layer);
    }
    return composer;
}

/// Nobody listens: as in an application.
void beQuiet()
{
    Console::setSink({});
}

void snapping(benchmark::State& state)
{
    beQuiet();
    const ZelComposer composer = documentOf(state.range(0));
    const Layer dragged = composer.layerList.front(); // an image: three candidates a line
    double at = -0.5;
    for (auto _ : state) {
        const CGSize view{1600, 900};
        benchmark::DoNotOptimize(nearestVerticalGuide(composer, {.for_ = dragged, .at = at, .in = view}));
        benchmark::DoNotOptimize(nearestHorizontalGuide(composer, {.for_ = dragged, .at = at, .in = view}));
        at = at > 0.5 ? -0.5 : at + 0.001;
    }
}
BENCHMARK(snapping)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

/// A manager whose documents lie in a folder of its own.
class Saving : public benchmark::Fixture {
public:
    void SetUp(const benchmark::State& state) override
    {
        beQuiet();
        home_ = std::filesystem::temp_directory_path() / ("zel-bench-" + std::to_string(getpid()));
        setenv("XDG_DATA_HOME", home_.c_str(), 1);
        manager = std::make_shared<ZelComposerManager>();
        manager->setComposerList({documentOf(state.range(0))});
    }
    void TearDown(const benchmark::State&) override
    {
        manager->flush();
        manager.reset();
        std::filesystem::remove_all(home_);
    }

protected:
    Ref<ZelComposerManager> manager;

private:
    std::filesystem::path home_;
};

BENCHMARK_DEFINE_F(Saving, aMove)(benchmark::State& state)
{
    const ZelComposer composer = manager->composerList().front();
    double x = 0;
    for (auto _ : state)
        manager->updateOffset({.for_ = composer.layerList[composer.layerList.size() / 2],
                               .of = composer,
                               .to = {++x, 1},
                               .in = {900, 600}});
}
BENCHMARK_REGISTER_F(Saving, aMove)->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond);

BENCHMARK_DEFINE_F(Saving, aMoveOfAllLayers)(benchmark::State& state)
{
    for (auto _ : state)
        manager->changeComposerList([](std::vector<ZelComposer>& list) {
            for (Layer& layer : list.front().layerList)
                layer.transform.location.x += 0.001;
        });
}
BENCHMARK_REGISTER_F(Saving, aMoveOfAllLayers)->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond);

BENCHMARK_DEFINE_F(Saving, nothingNew)(benchmark::State& state)
{
    for (auto _ : state)
        manager->save();
}
BENCHMARK_REGISTER_F(Saving, nothingNew)->Arg(1000)->Unit(benchmark::kMicrosecond);

BENCHMARK_DEFINE_F(Saving, theWholeText)(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(encode(manager));
}
BENCHMARK_REGISTER_F(Saving, theWholeText)->Arg(1000)->Unit(benchmark::kMicrosecond);

} // namespace
