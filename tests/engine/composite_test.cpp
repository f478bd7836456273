#include <zel/engine/blend.h>
#include <zel/engine/blend_kernels.h>
#include <zel/engine/composite.h>
#include <zel/engine/composite_kernels.h>
#include <zel/engine/parallel.h>
#include <zel/engine/pixel_buffer.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace zel::engine {
namespace {

TestPicture layerPicture(int width, int height, std::uint32_t seed = 1)
{
    TestPicture picture(width, height, 4, 4, seed);
    picture.premultiplied();
    return picture;
}

TestPicture flatPicture(int width, int height, std::array<std::uint8_t, 4> pixel)
{
    TestPicture picture(width, height);
    picture.forEachPixel([&](std::uint8_t* at) { std::memcpy(at, pixel.data(), 4); });
    return picture;
}

/// Weights of a triangle as wide as the scale, or one pixel where it enlarges, at a position of the result.
std::vector<double> triangle(int source, int target, int position)
{
    const double scale = double(source) / target;
    const double radius = std::max(1.0, scale);
    const double centre = (position + 0.5) * scale;
    std::vector<double> weights(static_cast<std::size_t>(source));
    double sum = 0;
    for (int i = 0; i < source; ++i)
        sum += weights[static_cast<std::size_t>(i)] = std::max(0.0, 1 - std::abs(i + 0.5 - centre) / radius);
    for (double& weight : weights)
        weight /= sum;
    return weights;
}

TEST(Composite, IsTheTriangleFilterBlended)
{
    struct Case {
        const char* name;
        int fromWidth, fromHeight, width, height;
        double opacity;
    };
    const Case cases[] = {
        {"enlarged", 20, 15, 47, 33, 1},  {"much enlarged", 3, 2, 90, 61, 0.7},       {"reduced", 70, 50, 41, 29, 0.6},
        {"by a half", 80, 60, 40, 30, 1}, {"wider and lower", 30, 50, 59, 26, 0.5},   {"a row only", 64, 1, 100, 40, 1},
        {"one pixel", 1, 1, 37, 5, 0.3},  {"reduced by five", 200, 150, 40, 30, 0.8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const TestPicture from = layerPicture(c.fromWidth, c.fromHeight);
        TestPicture to = layerPicture(100, 70, 7);
        const TestPicture before = to;
        ASSERT_TRUE(drawScaled(from.pixels(), to.pixels(), {3, 4, double(c.width), double(c.height)}, Kernel::triangle,
                               c.opacity));
        for (int y = 0; y < 70; ++y) {
            for (int x = 0; x < 100; ++x) {
                const bool inside = x >= 3 && x < 3 + c.width && y >= 4 && y < 4 + c.height;
                if (!inside) {
                    ASSERT_EQ(std::memcmp(to.pixels().at(x, y), before.pixels().at(x, y), 4), 0);
                    continue;
                }
                const auto across = triangle(c.fromWidth, c.width, x - 3);
                const auto down = triangle(c.fromHeight, c.height, y - 4);
                std::array<double, 4> sample{};
                for (int v = 0; v < c.fromHeight; ++v)
                    for (int u = 0; u < c.fromWidth; ++u)
                        if (const double weight = across[std::size_t(u)] * down[std::size_t(v)]; weight > 0)
                            for (int i = 0; i < 4; ++i)
                                sample[std::size_t(i)] += weight * component(from.pixels(), u, v, i);
                for (int i = 0; i < 4; ++i) {
                    const double below = component(before.pixels(), x, y, i);
                    const double expected =
                        sample[std::size_t(i)] * c.opacity + below * (1 - sample[3] / 255 * c.opacity);
                    // What is resampled into bytes first is off by half a step more.
                    ASSERT_NEAR(component(to.pixels(), x, y, i), expected, c.fromWidth == 200 ? 1.3 : 0.55)
                        << x << ", " << y << ", component " << i;
                }
            }
        }
    }
}

TEST(Composite, FlatStaysFlatAndOpaqueStaysOpaque)
{
    for (const Kernel kernel : {Kernel::nearest, Kernel::triangle, Kernel::lanczos3}) {
        for (const int side : {1, 9, 40, 63, 64, 130, 400}) {
            const TestPicture from = flatPicture(side, side, {200, 100, 3, 255});
            for (const std::array<std::uint8_t, 4> under : {std::array<std::uint8_t, 4>{}, {9, 8, 7, 255}}) {
                TestPicture to = flatPicture(64, 64, under);
                const TestPicture expected = flatPicture(64, 64, {200, 100, 3, 255});
                ASSERT_TRUE(drawScaled(from.pixels(), to.pixels(), {0, 0, 64, 64}, kernel));
                for (int y = 0; y < 64; ++y)
                    ASSERT_EQ(std::memcmp(to.pixels().row(y), expected.pixels().row(y), 256), 0)
                        << side << ", kernel " << static_cast<int>(kernel);
                ASSERT_TRUE(drawScaled(from.pixels(), to.pixels(), {-3, -3, 80, 80}, kernel, 0.37));
                to.forEachPixel([](const std::uint8_t* pixel) { ASSERT_EQ(pixel[3], 255); });
            }
        }
    }
}

TEST(Composite, NearestTakesThePixelUnderTheCentre)
{
    for (const int target : {6, 20, 21, 33, 50}) {
        TestPicture from = layerPicture(21, 13);
        TestPicture to = flatPicture(50, 13, {});
        ASSERT_TRUE(drawScaled(from.pixels(), to.pixels(), {0, 0, double(target), 13}, Kernel::nearest));
        for (int x = 0; x < target; ++x) {
            const int column = (2 * x + 1) * 21 / (2 * target);
            ASSERT_EQ(std::memcmp(to.pixels().at(x, 6), from.pixels().at(column, 6), 4), 0) << x << " of " << target;
        }
    }
}

TEST(Composite, AtItsOwnSizeAPictureIsBlendedAsItIs)
{
    const TestPicture from = layerPicture(30, 20);
    TestPicture to = layerPicture(50, 40, 5);
    TestPicture expected = to;
    ASSERT_TRUE(drawScaled(from.pixels(), to.pixels(), {-7, 25, 30, 20}, Kernel::lanczos3, 0.8));
    ASSERT_TRUE(sourceOver(from.pixels().part(7, 0, 23, 15), expected.pixels().part(0, 25, 23, 15), 0.8));
    EXPECT_EQ(to.bytes, expected.bytes);
}

TEST(Composite, FractionsAreWidenedToWholePixelsThatThePictureFills)
{
    struct Case {
        const char* name;
        Placement place;
        int left, top, right, bottom;
    };
    const Case cases[] = {
        {"whole", {2, 3, 10, 12}, 2, 3, 12, 15},
        {"fractions", {2.3, 3.7, 10.1, 12.2}, 2, 3, 13, 16},
        {"within the tolerance", {2.0000004, 2.9999997, 9.9999999, 12}, 2, 3, 12, 15},
        {"less than a pixel", {5.4, 5.4, 0.2, 0.2}, 5, 5, 6, 6},
        {"over every edge", {-5, -6, 1000, 900.5}, 0, 0, 40, 30},
        {"outside", {40, 3, 10, 10}, 0, 0, 0, 0},
        {"outside at the left", {-10, 3, 10, 10}, 0, 0, 0, 0},
    };
    const TestPicture from = flatPicture(13, 11, {1, 2, 3, 255});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestPicture to = flatPicture(40, 30, {});
        ASSERT_TRUE(drawScaled(from.pixels(), to.pixels(), c.place));
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) {
                const bool inside = x >= c.left && x < c.right && y >= c.top && y < c.bottom;
                ASSERT_EQ(component(to.pixels(), x, y, 3), inside ? 255u : 0u) << x << ", " << y;
            }
    }
}

TEST(Composite, WhatHangsOverLooksAsItDoesOnALargerCanvas)
{
    const TestPicture from = layerPicture(51, 41); // odd, so that no centre lies on the border of two pixels
    for (const Kernel kernel : {Kernel::triangle, Kernel::lanczos3, Kernel::nearest}) {
        for (const double width : {31.0, 77.0, 12.0}) {
            TestPicture small = flatPicture(30, 25, {}), large = flatPicture(120, 120, {});
            ASSERT_TRUE(drawScaled(from.pixels(), small.pixels(), {-11, -7, width, 45}, kernel));
            ASSERT_TRUE(drawScaled(from.pixels(), large.pixels(), {20 - 11, 30 - 7, width, 45}, kernel));
            for (int y = 0; y < 25; ++y)
                for (int x = 0; x < 30; ++x)
                    for (int i = 0; i < 4; ++i)
                        ASSERT_NEAR(component(small.pixels(), x, y, i), component(large.pixels(), x + 20, y + 30, i),
                                    1);
        }
    }
}

TEST(Composite, LanczosAndLargeReductionsAreResampledAndBlended)
{
    const TestPicture from = layerPicture(900, 700);
    for (const Kernel kernel : {Kernel::lanczos3, Kernel::triangle}) {
        TestPicture to = layerPicture(250, 200, 3);
        TestPicture expected = to;
        PixelBuffer scaled(240, 190);
        ASSERT_TRUE(resample(from.pixels(), scaled.pixels(), kernel));
        ASSERT_TRUE(sourceOver(scaled.pixels(), expected.pixels().part(5, 6, 240, 190), 0.6));
        ASSERT_TRUE(drawScaled(from.pixels(), to.pixels(), {5, 6, 240, 190}, kernel, 0.6));
        EXPECT_EQ(to.bytes, expected.bytes);
    }
}

TEST(Composite, TheSameBytesForAnyNumberOfThreads)
{
    const TestPicture from = layerPicture(700, 600);
    for (const Kernel kernel : {Kernel::triangle, Kernel::lanczos3}) {
        TestPicture one = layerPicture(1200, 1000, 5), many = one;
        setConcurrency(1);
        ASSERT_TRUE(drawScaled(from.pixels(), one.pixels(), {-20, 13, 1150, 900}, kernel, 0.9));
        setConcurrency(3);
        ASSERT_TRUE(drawScaled(from.pixels(), many.pixels(), {-20, 13, 1150, 900}, kernel, 0.9));
        setConcurrency(0);
        EXPECT_EQ(one.bytes, many.bytes);
    }
}

TEST(Composite, PlacesThatAreNone)
{
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    constexpr double endless = std::numeric_limits<double>::infinity();
    const TestPicture from = layerPicture(4, 4);
    TestPicture to = layerPicture(8, 8), before = to;
    for (const Placement& place : {Placement{0, 0, 0, 4},
                                   {0, 0, 4, -1},
                                   {none, 0, 4, 4},
                                   {0, 0, none, 4},
                                   {0, 0, endless, 4},
                                   {0, -endless, 4, 4},
                                   {0, 0, 4, 1e300}})
        EXPECT_FALSE(drawScaled(from.pixels(), to.pixels(), place));
    EXPECT_FALSE(drawScaled(ConstPixels{}, to.pixels(), {0, 0, 4, 4}));
    EXPECT_FALSE(drawScaled(from.pixels(), Pixels{}, {0, 0, 4, 4}));
    EXPECT_FALSE(drawScaled(TestPicture(4, 4, 8).pixels(), to.pixels(), {0, 0, 4, 4}));
    EXPECT_TRUE(drawScaled(from.pixels(), to.pixels(), {0, 0, 6, 6}, Kernel::triangle, 0));
    EXPECT_TRUE(drawScaled(from.pixels(), to.pixels(), {0, 0, 6, 6}, Kernel::triangle, none));
    EXPECT_EQ(to.bytes, before.bytes);
    EXPECT_TRUE(drawScaled(from.pixels(), to.pixels(), {-5e8, -5e8, 1e9, 1e9})); // a detail of a giant
}

TEST(CompositeKernels, EveryTargetGivesTheReferenceAndTouchesNothingElse)
{
    const TestPicture from(90, 40); // also with components above alpha
    std::minstd_rand random(2);
    const auto below = [&](std::uint32_t end) { return static_cast<std::uint32_t>(random() >> 4) % end; };
    /// Weights whose sum is at most `most`, some of them 0.
    const auto weights = [&](int taps, std::uint32_t most) {
        std::vector<std::uint32_t> result;
        for (int k = 0; k < taps; ++k) {
            const std::uint32_t weight = below(5) == 0 ? 0 : below(most + 1);
            most -= weight;
            result.push_back(weight);
        }
        return result;
    };
    forEachTarget([&] {
        for (int width = 1; width <= 70; ++width) {
            for (const int taps : {1, 2, 3, 4, 5, 6}) {
                const auto count = static_cast<std::size_t>(width);
                LayerColumns columns;
                columns.taps = taps;
                columns.weights.resize(count * static_cast<std::size_t>(taps));
                std::uint32_t first = 0;
                for (std::size_t x = 0; x < count; ++x) {
                    columns.first.push_back(first);
                    first = std::min(first + below(width % 2 == 0 ? 2 : 3), 84u);
                    const auto some = weights(taps, 65535);
                    for (std::size_t k = 0; k < some.size(); ++k)
                        columns.weights[k * count + x] = some[k] * 0x10001u;
                }
                LayerRows rows;
                rows.taps = taps;
                for (int y = 0; y < 3; ++y) {
                    rows.first.push_back(static_cast<int>(below(34)));
                    for (const std::uint32_t weight : weights(taps, 65535))
                        rows.weights.push_back(static_cast<std::uint16_t>(weight));
                }
                TestPicture expected(width, 3);
                TestPicture actual = expected;
                std::vector<std::uint32_t> scratch(2 * (90 + layerPadding));
                drawLayerReference(from.pixels(), rows, columns, expected.pixels(), 0, 3);
                drawLayer(from.pixels(), rows, columns, actual.pixels(), 0, 3,
                          {scratch.data(), scratch.data() + 90 + layerPadding});
                ASSERT_EQ(actual.bytes, expected.bytes) << width << " pixels, " << taps << " taps";
            }
        }
    });
}

} // namespace
} // namespace zel::engine
