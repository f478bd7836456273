#include <composition/manager_fixture.h>

#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/threads.h>

#include <common/pictures.h>

#include <cmath>
#include <random>

namespace zel::testing {
namespace {

using LayerType = ZelComposer::Layer::LayerType;

TEST_F(ManagerTest, SavesAndAnnouncesEveryChange)
{
    ZelComposer stranger;
    Layer other;
    struct Row {
        const char* name;
        std::function<void()> step;
        int times;
        const char* layers; ///< afterwards; "+" is one with a new identifier
    };
    const std::vector<Row> rows = {
        {"new composer", [&] { manager->newComposer(); }, 2, "abc"},
        {"remove", [&] { manager->remove(ZelComposer(composer())); }, 1, nullptr},
        {"remove an element of the list", [&] { manager->remove(composer()); }, 1, nullptr},
        {"remove a stranger", [&] { manager->remove(stranger); }, 0, "abc"},
        {"new layer", [&] { manager->newLayer({.ofType = LayerType::shape, .in = composer()}); }, 2, "abc+"},
        {"new layer of a stranger", [&] { manager->newLayer({.ofType = LayerType::shape, .in = stranger}); }, 0, "abc"},
        {"remove layer by id", [&] { manager->remove({.layerWithId = "b", .from = composer()}); }, 1, "ac"},
        {"remove layer", [&] { manager->remove(composer().layerList[0], {.from = composer()}); }, 1, "bc"},
        {"remove layer of a stranger", [&] { manager->remove({.layerWithId = "b", .from = stranger}); }, 0, "abc"},
        {"remove no layer", [&] { manager->remove({.layerWithId = "x", .from = composer()}); }, 0, "abc"},
        {"duplicate", [&] { manager->duplicate(composer().layerList[1], {.of = composer()}); }, 1, "ab+c"},
        {"duplicate a stranger", [&] { manager->duplicate(other, {.of = composer()}); }, 0, "abc"},
        {"duplicate in a stranger", [&] { manager->duplicate(composer().layerList[1], {.of = stranger}); }, 0, "abc"},
        {"move",
         [&] {
             manager->updateOffset({.for_ = composer().layerList[0], .of = composer(), .to = {1, 1}, .in = {10, 10}});
         },
         1, "abc"},
        {"move a stranger",
         [&] {
             manager->updateOffset({.for_ = other, .of = composer(), .to = {1, 1}, .in = {10, 10}});
         },
         0, "abc"},
        {"move in a stranger",
         [&] {
             manager->updateOffset({.for_ = composer().layerList[0], .of = stranger, .to = {1, 1}, .in = {10, 10}});
         },
         0, "abc"},
        {"select a layer", [&] { manager->setSelectedLayer({.to = &composer().layerList[1], .of = composer()}); }, 1,
         "abc"},
        {"select no layer", [&] { manager->setSelectedLayer({.to = nullptr, .of = composer()}); }, 1, "abc"},
        {"select in a stranger", [&] { manager->setSelectedLayer({.to = &other, .of = stranger}); }, 0, "abc"},
        {"change in place", [&] { manager->changeComposerList([](auto& list) { list[0].name = "x"; }); }, 1, "abc"},
        {"change nothing in place", [&] { manager->changeComposerList([](auto&) {}); }, 1, "abc"},
        {"change by nothing", [&] { manager->changeComposerList({}); }, 0, "abc"},
        {"set the list", [&] { manager->setComposerList({}); }, 1, nullptr},
        {"select a composer", [&] { manager->setSelectedComposerId("one"); }, 1, "abc"},
        {"select it again", [&] { manager->setSelectedComposerId(std::nullopt); }, 1, "abc"},
        {"rename the configuration", [&] { manager->setConfigurationName("x"); }, 0, "abc"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        fill();
        row.step();
        EXPECT_EQ(saves, row.times);
        EXPECT_EQ(announced, row.times);
        if (row.layers == nullptr)
            EXPECT_TRUE(manager->composerList().empty());
        else
            EXPECT_EQ(layerIds(), row.layers);
        if (row.times > 0) {
            EXPECT_EQ(stored(), encode(manager));
        }
    }
}

TEST_F(ManagerTest, SavesAnnouncingNothingWhenAskedTo)
{
    fill();
    manager->save();
    manager->save();
    EXPECT_EQ(saves, 2);
    EXPECT_EQ(announced, 0);
}

/// Most of a saved text is kept from the save before: it must be the text all the same.
TEST_F(ManagerTest, SavesTheTextOfTheStateWhateverChanges)
{
    std::mt19937 random(1);
    const auto below = [&random](std::size_t bound) { return static_cast<std::size_t>(random()) % bound; };
    const auto change = [&](std::vector<ZelComposer>& list) {
        const std::size_t kind = below(9);
        if (list.empty() || kind == 0) {
            list.insert(list.begin() + static_cast<std::ptrdiff_t>(below(list.size() + 1)), ZelComposer());
            return;
        }
        const auto one = list.begin() + static_cast<std::ptrdiff_t>(below(list.size()));
        std::vector<Layer>& layers = one->layerList;
        if (kind == 1) {
            list.erase(one);
        } else if (kind == 2) {
            one->id = list.front().id; // two of one name
        } else if (kind == 3) {
            std::swap(*one, list.back());
        } else if (layers.empty() || kind == 4) {
            layers.insert(layers.begin() + static_cast<std::ptrdiff_t>(below(layers.size() + 1)), 1 + below(3),
                          Layer());
        } else if (kind == 5) {
            layers.erase(layers.begin() + static_cast<std::ptrdiff_t>(below(layers.size())), layers.end());
        } else if (kind == 6) {
            std::swap(layers[below(layers.size())], layers[below(layers.size())]);
        } else if (kind == 7) {
            one->guideList_.push_back({.id = "g"});
            one->selectedLayerId = layers.back().id;
        } else {
            // Equal figures may have different texts.
            double& figure = layers[below(layers.size())].transform.scale.y;
            figure = figure == 0 && !std::signbit(figure) ? -0.0 : 0.0;
        }
    };
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        if (below(20) == 0)
            manager->setSelectedComposerId(below(2) == 0 ? std::nullopt : std::optional<std::string>("\"x\""));
        manager->changeComposerList(change);
        ASSERT_EQ(stored(), encode(manager));
    }
    // What has no text keeps the file as it was, and the way back from there is found.
    const std::string good = stored();
    manager->changeComposerList([](auto& list) { list.emplace_back().ratio = std::nan(""); });
    EXPECT_EQ(stored(), good);
    manager->changeComposerList([](auto& list) { list.back().ratio = 2; });
    EXPECT_EQ(stored(), encode(manager));
}

TEST_F(ManagerTest, MakesComposersAndLayersWithTheirDefaults)
{
    EXPECT_EQ(encode(manager), R"({"configurationName":"Default","composerList":[]})");
    manager->newComposer();
    EXPECT_EQ(composer().name, "Composer");
    EXPECT_EQ(composer().ratio, 16.0 / 9.0);
    EXPECT_EQ(manager->selectedComposerId(), composer().id);
    for (const auto& [type, text] :
         {std::pair(LayerType::text, "Text"), std::pair(LayerType::shape, ""), std::pair(LayerType::image, "")}) {
        const auto layer = manager->newLayer({.ofType = type, .in = composer()});
        ASSERT_TRUE(layer);
        EXPECT_EQ(layer->layerType, type);
        EXPECT_EQ(layer->text.text, text);
        EXPECT_EQ(composer().layerList.back(), *layer);
        EXPECT_EQ(composer().selectedLayerId, layer->id);
    }
    manager->remove(composer());
    EXPECT_TRUE(manager->selectedComposerId());
    EXPECT_FALSE(manager->selectedComposer());
}

TEST_F(ManagerTest, FindsMovesAndCopiesByIdentifier)
{
    fill();
    EXPECT_EQ(manager->index({.of = composer()}), 0U);
    EXPECT_EQ(manager->index(ZelComposerManager::OfComposerWithId{"two"}), std::nullopt);
    EXPECT_EQ(manager->index(composer().layerList[2], {.of = composer()}), 2U);
    EXPECT_EQ(manager->index(std::optional<std::string>("x"), {.of = composer()}), std::nullopt);
    EXPECT_EQ(manager->index(std::nullopt, {.of = composer()}), std::nullopt);

    Layer passed = composer().layerList[1];
    passed.text.text = "as passed";
    manager->duplicate(passed, {.of = composer()});
    EXPECT_EQ(composer().layerList.at(1).text.text, "");
    EXPECT_EQ(composer().layerList.at(2).text.text, "as passed");
    manager->updateOffset({.for_ = passed, .of = composer(), .to = {500, 250}, .in = {1000, 800}});
    EXPECT_EQ(composer().layerList.at(1).transform.location, (CGPoint{0.5, 0.25}));
    manager->setSelectedLayer({.to = &passed, .of = composer()});
    EXPECT_EQ(composer().selectedLayerId, "b");
}

TEST_F(ManagerTest, ObserversEndWithTheirTokensAndWithTheManager)
{
    int first = 0, second = 0;
    Ref<void> secondToken;
    const Ref<void> firstToken = manager->observe([&] {
        ++first;
        secondToken.reset();
    });
    secondToken = manager->observe([&] { ++second; });
    manager->newComposer();
    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 0) << "ended by the one before it";

    // A main thread that comes to it late.
    std::vector<std::function<void()>> waiting;
    XMain::setRunner([&](std::function<void()> task) { waiting.push_back(std::move(task)); }, [] { return false; });
    auto brief = std::make_shared<ZelComposerManager>();
    int late = 0;
    const Ref<void> lateToken = brief->observe([&] { ++late; });
    const auto store = std::make_shared<ZelShareApp>(folder.url("store"));
    ASSERT_TRUE(encodePng(test::flat(4, 2, {1, 2, 3, 255}), {})->write(folder.url("p.png")));
    XMain::setRunner({}, {});
    brief->setComposerList({ZelComposer()});
    late = 0;
    XMain::setRunner([&](std::function<void()> task) { waiting.push_back(std::move(task)); }, [] { return false; });
    EXPECT_TRUE(
        brief->newImageLayerAsShareApp(folder.url("p.png"), {.shareApp = store, .in = brief->composerList()[0]}).get());
    EXPECT_EQ(waiting.size(), 4U) << "none of them was waited for";
    waiting.at(0)();
    EXPECT_EQ(late, 1);
    brief.reset();
    for (const auto& task : waiting)
        task();
    EXPECT_EQ(late, 1);
    XMain::setRunner({}, {});
}

TEST_F(ManagerTest, TakesImagesIntoTheStore)
{
    fill();
    const auto store = std::make_shared<ZelShareApp>(folder.url("store"));
    ASSERT_TRUE(encodePng(test::flat(6, 4, {1, 2, 3, 255}), {})->write(folder.url("p.png")));
    folder.put("no picture.png", "text");
    const auto layer =
        manager->newImageLayerAsShareApp(folder.url("p.png"), {.shareApp = store, .in = composer()}).get();
    ASSERT_TRUE(layer);
    EXPECT_EQ(saves, 4);
    EXPECT_EQ(announced, 4);
    EXPECT_EQ(composer().layerList.back(), *layer);
    EXPECT_EQ(layer->image.ratio, 1.5);
    EXPECT_EQ(layer->image.type, Layer::Image::ImageType::shareApp);
    const auto found = store->url({.forId = layer->image.resourceAccess.shareAppId.value_or("")}).get();
    ASSERT_TRUE(found);
    EXPECT_EQ(Data::read(*found), Data::read(folder.url("p.png")));

    const ZelComposer stranger;
    for (const char* name : {"none.png", "no picture.png"})
        EXPECT_FALSE(manager->newImageLayerAsShareApp(folder.url(name), {.shareApp = store, .in = composer()}).get());
    EXPECT_FALSE(manager->newImageLayerAsShareApp(folder.url("p.png"), {.shareApp = store, .in = stranger}).get());
    EXPECT_FALSE(manager->newImageLayerAsShareApp(folder.url("p.png"), {.shareApp = {}, .in = composer()}).get());
    EXPECT_EQ(saves, 4);
}

TEST_F(ManagerTest, GoesOnWhileImagesAreTakenIn)
{
    fill();
    const ZelComposer owner = composer();
    const auto store = std::make_shared<ZelShareApp>(folder.url("store"));
    ASSERT_TRUE(encodePng(test::flat(6, 4, {1, 2, 3, 255}), {})->write(folder.url("p.png")));
    constexpr int images = 6, moves = 40;
    std::vector<std::future<std::optional<Layer>>> coming;
    for (int i = 0; i < images; ++i)
        coming.push_back(manager->newImageLayerAsShareApp(folder.url("p.png"), {.shareApp = store, .in = owner}));
    for (int i = 0; i < moves; ++i)
        manager->updateOffset(
            {.for_ = owner.layerList[0], .of = owner, .to = {static_cast<double>(i), 1}, .in = {100, 100}});
    for (auto& layer : coming)
        EXPECT_TRUE(layer.get());
    EXPECT_EQ(composer().layerList.size(), 3U + images);
    EXPECT_EQ(saves, moves + 4 * images);
    EXPECT_EQ(announced, moves + 4 * images);
    EXPECT_EQ(stored(), encode(manager));
    EXPECT_EQ(encode(ZelComposerManager::load()), encode(manager));
}

} // namespace
} // namespace zel::testing
