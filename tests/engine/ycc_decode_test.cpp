#include <zel/engine/ycc_decode.h>

#include "targets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace zel::engine {
namespace {

template <class Sample>
void expectNearFormula(const YccCoding& coding)
{
    const double most = (1 << coding.bits) - 1, eighth = 1 << (coding.bits - 8);
    const double full = coding.bits == 8 ? 255 : 65535;
    const YccToRgb formula = yccToRgb(coding);
    const int step = std::max(1, static_cast<int>(most) / 24);
    for (int y = 0; y <= most; y += step)
        for (int b = 0; b <= most; b += step)
            for (int r = 0; r <= most; r += step) {
                // H.273, equations 38 to 58: brought to 0...1 and -0.5...0.5, then solved for red and blue.
                const double luma = coding.isFullRange ? y / most : (y - 16 * eighth) / (219 * eighth);
                const double range = coding.isFullRange ? most : 224 * eighth;
                const double cb = (b - 128 * eighth) / range, cr = (r - 128 * eighth) / range;
                const double red = luma + 2 * (1 - coding.red) * cr, blue = luma + 2 * (1 - coding.blue) * cb;
                const double green = (luma - coding.red * red - coding.blue * blue) / (1 - coding.red - coding.blue);
                const auto ys = static_cast<Sample>(y), bs = static_cast<Sample>(b), rs = static_cast<Sample>(r);
                Sample pixel[4] = {};
                fromYcc(&ys, &bs, &rs, formula, pixel, 1);
                const double tolerance = coding.bits == 8 ? 0.6 : 2;
                ASSERT_NEAR(pixel[0], std::min(full, std::max(0.0, red * full)), tolerance);
                ASSERT_NEAR(pixel[1], std::min(full, std::max(0.0, green * full)), tolerance);
                ASSERT_NEAR(pixel[2], std::min(full, std::max(0.0, blue * full)), tolerance);
                ASSERT_EQ(pixel[3], full);
            }
}

TEST(YccDecode, IsTheStandardsFormula)
{
    expectNearFormula<std::uint8_t>({});
    expectNearFormula<std::uint8_t>({.red = 0.2126, .blue = 0.0722, .isFullRange = false});
    expectNearFormula<std::uint16_t>({.red = 0.2627, .blue = 0.0593, .isFullRange = false, .bits = 10});
    expectNearFormula<std::uint16_t>({.bits = 12});
}

TEST(YccDecode, GreenAndOrange)
{
    // Red 200, green 100, blue 50: luma (50 + 2 × 100 + 200) / 4, orange (200 - 50) / 2, green (2 × 100 - 250) / 4.
    const std::uint8_t luma = 112, greenness = 128 - 12, orangeness = 128 + 75;
    std::uint8_t pixel[4] = {};
    fromYcc(&luma, &greenness, &orangeness, yccToRgb({.isYCgCo = true}), pixel, 1);
    EXPECT_NEAR(pixel[0], 200, 1);
    EXPECT_NEAR(pixel[1], 100, 1);
    EXPECT_NEAR(pixel[2], 50, 1);
}

template <class Sample>
void expectReference(const YccCoding& coding)
{
    constexpr std::size_t guard = 16;
    const YccToRgb formula = yccToRgb(coding);
    std::vector<Sample> samples[3];
    std::uint32_t seed = 7;
    for (auto& plane : samples)
        for (int i = 0; i < 200; ++i)
            plane.push_back(static_cast<Sample>((seed = seed * 1664525U + 1013904223U) >> (32 - coding.bits)));
    forEachTarget([&] {
        for (std::size_t width = 1; width <= 130; ++width) {
            SCOPED_TRACE(testing::Message() << "width " << width);
            const std::size_t from = width % 33;
            std::vector<Sample> expected(guard + 4 * width + guard, Sample{0xA5}), actual = expected;
            fromYccReference(samples[0].data() + from, samples[1].data() + from, samples[2].data() + from, formula,
                             expected.data() + guard, width);
            fromYcc(samples[0].data() + from, samples[1].data() + from, samples[2].data() + from, formula,
                    actual.data() + guard, width);
            EXPECT_EQ(actual, expected);
        }
    });
}

TEST(YccDecode, EveryTargetGivesTheReference)
{
    expectReference<std::uint8_t>({});
    expectReference<std::uint16_t>({.red = 0.2627, .blue = 0.0593, .isFullRange = false, .bits = 12});
}

} // namespace
} // namespace zel::engine
