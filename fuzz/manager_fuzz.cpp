// Chains of editing steps on a manager of composers. After each one: what is stored is the last state that has a text,
// every change was saved and announced as often as it should be, and the text is the same when it is read again.
#include "target.h"

#include <zel/zel.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <optional>

#include <unistd.h>

namespace {

using namespace zel;
using fuzz::Choices;
using fuzz::require;
using Layer = ZelComposer::Layer;

/// The documents' folder of this process, removed when it ends.
class Home {
public:
    Home() : path_(std::filesystem::temp_directory_path() / ("zel-manager-fuzz-" + std::to_string(getpid())))
    {
        setenv("XDG_DATA_HOME", path_.c_str(), 1);
        Folders::setApplication("fuzz");
    }
    ~Home()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

private:
    std::filesystem::path path_;
};

std::string textFrom(Choices& choices)
{
    const char* const texts[] = {"", "a", "\"", "\\", "Grüße", "\xff", "layerList\":[]", "\n\x01", "𐐀"};
    return texts[choices.byte() % std::size(texts)];
}

double figureFrom(Choices& choices)
{
    constexpr double figures[] = {0, -0.0, 1, 0.1, -0.25, 1e-300, 1e300, std::numeric_limits<double>::infinity()};
    return figures[choices.byte() % std::size(figures)];
}

/// A composer of the list, or a stranger.
ZelComposer composerFrom(Choices& choices, const ZelComposerManager& manager)
{
    const auto& list = manager.composerList();
    const std::size_t number = choices.byte() % (list.size() + 1);
    return number < list.size() ? list[number] : ZelComposer();
}

Layer layerFrom(Choices& choices, const ZelComposer& composer)
{
    const std::size_t number = choices.byte() % (composer.layerList.size() + 1);
    return number < composer.layerList.size() ? composer.layerList[number] : Layer();
}

/// One step; gives how often it should save.
int step(Choices& choices, ZelComposerManager& manager)
{
    const ZelComposer composer = composerFrom(choices, manager);
    const bool isKnown = manager.index({.of = composer}).has_value();
    const Layer layer = layerFrom(choices, composer);
    const bool isStored = manager.index(layer, {.of = composer}).has_value();
    switch (choices.byte() % 12) {
    case 0:
        manager.newComposer();
        return 2;
    case 1:
        manager.remove(composer);
        return isKnown ? 1 : 0;
    case 2: {
        const auto type = allCases<Layer::LayerType>()[choices.byte() % 3];
        const auto made = manager.newLayer({.ofType = type, .in = composer});
        require(made.has_value() == isKnown, "a new layer in a composer of the list alone");
        return isKnown ? 2 : 0;
    }
    case 3:
        manager.remove({.layerWithId = layer.id, .from = composer});
        return isStored ? 1 : 0;
    case 4: {
        Layer passed = layer;
        passed.text.text = textFrom(choices);
        manager.duplicate(passed, {.of = composer});
        return isStored ? 1 : 0;
    }
    case 5:
        manager.updateOffset({.for_ = layer,
                              .of = composer,
                              .to = {figureFrom(choices), figureFrom(choices)},
                              .in = {figureFrom(choices), figureFrom(choices)}});
        return isStored ? 1 : 0;
    case 6:
        manager.setSelectedLayer({.to = choices.byte() % 2 == 0 ? nullptr : &layer, .of = composer});
        return isKnown ? 1 : 0;
    case 7:
        manager.setSelectedComposerId(choices.byte() % 2 == 0 ? std::nullopt : std::optional(textFrom(choices)));
        return 1;
    case 8:
        manager.changeComposerList([&](std::vector<ZelComposer>& list) {
            for (ZelComposer& each : list) {
                each.name = textFrom(choices);
                each.ratio = figureFrom(choices);
                for (Layer& one : each.layerList)
                    one.transform.opacity = figureFrom(choices);
            }
        });
        return 1;
    case 9: {
        const std::vector<ZelComposer::SearchAndReplace> pairs = {{textFrom(choices), textFrom(choices)}};
        const ZelComposer replaced = composer.composer({.with = pairs});
        manager.changeComposerList([&](std::vector<ZelComposer>& list) { list.push_back(replaced); });
        return 1;
    }
    case 10:
        manager.setConfigurationName(textFrom(choices));
        manager.saveConfiguration({.withName = textFrom(choices)});
        for (const auto& [name, stored] : ZelComposerManager::configurations())
            require(encode(decode<Ref<ZelComposerManager>>(encode(stored))) == encode(stored),
                    "a configuration that reads");
        ZelComposerManager::deleteConfiguration({.withName = textFrom(choices)});
        manager.save();
        return 1;
    default:
        manager.save();
        return 1;
    }
}

std::optional<std::string> textOf(const Ref<ZelComposerManager>& manager)
{
    try {
        return encode(manager);
    } catch (const ZelEncodingError&) {
        return std::nullopt;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Home home;
    constexpr int mostSteps = 48;
    Choices choices(data, size);
    int saves = 0;
    ZelComposerManager::setSaveObserver([&saves] { ++saves; });
    const auto manager = std::make_shared<ZelComposerManager>();
    manager->save();
    std::optional<std::string> lastGood = textOf(manager);
    for (int number = 0; choices.any() && number < mostSteps; ++number) {
        const int before = saves;
        const int wanted = step(choices, *manager);
        require(saves - before == wanted, "as many saves as the step has changes");
        if (wanted > 0)
            if (auto text = textOf(manager))
                lastGood = std::move(text);
        const auto stored = ZelComposerManager::load();
        require(stored != nullptr, "a stored state");
        require(textOf(stored) == lastGood, "the last state that has a text");
    }
    const auto restored = makeZelComposerManager({.appName = "fuzz"});
    require(restored->configurationName() == "Default", "a configuration of its own");
    ZelComposerManager::setSaveObserver({});
    return 0;
}
