#include <zel/platform/filters/ci_image.h>
#include <zel/platform/foundation/failure.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;
using test::positions;
using test::Rgba;

Ref<const CGImage> render(const Ref<const CIImage>& image)
{
    return CIContext().createCGImage(image, image->extent());
}

/// Rows of "column,row" as the pixels of `positions` tell them.
std::string layoutOf(const CGImage& image)
{
    std::string text;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const Rgba pixel = pixelAt(image, x, y);
            text += std::to_string(pixel[0]) + std::to_string(pixel[1]) + (x + 1 < image.width() ? " " : "; ");
        }
    return text;
}

TEST(Expression, MapsThatKeepAxesMovePixelsWithoutChange)
{
    // A picture of 3 × 2; pixels tell column and row from the top left.
    const struct {
        const char* name;
        CGAffineTransform map;
        const char* pixels;
    } cases[] = {
        {"as it is", {}, "00 10 20; 01 11 21; "},
        {"moved", {1, 0, 0, 1, 40, -7}, "00 10 20; 01 11 21; "},
        {"mirrored", {-1, 0, 0, 1, 0, 0}, "20 10 00; 21 11 01; "},
        {"upside down", {1, 0, 0, -1, 0, 0}, "01 11 21; 00 10 20; "},
        {"half turn", {-1, 0, 0, -1, 0, 0}, "21 11 01; 20 10 00; "},
        {"quarter turn, counterclockwise", {0, 1, -1, 0, 0, 0}, "20 21; 10 11; 00 01; "},
        {"quarter turn, clockwise", {0, -1, 1, 0, 0, 0}, "01 00; 11 10; 21 20; "},
        {"transposed", {0, -1, -1, 0, 0, 0}, "00 01; 10 11; 20 21; "},
        {"transposed the other way", {0, 1, 1, 0, 0, 0}, "21 20; 11 10; 01 00; "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto turned = CIImage::make(positions(3, 2))->transformed(c.map);
        const auto rendered = render(turned);
        ASSERT_NE(rendered, nullptr);
        EXPECT_EQ(layoutOf(*rendered), c.pixels);
    }
}

TEST(Expression, CropsCutWhereTheySay)
{
    const auto source = CIImage::make(positions(6, 4));
    // Lower-left coordinates: rows 1 and 2 from the bottom are rows 2 and 1 from the top.
    const auto cropped = source->cropped({{1, 1}, {2, 2}});
    EXPECT_EQ(cropped->extent(), (CGRect{{1, 1}, {2, 2}}));
    EXPECT_EQ(layoutOf(*render(cropped)), "11 21; 12 22; ");
    EXPECT_EQ(source->cropped({{4, -5}, {100, 6}})->extent(), (CGRect{{4, 0}, {2, 1}}));
    EXPECT_EQ(source->cropped({{40, 40}, {1, 1}})->extent(), CGRect{});
    EXPECT_EQ(source->cropped({{0, 0}, {std::numeric_limits<CGFloat>::infinity(), 1}}), nullptr);

    // What a crop took away does not come back at the seam of a later enlargement, nor when it is turned.
    const auto halves = CIImage::make(test::painted(8, 8, CGAlphaInfo::noneSkipLast, [](int x, int) {
        return x < 4 ? Rgba{255, 0, 0, 255} : Rgba{0, 0, 255, 255};
    }));
    const auto red = halves->cropped({{0, 0}, {4, 8}});
    const auto enlarged = render(red->transformed(CGAffineTransform::scale(5, 5)));
    EXPECT_EQ(pixelAt(*enlarged, 19, 10), (Rgba{255, 0, 0, 255}));
    const auto turned = render(red->transformed(CGAffineTransform{}.rotated(0.5)));
    for (int y = 0; y < turned->height(); ++y)
        for (int x = 0; x < turned->width(); ++x)
            EXPECT_EQ(pixelAt(*turned, x, y)[2], 0) << x << ' ' << y;
}

TEST(Expression, FractionalExtentsFillWholePixels)
{
    const auto source = CIImage::make(flat(100, 75, {10, 200, 30, 255}));
    const struct {
        CGFloat scaleX, scaleY;
        int width, height;
    } cases[] = {
        {0.333, 0.5, 34, 38}, {1.0 / 3.0, 1.0 / 3.0, 34, 25}, {0.1 + 1e-9, 2, 10, 150}, {3.007, 0.001, 301, 1}};
    for (const auto& c : cases) {
        const auto rendered = render(source->transformed(CGAffineTransform::scale(c.scaleX, c.scaleY)));
        ASSERT_NE(rendered, nullptr);
        EXPECT_EQ(rendered->width(), c.width);
        EXPECT_EQ(rendered->height(), c.height);
        for (const auto& [x, y] : {std::pair{0, 0}, {c.width - 1, 0}, {0, c.height - 1}, {c.width - 1, c.height - 1}})
            EXPECT_EQ(pixelAt(*rendered, x, y), (Rgba{10, 200, 30, 255})); // no half-transparent rim
    }
}

TEST(Expression, TurningKeepsTheMiddleAndClearsTheCorners)
{
    const auto square = CIImage::make(flat(40, 40, {50, 100, 150, 255}));
    const auto turned = render(square->transformed(CGAffineTransform{}.rotated(std::numbers::pi / 4)));
    ASSERT_NE(turned, nullptr);
    EXPECT_EQ(turned->width(), 57); // 40 √2 = 56.57
    EXPECT_EQ(pixelAt(*turned, 28, 28), (Rgba{50, 100, 150, 255}));
    EXPECT_EQ(pixelAt(*turned, 0, 0), (Rgba{0, 0, 0, 0}));

    // Counterclockwise: what was to the right is then above.
    const auto dot = test::painted(21, 21, CGAlphaInfo::premultipliedLast, [](int x, int y) {
        return x >= 18 && y >= 9 && y <= 11 ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 0, 255};
    });
    const auto up = render(CIImage::make(dot)->transformed(CGAffineTransform{}.rotated(std::numbers::pi / 2 - 1e-7)));
    EXPECT_GT(pixelAt(*up, 10, 1)[0], 200);
    EXPECT_LT(pixelAt(*up, 19, 10)[0], 50);
}

TEST(Expression, PartsOutsideAreTransparent)
{
    const auto image = CIImage::make(flat(4, 4, {9, 9, 9, 255}));
    const auto around = CIContext().createCGImage(image, {{-2, -2}, {8, 8}});
    EXPECT_EQ(pixelAt(*around, 1, 1), (Rgba{0, 0, 0, 0}));
    EXPECT_EQ(pixelAt(*around, 2, 2), (Rgba{9, 9, 9, 255}));
    EXPECT_EQ(pixelAt(*around, 6, 6), (Rgba{0, 0, 0, 0}));
}

TEST(Expression, WhatCannotBeRenderedIsAbsentWithAReason)
{
    const auto image = CIImage::make(flat(4, 4, {9, 9, 9, 255}));
    const CGFloat infinity = std::numeric_limits<CGFloat>::infinity(), nan = std::nan("");
    const struct {
        const char* name;
        Ref<const CIImage> image;
        CGRect from;
        ZelFailureCode code;
    } cases[] = {
        {"no expression", nullptr, {{0, 0}, {1, 1}}, ZelFailureCode::invalidArgument},
        {"empty part", image, {{0, 0}, {0, 4}}, ZelFailureCode::invalidArgument},
        {"not a number", image, {{nan, 0}, {4, 4}}, ZelFailureCode::invalidArgument},
        {"endless part", image, {{0, 0}, {infinity, 4}}, ZelFailureCode::limit},
        {"too large",
         image->transformed(CGAffineTransform::scale(1e6, 1e6)),
         {{0, 0}, {4e6, 4e6}},
         ZelFailureCode::limit},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_EQ(CIContext().createCGImage(c.image, c.from), nullptr);
        EXPECT_EQ(ZelFailure::last().code, c.code);
    }
    // Maps that lead nowhere leave nothing to see, in whatever form, and do no harm.
    for (const auto& map :
         {CGAffineTransform::scale(1, 0), CGAffineTransform::scale(infinity, 1), CGAffineTransform::scale(nan, 1)}) {
        const auto rendered = CIContext().createCGImage(image->transformed(map), {{0, 0}, {4, 4}});
        if (rendered) {
            EXPECT_EQ(pixelAt(*rendered, 2, 2)[3], 0);
        }
    }
}

} // namespace
} // namespace zel
