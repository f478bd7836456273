#include <zel/io/encode.h>

#include <zel/io/size_search.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/pixel_provider.h>

#include "common/pictures.h"

#include "foundation/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace zel {
namespace {

/// Noise that no coding makes small.
Ref<ZelImage> noise(int width, int height, CGAlphaInfo info = CGAlphaInfo::noneSkipLast)
{
    std::uint32_t seed = 1;
    return makeZelImage(test::painted(width, height, info, [&](int, int) {
        seed = seed * 1664525U + 1013904223U;
        return test::Rgba{static_cast<std::uint8_t>(seed >> 24), static_cast<std::uint8_t>(seed >> 16),
                          static_cast<std::uint8_t>(seed >> 8), 128};
    }));
}

Ref<ZelImage> read(const std::optional<Data>& file)
{
    return file ? makeZelImage(*file) : nullptr;
}

const PictureFacts& factsOf(const Ref<ZelImage>& image)
{
    return *image->cgImage->facts();
}

TEST(Heif, TheBitmapOrTheFilterImage)
{
    const auto image = noise(32, 24, CGAlphaInfo::last);
    const auto opaque = noise(16, 16);
    const auto filtered = std::make_shared<ZelImage>();
    filtered->ciImage_ = CIImage::make(opaque->cgImage);
    const struct {
        const char* name;
        std::optional<Data> file;
        CGSize size;
        bool hasAlpha;
        int bits;
    } cases[] = {
        {"as it is", heifData(image, {.quality = 0.5, .useAlpha = false}), {32, 24}, true, 8},
        {"rendered", heifData(image, {.quality = 0.5, .useAlpha = true}), {32, 24}, true, 8},
        {"another one", heifData(image, {.from = opaque->cgImage, .quality = 0.5}), {16, 16}, false, 8},
        {"of nobody", heifData(nullptr, {.from = opaque->cgImage, .quality = 0.5}), {16, 16}, false, 8},
        {"no bitmap", heifData(filtered, {.quality = 0.5, .useAlpha = false}), {16, 16}, false, 10},
        {"AVIF as it is", avifData(image, {.quality = 0.5, .useAlpha = false}), {32, 24}, true, 8},
        {"AVIF rendered", avifData(image, {.quality = 0.5, .useAlpha = true}), {32, 24}, true, 8},
        {"AVIF of no bitmap", avifData(filtered, {.quality = 0.5, .useAlpha = false}), {16, 16}, false, 8},
        {"no bitmap, with alpha", heifData(filtered, {.quality = 0.5, .useAlpha = true}), {16, 16}, false, 8},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto back = read(c.file);
        ASSERT_TRUE(back) << ZelFailure::last().message;
        EXPECT_EQ(back->size, c.size);
        EXPECT_EQ(factsOf(back).hasAlpha, c.hasAlpha);
        EXPECT_EQ(factsOf(back).bits, c.bits);
        EXPECT_EQ(factsOf(back).format, std::string_view(c.name).substr(0, 4) == "AVIF" ? "avif" : "heif");
    }
    EXPECT_FALSE(heifData(std::make_shared<ZelImage>(), {.quality = 0.5, .useAlpha = false})) << "no pixels at all";
    EXPECT_FALSE(avifData(std::make_shared<ZelImage>(), {.quality = 0.5, .useAlpha = false}));
    EXPECT_FALSE(avifData(nullptr, {.quality = 0.5, .useAlpha = false}));
    EXPECT_EQ(&heifDataCIContext(), &heifDataCIContext());
}

TEST(Heif, SaversMakeNoFolderAndKeepWhatStoodThere)
{
    const testing::TemporaryFolder folder;
    const auto image = noise(16, 16);
    EXPECT_FALSE(saveAsHEIF(image, {.to = folder.url("none/a.heic"), .quality = 0.5}));
    EXPECT_FALSE(std::filesystem::exists(folder / "none"));

    std::ofstream(folder / "old.heic") << "old";
    EXPECT_FALSE(saveAsHEIF(std::make_shared<ZelImage>(), {.to = folder.url("old.heic"), .quality = 0.5}));
    EXPECT_EQ(std::filesystem::file_size(folder / "old.heic"), 3U);

    std::filesystem::create_symlink(folder / "old.heic", folder / "link.heic");
    EXPECT_TRUE(saveAsHEIF(image, {.to = folder.url("link.heic"), .quality = 0.5}));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.heic"));
    EXPECT_TRUE(makeZelImage(folder.url("old.heic")));
}

TEST(Heif, ToAWantedSize)
{
    const testing::TemporaryFolder folder;
    const auto image = noise(128, 96);
    const auto file = URL::file(folder / "a.heic");
    const auto best = heifData(image, {.quality = 1, .useAlpha = false})->size();
    const auto least = heifData(image, {.quality = 0, .useAlpha = false})->size();
    {
        const test::PrintedLines printed;
        EXPECT_TRUE(saveAsHEIF(image, {.desiredSize = static_cast<std::int64_t>(best) + 1, .to = file}));
        EXPECT_TRUE(printed.lines().empty()) << "what decides is not told";
        EXPECT_EQ(std::filesystem::file_size(folder / "a.heic"), best);
    }
    {
        const test::PrintedLines printed;
        const auto wanted = static_cast<std::int64_t>(best + least) / 2;
        EXPECT_TRUE(saveAsHEIF(image, {.desiredSize = wanted, .to = file}));
        const double size = static_cast<double>(std::filesystem::file_size(folder / "a.heic"));
        EXPECT_NEAR(size, static_cast<double>(wanted) * 0.975, static_cast<double>(wanted) * 0.05);
        EXPECT_TRUE(std::any_of(printed.lines().begin(), printed.lines().end(),
                                [](const std::string& line) { return line.substr(0, 6) == "size: "; }));
        EXPECT_EQ(printed.lines().back().substr(0, 9), "quality: ");
    }
    // Too large even at the lowest quality: 90 % of the points, of which this platform image has half as many.
    const auto halved = makeZelImage(NSImage::make(image->cgImage, {64, 48}));
    const auto smaller =
        read(heifWithin(halved, static_cast<std::int64_t>(least) - 1, SizeRule::nearest, false, heif::Coding::hevc));
    ASSERT_TRUE(smaller);
    EXPECT_EQ(smaller->size, (CGSize{57, 43}));
}

} // namespace
} // namespace zel
