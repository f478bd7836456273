#include <zel/engine/convolve.h>
#include <zel/engine/convolve_kernels.h>
#include <zel/engine/parallel.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace zel::engine {
namespace {

using Weights = std::array<std::int16_t, 9>;

constexpr Weights identity = {0, 0, 0, 0, 3, 0, 0, 0, 0};
constexpr Weights ones = {1, 1, 1, 1, 1, 1, 1, 1, 1};
constexpr Weights edges = {-1, -1, -1, -1, 16, -1, -1, -1, -1};
constexpr Weights uneven = {7, -3, 12, 0, 5, -20, 1, 9, -2};                                     // no symmetry
constexpr Weights justFits = {64, 0, 0, 0, 0, 0, 0, 0, 64};                                      // 128
constexpr Weights justNot = {-64, 0, 0, 0, 0, 0, 0, 0, 65};                                      // 129
constexpr Weights largest = {-32768, 32767, -32768, 32767, 32767, -32768, 32767, -32768, 32767}; // cancel out
constexpr Weights highest = {32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767};
constexpr Weights lowest = {-32768, -32768, -32768, -32768, -32768, -32768, -32768, -32768, -32768};
constexpr Weights all[] = {identity, ones, edges, uneven, justFits, justNot, largest, highest, lowest};

/// The same in real numbers, pixel by pixel.
int expectedAt(const ConstPixels& from, const Convolution3x3& how, int x, int y, int i)
{
    double sum = 0;
    for (int row = -1; row <= 1; ++row)
        for (int column = -1; column <= 1; ++column) {
            const bool inside = x + column >= 0 && x + column < from.width && y + row >= 0 && y + row < from.height;
            const double value =
                inside ? component(from, x + column, y + row, i) : how.outside[static_cast<std::size_t>(i)];
            sum += how.weights[static_cast<std::size_t>(3 * (row + 1) + column + 1)] * value;
        }
    return static_cast<int>(std::clamp(std::trunc(sum / 3), 0.0, 255.0));
}

TEST(Convolve, IsThePlainSumAlsoAtTheEdges)
{
    const struct {
        int width, height;
    } sizes[] = {{1, 1}, {1, 7}, {7, 1}, {2, 2}, {3, 3}, {15, 4}, {16, 5}, {17, 3}, {70, 33}};
    for (const auto [width, height] : sizes)
        for (const Weights& weights : all) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << ", weights " << weights[0] << ", ...");
            const Convolution3x3 how{weights, {200, 3, 77, 255}};
            const TestPicture from(width, height);
            TestPicture to(width, height, 4, 20, 5), expected = to;
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x)
                    for (int i = 0; i < 4; ++i)
                        setComponent(expected.pixels(), x, y, i,
                                     static_cast<unsigned>(expectedAt(from.pixels(), how, x, y, i)));
            ASSERT_TRUE(convolve(from.pixels(), how, to.pixels()));
            EXPECT_EQ(to.bytes, expected.bytes);
        }
}

TEST(Convolve, TheSameBytesForAnyNumberOfThreads)
{
    const TestPicture from(1100, 900);
    TestPicture one(1100, 900, 4, 12, 2), many = one;
    setConcurrency(1);
    ASSERT_TRUE(convolve(from.pixels(), {uneven, {9, 9, 9, 9}}, one.pixels()));
    setConcurrency(3);
    ASSERT_TRUE(convolve(from.pixels(), {uneven, {9, 9, 9, 9}}, many.pixels()));
    setConcurrency(0);
    EXPECT_EQ(one.bytes, many.bytes);
}

TEST(Convolve, RefusesWhatDoesNotFit)
{
    const TestPicture from(4, 4);
    TestPicture other(4, 5), deep(4, 4, 8);
    const auto before = other.bytes;
    EXPECT_FALSE(convolve(from.pixels(), {ones, {}}, other.pixels()));
    EXPECT_FALSE(convolve(from.pixels(), {ones, {}}, deep.pixels()));
    EXPECT_FALSE(convolve(deep.pixels(), {ones, {}}, deep.pixels()));
    EXPECT_FALSE(convolve(ConstPixels{}, {ones, {}}, Pixels{}));
    EXPECT_EQ(other.bytes, before);
}

TEST(ConvolveKernels, EveryTargetGivesTheReferenceAndTouchesNothingElse)
{
    forEachTarget([] {
        for (std::size_t count = 1; count <= 290; count += count < 140 ? 1 : 7)
            for (const Weights& weights : all) {
                const TestPicture from(80, 3, 4, count % 11);
                TestPicture expected(80, 1, 4, 0, 3), actual = expected;
                const ConvolvedRows in{{from.pixels().at(1, 0), from.pixels().at(1, 1), from.pixels().at(1, 2)},
                                       weights};
                convolveRowReference(in, expected.pixels().data, count);
                convolveRow(in, actual.pixels().data, count);
                ASSERT_EQ(actual.bytes, expected.bytes) << count << " bytes, weights " << weights[0];
            }
    });
}

} // namespace
} // namespace zel::engine
