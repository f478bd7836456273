#include <zel/engine/blend.h>
#include <zel/engine/blend_kernels.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel::engine {
namespace {

using Pixel = std::array<std::uint8_t, 4>;

Pixel blended(Pixel from, Pixel to, double opacity)
{
    const ConstPixels source{from.data(), 4, 1, 1, 4};
    EXPECT_TRUE(sourceOver(source, Pixels{to.data(), 4, 1, 1, 4}, opacity));
    return to;
}

TEST(SourceOver, PixelsByHand)
{
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        const char* name;
        Pixel from, to;
        double opacity;
        Pixel expected;
    };
    const Case cases[] = {
        {"opaque replaces", {10, 20, 30, 255}, {1, 2, 3, 255}, 1, {10, 20, 30, 255}},
        {"opaque replaces what is half clear", {10, 20, 30, 255}, {1, 2, 3, 4}, 1, {10, 20, 30, 255}},
        {"clear changes nothing", {0, 0, 0, 0}, {1, 2, 3, 77}, 1, {1, 2, 3, 77}},
        {"opacity 0 changes nothing", {255, 255, 255, 255}, {1, 2, 3, 77}, 0, {1, 2, 3, 77}},
        {"opacity below 0 is 0", {255, 255, 255, 255}, {1, 2, 3, 77}, -4, {1, 2, 3, 77}},
        {"opacity that is no number is 0", {255, 255, 255, 255}, {1, 2, 3, 77}, none, {1, 2, 3, 77}},
        {"opacity above 1 is 1", {10, 20, 30, 255}, {1, 2, 3, 255}, 8, {10, 20, 30, 255}},
        // 0.6 × 255 = 153 of alpha, 0.4 of what is below
        {"white at 0.6 over black", {255, 255, 255, 255}, {0, 0, 0, 255}, 0.6, {153, 153, 153, 255}},
        {"black at 0.6 over white", {0, 0, 0, 255}, {255, 255, 255, 255}, 0.6, {102, 102, 102, 255}},
        {"white at 0.6 over nothing", {255, 255, 255, 255}, {0, 0, 0, 0}, 0.6, {153, 153, 153, 153}},
        // 51 of 255 is a fifth: 40 + 200 × 4/5
        {"a fifth over opaque", {40, 0, 51, 51}, {200, 100, 0, 255}, 1, {200, 80, 51, 255}},
        {"two halves that are not one", {0, 64, 128, 128}, {128, 64, 0, 128}, 1, {64, 96, 128, 192}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(blended(c.from, c.to, c.opacity), c.expected) << c.name;
}

TEST(SourceOver, WithinAHundredthOfTheNearestEverywhere)
{
    for (const double opacity : {1.0, 0.6, 1.0 / 3, 0.002}) {
        TestPicture from(256, 64, 4, 0, 5);
        from.premultiplied();
        TestPicture to(256, 64, 4, 8, 6);
        to.premultiplied();
        const TestPicture before = to;
        ASSERT_TRUE(sourceOver(from.pixels(), to.pixels(), opacity));
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 256; ++x)
                for (int i = 0; i < 4; ++i) {
                    const double alpha = component(from.pixels(), x, y, 3) / 255.0 * opacity;
                    const double exact =
                        component(from.pixels(), x, y, i) * opacity + component(before.pixels(), x, y, i) * (1 - alpha);
                    ASSERT_NEAR(component(to.pixels(), x, y, i), exact, 0.51);
                }
    }
}

TEST(SourceOver, OpaqueStaysOpaqueAndClearStaysPremultiplied)
{
    for (int percent = 1; percent <= 100; ++percent) {
        TestPicture from(256, 4, 4, 0, static_cast<std::uint32_t>(percent));
        from.premultiplied();
        TestPicture onto(256, 4, 4, 0, 1000);
        onto.forEachPixel([](std::uint8_t* pixel) { pixel[3] = 255; });
        TestPicture clear(256, 4);
        clear.forEachPixel([](std::uint8_t* pixel) { std::memset(pixel, 0, 4); });
        ASSERT_TRUE(sourceOver(from.pixels(), onto.pixels(), percent / 100.0));
        ASSERT_TRUE(sourceOver(from.pixels(), clear.pixels(), percent / 100.0));
        onto.forEachPixel([](const std::uint8_t* pixel) { ASSERT_EQ(pixel[3], 255); });
        clear.forEachPixel([](const std::uint8_t* pixel) {
            ASSERT_LE(std::max({pixel[0], pixel[1], pixel[2]}), pixel[3]);
        });
    }
}

TEST(SourceOver, RefusesOtherSizes)
{
    const TestPicture from(4, 4);
    TestPicture wider(5, 4), lower(4, 3), deep(4, 4, 8);
    const auto before = wider.bytes;
    EXPECT_FALSE(sourceOver(from.pixels(), wider.pixels()));
    EXPECT_EQ(wider.bytes, before);
    EXPECT_FALSE(sourceOver(from.pixels(), lower.pixels()));
    EXPECT_FALSE(sourceOver(from.pixels(), deep.pixels()));
    EXPECT_FALSE(sourceOver(ConstPixels{}, Pixels{}));
    EXPECT_FALSE(flatten(from.pixels(), PixelLayout::Alpha::straight, wider.pixels()));
}

TEST(Flatten, EveryComponentAndAlphaOverAColour)
{
    for (const std::uint8_t paper : {std::uint8_t{0}, std::uint8_t{100}, std::uint8_t{255}}) {
        TestPicture all(256, 256), straight(256, 256), premultiplied(256, 256);
        for (int alpha = 0; alpha < 256; ++alpha)
            for (int value = 0; value < 256; ++value)
                for (int i = 0; i < 4; ++i)
                    setComponent(all.pixels(), value, alpha, i, static_cast<unsigned>(i == 3 ? alpha : value));
        ASSERT_TRUE(flatten(all.pixels(), PixelLayout::Alpha::straight, straight.pixels(), {paper, paper, paper}));
        ASSERT_TRUE(
            flatten(all.pixels(), PixelLayout::Alpha::premultiplied, premultiplied.pixels(), {paper, paper, paper}));
        for (int alpha = 0; alpha < 256; ++alpha)
            for (int value = 0; value < 256; ++value) {
                const double share = alpha / 255.0;
                const double below = paper * (1 - share);
                ASSERT_NEAR(component(straight.pixels(), value, alpha, 0), value * share + below, 0.5);
                ASSERT_NEAR(component(premultiplied.pixels(), value, alpha, 2), std::min(255.0, value + below), 0.5);
                ASSERT_EQ(component(straight.pixels(), value, alpha, 3), 255u);
                ASSERT_EQ(component(premultiplied.pixels(), value, alpha, 3), 255u);
            }
    }
}

TEST(Flatten, PaperShowsThroughByComponentAndSkippedAlphaHidesIt)
{
    const Pixel clear{0, 0, 0, 0};
    Pixel result{};
    ASSERT_TRUE(
        flatten({clear.data(), 4, 1, 1, 4}, PixelLayout::Alpha::premultiplied, {result.data(), 4, 1, 1, 4}, {1, 2, 3}));
    EXPECT_EQ(result, (Pixel{1, 2, 3, 255}));
    const Pixel skipped{9, 8, 7, 0};
    ASSERT_TRUE(flatten({skipped.data(), 4, 1, 1, 4}, PixelLayout::Alpha::skip, {result.data(), 4, 1, 1, 4}));
    EXPECT_EQ(result, (Pixel{9, 8, 7, 255}));
}

TEST(BlendKernels, EveryTargetGivesTheReferenceAndTouchesNothingElse)
{
    forEachTarget([] {
        for (int width = 1; width <= 130; ++width) {
            const auto seed = static_cast<std::uint32_t>(width);
            TestPicture from(width, 2, 4, seed % 7, seed); // random, so also with components above alpha
            if (width % 3 == 0)
                for (auto& byte : from.bytes)
                    byte = width % 2 == 0 ? 255 : 0;
            for (const std::uint32_t opacity : {1u, 39169u, fullOpacity}) {
                TestPicture expected(width, 2, 4, seed % 5);
                TestPicture actual = expected;
                blendRowsReference(from.pixels(), expected.pixels(), opacity);
                blendRows(from.pixels(), actual.pixels(), opacity);
                ASSERT_EQ(actual.bytes, expected.bytes) << width << " pixels, opacity " << opacity;
            }
            for (const bool premultiplied : {false, true}) {
                TestPicture expected(width, 2, 4, seed % 5);
                TestPicture actual = expected;
                flattenRowsReference(from.pixels(), premultiplied, expected.pixels(), {1, 128, 255});
                flattenRows(from.pixels(), premultiplied, actual.pixels(), {1, 128, 255});
                ASSERT_EQ(actual.bytes, expected.bytes) << width << " pixels, premultiplied " << premultiplied;
            }
        }
    });
}

} // namespace
} // namespace zel::engine
