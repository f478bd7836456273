#include <zel/engine/mean.h>
#include <zel/engine/mean_kernels.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

namespace zel::engine {
namespace {

using Alpha = PixelLayout::Alpha;
using Color = std::array<double, 4>;

/// One row of pixels of 8 or 16 bits.
TestPicture row(const std::vector<std::array<unsigned, 4>>& colors, int bytesPerComponent)
{
    TestPicture picture(static_cast<int>(colors.size()), 1, 4 * bytesPerComponent);
    for (std::size_t x = 0; x < colors.size(); ++x)
        for (std::size_t i = 0; i < 4; ++i)
            setComponent(picture.pixels(), static_cast<int>(x), 0, static_cast<int>(i), colors[x][i]);
    return picture;
}

TEST(Mean, ByHand)
{
    struct Case {
        const char* name;
        std::vector<std::array<unsigned, 4>> colors;
        PixelLayout layout;
        Color expected;
    };
    const Case cases[] = {
        {"one pixel", {{10, 20, 30, 255}}, {false, Alpha::straight, 1}, {10, 20, 30, 255}},
        {"two opaque pixels", {{0, 0, 0, 255}, {255, 100, 1, 255}}, {false, Alpha::straight, 1}, {127.5, 50, 0.5, 255}},
        {"clear pixels have no colour",
         {{255, 0, 0, 0}, {0, 80, 0, 255}},
         {false, Alpha::straight, 1},
         {0, 80, 0, 127.5}},
        {"weights", {{100, 0, 0, 50}, {200, 0, 0, 150}}, {false, Alpha::straight, 1}, {175, 0, 0, 100}},
        {"premultiplied", {{50, 0, 0, 50}, {0, 0, 100, 150}}, {false, Alpha::premultiplied, 1}, {63.75, 0, 127.5, 100}},
        {"alpha first", {{255, 10, 20, 30}}, {true, Alpha::straight, 1}, {10, 20, 30, 255}},
        {"skipped", {{10, 20, 30, 7}, {20, 20, 30, 0}}, {false, Alpha::skip, 1}, {15, 20, 30, 255}},
        {"skipped first", {{7, 10, 20, 30}}, {true, Alpha::skip, 1}, {10, 20, 30, 255}},
        {"16 bits",
         {{0, 257, 65535, 65535}, {257, 257, 65535, 65535}},
         {false, Alpha::straight, 2},
         {0.5, 1, 255, 255}},
        {"16 bits premultiplied", {{257, 0, 25700, 25700}}, {false, Alpha::premultiplied, 2}, {2.55, 0, 255, 100}},
        {"nothing visible", {{10, 20, 30, 0}}, {false, Alpha::straight, 1}, {0, 0, 0, 0}},
        {"more than premultiplied can be", {{200, 0, 0, 100}}, {false, Alpha::premultiplied, 1}, {255, 0, 0, 100}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const TestPicture picture = row(c.colors, c.layout.bytesPerComponent);
        const Color mean = meanColor(picture.pixels(), c.layout);
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_NEAR(mean[i], c.expected[i], 1e-9) << i;
    }
    EXPECT_EQ(meanColor(ConstPixels{}, {}), Color{});
}

TEST(Mean, TheSameInOneStepOrMany)
{
    const TestPicture picture(900, 700, 4, 4, 3); // several bands
    const PixelLayout layout{false, Alpha::straight, 1};
    MeanAccumulator whole, upper, lower;
    whole.add(picture.pixels(), layout);
    for (int y = 0; y < 700; ++y)
        (y % 3 == 0 ? upper : lower).add(picture.pixels().rows(y, 1), layout);
    lower.add(upper);
    EXPECT_EQ(lower.mean(), whole.mean());
    EXPECT_EQ(meanColor(picture.pixels(), layout), whole.mean());
}

TEST(Mean, DeepAndShallowRowsWeighTheSame)
{
    MeanAccumulator both;
    both.add(row({{0, 0, 0, 255}}, 1).pixels(), {false, Alpha::straight, 1});
    both.add(row({{65535, 0, 25700, 65535}}, 2).pixels(), {false, Alpha::straight, 2});
    EXPECT_EQ(both.mean(), (Color{127.5, 0, 50, 255}));
}

TEST(MeanKernels, EveryTargetGivesTheReference)
{
    forEachTarget([] {
        for (const bool alphaFirst : {false, true})
            for (const Alpha alpha : {Alpha::skip, Alpha::straight, Alpha::premultiplied})
                for (const int bytes : {1, 2})
                    for (int width = 1; width <= 150; width += width < 40 ? 1 : 11)
                        for (const bool white : {false, true}) { // white makes the largest sums
                            TestPicture picture(width, 3, 4 * bytes, 8, static_cast<std::uint32_t>(width));
                            if (white)
                                std::fill(picture.bytes.begin(), picture.bytes.end(), std::uint8_t{255});
                            const PixelLayout layout{alphaFirst, alpha, bytes};
                            ASSERT_EQ(sumPixels(picture.pixels(), layout), sumPixelsReference(picture.pixels(), layout))
                                << width << " pixels, " << bytes << " bytes, alpha " << static_cast<int>(alpha);
                        }
        TestPicture large(70000, 2, 4, 0); // sums beyond 32 bits
        std::fill(large.bytes.begin(), large.bytes.end(), std::uint8_t{255});
        const WeightedSums sums = sumPixels(large.pixels(), {false, Alpha::straight, 1});
        EXPECT_EQ(sums.colours[1], 140000ull * 255 * 255);
        EXPECT_EQ(sums.alpha, 140000ull * 255);
    });
}

} // namespace
} // namespace zel::engine
