#include <zel/engine/affine.h>
#include <zel/engine/affine_kernels.h>
#include <zel/engine/blend.h>
#include <zel/engine/blend_kernels.h>
#include <zel/engine/orient.h>
#include <zel/engine/parallel.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel::engine {
namespace {

AffineDrawing drawing(AffineMap map, Onto onto = Onto::replace, Rim rim = Rim::clear, double opacity = 1)
{
    return {map, opacity, rim, onto};
}

/// The map of a turn about the centres of both pictures.
AffineMap turned(double degrees, const ConstPixels& from, const ConstPixels& to, double scale = 1)
{
    const double angle = degrees * std::acos(-1.0) / 180;
    const double c = std::cos(angle) * scale;
    const double s = std::sin(angle) * scale;
    return {c,  s, from.width / 2.0 - c * to.width / 2 - s * to.height / 2,
            -s, c, from.height / 2.0 + s * to.width / 2 - c * to.height / 2};
}

/// What bilinear sampling gives in real numbers, 0…255, clear outside.
double sampled(const ConstPixels& from, const AffineMap& map, int x, int y, int i)
{
    const double u = map.xx * (x + 0.5) + map.xy * (y + 0.5) + map.x0 - 0.5;
    const double v = map.yx * (x + 0.5) + map.yy * (y + 0.5) + map.y0 - 0.5;
    double sum = 0;
    for (int row = 0; row < from.height; ++row)
        for (int column = 0; column < from.width; ++column)
            if (std::abs(u - column) < 1 && std::abs(v - row) < 1)
                sum += component(from, column, row, i) * (1 - std::abs(u - column)) * (1 - std::abs(v - row));
    return sum;
}

TEST(Affine, TheIdentityAndWholeMovesAreExact)
{
    TestPicture from(33, 21);
    from.premultiplied();
    struct Case {
        const char* name;
        int right, down;
    };
    const Case cases[] = {{"in place", 0, 0},
                          {"right and down", 3, 5},
                          {"left and up", -4, -1},
                          {"all outside", 50, 0},
                          {"far outside", -100000, 70}};
    for (const Case& c : cases) {
        for (const Onto onto : {Onto::replace, Onto::over}) {
            SCOPED_TRACE(std::string(c.name) + (onto == Onto::over ? ", over" : ", replacing"));
            TestPicture to(40, 24, 4, 12, 8);
            to.premultiplied();
            TestPicture expected = to;
            for (int y = 0; y < 24; ++y) {
                for (int x = 0; x < 40; ++x) {
                    const bool inside = x >= c.right && x < c.right + 33 && y >= c.down && y < c.down + 21;
                    Pixels place = expected.pixels().part(x, y, 1, 1);
                    if (onto == Onto::replace)
                        std::memset(place.data, 0, 4);
                    if (inside) {
                        ASSERT_TRUE(sourceOver(from.pixels().part(x - c.right, y - c.down, 1, 1), place));
                    }
                }
            }
            const AffineMap map{1, 0, double(-c.right), 0, 1, double(-c.down)};
            ASSERT_TRUE(drawAffine(from.pixels(), to.pixels(), drawing(map, onto)));
            EXPECT_EQ(to.bytes, expected.bytes);
        }
    }
}

TEST(Affine, AQuarterTurnIsTheExactOne)
{
    TestPicture from(37, 23);
    from.premultiplied();
    TestPicture turnedPicture(23, 37, 4, 0), oriented = turnedPicture;
    const AffineMap map{0, 1, 0, -1, 0, 23};
    ASSERT_TRUE(drawAffine(from.pixels(), turnedPicture.pixels(), drawing(map)));
    ASSERT_TRUE(orient(from.pixels(), Orientation::clockwise, oriented.pixels()));
    EXPECT_EQ(turnedPicture.bytes, oriented.bytes);
}

TEST(Affine, HalfAPixelToTheRightByHand)
{
    const std::uint8_t source[] = {100, 0, 0, 255, 200, 40, 0, 255};
    std::uint8_t result[12] = {};
    const AffineMap map{1, 0, -0.5, 0, 1, 0};
    ASSERT_TRUE(drawAffine({source, 8, 2, 1, 4}, {result, 12, 3, 1, 4}, drawing(map)));
    const double faded[] = {50, 0, 0, 127.5, 150, 20, 0, 255, 100, 20, 0, 127.5};
    for (int i = 0; i < 12; ++i)
        EXPECT_NEAR(result[i], faded[i], 0.5) << i;
    ASSERT_TRUE(drawAffine({source, 8, 2, 1, 4}, {result, 12, 3, 1, 4}, drawing(map, Onto::replace, Rim::extended)));
    const std::uint8_t extended[] = {100, 0, 0, 255, 150, 20, 0, 255, 200, 40, 0, 255};
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(result[i], extended[i]) << i;
}

TEST(Affine, IsBilinearWithinARoundingError)
{
    TestPicture from(40, 30);
    from.premultiplied();
    TestPicture to(70, 60);
    for (const AffineMap& map : {turned(7, from.pixels(), to.pixels()), turned(-123.4, from.pixels(), to.pixels(), 0.6),
                                 AffineMap{0.5, 0.25, -3, 0, 0.75, -2}, AffineMap{1.7, 0, 3.3, 0.2, -1.9, 29}}) {
        ASSERT_TRUE(drawAffine(from.pixels(), to.pixels(), drawing(map)));
        for (int y = 0; y < 60; ++y)
            for (int x = 0; x < 70; ++x)
                for (int i = 0; i < 4; ++i)
                    ASSERT_NEAR(component(to.pixels(), x, y, i), sampled(from.pixels(), map, x, y, i), 0.53)
                        << x << ", " << y;
    }
}

TEST(Affine, ATurnedSquareKeepsItsAreaAndItsColour)
{
    TestPicture square(50, 50);
    square.forEachPixel([](std::uint8_t* pixel) { std::memcpy(pixel, "\x20\x80\xFF\xFF", 4); });
    for (const double degrees : {7.0, 30.0, 81.0}) {
        TestPicture to(100, 100);
        ASSERT_TRUE(drawAffine(square.pixels(), to.pixels(), drawing(turned(degrees, square.pixels(), to.pixels()))));
        double area = 0;
        for (int y = 0; y < 100; ++y)
            for (int x = 0; x < 100; ++x) {
                area += component(to.pixels(), x, y, 3) / 255.0;
                EXPECT_NEAR(component(to.pixels(), x, y, 1), component(to.pixels(), x, y, 3) * 128 / 255.0, 1);
            }
        EXPECT_NEAR(area, 2500, 3) << degrees;
        EXPECT_EQ(component(to.pixels(), 50, 50, 0), 0x20u);
        EXPECT_EQ(component(to.pixels(), 50, 50, 3), 255u);
    }
}

TEST(Affine, OverWithOpacityIsTheSampleBlended)
{
    TestPicture from(40, 30);
    from.premultiplied();
    TestPicture over(50, 50, 4, 12, 3);
    over.premultiplied();
    const TestPicture before = over;
    const AffineMap map = turned(20, from.pixels(), over.pixels());
    ASSERT_TRUE(drawAffine(from.pixels(), over.pixels(), drawing(map, Onto::over, Rim::clear, 0.4)));
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 50; ++x)
            for (int i = 0; i < 4; ++i) {
                const double alpha = sampled(from.pixels(), map, x, y, 3) / 255 * 0.4;
                const double expected =
                    sampled(from.pixels(), map, x, y, i) * 0.4 + component(before.pixels(), x, y, i) * (1 - alpha);
                ASSERT_NEAR(component(over.pixels(), x, y, i), expected, 0.53);
            }
}

TEST(Affine, TheSameBytesForAnyNumberOfThreads)
{
    TestPicture from(900, 700, 4, 4);
    TestPicture one(1200, 1000, 4, 4), many = one;
    const AffineDrawing turn = drawing(turned(33, from.pixels(), one.pixels()), Onto::over);
    setConcurrency(1);
    ASSERT_TRUE(drawAffine(from.pixels(), one.pixels(), turn));
    setConcurrency(3);
    ASSERT_TRUE(drawAffine(from.pixels(), many.pixels(), turn));
    setConcurrency(0);
    EXPECT_EQ(one.bytes, many.bytes);
}

TEST(Affine, MapsThatLeadNowhere)
{
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    constexpr double endless = std::numeric_limits<double>::infinity();
    const TestPicture from(4, 4);
    TestPicture to(6, 6), before = to;
    for (const AffineMap& map : {AffineMap{none}, AffineMap{1, 0, endless}, AffineMap{1, 0, 0, 0, 1, -1e300},
                                 AffineMap{1e9}, AffineMap{1, 0, 0, 0, 1, 1e9}})
        EXPECT_FALSE(drawAffine(from.pixels(), to.pixels(), drawing(map)));
    EXPECT_FALSE(drawAffine(ConstPixels{}, to.pixels(), drawing({})));
    EXPECT_FALSE(drawAffine(TestPicture(4, 4, 8).pixels(), to.pixels(), drawing({})));
    EXPECT_EQ(to.bytes, before.bytes);
    EXPECT_TRUE(
        drawAffine(from.pixels(), Pixels(to.pixels()), drawing({0, 0, 2.5, 0, 0, 1.5}))); // one point everywhere
    EXPECT_EQ(std::memcmp(to.pixels().at(5, 5), from.pixels().at(2, 1), 4), 0);
    EXPECT_TRUE(drawAffine(from.pixels(), to.pixels(), drawing({1e7, 0, 0, 0, 1e7, 0}, Onto::replace)));
    EXPECT_EQ(component(to.pixels(), 5, 5, 3), 0u);
}

TEST(AffineKernels, EveryTargetGivesTheReferenceAndTouchesNothingElse)
{
    const TestPicture from(60, 50); // also with components above alpha
    constexpr std::int64_t pixel = std::int64_t{1} << 32;
    forEachTarget([&] {
        for (int count = 1; count <= 130; ++count) {
            for (const Onto onto : {Onto::replace, Onto::over}) {
                AffineRun run{from.pixels(),       pixel / 3,
                              pixel * 40 + 12345,  58 * pixel / count,
                              -37 * pixel / count, count % 4 == 0 ? fullOpacity : 39169u,
                              Rim::clear,          onto};
                if (count % 7 == 0) // rows stored from the bottom up
                    run.from = {from.pixels().row(49), -from.pixels().stride, 60, 50, 4};
                if (count % 5 == 0) { // the other way
                    run.u = 58 * pixel;
                    run.du = -run.du;
                }
                TestPicture expected(count, 1);
                TestPicture actual = expected;
                drawAffineAnywhere(run, expected.pixels().data, static_cast<std::size_t>(count));
                drawAffineInside(run, actual.pixels().data, static_cast<std::size_t>(count));
                ASSERT_EQ(actual.bytes, expected.bytes) << count << " pixels, over " << (onto == Onto::over);
            }
        }
    });
}

} // namespace
} // namespace zel::engine
