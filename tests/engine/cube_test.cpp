#include <zel/engine/cube.h>
#include <zel/engine/cube_kernels.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

namespace zel::engine {
namespace {

using Color = std::array<double, 3>;

/// The cube of a function from 0…1 to 0…1.
ColorCube cubeOf(int side, const std::function<Color(double, double, double)>& function)
{
    TestPicture slices(side, side * side, 8);
    for (int y = 0; y < side * side; ++y)
        for (int x = 0; x < side; ++x) {
            const double last = side - 1;
            const Color color = function(x / last, y % side / last, y / side / last);
            for (int i = 0; i < 3; ++i)
                setComponent(slices.pixels(), x, y, i,
                             static_cast<unsigned>(std::lround(color[static_cast<std::size_t>(i)] * 65535)));
        }
    return ColorCube(slices.pixels());
}

ColorCube noise(int side)
{
    return ColorCube(TestPicture(side, side * side, 8, 6, 5).pixels());
}

/// Every eighth value of each colour, and 255; alpha of every kind.
TestPicture manyColors()
{
    TestPicture picture(33 * 33, 33);
    for (int y = 0; y < 33; ++y)
        for (int x = 0; x < 33 * 33; ++x) {
            std::uint8_t* pixel = picture.pixels().at(x, y);
            pixel[0] = static_cast<std::uint8_t>(std::min(255, x % 33 * 8));
            pixel[1] = static_cast<std::uint8_t>(std::min(255, x / 33 * 8));
            pixel[2] = static_cast<std::uint8_t>(std::min(255, y * 8));
        }
    return picture;
}

TEST(Cube, GivesWhatTheFunctionGives)
{
    const struct {
        const char* name;
        std::function<Color(double, double, double)> function;
    } functions[] = {
        // all of them linear in each colour, so that mixing is exact between the lattice's points
        {"identity",
         [](double r, double g, double b) {
             return Color{r, g, b};
         }},
        {"negative, turned",
         [](double r, double g, double b) {
             return Color{1 - g, 1 - b, 1 - r};
         }},
        {"products",
         [](double r, double g, double b) {
             return Color{r * g, g * b, r * g * b};
         }},
        {"white",
         [](double, double, double) {
             return Color{1, 1, 1};
         }},
    };
    for (const auto& [name, function] : functions)
        for (const int side : {2, 3, 17, 33, 64, 129}) {
            SCOPED_TRACE(testing::Message() << name << ", " << side);
            const ColorCube cube = cubeOf(side, function);
            ASSERT_TRUE(cube.valid());
            const TestPicture from = manyColors();
            TestPicture to = from;
            ASSERT_TRUE(applyCube(from.pixels(), cube, to.pixels()));
            for (int y = 0; y < 33; ++y)
                for (int x = 0; x < 33 * 33; ++x) {
                    const std::uint8_t* color = from.pixels().at(x, y);
                    const Color wanted = function(color[0] / 255.0, color[1] / 255.0, color[2] / 255.0);
                    for (std::size_t i = 0; i < 3; ++i)
                        ASSERT_NEAR(to.pixels().at(x, y)[i], wanted[i] * 255, 0.53) << x << ' ' << y << ' ' << i;
                    ASSERT_EQ(to.pixels().at(x, y)[3], color[3]);
                }
        }
}

TEST(Cube, EveryTargetGivesTheReference)
{
    forEachTarget([] {
        for (const int side : {2, 5, 33, 129}) {
            const ColorCube cube = noise(side);
            for (const int width : {1, 2, 15, 63, 64, 65, 130}) {
                TestPicture from(width, 3, 4, 5, 9), expected(width, 3), actual(width, 3);
                cubeRowsReference(cube, from.pixels(), expected.pixels());
                cubeRows(cube, from.pixels(), actual.pixels());
                ASSERT_EQ(actual.bytes, expected.bytes) << side << ", width " << width;
                TestPicture inPlace = from;
                cubeRows(cube, inPlace.pixels(), inPlace.pixels());
                for (int y = 0; y < 3; ++y)
                    ASSERT_EQ(std::memcmp(inPlace.pixels().row(y), actual.pixels().row(y), actual.pixels().rowBytes()),
                              0);
            }
        }
    });
}

TEST(Cube, RefusesOtherShapes)
{
    const struct {
        int width, height, bytesPerPixel;
    } shapes[] = {{1, 1, 8}, {2, 3, 8}, {2, 5, 8}, {130, 16900, 8}, {4, 16, 4}, {9, 9, 8}};
    for (const auto& shape : shapes) {
        const ColorCube cube(TestPicture(shape.width, shape.height, shape.bytesPerPixel).pixels());
        EXPECT_FALSE(cube.valid()) << shape.width << " x " << shape.height;
        TestPicture picture(3, 3);
        EXPECT_FALSE(applyCube(picture.pixels(), cube, picture.pixels()));
    }
    EXPECT_FALSE(ColorCube(ConstPixels{}).valid());
}

} // namespace
} // namespace zel::engine
