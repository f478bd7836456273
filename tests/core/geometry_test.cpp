#include <zel/core/geometry.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel::ZelImageHelper {
namespace {

constexpr CGFloat infinity = std::numeric_limits<CGFloat>::infinity();

TEST(Geometry, MeasuresAreThoseOfTheStandardisedRectangle)
{
    const CGRect backwards{{10, 20}, {-4, -6}};
    EXPECT_EQ(getCenter({.of = backwards}), (CGPoint{8, 17}));
    EXPECT_EQ(boundRect({.boundRect = {{0, 0}, {100, 100}}, .rect = backwards}), (CGRect{{6, 14}, {4, 6}}));
    EXPECT_EQ(getCroppingSize({.rect = {{0, 0}, {-400, -300}}, .ratio = 1, .zoom = 1}), (CGSize{300, 300}));
    EXPECT_EQ(getRatio({.of = CGRect{{0, 0}, {-4, 2}}}), -2.0);
    EXPECT_EQ(getRect({.centeredAt = {5, 5}, .withSize = {-2, 4}}), (CGRect{{6, 3}, {-2, 4}}));
}

TEST(Geometry, BoundsMoveRectangles)
{
    const CGRect bounds{{0, 0}, {100, 100}};
    const struct {
        const char* name;
        CGRect rect, moved;
    } cases[] = {
        {"inside stays", {{10, 10}, {40, 40}}, {{10, 10}, {40, 40}}},
        {"left of it", {{-50, 10}, {40, 40}}, {{0, 10}, {40, 40}}},
        {"right of it", {{80, 10}, {40, 40}}, {{60, 10}, {40, 40}}},
        {"above it", {{10, 300}, {40, 40}}, {{10, 60}, {40, 40}}},
        {"too wide ends on the high edge", {{10, 10}, {150, 40}}, {{-50, 10}, {150, 40}}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(boundRect({.boundRect = bounds, .rect = c.rect}), c.moved) << c.name;
    EXPECT_EQ(boundPoint({.point = {-5, 200}, .rect = bounds, .insetSize = {20, 40}}), (CGPoint{10, 80}));
    EXPECT_EQ(boundPoint({.point = {50, 50}, .rect = bounds, .insetSize = {300, 40}}),
              (CGPoint{-50, 50})); // the high limit wins
}

TEST(Geometry, CropsOfARatio)
{
    const CGRect rect{{0, 0}, {400, 300}};
    EXPECT_EQ(getCroppingSize({.rect = rect, .ratio = 1, .zoom = 1}), (CGSize{300, 300}));
    EXPECT_EQ(getCroppingSize({.rect = rect, .ratio = 2, .zoom = 2}), (CGSize{200, 100}));
    EXPECT_EQ(getCroppingSize({.rect = rect, .ratio = 4.0 / 3.0, .zoom = 2}), (CGSize{200, 150}));
}

TEST(Geometry, CentreOfGravityWeighsByArea)
{
    const CGRect rects[] = {{{0, 0}, {2, 2}}, {{10, 0}, {2, 6}}, {{100, 100}, {0, 50}}};
    // Areas 4 and 12, centres (1, 1) and (11, 3).
    EXPECT_EQ(getCenterOfGravity({.rects = rects}), (CGPoint{8.5, 2.5}));
    for (const auto& none : {std::span<const CGRect>{}, std::span<const CGRect>(rects + 2, 1)}) {
        const CGPoint nowhere = getCenterOfGravity({.rects = none});
        EXPECT_TRUE(std::isnan(nowhere.x) && std::isnan(nowhere.y));
    }
}

TEST(Geometry, UnitRectanglesGoThereAndBack)
{
    const CGRect bounds{{10, 20}, {200, 100}}, inner{{60, 45}, {50, 50}};
    const CGRect unit = getNormalizedTo1Rect({.boundsRect = bounds, .innerRect = inner});
    EXPECT_EQ(unit, (CGRect{{0.25, 0.25}, {0.25, 0.5}}));
    EXPECT_EQ(getDenormalizedRect({.boundsRect = bounds, .normalizedTo1Rect = unit}), inner);
}

TEST(Geometry, ReadableTexts)
{
    const struct {
        CGSize size;
        const char *sides, *ratio;
    } cases[] = {
        {{4000, 3000}, "4000x3000", "4:3"},
        {{1024.9, 768.2}, "1024x768", "4:3"},
        {{0.9, 0.9}, "0x0", "0:0"},
        {{1920, 1080}, "1920x1080", "16:9"},
        {{1080, 1920}, "1080x1920", "9:16"},
        {{500, 500}, "500x500", "1:1"},
        {{1001, 1000}, "1001x1000", "1001:1000"},
        {{-6, 4}, "-6x4", "-3:2"},
        {{-5, -5}, "-5x-5", "1:1"},
        {{5, 0}, "5x0", "1:0"},
        {{infinity, -infinity}, "9223372036854775807x-9223372036854775808", "9223372036854775807:-9223372036854775808"},
        {{std::nan(""), 7}, "0x7", "0:1"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(getReadableImageSize({.of = c.size}), c.sides);
        EXPECT_EQ(getReadableRatio({.of = c.size}), c.ratio);
    }
    EXPECT_EQ(getReadableImageSize({.of = URL::file("/no/such/file")}), "");
    EXPECT_EQ(getReadableRatio({.of = Ref<ZelImage>()}), "");
    EXPECT_EQ(getReadableRatio({.of = makeZelImage(test::flat(30, 20, {}))}), "3:2");
}

TEST(Geometry, PointsAndPixels)
{
    Screens::set({2.0, 1.0});
    EXPECT_EQ(getActualSizeWithoutRetina({1000, 800}), (CGSize{500, 400}));
    EXPECT_EQ(getActualPointWithoutRetina({3, 5}), (CGPoint{1.5, 2.5}));
    EXPECT_EQ(bakingScaleFactor(), 2.0);
    Screens::set({});
    EXPECT_EQ(getActualSizeWithoutRetina({1000, 800}), (CGSize{1000, 800}));

    const auto dense = makeZelImage(NSImage::make(test::flat(400, 300, {}), {200, 100}));
    EXPECT_EQ(getRepresentedSize(dense), (CGSize{200, 100}));
    EXPECT_EQ(getRect(dense), (CGRect{{0, 0}, {400, 300}}));
    EXPECT_EQ(getActualRectWithRepresentation(dense, {.rect = {{40, 30}, {20, 60}}}), (CGRect{{20, 10}, {10, 20}}));
    EXPECT_EQ(getSize(dense->cgImage), (CGSize{400, 300}));
    EXPECT_TRUE(std::isinf(getRatio({.of = 16, .by = 0})));
    EXPECT_EQ(getRatio({.of = 16, .by = 10}), 1.6);
    EXPECT_EQ(boundToInt({3.9, -3.9}), (CGSize{3, -3}));
    EXPECT_EQ(sumPoints(weightedPoint({.point = {1, 2}, .factor = 3}), {1, 1}), (CGPoint{4, 7}));
}

} // namespace
} // namespace zel::ZelImageHelper
