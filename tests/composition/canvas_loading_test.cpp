#include <zel/composition/canvas.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/address_policy.h>
#include <zel/platform/foundation/notes.h>

#include <common/pictures.h>
#include <foundation/temporary_folder.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using Identification = ZelCanvasLayer::Source::Identification;

class CanvasLoading : public ::testing::Test {
protected:
    void SetUp() override
    {
        const std::optional<Data> bytes = encodePng(test::flat(3, 2, {10, 20, 30, 255}), {});
        ASSERT_TRUE(bytes);
        ASSERT_TRUE(bytes->write(picture));
    }
    void TearDown() override { AddressPolicy::setAllowedFolders({}); }

    /// The picture of a canvas's one layer after loading; its pixel size, or 0 × 0 where there is none.
    static CGSize loaded(const ZelCanvasLayer::Source& source, const Ref<ZelShareApp>& store = {})
    {
        ZelCanvas canvas(ZelCanvas::Size(4, 4), {.shareApp = store});
        canvas.layerList.push_back(ZelCanvasLayer({.id = "l", .source = source}));
        canvas.loadAllLayers().get();
        const Ref<ZelImage> image = canvas.layerList[0].image;
        return image ? image->size : CGSize{};
    }
    [[nodiscard]] CGSize loadedByAddress() const
    {
        return loaded({.identification = Identification::url, .url = picture, .shareAppId = {}, .image = {}});
    }

    testing::TemporaryFolder folder;
    URL picture = folder.url("picture.png");
};

TEST_F(CanvasLoading, ReadsFilesThatLayersName)
{
    EXPECT_EQ(loadedByAddress(), (CGSize{3, 2}));
}

TEST_F(CanvasLoading, ReadsFilesOfTheStore)
{
    const auto store = std::make_shared<ZelShareApp>(folder.url("store"));
    const std::string id = store->ingestAndGetId({.fileAtUrl = picture}).get();
    const auto named = [&](const std::string& name) {
        return ZelCanvasLayer::Source{
            .identification = Identification::shareAppId, .url = {}, .shareAppId = name, .image = {}};
    };
    EXPECT_EQ(loaded(named(id), store), (CGSize{3, 2}));
    EXPECT_EQ(loaded(named("../picture.png"), store), CGSize{});
    EXPECT_EQ(loaded(named(id)), CGSize{});
}

TEST_F(CanvasLoading, KeepsToTheFoldersThatTheHostAllows)
{
    AddressPolicy::setAllowedFolders({URL::file(folder.path())});
    EXPECT_EQ(loadedByAddress(), (CGSize{3, 2}));
    AddressPolicy::setAllowedFolders({folder.url("elsewhere")});
    const ZelReport report;
    EXPECT_EQ(loadedByAddress(), CGSize{});
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].code, ZelFailureCode::unsupported);
}

TEST_F(CanvasLoading, OfManyCanvasesAtOnceEnds)
{
    const auto store = std::make_shared<ZelShareApp>(folder.url("store"));
    const std::string id = store->ingestAndGetId({.fileAtUrl = picture}).get();
    std::vector<std::unique_ptr<ZelCanvas>> canvases;
    std::vector<std::future<void>> loads;
    for (int i = 0; i < 64; ++i) {
        canvases.push_back(std::make_unique<ZelCanvas>(ZelCanvas::Size(4, 4), ZelCanvas::ShareApp{store}));
        for (int layer = 0; layer < 3; ++layer)
            canvases.back()->layerList.push_back(ZelCanvasLayer(
                {.id = "l",
                 .source = {.identification = Identification::shareAppId, .url = {}, .shareAppId = id, .image = {}}}));
        loads.push_back(canvases.back()->loadAllLayers());
    }
    for (auto& load : loads)
        load.get();
    for (const auto& canvas : canvases)
        for (const ZelCanvasLayer& layer : canvas->layerList)
            EXPECT_NE(layer.image, nullptr);
}

} // namespace
} // namespace zel
