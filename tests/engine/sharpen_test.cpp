#include <zel/engine/parallel.h>
#include <zel/engine/sharpen.h>
#include <zel/engine/sharpen_kernels.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace zel::engine {
namespace {

/// The unsharp mask in floating point, two-dimensional at once, surroundings weighted by alpha.
double expectedComponent(const ConstPixels& from, int x, int y, int component, const Sharpening& how)
{
    const auto luma = [](const std::uint8_t* p) { return 0.2126 * p[0] + 0.7152 * p[1] + 0.0722 * p[2]; };
    const int reach = static_cast<int>(std::round(3 * how.sigma));
    double around = 0, cover = 0;
    for (int v = -reach; v <= reach; ++v)
        for (int u = -reach; u <= reach; ++u) {
            const double weight = std::exp(-(u * u + v * v) / (2 * how.sigma * how.sigma));
            const std::uint8_t* pixel =
                from.at(std::clamp(x + u, 0, from.width - 1), std::clamp(y + v, 0, from.height - 1));
            around += weight * luma(pixel);
            cover += weight * pixel[3];
        }
    const std::uint8_t* own = from.at(x, y);
    const double detail = cover > 0 ? luma(own) - own[3] * around / cover : 0;
    return std::clamp(own[component] + how.amount * detail, 0.0, static_cast<double>(own[3]));
}

/// Waves of every length that a picture has, with noise; `opaque` or premultiplied.
TestPicture waves(int width, int height, bool opaque)
{
    TestPicture picture(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = picture.pixels().at(x, y);
            for (int i = 0; i < 3; ++i)
                pixel[i] = static_cast<std::uint8_t>(100 + 60 * std::sin(x * x * 0.01 + i) + 40 * std::cos(y * 0.7) +
                                                     (pixel[i] >> 4));
            if (opaque)
                pixel[3] = 255;
        }
    return opaque ? picture : picture.premultiplied();
}

TEST(Sharpen, IsTheUnsharpMaskOfItsDescription)
{
    const Sharpening kinds[] = {{1.69, 0.4}, {1, 1}, {1.69, -0.7}, {3.2, 2.5}, {0.2, 1}, {5, 1}};
    for (const Sharpening& how : kinds)
        for (const bool opaque : {true, false})
            for (const auto& [width, height] : {std::pair{70, 40}, {1, 1}, {1, 9}, {9, 1}, {16, 2}}) {
                SCOPED_TRACE(testing::Message() << how.sigma << ", " << how.amount << ", opaque " << opaque << ", "
                                                << width << " x " << height);
                const TestPicture from = waves(width, height, opaque);
                TestPicture to(width, height);
                ASSERT_TRUE(sharpenLuma(from.pixels(), to.pixels(), how, opaque));
                // Luma's weights are whole 256ths: up to 0.4 levels; then rounding.
                const double tolerance = 0.6 + 0.5 * std::fabs(how.amount);
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) {
                        for (int i = 0; i < 3; ++i)
                            ASSERT_NEAR(to.pixels().at(x, y)[i], expectedComponent(from.pixels(), x, y, i, how),
                                        tolerance)
                                << x << ' ' << y << ' ' << i;
                        ASSERT_EQ(to.pixels().at(x, y)[3], from.pixels().at(x, y)[3]);
                    }
            }
}

TEST(Sharpen, LeavesFlatAreasAndCutOutsAlone)
{
    // A flat cut-out on nothing has no detail: neither inside nor at its rim, half transparent as it is.
    TestPicture cutOut(60, 50);
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 60; ++x) {
            const int alpha = x < 20 || y < 10 ? 0 : x == 20 ? 128 : 255;
            const std::array<int, 4> straight = {200, 90, 30, 255};
            for (std::size_t i = 0; i < 4; ++i)
                cutOut.pixels().at(x, y)[i] = static_cast<std::uint8_t>((straight[i] * alpha + 127) / 255);
        }
    TestPicture to(60, 50);
    ASSERT_TRUE(sharpenLuma(std::as_const(cutOut).pixels(), to.pixels(), {1.69, 2}, false));
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 60; ++x)
            for (int i = 0; i < 4; ++i) // premultiplying rounded the rim's colour, which counts twice
                ASSERT_NEAR(to.pixels().at(x, y)[i], cutOut.pixels().at(x, y)[i], x == 20 ? 2 : 1) << x << ' ' << y;

    for (const int level : {0, 1, 77, 254, 255}) {
        TestPicture flat(40, 40);
        flat.forEachPixel([&](std::uint8_t* pixel) {
            std::fill_n(pixel, 3, static_cast<std::uint8_t>(level));
            pixel[3] = 255;
        });
        ASSERT_TRUE(sharpenLuma(std::as_const(flat).pixels(), to.pixels().part(0, 0, 40, 40), {1.69, 127}, true));
        for (int y = 0; y < 40; ++y)
            ASSERT_EQ(std::memcmp(to.pixels().row(y), flat.pixels().row(y), 160), 0) << level;
    }
}

TEST(Sharpen, EveryTargetGivesTheReference)
{
    constexpr std::size_t guard = 32;
    Gaussian gaussian{.reach = 5, .weights = {8000, 5000, 2500, 900, 300}};
    forEachTarget([&] {
        for (std::size_t count = 1; count <= 130; ++count) {
            SCOPED_TRACE(count);
            const TestPicture picture = TestPicture(static_cast<int>(count), 1).premultiplied();
            const std::uint8_t* pixels = picture.pixels().data;
            using Plane = std::vector<std::int16_t>;
            std::vector<Plane> rows(11, Plane(guard + count + guard));
            std::vector<const std::int16_t*> pointers;
            std::uint32_t random = static_cast<std::uint32_t>(count);
            for (Plane& row : rows) {
                for (std::int16_t& value : row)
                    value = static_cast<std::int16_t>((random = random * 1664525U + 1013904223U) >> 8 & 0x3FFF) % 16321;
                pointers.push_back(row.data() + guard);
            }
            const auto same = [&](const auto& reference, const auto& kernel, const Plane& start) {
                Plane expected = start, actual = start;
                reference(expected.data() + guard);
                kernel(actual.data() + guard);
                EXPECT_EQ(actual, expected);
            };
            same([&](auto* to) { lumaRowReference(pixels, to, count); }, [&](auto* to) { lumaRow(pixels, to, count); },
                 rows[0]);
            same([&](auto* to) { alphaRowReference(pixels, to, count); },
                 [&](auto* to) { alphaRow(pixels, to, count); }, rows[0]);
            same([&](auto* to) { blurAcrossReference(pointers[1], gaussian, to, count); },
                 [&](auto* to) { blurAcross(pointers[1], gaussian, to, count); }, rows[0]);
            same([&](auto* to) { blurDownReference(pointers.data(), gaussian, to, count); },
                 [&](auto* to) { blurDown(pointers.data(), gaussian, to, count); }, rows[0]);
            Plane cover = rows[2];
            cover[guard] = 0;
            same([&](auto* to) { lumaUnderAlphaReference(pointers[1], cover.data() + guard, to, count); },
                 [&](auto* to) { lumaUnderAlpha(pointers[1], cover.data() + guard, to, count); }, rows[3]);
            for (const double amount : {0.001, 0.4, 1.0, -3.0, 127.0}) {
                std::vector<std::uint8_t> expected(4 * count + 2 * guard, 0xA5), actual = expected;
                addDetailReference(pixels, pointers[4], pointers[5], gainOf(amount), expected.data() + guard, count);
                addDetail(pixels, pointers[4], pointers[5], gainOf(amount), actual.data() + guard, count);
                EXPECT_EQ(actual, expected) << amount;
            }
        }
    });
}

TEST(Sharpen, IsTheSameForAnyNumberOfThreadsAndRefusesNonsense)
{
    const TestPicture from = waves(1500, 700, false);
    TestPicture one(1500, 700), many = one;
    setConcurrency(1);
    ASSERT_TRUE(sharpenLuma(from.pixels(), one.pixels(), {}, false));
    setConcurrency(7);
    ASSERT_TRUE(sharpenLuma(from.pixels(), many.pixels(), {}, false));
    setConcurrency(0);
    EXPECT_EQ(one.bytes, many.bytes);

    for (const Sharpening& how : {Sharpening{0.1, 1}, {5.1, 1}, {NAN, 1}, {1, NAN}, {1, INFINITY}})
        EXPECT_FALSE(sharpenLuma(from.pixels(), one.pixels(), how, false)) << how.sigma << ' ' << how.amount;
    EXPECT_FALSE(sharpenLuma({}, {}, {}, true));
    EXPECT_FALSE(sharpenLuma(from.pixels(), one.pixels().part(0, 0, 1499, 700), {}, true));
}

} // namespace
} // namespace zel::engine
