#include <zel/engine/key.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel::engine {
namespace {

TEST(Key, WholeSquaresDecideAsRootsDo)
{
    constexpr double none = -1, endless = std::numeric_limits<double>::infinity();
    const double tolerances[] = {none,
                                 -0.0,
                                 0,
                                 0.05,
                                 1,
                                 std::nextafter(1.0, 0.0),
                                 std::sqrt(2.0),
                                 std::sqrt(3.0),
                                 13.37,
                                 60,
                                 255,
                                 441,
                                 std::sqrt(3.0) * 255,
                                 441.672955930063,
                                 441.672955930064,
                                 442,
                                 1e300,
                                 endless,
                                 std::nextafter(std::sqrt(195075.0), 0.0)};
    for (const double tolerance : tolerances) {
        const int most = largestKeyedSquare(tolerance);
        for (int square = 0; square <= 3 * 255 * 255; ++square)
            ASSERT_EQ(square <= most, std::sqrt(static_cast<double>(square)) <= tolerance)
                << tolerance << ' ' << square;
    }
    EXPECT_EQ(largestKeyedSquare(std::numeric_limits<double>::quiet_NaN()), -1);
}

TEST(Key, KernelsAgreeWithTheReference)
{
    forEachTarget([] {
        for (int width = 1; width <= 70; ++width) {
            for (int bits = 0; bits < 8; ++bits) {
                const PixelOrder order{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0};
                SCOPED_TRACE(testing::Message() << "width " << width << ", order " << bits);
                const TestPicture source(width, 3, 4, 12, static_cast<std::uint32_t>(width));
                const ColorKey key{{200, 30, 90}, width * width * 9};
                TestPicture expected(width, 3, 4, 8, 99), actual = expected, painted = expected, inPlace = source;
                keyRowsReference(source.pixels(), expected.pixels(), order, key);
                keyRows(source.pixels(), actual.pixels(), order, key);
                EXPECT_EQ(actual.bytes, expected.bytes);
                keyRows(inPlace.pixels(), inPlace.pixels(), order, key);
                for (int y = 0; y < 3; ++y)
                    EXPECT_TRUE(std::equal(inPlace.pixels().row(y), inPlace.pixels().row(y) + 4 * width,
                                           expected.pixels().row(y)));
                paintRowsReference(source.pixels(), expected.pixels(), order, {1, 2, 3});
                paintRows(source.pixels(), painted.pixels(), order, {1, 2, 3});
                EXPECT_EQ(painted.bytes, expected.bytes);
            }
        }
    });
}

} // namespace
} // namespace zel::engine
