#include <zel/core/context_image.h>
#include <zel/core/image.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::flat;
using test::positions;

/// Puts the screens back as they were: none.
struct WithScreens {
    explicit WithScreens(std::vector<CGFloat> factors) { Screens::set(std::move(factors)); }
    ~WithScreens() { Screens::set({}); }
};

TEST(Image, MadeFromPixelsMeasuresThemInPixelsAndPoints)
{
    const auto image = makeZelImage(flat(640, 480, {1, 2, 3, 255}));
    EXPECT_EQ(image->size, (CGSize{640, 480}));
    EXPECT_EQ(image->image->size(), (CGSize{640, 480}));
    EXPECT_TRUE(image->metadata.metadata.empty());
    EXPECT_NE(image->id, makeZelImage(flat(1, 1, {}))->id);
}

TEST(Image, WithoutAuxiliaryFormsHasNoPixelsUntilSetSize)
{
    const auto platform = NSImage::make(flat(30, 20, {9, 9, 9, 255}), {15, 10});
    const auto image = makeZelImage(platform, {.dontCreateAuxiliaryVars = true});
    EXPECT_EQ(image->cgImage, nullptr);
    EXPECT_EQ(image->size, CGSize{});
    image->setSize();
    ASSERT_NE(image->cgImage, nullptr);
    EXPECT_EQ(image->size, (CGSize{30, 20}));
    image->image = nullptr;
    image->size = {};
    image->setSize(); // the pixels alone count
    EXPECT_EQ(image->size, (CGSize{30, 20}));
}

TEST(Image, BlankOnesFollowTheDisplayScale)
{
    const struct {
        const char* name;
        std::vector<CGFloat> screens;
        CGSize points;
    } cases[] = {
        {"no screen", {}, {200, 100}},
        {"one of scale 2", {2.0}, {100, 50}},
        {"the largest counts", {1.0, 2.0, 1.5}, {100, 50}},
        {"never below 1", {0.5}, {200, 100}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const WithScreens screens(c.screens);
        const auto blank = makeZelImage(BlankSize{.size = {200, 100}});
        EXPECT_EQ(blank->image->size(), c.points);
        EXPECT_EQ(blank->size, (CGSize{200, 100}));
        EXPECT_EQ(blank->cgImage, nullptr);
        blank->setSize();
        EXPECT_EQ(blank->size, (CGSize{200, 100})); // drawn at that scale, it holds these pixels
        EXPECT_EQ(makeZelImage({.notBakedNormalizedSize = {200, 100}})->image->size(), (CGSize{200, 100}));
    }
}

TEST(Image, LazyFormsAreBuiltOnceAndKept)
{
    const auto image = makeZelImage(flat(4, 4, {1, 1, 1, 255}));
    const auto expression = image->ciImage();
    ASSERT_NE(expression, nullptr);
    EXPECT_EQ(image->ciImage_, expression);
    const auto rep = image->bitmapRep();
    image->cgImage = flat(8, 8, {2, 2, 2, 255});
    EXPECT_EQ(image->ciImage(), expression);
    EXPECT_EQ(image->bitmapRep(), rep);
    EXPECT_EQ(image->size, (CGSize{4, 4})); // setting a field changes that field alone

    const auto blank = makeZelImage(BlankSize{.size = {2, 2}});
    EXPECT_EQ(blank->ciImage(), nullptr);
    EXPECT_EQ(blank->bitmapRep(), nullptr);
}

TEST(Image, AbsentThingsMakeAbsentImages)
{
    EXPECT_EQ(makeZelImage(URL::file("/no/such/picture.png")), nullptr);
    EXPECT_EQ(makeZelImage({.fastUrl = URL::file("/no/such/picture.png")}), nullptr);
    EXPECT_EQ(makeZelImage(Data(std::vector<std::uint8_t>{1, 2, 3})), nullptr);
    EXPECT_EQ(makeZelImage({.named = "no such resource"}), nullptr);
    EXPECT_EQ(makeZelImage(Ref<const CGImage>()), nullptr);
    EXPECT_EQ(makeZelImage({.ciImage = nullptr}), nullptr);
    EXPECT_EQ(makeZelImage(CIImage::make(flat(2, 2, {}))->cropped({{50, 50}, {2, 2}})), nullptr);
}

TEST(ContextImage, HoldsPremultipliedBytesFromTheTopRow)
{
    const ZelContextImage blank({.size = CGSize{3.9, 2.2}});
    EXPECT_EQ(blank.bitmap().size(), 24U);
    EXPECT_EQ(blank.getPixelAlpha({.x = 2, .y = 1}), 0.0);

    const auto half = test::painted(2, 2, CGAlphaInfo::last, [](int x, int y) {
        return y == 0 && x == 1 ? test::Rgba{200, 100, 50, 128} : test::Rgba{0, 0, 0, 255};
    });
    const ZelContextImage context(half);
    const auto [r, g, b, a] = context.getPixelColorComponents({.x = 1, .y = 0});
    EXPECT_EQ((std::array<int, 4>{r, g, b, a}), (std::array<int, 4>{100, 50, 25, 128})); // 200 × 128 ÷ 255 = 100.4
    EXPECT_EQ(context.pixelZelColorNoAlpha({.x = 1, .y = 0}), ZelColor::fromBytes(100, 50, 25, 255));
    EXPECT_DOUBLE_EQ(context.getPixelColor({.x = 1, .y = 0}).alphaComponent, 128 / 255.0);
}

TEST(ContextImage, ScalesToFillAndReadsNothingOutside)
{
    const auto image = makeZelImage(flat(10, 10, {10, 20, 30, 255}));
    const ZelContextImage scaled(image, {.size = CGSize{3, 2}});
    EXPECT_EQ(scaled.width, 3);
    EXPECT_EQ(std::get<2>(scaled.getPixelColorComponents({.x = 2, .y = 1})), 30);
    for (const auto& [x, y] : {std::pair{-1, 0}, {3, 0}, {0, 2}, {0, -1}})
        EXPECT_EQ(scaled.getPixelAlpha({.x = x, .y = y}), 0.0);
}

TEST(ContextImage, StaysUsableWithoutAnythingToDraw)
{
    const ZelContextImage none{Ref<ZelImage>()}, flatSide({.size = CGSize{0, 5}}),
        noPixels(makeZelImage(BlankSize{.size = {2, 2}}));
    EXPECT_TRUE(none.bitmap().empty());
    EXPECT_TRUE(flatSide.bitmap().empty());
    EXPECT_EQ(noPixels.bitmap().size(), 16U);
    EXPECT_EQ(noPixels.getPixelAlpha({.x = 0, .y = 0}), 0.0);
}

TEST(ContextImage, ShowsAtOnceWhatIsDrawn)
{
    ZelContextImage context({.size = CGSize{4, 4}});
    context.context->draw(flat(2, 1, {255, 0, 0, 255}), {{0, 0}, {2, 1}}); // lower-left corner
    EXPECT_EQ(std::get<0>(context.getPixelColorComponents({.x = 1, .y = 3})), 255);
    EXPECT_EQ(std::get<3>(context.getPixelColorComponents({.x = 1, .y = 2})), 0);
}

} // namespace
} // namespace zel
