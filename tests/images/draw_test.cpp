#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/url.h>
#include <zel/platform/images/draw.h>
#include <zel/platform/images/target_image.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;
using test::Rgba;

Ref<NSImage> square(int side, Rgba color)
{
    return NSImage::make(flat(side, side, color), {static_cast<CGFloat>(side), static_cast<CGFloat>(side)});
}

TEST(Draw, PlacesFromTheLowerLeftCorner)
{
    const auto target = NSImage::make(CGSize{10, 10});
    Draw::start(target);
    Draw::copybits({.srcImage = square(2, {255, 0, 0, 255}), .dstRect = CGRect{{0, 0}, {4, 2}}});
    Draw::copybits({.srcImage = square(3, {0, 255, 0, 255}), .dstPoint = CGPoint{7, 7}});
    Draw::copybits(
        {.srcImage = square(2, {0, 0, 255, 255}), .dstRect = CGRect{{4, 4}, {2, 2}}, .dstPoint = CGPoint{0, 0}});
    Draw::end();
    const auto drawn = target->cgImage();
    ASSERT_EQ(drawn->width(), 10);
    EXPECT_EQ(pixelAt(*drawn, 3, 9), (Rgba{255, 0, 0, 255}));
    EXPECT_EQ(pixelAt(*drawn, 4, 9)[3], 0);
    EXPECT_EQ(pixelAt(*drawn, 7, 2), (Rgba{0, 255, 0, 255}));
    EXPECT_EQ(pixelAt(*drawn, 6, 2)[3], 0);
    EXPECT_EQ(pixelAt(*drawn, 4, 5), (Rgba{0, 0, 255, 255})); // the rectangle wins over the point
}

TEST(Draw, BlendsWithOpacityAndClips)
{
    const auto target = NSImage::make(flat(4, 4, {200, 200, 200, 255}), {4, 4});
    Draw::start(target);
    Draw::copybits({.srcImage = square(4, {0, 0, 0, 255}), .dstRect = CGRect{{2, -2}, {8, 4}}, .opacity = 0.5});
    Draw::copybits({.srcImage = square(4, {9, 9, 9, 255}), .dstRect = CGRect{{50, 50}, {4, 4}}});
    Draw::copybits({.srcImage = square(4, {9, 9, 9, 255}), .opacity = 0});
    Draw::end();
    const auto drawn = target->cgImage();
    EXPECT_EQ(pixelAt(*drawn, 3, 3), (Rgba{100, 100, 100, 255}));
    EXPECT_EQ(pixelAt(*drawn, 1, 3), (Rgba{200, 200, 200, 255}));
    EXPECT_EQ(pixelAt(*drawn, 3, 1), (Rgba{200, 200, 200, 255}));
}

TEST(Draw, SourceRectanglesAreWholePixelsOfTheSource)
{
    const auto source = NSImage::make(test::positions(20, 20), {5, 5});
    const auto target = makeTargetImage({4, 4}, {4, 4});
    Draw::start(target);
    // Widened to columns 2 to 5, counted from the top left like the rows.
    Draw::copybits({.srcImage = source, .srcRect = CGRect{{2.4, 10}, {3.3, 4}}});
    Draw::end();
    EXPECT_EQ(pixelAt(*target->cgImage(), 0, 0), (Rgba{2, 10, 0, 255}));
    EXPECT_EQ(pixelAt(*target->cgImage(), 3, 3), (Rgba{5, 13, 0, 255}));
}

TEST(Draw, PixelsFollowTheDisplayScaleUnlessTheTargetHasItsOwn)
{
    Screens::set({2.0});
    const auto points = NSImage::make(CGSize{5, 3});
    const auto pixels = makeTargetImage({5, 3}, {7, 7});
    for (const auto& target : {points, pixels}) {
        Draw::start(target);
        Draw::fillRect({{0, 0}, target->size()}, {1, 0.5, 0, 1});
        Draw::end();
    }
    EXPECT_EQ(points->cgImage()->width(), 10);
    EXPECT_EQ(points->cgImage()->height(), 6);
    EXPECT_EQ(pixels->cgImage()->width(), 7);
    EXPECT_EQ(pixelAt(*pixels->cgImage(), 6, 6), (Rgba{255, 128, 0, 255}));
    Screens::set({});
}

TEST(Draw, EveryStartNeedsItsEndWhateverTheTarget)
{
    ZelFailure::clear();
    const auto good = NSImage::make(CGSize{2, 2}), none = NSImage::make(CGSize{0, 2}),
               huge = NSImage::make(CGSize{1e12, 1e12});
    Draw::start(good);
    for (const auto& bad : {Ref<NSImage>(), none, huge}) {
        Draw::start(bad);
        Draw::copybits({.srcImage = square(2, {1, 1, 1, 255})});
        Draw::end();
    }
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    Draw::copybits({.srcImage = square(2, {7, 7, 7, 255})});
    Draw::end();
    Draw::end(); // one too many
    Draw::copybits({.srcImage = square(2, {1, 1, 1, 255})});
    EXPECT_EQ(pixelAt(*good->cgImage(), 1, 1), (Rgba{7, 7, 7, 255}));
    EXPECT_EQ(none->cgImage(), nullptr);
}

TEST(PlatformImage, HandlersDrawWhenPixelsAreAskedFor)
{
    int calls = 0;
    const auto image = NSImage::make(CGSize{3, 2}, [&](CGRect rect) {
        ++calls;
        Draw::fillRect(rect, {0, 0, 1, 1});
        return true;
    });
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(pixelAt(*image->cgImage(), 2, 1), (Rgba{0, 0, 255, 255}));
    EXPECT_EQ(calls, 1);
    const auto refused = NSImage::make(CGSize{3, 2}, [](CGRect rect) {
        Draw::fillRect(rect, {0, 0, 1, 1});
        return false;
    });
    EXPECT_EQ(pixelAt(*refused->cgImage(), 2, 1), (Rgba{0, 0, 0, 0}));
}

TEST(BitmapRep, WritesShowInANewPictureAndNowhereElse)
{
    const auto half = flat(3, 2, {100, 50, 0, 128}, CGAlphaInfo::premultipliedLast);
    const auto rep = NSBitmapImageRep::make(half);
    EXPECT_EQ(rep->cgImage(), half);
    EXPECT_EQ(rep->size, (CGSize{3, 2}));
    EXPECT_DOUBLE_EQ(rep->colorAt(0, 0).redComponent, 199 / 255.0); // 100 × 255 ÷ 128 = 199.2
    rep->setColor({1, 0.5, 0.25, 0.5}, 2, 1);
    rep->setColor({1, 1, 1, 1}, 3, 0); // outside
    EXPECT_EQ(rep->colorAt(-1, 0), (NSColor{0, 0, 0, 0}));
    const auto written = rep->cgImage();
    ASSERT_NE(written, half);
    EXPECT_EQ(rep->cgImage(), written);
    EXPECT_EQ(pixelAt(*written, 2, 1), (Rgba{255, 127, 63, 127}));
    EXPECT_EQ(pixelAt(*written, 0, 0), (Rgba{199, 100, 0, 128}));
    EXPECT_EQ(pixelAt(*half, 2, 1), (Rgba{100, 50, 0, 128}));
}

} // namespace
} // namespace zel
