#include <zel/operations/resize.h>
#include <zel/platform/foundation/failure.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>

namespace zel {
namespace {

using test::flat;
using test::pixelAt;
using test::Rgba;

Ref<ZelImage> picture(int width, int height, Rgba color = {40, 80, 120, 255})
{
    return makeZelImage(flat(width, height, color));
}

TEST(Resize, GivesTheSizesThatItPromises)
{
    const struct {
        const char* name;
        int width, height;
        std::function<Ref<ZelImage>(const Ref<ZelImage>&)> operation;
        CGSize size;
    } cases[] = {
        {"to a size, ratio not kept",
         100,
         50,
         [](const auto& i) {
             return resize(i, {.to = {30, 90}});
         },
         {30, 90}},
        {"to a fraction: rounded up",
         100,
         50,
         [](const auto& i) {
             return resize(i, {.to = {33.3, 16.65}});
         },
         {34, 17}},
        {"to a width", 300, 200, [](const auto& i) { return resize(i, {.toWidth = 150}); }, {150, 100}},
        {"to a height", 300, 200, [](const auto& i) { return resize(i, {.toHeight = 100}); }, {150, 100}},
        {"max side: the short side stays at least 1",
         1000,
         10,
         [](const auto& i) { return resize(i, {.withMaxSide = 100}); },
         {100, 1}},
        {"max side: small enough", 50, 40, [](const auto& i) { return resize(i, {.withMaxSide = 100}); }, {50, 40}},
        {"max side truncates", 1000, 667, [](const auto& i) { return resize(i, {.withMaxSide = 100}); }, {100, 66}},
        {"min side", 2000, 1000, [](const auto& i) { return resize(i, {.withMinSideBoundedTo = 500}); }, {1000, 500}},
        {"thumb enlarges", 100, 50, [](const auto& i) { return thumb(i, {.maxSide = 200}); }, {200, 100}},
        {"fit",
         100,
         50,
         [](const auto& i) {
             return resizeWithFit(i, {.to = {40, 40}});
         },
         {40, 40}},
        {"fill",
         100,
         50,
         [](const auto& i) {
             return resizeWithFill(i, {.to = {40, 40}});
         },
         {40, 40}},
        {"fill a fraction",
         100,
         50,
         [](const auto& i) {
             return resizeWithFill(i, {.to = {40.5, 40.5}});
         },
         {41, 41}},
        {"v3 truncates",
         100,
         50,
         [](const auto& i) {
             return ZelImageHelper::resizeImage_v3(i, {.size = {20.7, 10.7}});
         },
         {20, 10}},
        {"v4",
         100,
         50,
         [](const auto& i) {
             return ZelImageHelper::resizeImage_v4(i, {.size = {20, 10}});
         },
         {20, 10}},
        {"by steps",
         1600,
         1600,
         [](const auto& i) {
             return ZelImageHelper::reduceImageToSize(i, {.targetSize = {100, 100}});
         },
         {100, 100}},
        {"by steps, enlarging",
         10,
         10,
         [](const auto& i) {
             return ZelImageHelper::reduceImageToSize(i, {.targetSize = {20, 15}});
         },
         {20, 15}},
        {"one pixel", 401, 301, [](const auto& i) { return ZelImageHelper::reduceImageTo1x1Pixels(i); }, {1, 1}},
    };
    for (const CGFloat scale : {1.0, 2.0}) {
        Screens::set({scale});
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", display scale " << scale);
            test::PrintedLines quiet;
            const auto source = picture(c.width, c.height);
            const auto result = c.operation(source);
            ASSERT_NE(result, nullptr);
            EXPECT_EQ(result->size, c.size);
            ASSERT_NE(result->cgImage, nullptr);
            EXPECT_EQ(pixelAt(*result->cgImage, result->cgImage->width() / 2, result->cgImage->height() / 2),
                      (Rgba{40, 80, 120, 255}));
            EXPECT_EQ(source->size, (CGSize{static_cast<CGFloat>(c.width), static_cast<CGFloat>(c.height)}));
            EXPECT_NE(result, source);
        }
    }
    Screens::set({});
}

TEST(Resize, GivesTheReceiverWhereThatIsTheAnswer)
{
    const auto small = picture(400, 300), blank = makeZelImage(BlankSize{.size = {10, 10}});
    EXPECT_EQ(resize(small, {.withMinSideBoundedTo = 500}), small);
    EXPECT_EQ(resize(small, {.withMinSideBoundedTo = 300}), small);
    EXPECT_EQ(resize(small, {.withMinSideBoundedTo = std::nan("")}), small);
    EXPECT_EQ(resize(blank, {.toWidth = 5}), blank);
    EXPECT_EQ(resize(blank, {.toHeight = 5}), blank);
    EXPECT_EQ(resize(small, {.toWidth = -5}), small);
}

TEST(Resize, GivesNothingWhereNothingCanBeHad)
{
    const auto small = picture(4, 3), blank = makeZelImage(BlankSize{.size = {10, 10}});
    EXPECT_EQ(resize(blank, {.to = {5, 5}}), nullptr);
    for (const CGSize size : {CGSize{0, 5}, {5, -1}, {std::nan(""), 5}, {1e300, 5}, {INFINITY, 5}})
        EXPECT_EQ(resize(small, {.to = size}), nullptr);
    EXPECT_EQ(resize(small, {.withMaxSide = -3})->size, (CGSize{1, 1})); // a scale below 1, sides held to 1
    EXPECT_EQ(ZelImageHelper::reduceImageToSize(small, {.targetSize = {-1, 5}}), nullptr);
    {
        test::PrintedLines printed;
        EXPECT_EQ(ZelImageHelper::resizeImage_v3(small, {.size = {0.5, 5}}), nullptr);
        EXPECT_EQ(printed.lines(), (std::vector<std::string>{"resizeImage_v3", "resizeImage_v3 failed"}));
    }
    ZelFailure::clear();
    EXPECT_EQ(resize(Ref<ZelImage>(), {.toWidth = 5}), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
}

TEST(Resize, FillsTheReceiversExpressionAndReadsFromIt)
{
    const auto image = picture(8, 8);
    EXPECT_EQ(image->ciImage_, nullptr);
    (void)resize(image, {.to = {4, 4}});
    ASSERT_NE(image->ciImage_, nullptr);
    image->cgImage = nullptr; // the expression alone is enough
    EXPECT_NE(resize(image, {.to = {2, 2}}), nullptr);
    EXPECT_EQ(pixelAt(*ZelImageHelper::reduceImageTo1x1Pixels(image)->cgImage, 0, 0), (Rgba{40, 80, 120, 255}));
    EXPECT_EQ(thumbSize({.size = {100, 50}, .maxSide = 33}), (CGSize{33, 16.5}));
    EXPECT_EQ(aspectRatio(picture(300, 200)), 1.5);
}

TEST(Resize, ExpressionsKeepFractions)
{
    for (const CGSize size : {CGSize{33.25, 16.5}, {15.25, 1}, {100.1, 0.7}}) // 15.25 ÷ 7 × 7 is not 15.25
        EXPECT_EQ(resized(CIImage::make(flat(7, 49, {})), {.to = size})->extent(), (CGRect{{0, 0}, size}));
    EXPECT_EQ(resized(nullptr, {.to = {1, 1}}), nullptr);
}

TEST(Resize, FitLeavesTransparentBandsAndFillCuts)
{
    const auto halves = makeZelImage(test::painted(100, 50, CGAlphaInfo::noneSkipLast, [](int x, int) {
        return x < 25 ? Rgba{255, 0, 0, 255} : Rgba{0, 0, 255, 255};
    }));
    const auto fitted = resizeWithFit(halves, {.to = {40, 40}});
    EXPECT_EQ(pixelAt(*fitted->cgImage, 20, 9)[3], 0);
    EXPECT_EQ(pixelAt(*fitted->cgImage, 5, 20), (Rgba{255, 0, 0, 255}));
    const auto filled = resizeWithFill(halves, {.to = {40, 40}}); // columns 25 to 75 remain
    EXPECT_EQ(pixelAt(*filled->cgImage, 3, 3), (Rgba{0, 0, 255, 255}));
}

TEST(Reduce, TakesTheMeanOfEveryPixelWeightedByAlpha)
{
    const auto oneClear = makeZelImage(test::painted(31, 17, CGAlphaInfo::last, [](int x, int y) {
        if (x == 0 && y == 0)
            return Rgba{0, 0, 200, 255}; // a corner counts as much as the middle
        return x % 2 == 0 ? Rgba{200, 100, 0, 255} : Rgba{255, 255, 255, 0};
    }));
    const auto pixel = ZelImageHelper::reduceImageTo1x1Pixels(oneClear);
    // 16 opaque columns of 17 rows; the blue mean is 200 ÷ 272 = 0.7, red 200 × 271 ÷ 272; alpha 255 × 272 ÷ 527.
    EXPECT_EQ(pixelAt(*pixel->cgImage, 0, 0), (Rgba{199, 100, 1, 132}));
    const auto blank = makeZelImage(BlankSize{.size = {10, 10}});
    EXPECT_EQ(ZelImageHelper::reduceImageTo1x1Pixels(blank), blank);
}

TEST(Reduce, TellsItsSteps)
{
    test::PrintedLines printed;
    (void)ZelImageHelper::reduceImageToSize(picture(1600, 1600), {.targetSize = {100, 100}});
    EXPECT_EQ(printed.lines(), (std::vector<std::string>{"res", "res done", "res", "res done", "reduceImageToSize done",
                                                         "reduceImageToSize done"}));
}

TEST(Make, ColouredAndBlankImages)
{
    Screens::set({2.0});
    const auto red = ZelImageHelper::getFillColorImage({.color = NSColor{1, 0, 0, 0.5}, .size = {6, 4}});
    EXPECT_EQ(red->size, (CGSize{6, 4}));
    EXPECT_EQ(red->image->size(), (CGSize{3, 2}));
    EXPECT_EQ(pixelAt(*red->cgImage, 5, 3), (Rgba{128, 0, 0, 128}));
    test::PrintedLines printed;
    const auto blank = ZelImageHelper::createImage({.withSize = {6, 4.5}});
    Screens::set({});
    EXPECT_EQ(printed.lines(), (std::vector<std::string>{"createImage (withSize: (6.0, 4.5))"}));
    EXPECT_EQ(blank->image->size(), (CGSize{3, 2.25}));
    EXPECT_EQ(blank->size, (CGSize{6, 4.5}));
    EXPECT_EQ(blank->cgImage, nullptr);
}

TEST(Resize, HiddenColourStaysHidden)
{
    // A red disc on transparent green: no result pixel may turn green.
    const auto disc = makeZelImage(test::painted(64, 64, CGAlphaInfo::last, [](int x, int y) {
        return (x - 32) * (x - 32) + (y - 32) * (y - 32) < 600 ? Rgba{255, 0, 0, 255} : Rgba{0, 255, 0, 0};
    }));
    for (const CGSize size : {CGSize{23, 23}, {150, 150}}) {
        const auto result = resize(disc, {.to = size});
        for (int y = 0; y < result->cgImage->height(); ++y)
            for (int x = 0; x < result->cgImage->width(); ++x)
                ASSERT_EQ(pixelAt(*result->cgImage, x, y)[1], 0) << x << ' ' << y;
    }
}

} // namespace
} // namespace zel
