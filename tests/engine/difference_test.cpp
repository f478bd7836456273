#include <zel/engine/difference.h>
#include <zel/engine/mask.h>

#include "test_picture.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zel::engine {
namespace {

TEST(Difference, IsThatOfAPlainLoop)
{
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {17, 3}, {8200, 2}, {701, 900}}) {
        const TestPicture one(width, height, 4, 8, 1), other(width, height, 4, 4, 2);
        for (const int tolerance : {0, 100, 255}) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << tolerance);
            DifferenceSums expected;
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    int most = 0;
                    for (int i = 0; i < 4; ++i) {
                        const int difference = std::abs(one.pixels().at(x, y)[i] - other.pixels().at(x, y)[i]);
                        expected.absolute += static_cast<std::uint64_t>(difference);
                        expected.squares +=
                            static_cast<std::uint64_t>(difference) * static_cast<std::uint64_t>(difference);
                        most = std::max(most, difference);
                    }
                    expected.opaque =
                        expected.opaque && one.pixels().at(x, y)[3] == 255 && other.pixels().at(x, y)[3] == 255;
                    expected.differing += most > tolerance ? 1U : 0U;
                    expected.largest = std::max(expected.largest, most);
                }
            EXPECT_EQ(differenceSums(one.pixels(), other.pixels(), tolerance), expected);
        }
    }
}

TEST(Difference, OfTheFarthestPicturesDoesNotOverflow)
{
    TestPicture black(9000, 3), white(9000, 3);
    std::fill(black.bytes.begin(), black.bytes.end(), std::uint8_t{0});
    std::fill(white.bytes.begin(), white.bytes.end(), std::uint8_t{255});
    const auto sums = differenceSums(black.pixels(), white.pixels(), 254);
    EXPECT_EQ(sums, (DifferenceSums{27000ULL * 4 * 255, 27000ULL * 4 * 255 * 255, 27000, 255, false}));
    EXPECT_TRUE(differenceSums(white.pixels(), white.pixels(), 0).opaque);
    EXPECT_EQ(differenceSums(black.pixels(), white.pixels().rows(0, 2), 0), DifferenceSums());
}

TEST(DifferenceMap, ShowsTheLargestComponentAsGrey)
{
    TestPicture one(3, 1), other(3, 1), map(3, 1);
    one.bytes.assign(one.bytes.size(), 10);
    other.bytes = one.bytes;
    other.pixels().at(1, 0)[3] = 15;
    other.pixels().at(2, 0)[0] = 0;
    other.pixels().at(2, 0)[1] = 13;
    ASSERT_TRUE(differenceMap(one.pixels(), other.pixels(), 10, map.pixels()));
    for (const auto& [x, grey] : {std::pair{0, 0}, {1, 128}, {2, 255}}) {
        const std::uint8_t* pixel = map.pixels().at(x, 0);
        EXPECT_EQ((std::array<int, 4>{pixel[0], pixel[1], pixel[2], pixel[3]}),
                  (std::array<int, 4>{grey, grey, grey, 255}));
    }
    EXPECT_FALSE(differenceMap(one.pixels(), other.pixels().part(0, 0, 2, 1), 10, map.pixels()));
}

TEST(SetAlpha, IsAThirdOfEverySum)
{
    TestPicture mask(256, 3), picture(256, 3);
    for (int x = 0; x < 256; ++x)
        for (int y = 0; y < 3; ++y)
            for (int i = 0; i < 3; ++i) // sums of all sizes: x, x + 1, x + 2 thirds
                mask.pixels().at(x, y)[i] = static_cast<std::uint8_t>(std::min(255, x + (i < y ? 1 : 0)));
    const auto before = picture.bytes;
    setAlpha(mask.pixels(), AlphaOf::brightness, picture.pixels());
    for (int x = 0; x < 256; ++x)
        for (int y = 0; y < 3; ++y) {
            EXPECT_EQ(picture.pixels().at(x, y)[0], x) << y; // truncated, as a division by 3 would be
            const auto offset = static_cast<std::size_t>(picture.pixels().at(x, y) - picture.bytes.data());
            EXPECT_TRUE(std::equal(before.begin() + static_cast<std::ptrdiff_t>(offset) + 1,
                                   before.begin() + static_cast<std::ptrdiff_t>(offset) + 4,
                                   picture.bytes.begin() + static_cast<std::ptrdiff_t>(offset) + 1));
        }
}

TEST(SetAlpha, StaysWithinBothPictures)
{
    TestPicture mask(3, 2), picture(2, 3);
    mask.bytes.assign(mask.bytes.size(), 200);
    picture.bytes.assign(picture.bytes.size(), 7);
    setAlpha(mask.pixels(), AlphaOf::alpha, picture.pixels());
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 2; ++x)
            EXPECT_EQ(picture.pixels().at(x, y)[0], y < 2 ? 200 : 7);
}

} // namespace
} // namespace zel::engine
