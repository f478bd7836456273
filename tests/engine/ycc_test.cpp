#include <zel/engine/ycc_kernels.h>

#include "targets.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

namespace zel::engine {
namespace {

using Row = std::vector<std::uint8_t>;

Row noise(std::size_t count, std::uint32_t seed)
{
    Row row(count);
    for (auto& byte : row)
        byte = static_cast<std::uint8_t>((seed = seed * 1664525U + 1013904223U) >> 24);
    return row;
}

TEST(Ycc, OfEveryEighthColourIsTheNearest)
{
    // The formula of the standard, in floating point.
    Row pixels;
    for (int red = 0; red < 264; red += 8)
        for (int green = 0; green < 264; green += 8)
            for (int blue = 0; blue < 264; blue += 8)
                for (const int value : {red, green, blue, 7})
                    pixels.push_back(static_cast<std::uint8_t>(std::min(value, 255)));
    const std::size_t count = pixels.size() / 4;
    forEachTarget([&] {
        Row luma(count), cb(count), cr(count);
        toYcc(pixels.data(), {luma.data(), cb.data(), cr.data()}, count);
        for (std::size_t i = 0; i < count; ++i) {
            const double red = pixels[4 * i], green = pixels[4 * i + 1], blue = pixels[4 * i + 2];
            const double y = 0.299 * red + 0.587 * green + 0.114 * blue;
            ASSERT_NEAR(luma[i], y, 0.502);
            ASSERT_NEAR(cb[i], std::min(255.0, 128 + (blue - y) / 1.772), 0.502);
            ASSERT_NEAR(cr[i], std::min(255.0, 128 + (red - y) / 1.402), 0.502);
        }
    });
}

TEST(Ycc, GreyHasNoColour)
{
    forEachTarget([] {
        for (int grey = 0; grey < 256; ++grey) {
            const auto value = static_cast<std::uint8_t>(grey);
            const std::array<std::uint8_t, 4> pixel{value, value, value, 0};
            std::array<std::uint8_t, 3> ycc{};
            toYcc(pixel.data(), {&ycc[0], &ycc[1], &ycc[2]}, 1);
            EXPECT_EQ(ycc, (std::array<std::uint8_t, 3>{value, 128, 128}));
        }
    });
}

TEST(Ycc, EveryTargetGivesTheReference)
{
    constexpr std::size_t guard = 64;
    forEachTarget([] {
        for (std::size_t width = 1; width <= 130; ++width) {
            SCOPED_TRACE(testing::Message() << "width " << width);
            const Row source = noise(4 * width + 33, static_cast<std::uint32_t>(width));
            const std::uint8_t* pixels = source.data() + width % 33;
            std::array<Row, 3> expected, actual;
            for (std::size_t i = 0; i < 3; ++i)
                expected[i] = actual[i] = Row(guard + width + guard, 0xA5);
            toYccReference(pixels, {&expected[0][guard], &expected[1][guard], &expected[2][guard]}, width);
            toYcc(pixels, {&actual[0][guard], &actual[1][guard], &actual[2][guard]}, width);
            EXPECT_EQ(actual, expected);

            const Row upper = noise(2 * width, 5), lower = noise(2 * width, 6);
            Row halfExpected(guard + width + guard, 0xA5), halfActual = halfExpected;
            halveRowsReference(upper.data(), lower.data(), &halfExpected[guard], width);
            halveRows(upper.data(), lower.data(), &halfActual[guard], width);
            EXPECT_EQ(halfActual, halfExpected);
        }
    });
}

TEST(Ycc, HalvingLeavesFlatRowsFlatAndAlternatesItsRounding)
{
    forEachTarget([] {
        for (const std::uint8_t value : {std::uint8_t{0}, std::uint8_t{77}, std::uint8_t{255}}) {
            const Row flat(200, value);
            Row result(100);
            halveRows(flat.data(), flat.data(), result.data(), result.size());
            EXPECT_EQ(result, Row(100, value));
        }
        const Row upper(200, 10);
        Row lower(200, 10), result(100);
        for (std::size_t i = 0; i < lower.size(); i += 2) // sums of 42: 10.5 becomes 10 and 11 in turn
            lower[i] = 12;
        halveRows(upper.data(), lower.data(), result.data(), result.size());
        for (std::size_t i = 0; i < result.size(); ++i)
            EXPECT_EQ(result[i], 10 + i % 2);
    });
}

} // namespace
} // namespace zel::engine
