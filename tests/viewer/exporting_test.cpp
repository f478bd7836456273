#include <zel-viewer/export_job.h>

#include "viewer_pictures.h"

#include <view/desktop.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zel::viewer {
namespace {

using namespace test;
using ::testing::ElementsAre;
using zel::testing::TemporaryFolder;
using FileType = ZelImageHelper::FileType;

double resolutionIn(const URL& file)
{
    const PropertyDictionary properties = ZelExif::exifDict({.of = file});
    const auto found = properties.find("DPIWidth");
    return found == properties.end() ? 0 : std::get<double>(found->second);
}

TEST(Exporting, WritesTheEditsOfTheFullPicture)
{
    const TemporaryFolder folder;
    const Ref<ZelImage> picture = gradient(90, 60);
    const EditChain edits{.quarterTurns = 1, .straightening = 1, .exposure = 0.3};
    for (const auto& [type, name] :
         {std::pair(FileType::png, "a.png"), std::pair(FileType::tif, "a.tif"), std::pair(FileType::jpeg, "a.jpg")}) {
        SCOPED_TRACE(name);
        std::vector<double> fractions;
        const ExportResult result =
            exportPicture(picture, {.edits = edits, .file = folder.url(name), .format = type, .quality = 1},
                          [&](double fraction) { fractions.push_back(fraction); });
        ASSERT_TRUE(result.isWritten) << result.message;
        EXPECT_EQ(result.size, (CGSize{60, 90}));
        EXPECT_EQ(static_cast<std::size_t>(result.bytes), folder.text(name).size());
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
        const Ref<ZelImage> back = makeZelImage(folder.url(name));
        if (type == FileType::jpeg) {
            EXPECT_LT(deltaColor(back, {.to = edited(picture, edits), .colroGridSide = 8}), 0.01);
        } else {
            EXPECT_EQ(bytesOfPixels(back), bytesOfPixels(edited(picture, edits)));
        }
    }
    EXPECT_THAT(folder.names(), ElementsAre("a.jpg", "a.png", "a.tif"));
}

TEST(Exporting, StaysWithinTheLimit)
{
    const TemporaryFolder folder;
    const Ref<ZelImage> picture = noise(300, 200);
    for (const auto& [type, name] : {std::pair(FileType::jpeg, "a.jpg"), std::pair(FileType::heif, "a.heic")})
        for (const int most : {3'000, 12'345, 40'000, 10'000'000}) {
            SCOPED_TRACE(::testing::Message() << name << ", at most " << most);
            const ExportResult result =
                exportPicture(picture, {.file = folder.url(name), .format = type, .mostBytes = most});
            if (!result.isWritten && ZelFailure::last().code == ZelFailureCode::missingPart)
                continue; // no encoder is installed for it
            ASSERT_TRUE(result.isWritten) << result.message;
            EXPECT_LE(result.bytes, most);
            EXPECT_EQ(static_cast<std::size_t>(result.bytes), folder.text(name).size());
            if (most == 40'000) { // near the limit, not anywhere below it
                EXPECT_GT(result.bytes, 30'000);
            }
            const Ref<ZelImage> back = makeZelImage(folder.url(name));
            ASSERT_TRUE(back);
            EXPECT_EQ(back->size, result.size);
        }
}

TEST(Exporting, KeepsTheResolution)
{
    const TemporaryFolder folder;
    const Ref<ZelImage> picture = gradient(60, 60);
    ASSERT_TRUE(saveToJpeg(picture, {.quality = 1, .dpi = 300, .url = folder.url("source.jpg")}));
    const Ref<ZelImage> source = makeZelImage(folder.url("source.jpg"));
    for (const auto& [type, name] :
         {std::pair(FileType::png, "a.png"), std::pair(FileType::tif, "a.tif"), std::pair(FileType::jpeg, "a.jpg")}) {
        ASSERT_TRUE(
            exportPicture(source, {.edits = {.exposure = 0.1}, .file = folder.url(name), .format = type}).isWritten);
        EXPECT_NEAR(resolutionIn(folder.url(name)), 300, 0.1) << name;
    }
}

TEST(Exporting, WhatFailsLeavesTheOldFile)
{
    const TemporaryFolder folder;
    const Ref<ZelImage> picture = gradient(60, 40);
    const URL old = folder.put("old.jpg", "old");
    std::stop_source stopped;
    stopped.request_stop();
    const ExportResult cancelled = exportPicture(picture, {.file = old}, {}, stopped.get_token());
    EXPECT_TRUE(cancelled.isCancelled);
    const ExportResult tooSmall = exportPicture(picture, {.file = old, .mostBytes = 10});
    EXPECT_FALSE(tooSmall.isWritten);
    EXPECT_FALSE(tooSmall.isCancelled);
    EXPECT_FALSE(tooSmall.message.empty());
    const ExportResult wrongEdit = exportPicture(picture, {.edits = {.exposure = NAN}, .file = old});
    EXPECT_FALSE(wrongEdit.message.empty());
    const ExportResult nowhere = exportPicture(picture, {.file = URL::file(folder / "old.jpg" / "a.jpg")});
    EXPECT_FALSE(nowhere.isWritten);
    EXPECT_FALSE(nowhere.message.empty());
    EXPECT_EQ(folder.text("old.jpg"), "old");
    EXPECT_THAT(folder.names(), ElementsAre("old.jpg"));
    EXPECT_TRUE(exportPicture(picture, {.file = old}).isWritten);
    EXPECT_NE(folder.text("old.jpg"), "old");
    EXPECT_THAT(folder.names(), ElementsAre("old.jpg"));
}

TEST(ExportJob, EndsOnTheMainThreadWrittenOrStopped)
{
    Desktop::join();
    const TemporaryFolder folder;
    std::optional<ExportResult> ended;
    ExportJob job;
    QObject::connect(&job, &ExportJob::ended, [&](const ExportResult& result) { ended = result; });
    job.start(gradient(200, 100), {.edits = {.exposure = 1}, .file = folder.url("a.jpg")});
    EXPECT_TRUE(job.isRunning());
    ASSERT_TRUE(waitFor([&] { return ended.has_value(); }));
    EXPECT_TRUE(ended->isWritten);
    EXPECT_FALSE(job.isRunning());

    ended.reset();
    const std::string before = folder.text("a.jpg");
    job.start(noise(2000, 1500),
              {.edits = {.straightening = 2, .sharpness = 1}, .file = folder.url("a.jpg"), .mostBytes = 100'000});
    job.cancel();
    ASSERT_TRUE(waitFor([&] { return ended.has_value(); }));
    EXPECT_TRUE(ended->isCancelled);
    EXPECT_EQ(folder.text("a.jpg"), before);
    EXPECT_THAT(folder.names(), ElementsAre("a.jpg"));
}

} // namespace
} // namespace zel::viewer
