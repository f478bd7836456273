#include <zel/engine/parallel.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/filters/ci_image.h>
#include <zel/platform/filters/color_cube.h>
#include <zel/platform/foundation/failure.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace zel {
namespace {

using test::flat;
using test::painted;
using test::pixelAt;
using test::Rgba;

Ref<const CGImage> render(const Ref<const CIImage>& image)
{
    return CIContext().createCGImage(image, image->extent());
}

/// Every part different, premultiplied, with a clear hole.
Ref<const CGImage> mixed(int width, int height)
{
    return painted(width, height, CGAlphaInfo::premultipliedLast, [](int x, int y) {
        const int alpha = x % 11 == 0 ? 0 : y % 5 == 0 ? 255 : 90 + x % 100;
        const auto part = [alpha](int of) { return static_cast<std::uint8_t>(of % 256 * alpha / 255); };
        return Rgba{part(x * 7 + y), part(y * 13 + x * x), part(200 + x - y), static_cast<std::uint8_t>(alpha)};
    });
}

std::vector<std::uint8_t> bytesOf(const Ref<const CGImage>& image)
{
    const auto bytes = image->bytes();
    return {bytes.begin(), bytes.end()};
}

Ref<const engine::ColorCube> identityCube(int side)
{
    const auto step = [side](int value) {
        return static_cast<std::uint8_t>((value * 255 + (side - 1) / 2) / (side - 1));
    };
    return makeColorCube(painted(side, side * side, CGAlphaInfo::noneSkipLast, [&](int x, int y) {
        return Rgba{step(x), step(y % side), step(y / side), 255};
    }));
}

int largestDifference(const CGImage& a, const CGImage& b)
{
    int largest = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            for (std::size_t i = 0; i < 4; ++i)
                largest = std::max(largest, std::abs(pixelAt(a, x, y)[i] - pixelAt(b, x, y)[i]));
    return largest;
}

TEST(Filtering, ExposureDoublesLight)
{
    // By the curve of IEC 61966-2-1, worked out apart.
    const struct {
        double ev;
        int from, to;
    } cases[] = {{1, 100, 138}, {1, 10, 18},   {-1, 255, 188}, {-1, 100, 71}, {0.5, 50, 60},    {2, 128, 239},
                 {-20, 255, 0}, {1, 188, 255}, {3, 1, 8},      {400, 1, 255}, {-1e300, 255, 0}, {1e300, 0, 0}};
    for (const auto& c : cases) {
        const auto level = static_cast<std::uint8_t>(c.from);
        const auto image = CIImage::make(flat(3, 2, {level, level, level, 255}));
        const Rgba pixel = pixelAt(*render(image->exposed(c.ev)), 1, 1);
        const auto wanted = static_cast<std::uint8_t>(c.to);
        EXPECT_EQ(pixel, (Rgba{wanted, wanted, wanted, 255})) << c.ev << " of " << c.from;
    }
    // Half transparent: the straight colour 100 is doubled, 50 of 128 becomes 69 of 128; what is clear stays so.
    EXPECT_EQ(pixelAt(*render(CIImage::make(flat(1, 1, {50, 50, 50, 128}))->exposed(1)), 0, 0),
              (Rgba{69, 69, 69, 128}));
    EXPECT_EQ(pixelAt(*render(CIImage::make(flat(1, 1, {0, 0, 0, 0}))->exposed(9)), 0, 0), (Rgba{0, 0, 0, 0}));
}

TEST(Filtering, NothingIsNothing)
{
    const auto source = mixed(53, 31);
    const auto image = CIImage::make(source);
    const auto plain = bytesOf(render(image));
    EXPECT_EQ(bytesOf(render(image->exposed(0))), plain);
    EXPECT_EQ(bytesOf(render(image->luminanceSharpened(0))), plain);
    EXPECT_EQ(bytesOf(render(image->straightened(0))), plain);
    EXPECT_EQ(bytesOf(render(image->straightened(4 * std::numbers::pi))), plain);
    for (const int side : {2, 16, 33, 64}) {
        const auto graded = render(cubed(image, identityCube(side)));
        EXPECT_LE(largestDifference(*graded, *render(image)), 1) << side;
    }

    const double nan = std::nan("");
    const auto infinity = std::numeric_limits<float>::infinity();
    const ZelReport report;
    for (const auto& absent : {image->exposed(nan), image->exposed(infinity), image->luminanceSharpened(infinity),
                               image->straightened(nan), image->straightened(-infinity)})
        EXPECT_EQ(absent, nullptr);
    EXPECT_EQ(report.notes().size(), 5U);
    for (const ZelNote& note : report.notes())
        EXPECT_EQ(note.code, ZelFailureCode::invalidArgument);
    for (const auto& [width, height] : {std::pair{1, 1}, {8, 63}, {130, 16900}, {64, 64}})
        EXPECT_EQ(makeColorCube(flat(width, height, {})), nullptr) << width << " x " << height;
}

TEST(Filtering, StraighteningLeavesNoCornerEmptyAndNoPixelToSpare)
{
    for (const auto& [width, height] : {std::pair{90, 60}, {60, 90}, {50, 50}, {200, 11}})
        for (const double degrees : {-0.3, 1.0, 7.0, -30.0, 45.0, 60.0, 90.0, 123.0, 180.0, 271.0}) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << degrees);
            // A frame of red around green: the frame must show at the corner that decides the factor, and nothing
            // clear.
            const auto source = painted(width, height, CGAlphaInfo::premultipliedLast, [&](int, int) {
                return Rgba{0, 255, 0, 255};
            });
            const auto straight = CIImage::make(source)->straightened(degrees / 180 * std::numbers::pi);
            EXPECT_EQ(straight->extent(), CIImage::make(source)->extent());
            const auto result = render(straight);
            ASSERT_NE(result, nullptr);
            ASSERT_EQ(result->width(), width);
            ASSERT_EQ(result->height(), height);
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x)
                    ASSERT_EQ(pixelAt(*result, x, y), (Rgba{0, 255, 0, 255})) << x << ' ' << y;
        }
    // 90 × 60 by 90°: enlarged by 90 ÷ 60. By 180°: turned and no more.
    const auto numbered = test::positions(90, 60);
    const auto half = render(CIImage::make(numbered)->straightened(std::numbers::pi));
    EXPECT_EQ(pixelAt(*half, 0, 0), (Rgba{89, 59, 0, 255}));
    const auto quarter = render(CIImage::make(numbered)->straightened(std::numbers::pi / 2));
    EXPECT_NEAR(pixelAt(*quarter, 0, 30)[1], 0, 1);   // counterclockwise: the top edge is now the left one
    EXPECT_NEAR(pixelAt(*quarter, 89, 30)[1], 59, 1); // and all of it fits, 60 × 1.5 = 90
    EXPECT_NEAR(pixelAt(*quarter, 45, 0)[0], 65, 1);  // of 90 columns, 60 ÷ 1.5 = 40 around the middle are seen
    // By 45° a square is enlarged by √2, so that its corners show the middles of the source's sides.
    const auto square = render(CIImage::make(test::positions(101, 101))->straightened(std::numbers::pi / 4));
    EXPECT_NEAR(pixelAt(*square, 0, 0)[0], 50, 1);
    EXPECT_NEAR(pixelAt(*square, 0, 0)[1], 0, 1);
}

TEST(Filtering, WorksWhereItStands)
{
    const auto source = mixed(60, 40);
    const auto image = CIImage::make(source);
    const CGRect rect{{7, 5}, {30, 22}}; // from the lower left
    const auto partOf = [](const Ref<const CIImage>& whole, const CGRect& part) {
        return bytesOf(CIContext().createCGImage(whole, part));
    };
    const auto copyOf = [](const Ref<const CIImage>& what) { return CIImage::make(render(what)); };
    const auto sharp = image->luminanceSharpened(1.5F), opaque = CIImage::make(test::positions(60, 40));
    const auto negative = [&](const Ref<const CIImage>& what) { return cubed(what, identityCube(17)); };
    const struct {
        const char* name;
        std::vector<std::uint8_t> got, wanted;
    } cases[] = {
        {"a part of what was sharpened", partOf(sharp, rect), partOf(copyOf(sharp), rect)},
        {"sharpened, then cropped", bytesOf(render(sharp->cropped(rect))), partOf(copyOf(sharp), rect)},
        {"cropped, then sharpened", bytesOf(render(image->cropped(rect)->luminanceSharpened(1))),
         bytesOf(render(copyOf(image->cropped(rect))->luminanceSharpened(1)))},
        {"sharpened, cropped, sharpened", bytesOf(render(sharp->cropped(rect)->luminanceSharpened(1))),
         bytesOf(render(copyOf(copyOf(sharp)->cropped(rect))->luminanceSharpened(1)))},
        {"moved", bytesOf(render(sharp->transformed({1, 0, 0, 1, 12, -3}))), bytesOf(render(sharp))},
        {"in a row", bytesOf(render(negative(image->exposed(0.5)->luminanceSharpened(1))->exposed(-1))),
         bytesOf(render(copyOf(negative(copyOf(copyOf(image->exposed(0.5))->luminanceSharpened(1))))->exposed(-1)))},
        {"twice", bytesOf(render(opaque->exposed(1)->exposed(-2))),
         bytesOf(render(copyOf(opaque->exposed(1))->exposed(-2)))},
        {"exposed, then enlarged", bytesOf(render(image->exposed(1)->transformed(CGAffineTransform::scale(2.5, 2)))),
         bytesOf(render(copyOf(image->exposed(1))->transformed(CGAffineTransform::scale(2.5, 2))))},
        {"reduced, then exposed", bytesOf(render(image->transformed(CGAffineTransform::scale(0.4, 0.3))->exposed(1))),
         bytesOf(render(copyOf(image->transformed(CGAffineTransform::scale(0.4, 0.3)))->exposed(1)))},
        {"turned, then exposed", bytesOf(render(image->transformed(CGAffineTransform{}.rotated(0.3))->exposed(1))),
         bytesOf(render(copyOf(image->transformed(CGAffineTransform{}.rotated(0.3)))->exposed(1)))},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.got, c.wanted) << c.name;
    EXPECT_EQ(sharp->cropped(rect)->extent(), rect);
    EXPECT_EQ(pixelAt(*CIContext().createCGImage(sharp, {{-9, -9}, {12, 12}}), 2, 2), (Rgba{0, 0, 0, 0}));
}

TEST(Filtering, IsTheSameFromFilesAndForAnyNumberOfThreads)
{
    const auto source = painted(900, 700, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        return Rgba{static_cast<std::uint8_t>(x * y / 9), static_cast<std::uint8_t>(x / 4),
                    static_cast<std::uint8_t>(y), 255};
    });
    const auto encoded = encodePng(source, {});
    ASSERT_TRUE(encoded);
    const auto graded = [](const Ref<const CIImage>& image) {
        return cubed(image->exposed(0.4), identityCube(9))->luminanceSharpened(0.8F)->straightened(0.05);
    };
    engine::setConcurrency(1);
    const auto one = bytesOf(render(graded(CIImage::make(source))));
    engine::setConcurrency(5);
    const auto many = bytesOf(render(graded(CIImage::make(source))));
    const auto file = render(graded(CIImage::make(*encoded)));
    engine::setConcurrency(0);
    EXPECT_EQ(one, many);
    EXPECT_EQ(bytesOf(file), one);
    EXPECT_EQ(file->layout().alphaInfo, CGAlphaInfo::noneSkipLast);
    // A part of a file, through a filter of single pixels: rows are decoded from its first one on.
    const CGRect part{{100, 50}, {300, 200}};
    EXPECT_EQ(bytesOf(CIContext().createCGImage(CIImage::make(*encoded)->exposed(1), part)),
              bytesOf(CIContext().createCGImage(CIImage::make(source)->exposed(1), part)));
}

} // namespace
} // namespace zel
