#include <zel/operations/crop.h>

#include <common/pictures.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_part.h>
#include <zel/platform/graphics/image_rows.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;
using test::positions;
using test::Rgba;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();

TEST(Crop, ConvertsNumbers)
{
    const struct {
        CGFloat value;
        std::int64_t whole;
        bool isWhole;
    } wholes[] = {{3, 3, true},
                  {3.9, 3, false},
                  {-3.9, -3, false},
                  {-0.0, 0, true},
                  {nan, 0, false},
                  {1e300, std::numeric_limits<std::int64_t>::max(), true},
                  {-infinity, lowest, false}};
    for (const auto& c : wholes) {
        EXPECT_EQ(toInt(c.value), c.whole) << c.value;
        EXPECT_EQ(isInt(c.value), c.isWhole) << c.value;
    }
    EXPECT_EQ(cgFloat(-7), -7.0);
    const struct {
        CGFloat value;
        std::int64_t by;
        CGFloat quotient;
    } quotients[] = {{301, 3, 101}, {300, 3, 100}, {300.9, 3, 100},
                     {0, 5, 0},     {2, 5, 1},     {-7, 2, -2},
                     {7, -2, -2},   {7, -1, -7},   {-1e300, -1, -static_cast<CGFloat>(lowest)}};
    for (const auto& c : quotients)
        EXPECT_EQ(divided(c.value, {.by = c.by}), c.quotient) << c.value << " / " << c.by;
    EXPECT_TRUE(std::isnan(divided(7, {.by = 0})));
}

TEST(Crop, CutsWholePixelsInTheSameMemory)
{
    const struct {
        const char* name;
        CGRect rect;
        std::optional<PixelArea> area;
    } cases[] = {
        {"inside", {{5, 7}, {10, 12}}, PixelArea{5, 7, 10, 12}},
        {"all", {{0, 0}, {40, 30}}, PixelArea{0, 0, 40, 30}},
        {"more than all", {{-5, -5}, {1e300, 1e9}}, PixelArea{0, 0, 40, 30}},
        {"over the right and lower edge", {{35, 28}, {10, 12}}, PixelArea{35, 28, 5, 2}},
        {"over the left and upper edge", {{-3, -2}, {10, 12}}, PixelArea{0, 0, 7, 10}},
        {"fractions are widened", {{5.5, 7.25}, {10, 12.5}}, PixelArea{5, 7, 11, 13}},
        {"but not by what rounding left", {{5.0000000001, 7}, {10, 12.0000000001}}, PixelArea{5, 7, 10, 12}},
        {"a part of a pixel", {{5.25, 7.25}, {0.5, 0.5}}, PixelArea{5, 7, 1, 1}},
        {"sides below 0 run the other way", {{15, 19}, {-10, -12}}, PixelArea{5, 7, 10, 12}},
        {"beside", {{40, 0}, {10, 10}}, std::nullopt},
        {"above", {{0, -10}, {10, 10}}, std::nullopt},
        {"no area", {{5, 5}, {0, 10}}, std::nullopt},
        {"no number", {{nan, 5}, {10, 10}}, std::nullopt},
        {"no number for a side", {{5, 5}, {10, nan}}, std::nullopt},
        {"without an end", {{5, 5}, {infinity, infinity}}, PixelArea{5, 5, 35, 25}},
    };
    const auto image = makeZelImage(positions(40, 30));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        const auto part = crop(image, {.toTargetRect = c.rect});
        ASSERT_EQ(part != nullptr, c.area.has_value());
        EXPECT_EQ(crop(image, {.to = c.rect}) != nullptr, c.area.has_value());
        if (!part) {
            EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
            continue;
        }
        EXPECT_EQ(part->size, (CGSize{double(c.area->width), double(c.area->height)}));
        EXPECT_EQ(part->cgImage->bytesPerRow(), 160U);
        EXPECT_EQ(part->cgImage->bytes().data(), image->cgImage->bytes().data() + c.area->top * 160 + c.area->left * 4);
        EXPECT_EQ(part->cgImage->bytes().size(),
                  static_cast<std::size_t>((c.area->height - 1) * 160 + c.area->width * 4));
    }
    EXPECT_EQ(crop(nullptr, {.to = {{0, 0}, {1, 1}}}), nullptr);
    EXPECT_EQ(crop(makeZelImage(BlankSize{.size = {9, 9}}), {.to = {{0, 0}, {1, 1}}}), nullptr);
    EXPECT_EQ(cropToCGImnage(image, {.rect = {{2, 3}, {4, 5}}})->width(), 4);
    EXPECT_EQ(cropToCGImnage(image, {.rect = {{50, 3}, {4, 5}}}), nullptr);
}

TEST(Crop, KeepsSamplesAndOutlivesItsSource)
{
    CGImage::Layout layout;
    layout.width = 5;
    layout.height = 4;
    layout.bitsPerComponent = 16;
    layout.alphaInfo = CGAlphaInfo::first;
    layout.isGray = true;
    std::vector<std::uint8_t> bytes(5 * 4 * 8);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7);
    auto image = makeZelImage(CGImage::make(layout, Data(bytes), 40));
    auto outer = crop(image, {.to = {{1, 1}, {4, 3}}});
    const auto inner = crop(outer, {.to = {{1, 1}, {2, 2}}});
    image = outer = nullptr;
    const CGImage::Layout& kept = inner->cgImage->layout();
    EXPECT_EQ(kept.bitsPerComponent, 16);
    EXPECT_EQ(kept.alphaInfo, CGAlphaInfo::first);
    EXPECT_TRUE(kept.isGray);
    for (std::size_t y = 0; y < 2; ++y)
        for (std::size_t i = 0; i < 16; ++i)
            ASSERT_EQ(inner->cgImage->bytes()[y * inner->cgImage->bytesPerRow() + i], bytes[(y + 2) * 40 + 16 + i]);
    // Writing copies first.
    const auto rep = inner->bitmapRep();
    const std::uint8_t before = inner->cgImage->bytes()[0];
    rep->setColor({1, 1, 1, 1}, 0, 0);
    EXPECT_EQ(inner->cgImage->bytes()[0], before);
    EXPECT_EQ(rep->colorAt(0, 0).redComponent, 1);
}

/// A picture that says which of its rows were asked for.
class WatchedProvider final : public PixelProvider {
public:
    WatchedProvider(int width, int height, Orientation orientation)
    {
        facts_.layout.width = width;
        facts_.layout.height = height;
        facts_.layout.alphaInfo = CGAlphaInfo::noneSkipLast;
        facts_.orientation = orientation;
    }
    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    [[nodiscard]] bool canReduce(int denominator) const override { return denominator <= 8; }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override
    {
        asked = request;
        const auto picture = positions(facts_.layout.width, facts_.layout.height);
        const int end = request.rowCount < 0 ? facts_.layout.height : request.firstRow + request.rowCount;
        for (int y = request.firstRow; y < end; ++y)
            if (!sink(y, pixelsOf(*picture).rows(y, 1)))
                return false;
        return true;
    }
    mutable Request asked;

private:
    PictureFacts facts_;
};

// Red tells the stored column, green the stored row; where that of the upright pixel (0, 0) of the part comes to lie,
// and which stored rows hold the part, follows from the picture of what each number of the tag means.
TEST(Crop, DecodesItsOwnRowsAlone)
{
    const struct {
        int orientation;
        int column, row;        // stored, of the part's first pixel
        int firstRow, rowCount; // stored
    } cases[] = {
        {1, 3, 5, 5, 7},  {2, 36, 5, 5, 7},   {3, 36, 24, 18, 7},  {4, 3, 24, 18, 7},
        {5, 5, 3, 3, 10}, {6, 5, 26, 17, 10}, {7, 34, 26, 17, 10}, {8, 34, 3, 3, 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.orientation);
        const auto provider = std::make_shared<WatchedProvider>(40, 30, static_cast<Orientation>(c.orientation));
        const auto image = makeZelImage(CGImage::make(provider));
        const auto part = crop(image, {.to = {{3, 5}, {10, 7}}});
        ASSERT_NE(part, nullptr);
        EXPECT_FALSE(part->cgImage->isDecoded());
        EXPECT_EQ(part->size, (CGSize{10, 7}));
        EXPECT_EQ(pixelAt(*part->cgImage, 0, 0),
                  (Rgba{static_cast<std::uint8_t>(c.column), static_cast<std::uint8_t>(c.row), 0, 255}));
        EXPECT_EQ(provider->asked.firstRow, c.firstRow);
        EXPECT_EQ(provider->asked.rowCount, c.rowCount);
        // And the same as from the picture's pixels, also a part of a part.
        const auto again = crop(crop(image, {.to = {{2, 1}, {20, 20}}}), {.to = {{1, 4}, {10, 7}}});
        (void)image->cgImage->bytes();
        const auto shared = crop(image, {.to = {{3, 5}, {10, 7}}});
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 10; ++x) {
                ASSERT_EQ(pixelAt(*part->cgImage, x, y), pixelAt(*shared->cgImage, x, y)) << x << ' ' << y;
                ASSERT_EQ(pixelAt(*again->cgImage, x, y), pixelAt(*shared->cgImage, x, y)) << x << ' ' << y;
            }
    }
}

TEST(Crop, IsReducedByItsDecoderWhereItsEdgesAllow)
{
    const Ref<const PixelProvider> provider = std::make_shared<WatchedProvider>(60, 44, Orientation::up);
    const struct {
        PixelArea area;
        int most;
    } cases[] = {{{8, 16, 16, 24}, 8}, {{0, 0, 8, 4}, 4}, {{56, 40, 4, 4}, 8}, {{48, 32, 12, 12}, 8},
                 {{2, 4, 8, 8}, 2},    {{8, 8, 7, 8}, 1}, {{1, 0, 8, 8}, 1}};
    for (const auto& c : cases)
        for (const int denominator : {1, 2, 4, 8})
            EXPECT_EQ(partOf(provider, c.area)->canReduce(denominator), denominator <= c.most)
                << c.area.left << ' ' << c.area.width << " by " << denominator;
}

// The picture is 20 × 10; its pixel (x, y) counts from the top, the rectangle from the bottom.
TEST(Crop, DrawsFromTheLowerLeft)
{
    const auto image = makeZelImage(positions(20, 10));
    const struct {
        const char* name;
        CGRect rect;
        CGSize size;
        Rgba first; // at the top left
    } cases[] = {
        {"lower left", {{0, 0}, {6, 4}}, {6, 4}, {0, 6, 0, 255}},
        {"upper right", {{14, 6}, {6, 4}}, {6, 4}, {14, 0, 0, 255}},
        {"over the left edge", {{-2, 0}, {6, 4}}, {6, 4}, {0, 0, 0, 0}},
        {"over the upper edge", {{3, 8}, {6, 4}}, {6, 4}, {0, 0, 0, 0}},
        {"over the lower edge", {{3, -2}, {6, 4}}, {6, 4}, {3, 8, 0, 255}},
        {"sides rounded up", {{2, 2}, {5.5, 3.5}}, {6, 4}, {2, 4, 0, 255}},
        {"beside", {{30, 0}, {6, 4}}, {6, 4}, {0, 0, 0, 0}},
    };
    for (const CGFloat scale : {1.0, 2.0}) {
        Screens::set({scale});
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", display scale " << scale);
            const auto part = ZelImageHelper::crop(image, {.to = c.rect});
            ASSERT_NE(part, nullptr);
            EXPECT_EQ(part->size, c.size);
            EXPECT_EQ(pixelAt(*part->cgImage, 0, 0), c.first);
        }
        EXPECT_EQ(ZelImageHelper::crop(image, {.to = {{0, 0}, {6, 4}}})->image->size(), (CGSize{6 / scale, 4 / scale}));
    }
    Screens::set({});
    for (const CGRect& rect : {CGRect{{0, 0}, {0, 4}}, CGRect{{nan, 0}, {6, 4}}, CGRect{{0, 0}, {1e9, 1e9}}}) {
        ZelFailure::clear();
        EXPECT_EQ(ZelImageHelper::crop(image, {.to = rect}), nullptr);
        EXPECT_NE(ZelFailure::last().code, ZelFailureCode::none);
    }
}

TEST(Crop, KeepsAnAreaAroundAPointInside)
{
    const auto image = makeZelImage(positions(20, 10));
    const struct {
        const char* name;
        CGPoint point;
        CGSize size;
        Rgba first;
    } cases[] = {
        {"inside", {10, 5}, {6, 4}, {7, 3, 0, 255}},
        {"the lower left corner", {0, 0}, {6, 4}, {0, 6, 0, 255}},
        {"the upper right corner", {20, 10}, {6, 4}, {14, 0, 0, 255}},
        {"far outside", {-1e9, 1e9}, {6, 4}, {0, 0, 0, 255}},
        {"larger than the picture: flush with the right and upper edges", {10, 5}, {30, 15}, {0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        const auto part = ZelImageHelper::cropToPoint(image, {.to = c.point, .size = c.size});
        ASSERT_NE(part, nullptr) << c.name;
        EXPECT_EQ(part->size, c.size) << c.name;
        EXPECT_EQ(pixelAt(*part->cgImage, 0, 0), c.first) << c.name;
        if (c.size.width == 30) {
            EXPECT_EQ(pixelAt(*part->cgImage, 10, 0), (Rgba{0, 0, 0, 255}));
        }
    }
    EXPECT_EQ(ZelImageHelper::cropToPoint(nullptr, {.to = {0, 0}, .size = {1, 1}}), nullptr);
}

} // namespace
} // namespace zel
