#include <zel/operations/crop.h>

#include <common/pictures.h>
#include <zel/operations/tile_plan.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <limits>
#include <mutex>
#include <sstream>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;
using test::positions;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// "0,0 100x100; 80,0 100x100 / ...": where each tile begins, told by its first pixel, and its size; rows apart by " /
/// ".
std::string told(const ZelTiles& rows)
{
    std::ostringstream text;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        text << (row > 0 ? " / " : "");
        for (std::size_t i = 0; i < rows[row].size(); ++i) {
            const CGImage& tile = *rows[row][i]->cgImage;
            const auto first = pixelAt(tile, 0, 0);
            text << (i > 0 ? "; " : "") << int{first[0]} << ',' << int{first[1]} << ' ' << tile.width() << 'x'
                 << tile.height();
        }
    }
    return text.str();
}

TEST(Split, LaysTilesAsDescribed)
{
    const struct {
        const char* name;
        int width, height;
        std::function<ZelTiles(const Ref<ZelImage>&)> split;
        const char* tiles;
    } cases[] = {
        {"the last is clipped", 250, 100,
         [](auto& i) {
             return split(i, {.to = {100, 100}});
         },
         "0,0 100x100; 100,0 100x100; 200,0 50x100"},
        {"neighbours share twice the border", 250, 100,
         [](auto& i) {
             return split(i, {.to = {100, 100}, .tileBorder = 10});
         },
         "0,0 100x100; 80,0 100x100; 160,0 90x100"},
        {"whole tiles leave no rest", 200, 100,
         [](auto& i) {
             return split(i, {.to = {100, 100}});
         },
         "0,0 100x100; 100,0 100x100"},
        {"rows, both edges", 25, 23,
         [](auto& i) {
             return split(i, {.to = {10, 12}, .tileBorder = 2});
         },
         "0,0 10x12; 6,0 10x12; 12,0 10x12; 18,0 7x12 / 0,8 10x12; 6,8 10x12; 12,8 10x12; 18,8 7x12 / "
         "0,16 10x7; 6,16 10x7; 12,16 10x7; 18,16 7x7"},
        {"larger than the picture", 20, 10,
         [](auto& i) {
             return split(i, {.to = {100, 1e300}});
         },
         "0,0 20x10"},
        {"fractions widen", 20, 10,
         [](auto& i) {
             return split(i, {.to = {7.5, 10}});
         },
         "0,0 8x10; 7,0 8x10; 15,0 5x10"},
        {"a border below 0 leaves gaps", 20, 10,
         [](auto& i) {
             return split(i, {.to = {5, 10}, .tileBorder = -1});
         },
         "0,0 5x10; 7,0 5x10; 14,0 5x10"},
        {"also at the end", 18, 10,
         [](auto& i) {
             return split(i, {.to = {5, 10}, .tileBorder = -4});
         },
         "0,0 5x10; 13,0 5x10"},
        {"and no tile in the last gap", 20, 10,
         [](auto& i) {
             return split(i, {.to = {5, 10}, .tileBorder = -8});
         },
         "0,0 5x10"},
        {"only a width", 20, 10, [](auto& i) { return split(i, {.toWidth = 12}); }, "0,0 12x10; 12,0 8x10"},
        {"only a height", 20, 10, [](auto& i) { return split(i, {.height = 6, .tileBorder = 1}); },
         "0,0 20x6 / 0,4 20x6"},
        {"neither", 20, 10, [](auto& i) { return split(i, SplitToWidth{.tileBorder = 1}); }, "0,0 20x10"},
        {"rows count tiles beside one another", 240, 200, [](auto& i) { return split(i, {.rows = 3, .columns = 2}); },
         "0,0 80x100; 80,0 80x100; 160,0 80x100 / 0,100 80x100; 80,100 80x100; 160,100 80x100"},
        {"with a rest", 241, 50, [](auto& i) { return split(i, {.rows = 3}); }, "0,0 81x50; 81,0 81x50; 162,0 79x50"},
        {"more than pixels", 3, 1, [](auto& i) { return split(i, {.rows = 9, .columns = 1}); },
         "0,0 1x1; 1,0 1x1; 2,0 1x1"},
        {"within a bound", 100, 10, [](auto& i) { return boundedSplit(i, {.toWidth = 30, .max = true}); },
         "0,0 25x10; 25,0 25x10; 50,0 25x10; 75,0 25x10"},
        {"a bound below a pixel", 3, 1, [](auto& i) { return boundedSplit(i, {.toWidth = 0.4, .max = true}); },
         "0,0 1x1; 1,0 1x1; 2,0 1x1"},
        {"a bound that divides", 90, 10, [](auto& i) { return boundedSplit(i, {.toWidth = 30, .max = true}); },
         "0,0 30x10; 30,0 30x10; 60,0 30x10"},
        {"no bound", 100, 10, [](auto& i) { return boundedSplit(i, {.toWidth = 60, .height = 9, .maxHeight = true}); },
         "0,0 60x5; 60,0 40x5 / 0,5 60x5; 60,5 40x5"},
        {"a bound without a side", 20, 10, [](auto& i) { return boundedSplit(i, {.max = true}); }, "0,0 20x10"},
        {"an endless bound", 20, 10,
         [](auto& i) { return boundedSplit(i, {.toWidth = std::numeric_limits<double>::infinity(), .max = true}); },
         "0,0 20x10"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(told(c.split(makeZelImage(positions(c.width, c.height)))), c.tiles) << c.name;
}

TEST(Split, RefusesWhatNeverEnds)
{
    const auto image = makeZelImage(positions(60, 50));
    const auto endless = makeZelImage(BlankSize{.size = {1e300, 1e300}});
    const struct {
        const char* name;
        ZelTiles rows;
    } cases[] = {
        {"a side of 0", split(image, {.to = {0, 10}})},
        {"a side below 1", split(image, {.to = {10, 0.5}})},
        {"a side that is no number", split(image, {.to = {nan, 10}})},
        {"a border of half a side", split(image, {.to = {10, 20}, .tileBorder = 5})},
        {"the largest border", split(image, {.to = {10, 20}, .tileBorder = std::numeric_limits<std::int64_t>::max()})},
        {"a count of 0", split(image, {.rows = 0})},
        {"a count below 0", split(image, {.rows = 2, .columns = -1})},
        {"a bound of 0", boundedSplit(image, {.toWidth = 0, .max = true})},
        {"a bound that is no number", boundedSplit(image, {.height = nan, .maxHeight = true})},
        {"more tiles than there is memory", split(endless, {.to = {1, 1}})},
        {"no picture", split(nullptr, {.to = {10, 10}})},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(c.rows.empty()) << c.name;
    ZelFailure::clear();
    EXPECT_TRUE(split(image, {.to = {10, 10}, .tileBorder = 7}).empty());
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    EXPECT_TRUE(split(endless, {.to = {1e290, 1e290}}).empty());
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    // Rows all the same where there are no pixels to cut.
    EXPECT_EQ(split(makeZelImage(BlankSize{.size = {25, 23}}), {.to = {10, 10}}), ZelTiles(3));
}

TEST(Split, SharesItsSourcesPixels)
{
    const auto jpeg = encodeJpeg(positions(64, 48), 0.9);
    for (const auto& image : {makeZelImage(positions(64, 48)), makeZelImage(*jpeg)}) {
        const auto rows = split(image, {.to = {20, 20}, .tileBorder = 2});
        ASSERT_EQ(rows.size(), 3U);
        ASSERT_EQ(rows[1].size(), 4U);
        EXPECT_EQ(rows[1][2]->cgImage->bytes().data(), image->cgImage->bytes().data() + 16 * 64 * 4 + 32 * 4);
    }
}

// A view has room between its rows; whatever reads it must give what a picture of the same pixels gives.
TEST(Split, ViewsAreEncodedAndDrawnAsTheyAre)
{
    const auto pixel = [](int x, int y) {
        return test::Rgba{static_cast<std::uint8_t>(x * y), static_cast<std::uint8_t>(x * 7),
                          static_cast<std::uint8_t>(y * 5), static_cast<std::uint8_t>(255 - x)};
    };
    for (const CGAlphaInfo info : {CGAlphaInfo::noneSkipLast, CGAlphaInfo::last, CGAlphaInfo::noneSkipFirst}) {
        SCOPED_TRACE(static_cast<int>(info));
        const auto view = split(makeZelImage(test::painted(90, 70, info, pixel)), {.to = {40, 30}})[1][1];
        const auto own = makeZelImage(test::painted(40, 30, info, [&](int x, int y) { return pixel(x + 40, y + 30); }));
        ASSERT_NE(view->cgImage->bytesPerRow(), own->cgImage->bytesPerRow());
        const auto bytes = [](const std::optional<Data>& data) {
            return data ? std::vector<std::uint8_t>(data->span().begin(), data->span().end())
                        : std::vector<std::uint8_t>();
        };
        const auto same = [&](const std::optional<Data>& a, const std::optional<Data>& b) {
            EXPECT_TRUE(a && b);
            EXPECT_EQ(bytes(a), bytes(b));
        };
        same(encodePng(view->cgImage, {}), encodePng(own->cgImage, {}));
        same(encodePng(view->cgImage, {.smallest = true}), encodePng(own->cgImage, {.smallest = true}));
        same(encodeTiff(view->cgImage, {}), encodeTiff(own->cgImage, {}));
        same(encodeJpeg(view->cgImage, 0.8), encodeJpeg(own->cgImage, 0.8));
        for (const CGSize& size : {CGSize{17, 13}, CGSize{60, 50}})
            same(encodePng(resize(view, {.to = size})->cgImage, {}), encodePng(resize(own, {.to = size})->cgImage, {}));
        same(encodePng(resizeWithFill(view, {.to = {20, 20}})->cgImage, {}),
             encodePng(resizeWithFill(own, {.to = {20, 20}})->cgImage, {}));
        EXPECT_EQ(view->bitmapRep()->colorAt(3, 4).redComponent, own->bitmapRep()->colorAt(3, 4).redComponent);
    }
}

TEST(Split, HandsOutTheSameTilesWhileDecoding)
{
    const auto busy = test::painted(150, 130, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        return test::Rgba{static_cast<std::uint8_t>(x * y), static_cast<std::uint8_t>(x * 3),
                          static_cast<std::uint8_t>(y * 5), 255};
    });
    const auto jpeg = encodeJpeg(busy, 0.9);
    const SplitTo cuts[] = {{.to = {40, 30}},
                            {.to = {40, 30}, .tileBorder = 4},
                            {.to = {40, 30}, .tileBorder = 14}, // too much overlap to flow
                            {.to = {40.5, 30.25}, .tileBorder = 3},
                            {.to = {1, 200}},
                            {.to = {150, 1}}};
    for (const SplitTo& cut : cuts)
        for (const int together : {1, 3}) {
            SCOPED_TRACE(testing::Message() << cut.to.width << " x " << cut.to.height << ", border " << cut.tileBorder
                                            << ", threads " << together);
            const auto wanted = split(makeZelImage(*jpeg), cut);
            const auto image = makeZelImage(*jpeg);
            const auto plan = planTiles(image->size, cut);
            std::mutex mutex;
            ZelTiles got(plan->tops.size(), std::vector<Ref<ZelImage>>(plan->lefts.size()));
            ASSERT_TRUE(handOutTiles(image, *plan, together, [&](TilePlace place, const Ref<ZelImage>& tile) {
                const std::scoped_lock lock(mutex);
                got[place.row][place.column] = tile;
                return true;
            }));
            ASSERT_EQ(told(got), told(wanted));
            for (std::size_t row = 0; row < got.size(); ++row)
                for (std::size_t i = 0; i < got[row].size(); ++i) {
                    const CGImage &a = *got[row][i]->cgImage, &b = *wanted[row][i]->cgImage;
                    for (int y = 0; y < a.height(); ++y)
                        for (int x = 0; x < a.width(); ++x)
                            ASSERT_EQ(pixelAt(a, x, y), pixelAt(b, x, y));
                }
        }
    for (const int together : {1, 3}) {
        std::atomic<int> taken = 0;
        const auto image = makeZelImage(*jpeg);
        EXPECT_FALSE(handOutTiles(image, *planTiles(image->size, cuts[0]), together,
                                  [&](TilePlace, const Ref<ZelImage>&) { return ++taken < 3; }));
        EXPECT_LT(taken, 20);
    }
}

TEST(Join, BringsTheSidesTogether)
{
    using Orientation = ZelImage::JoinOrientation;
    using Scale = ZelImage::ScaleMode;
    const struct {
        const char* name;
        CGSize a, b;
        Orientation orientation;
        Scale scale;
        CGSize size;
        int border; // where the second begins, along the join
    } cases[] = {
        {"beside, the first reduced", {400, 200}, {300, 100}, Orientation::horizontal, Scale::min, {500, 100}, 200},
        {"beside, the second reduced", {300, 100}, {400, 200}, Orientation::horizontal, Scale::min, {500, 100}, 300},
        {"beside, the first enlarged", {150, 50}, {60, 100}, Orientation::horizontal, Scale::max, {360, 100}, 300},
        {"beside, the second enlarged", {60, 100}, {150, 50}, Orientation::horizontal, Scale::max, {360, 100}, 60},
        {"beside, equal", {60, 50}, {30, 50}, Orientation::horizontal, Scale::max, {90, 50}, 60},
        {"below, the first reduced", {200, 40}, {100, 30}, Orientation::vertical, Scale::min, {100, 50}, 20},
        {"below, the second reduced", {100, 30}, {200, 40}, Orientation::vertical, Scale::min, {100, 50}, 30},
        {"below, the first enlarged", {100, 30}, {200, 40}, Orientation::vertical, Scale::max, {200, 100}, 60},
        {"below, the second enlarged", {200, 40}, {100, 30}, Orientation::vertical, Scale::max, {200, 100}, 40},
        {"below, equal", {40, 20}, {40, 10}, Orientation::vertical, Scale::min, {40, 30}, 20},
    };
    for (const CGFloat scale : {1.0, 2.0}) {
        Screens::set({scale});
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", display scale " << scale);
            const auto a = makeZelImage(flat(int(c.a.width), int(c.a.height), {200, 0, 0, 255})),
                       b = makeZelImage(flat(int(c.b.width), int(c.b.height), {0, 0, 100, 200}));
            const auto joined = join(a, {.with = b, .orientation = c.orientation, .scaleMode = c.scale});
            ASSERT_NE(joined, nullptr);
            ASSERT_EQ(joined->size, c.size);
            const bool beside = c.orientation == Orientation::horizontal;
            for (int y = 0; y < int(c.size.height); ++y)
                for (int x = 0; x < int(c.size.width); ++x)
                    ASSERT_EQ(pixelAt(*joined->cgImage, x, y),
                              (beside ? x : y) < c.border ? (test::Rgba{200, 0, 0, 255}) : (test::Rgba{0, 0, 100, 200}))
                        << x << ' ' << y;
        }
    }
    Screens::set({});
    const auto image = makeZelImage(flat(4, 4, {1, 1, 1, 255}));
    EXPECT_EQ(join(nullptr, {.with = image, .orientation = Orientation::vertical, .scaleMode = Scale::max}), nullptr);
    EXPECT_EQ(join(image, {.with = nullptr, .orientation = Orientation::vertical, .scaleMode = Scale::max}), nullptr);
    // Without pixels it cannot be scaled, and leaves its place clear.
    const auto blank = makeZelImage(BlankSize{.size = {4, 8}});
    const auto half = join(blank, {.with = image, .orientation = Orientation::horizontal, .scaleMode = Scale::min});
    ASSERT_NE(half, nullptr);
    EXPECT_EQ(half->size, (CGSize{8, 8}));
    EXPECT_EQ(pixelAt(*half->cgImage, 1, 1), (test::Rgba{0, 0, 0, 0}));
}

} // namespace
} // namespace zel
