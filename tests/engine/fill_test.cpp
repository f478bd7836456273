#include <zel/engine/fill.h>

#include "test_picture.h"

#include <gtest/gtest.h>

namespace zel::engine {
namespace {

TEST(Fill, EveryPixelAndNothingElse)
{
    const std::array<std::uint8_t, 4> colors[] = {{1, 2, 3, 4}, {9, 9, 9, 9}};
    for (const auto& color : colors) {
        for (int width = 1; width <= 40; ++width) {
            TestPicture actual(width, 3), expected = actual;
            expected.forEachPixel([&](std::uint8_t* pixel) { std::memcpy(pixel, color.data(), 4); });
            fill(actual.pixels(), color);
            ASSERT_EQ(actual.bytes, expected.bytes) << width;
        }
    }
}

TEST(Fill, DeepPixelsGetTheSameColour)
{
    TestPicture picture(13, 2, 8);
    fill(picture.pixels(), {0, 1, 128, 255});
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 13; ++x) {
            EXPECT_EQ(component(picture.pixels(), x, y, 0), 0u);
            EXPECT_EQ(component(picture.pixels(), x, y, 1), 257u);
            EXPECT_EQ(component(picture.pixels(), x, y, 2), 32896u);
            EXPECT_EQ(component(picture.pixels(), x, y, 3), 65535u);
        }
}

TEST(Fill, NoPixelsAreNoHarm)
{
    fill(Pixels{}, {1, 2, 3, 4});
}

TEST(Copy, RowsAndNothingElse)
{
    for (const int bytesPerPixel : {4, 8}) {
        const TestPicture from(700, 500, bytesPerPixel, 20, 5); // several bands
        TestPicture to(700, 500, bytesPerPixel, 4, 6);
        TestPicture expected = to;
        for (int y = 0; y < 500; ++y)
            for (std::size_t i = 0; i < from.pixels().rowBytes(); ++i)
                expected.pixels().row(y)[i] = from.pixels().row(y)[i];
        ASSERT_TRUE(copy(from.pixels(), to.pixels()));
        EXPECT_EQ(to.bytes, expected.bytes);
    }
}

TEST(Copy, RefusesWhatDoesNotFit)
{
    const TestPicture from(4, 4);
    TestPicture wider(5, 4), lower(4, 3), deep(4, 4, 8);
    EXPECT_FALSE(copy(from.pixels(), wider.pixels()));
    EXPECT_FALSE(copy(from.pixels(), lower.pixels()));
    EXPECT_FALSE(copy(from.pixels(), deep.pixels()));
    EXPECT_FALSE(copy(ConstPixels{}, Pixels{}));
}

} // namespace
} // namespace zel::engine
