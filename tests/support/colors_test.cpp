#include <zel/support/colors.h>

#include <zel/platform/foundation/failure.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

using test::Rgba;

const NSColor clearBlack{0, 0, 0, 0};
const double nowhere = std::numeric_limits<double>::quiet_NaN();

Ref<ZelImage> image(int width, int height, CGAlphaInfo info, const std::function<Rgba(int, int)>& pixel)
{
    return makeZelImage(test::painted(width, height, info, pixel));
}

Ref<ZelImage> flat(int width, int height, Rgba color, CGAlphaInfo info = CGAlphaInfo::last)
{
    return makeZelImage(test::flat(width, height, color, info));
}

std::vector<ZelColor> list(std::initializer_list<double> greys)
{
    std::vector<ZelColor> colors;
    for (const double grey : greys)
        colors.emplace_back(grey, grey, grey);
    return colors;
}

TEST(ColorDistance, IsTakenInSinglePrecisionInOrder)
{
    const float root3 = 1.7320508F;
    const struct {
        const char* name;
        ZelColor a, b;
        float distance;
    } cases[] = {
        {"black and white", {0, 0, 0}, {1, 1, 1}, root3},
        {"white and black", {1, 1, 1}, {0, 0, 0}, root3},
        {"alpha does not count", {0.5, 0.5, 0.5, 0}, {0.5, 0.5, 0.5, 1}, 0},
        {"3, 4, 12 give 13", {0.03, 0.04, 0.12}, {0.06, 0.08, 0.24}, 0.13F},
        // Half an ulp of blue is lost before three quarters of one of green come along; the other way round both count.
        {"blue is added before green", {0, 0, 0}, {1, std::sqrt(0.75 * 0x1p-23), 0x1p-12}, 1.0F},
        {"green after blue", {0, 0, 0}, {1, 0x1p-12, std::sqrt(0.75 * 0x1p-23)}, 1.0F + 0x1p-23F},
        {"not a number", {nowhere, 0, 0}, {0, 0, 0}, std::numeric_limits<float>::quiet_NaN()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const float between = distance(c.a, {.to = c.b});
        EXPECT_TRUE(between == c.distance || (std::isnan(between) && std::isnan(c.distance))) << between;
        const float platform = ZelImageHelper::getTwoColorsDistance(c.a.getColor(), c.b.getColor());
        EXPECT_TRUE(platform == between || std::isnan(between));
    }
    EXPECT_EQ(ZelImageHelper::getColorAverage({0.1, 0.2, 0.6, 0}), static_cast<float>(((0.1 + 0.2) + 0.6) / 3.0));
}

TEST(ColorDistance, OfListsGoesAsFarAsTheShorter)
{
    const auto root3 = std::sqrt(3.0);
    EXPECT_FLOAT_EQ(distance(list({0, 0, 0}), {.to = list({1, 0, 0, 1, 1})}), static_cast<float>(root3 / 3));
    EXPECT_FLOAT_EQ(distance(list({0, 0, 0, 1, 1}), {.to = list({1, 0, 0})}), static_cast<float>(root3 / 3));
    EXPECT_TRUE(std::isnan(distance(list({}), {.to = list({1})})));
    EXPECT_TRUE(std::isnan(ZelImageHelper::getTwoColorListDistance({}, {})));
    EXPECT_EQ(differencePerc(list({0, 0}), {.to = list({1, 1})}), static_cast<double>(1.7320508F) / 1.732);
    // 1, then three times a quarter of what single precision can still add to it.
    const ZelColor black{0, 0, 0}, red{1, 0, 0}, hardly{0x1p-25, 0, 0};
    EXPECT_EQ(distance(std::vector{red, hardly, hardly, hardly}, {.to = std::vector{black, black, black, black}}),
              0.25F);
}

TEST(ColorOfImage, IsTheStoredPixelFromTheTop)
{
    const auto corners = image(2, 2, CGAlphaInfo::premultipliedFirst, [](int x, int y) {
        return Rgba{255, static_cast<std::uint8_t>(10 * x), static_cast<std::uint8_t>(20 * y), 7};
    });
    const auto stretched = makeZelImage(test::positions(4, 4));
    stretched->size = {8, 8}; // drawn at its size, every pixel twice as large
    const auto unreadable = std::make_shared<ZelImage>();
    const struct {
        const char* name;
        Ref<ZelImage> image;
        std::int64_t x, y;
        NSColor color;
    } cases[] = {
        {"top left", corners, 0, 0, {0, 0, 7 / 255.0, 1}},
        {"below", corners, 0, 1, {0, 20 / 255.0, 7 / 255.0, 1}},
        {"right", corners, 1, 0, {10 / 255.0, 0, 7 / 255.0, 1}},
        {"premultiplied", flat(1, 1, {255, 0, 0, 128}), 0, 0, {128 / 255.0, 0, 0, 128 / 255.0}},
        {"outside", corners, 2, 0, clearBlack},
        {"above", corners, 0, -1, clearBlack},
        {"far outside", corners, std::numeric_limits<std::int64_t>::max(), 1, clearBlack},
        {"no picture", nullptr, 0, 0, clearBlack},
        {"no pixels", unreadable, 0, 0, clearBlack},
        {"the corner of a stretched one", stretched, 7, 0, {3 / 255.0, 0, 0, 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(ZelImageHelper::getColor({.ofImage = c.image, .x = c.x, .y = c.y}), c.color);
    }
}

TEST(AverageColor, WeighsByAlpha)
{
    const auto half = [](int x, int) { return x == 0 ? Rgba{200, 100, 0, 255} : Rgba{0, 0, 255, 0}; };
    const struct {
        const char* name;
        Ref<ZelImage> image;
        Rgba bytes; ///< premultiplied
    } cases[] = {
        {"flat", flat(5, 3, {1, 2, 3, 255}), {1, 2, 3, 255}},
        {"half-transparent red", flat(4, 4, {255, 0, 0, 128}), {128, 0, 0, 128}},
        {"half of it clear", image(2, 1, CGAlphaInfo::last, half), {100, 50, 0, 128}},
        {"corners count like the middle",
         image(9, 9, CGAlphaInfo::last,
               [](int x, int y) {
                   return x % 8 == 0 && y % 8 == 0 ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 0, 255};
               }),
         {13, 13, 13, 255}}, // 4 × 255 ÷ 81 = 12.6
        {"no picture", nullptr, {0, 0, 0, 0}},
        {"no pixels", std::make_shared<ZelImage>(), {0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const NSColor color = ZelImageHelper::getAverageColorOfImage(c.image);
        EXPECT_EQ(color, (NSColor{c.bytes[0] / 255.0, c.bytes[1] / 255.0, c.bytes[2] / 255.0, c.bytes[3] / 255.0}));
    }
}

TEST(ColorGrid, GoesByRowsFromTheTop)
{
    const auto quarters = image(6, 4, CGAlphaInfo::noneSkipLast, [](int x, int y) {
        return Rgba{static_cast<std::uint8_t>(x < 3 ? 0 : 255), static_cast<std::uint8_t>(y < 2 ? 0 : 255), 9, 0};
    });
    EXPECT_EQ(colorList(quarters, {.side = 2}),
              (std::vector<ZelColor>{ZelColor::fromBytes(0, 0, 9), ZelColor::fromBytes(255, 0, 9),
                                     ZelColor::fromBytes(0, 255, 9), ZelColor::fromBytes(255, 255, 9)}));
    // Fractions of the wished size are cut off; the middle column lies on the border.
    const auto three = colorList(quarters, {.reduceToSize = {3.9, 1.2}});
    ASSERT_EQ(three.size(), 3U);
    EXPECT_EQ(three[1], ZelColor::fromBytes(128, 128, 9));
    EXPECT_EQ(ZelImageHelper::getColorList({.ofImage = quarters, .reduceToSize = {3, 1}})[2],
              (NSColor{1, 128 / 255.0, 9 / 255.0, 1}));
}

TEST(ColorGrid, OfAClearPictureIsOpaqueHereAndClearThere)
{
    const auto clear = flat(7, 5, {255, 255, 255, 0});
    EXPECT_EQ(colorList(clear, {.side = 4}), std::vector<ZelColor>(16, ZelColor(0, 0, 0, 1)));
    EXPECT_EQ(ZelImageHelper::getColorList({.ofImage = clear, .reduceToSize = {4, 4}}),
              std::vector<NSColor>(16, clearBlack));
    EXPECT_EQ(colorList(flat(2, 2, {255, 0, 0, 128}), {.side = 1}).front(), ZelColor::fromBytes(128, 0, 0));
}

TEST(ColorGrid, IsOfTheFilterImageWhereThatIsAnother)
{
    const auto bands = image(4, 4, CGAlphaInfo::noneSkipLast, [](int, int y) {
        return Rgba{static_cast<std::uint8_t>(50 * y), 0, 0, 255};
    });
    bands->ciImage_ = CIImage::make(bands->cgImage)->cropped({{0, 0}, {4, 2}}); // the two lower rows
    EXPECT_EQ(colorList(bands, {.reduceToSize = {1, 2}}),
              (std::vector<ZelColor>{ZelColor::fromBytes(100, 0, 0), ZelColor::fromBytes(150, 0, 0)}));
}

TEST(ColorGrid, OfNothingIsEmptyForAReason)
{
    const auto some = flat(3, 3, {1, 2, 3, 255});
    const struct {
        const char* name;
        Ref<ZelImage> image;
        CGSize size;
    } cases[] = {
        {"no picture", nullptr, {2, 2}},        {"no pixels", std::make_shared<ZelImage>(), {2, 2}},
        {"no columns", some, {0.9, 2}},         {"no rows", some, {2, 0}},
        {"a negative side", some, {-3, 2}},     {"not a number", some, {nowhere, 2}},
        {"more than memory", some, {1e9, 1e9}}, {"endless", some, {std::numeric_limits<double>::infinity(), 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_TRUE(colorList(c.image, {.reduceToSize = c.size}).empty());
        EXPECT_TRUE(ZelImageHelper::getColorList({.ofImage = c.image, .reduceToSize = c.size}).empty());
        EXPECT_NE(ZelFailure::last().code, ZelFailureCode::none);
    }
    EXPECT_TRUE(std::isnan(deltaColor(some, {.to = nullptr, .colroGridSide = 4})));
    EXPECT_TRUE(std::isnan(deltaColor(some, {.to = some, .colroGridSide = 0})));
    ZelFailure::clear();
}

TEST(DeltaColor, ComparesPicturesOfAnySize)
{
    const auto black = flat(10, 4, {0, 0, 0, 255}), white = flat(3, 9, {255, 255, 255, 255});
    EXPECT_NEAR(deltaColor(black, {.to = white, .colroGridSide = 4}), std::sqrt(3.0) / 1.732, 1e-6);
    EXPECT_EQ(deltaColor(black, {.to = flat(8, 8, {0, 0, 0, 255}), .colroGridSide = 16}), 0);
    EXPECT_NEAR(deltaColor(black, {.to = flat(8, 8, {51, 0, 0, 255}), .colroGridSide = 1}), 0.2 / 1.732, 1e-7);
}

TEST(ColorListText, GoesThereAndBack)
{
    const std::vector<NSColor> colors = {{0, 0.5, 1, 0.25}, {1.0 / 3, 0.1, -2, 1}};
    const std::string text = ZelImageHelper::encodeColorList(colors);
    EXPECT_EQ(text, R"({"list":[{"red":0.0,"green":0.5,"blue":1.0,"alpha":0.25},)"
                    R"({"red":0.3333333333333333,"green":0.1,"blue":-2.0,"alpha":1.0}]})");
    EXPECT_EQ(ZelImageHelper::decodeColorList(text), colors);
    EXPECT_EQ(ZelImageHelper::encodeColorList({}), R"({"list":[]})");
    EXPECT_EQ(ZelImageHelper::decodeColorList(R"( {"other":1,"list":[]} )"), std::vector<NSColor>());
    EXPECT_EQ(ZelImageHelper::encodeColorList(std::vector{NSColor{0, nowhere, 0, 1}}), "");
    EXPECT_EQ(ZelFailure::last().message, "list[0].green: nan has no JSON form");
}

TEST(ColorListText, ThatIsNoneGivesNothingForAReason)
{
    for (const char* const text : {"", "list", "[]", "{}", R"({"list":null})", R"({"list":{}})", R"({"list":[1]})",
                                   R"({"list":[null]})", R"({"List":[]})", R"({"list":[{"red":1,"green":1,"blue":1}]})",
                                   R"({"list":[{"red":"1","green":1,"blue":1,"alpha":1}]})", R"({"list":[]}})",
                                   "{\"list\":[],\"a\":\"\xff\"}"}) {
        ZelFailure::clear();
        EXPECT_EQ(ZelImageHelper::decodeColorList(text), std::nullopt) << text;
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::unreadable) << text;
    }
    ZelFailure::clear();
}

/// Alpha, red, green, blue of each pixel.
std::vector<Rgba> pixelsOf(const Ref<ZelImage>& of)
{
    std::vector<Rgba> pixels;
    for (int y = 0; y < of->cgImage->height(); ++y)
        for (int x = 0; x < of->cgImage->width(); ++x)
            pixels.push_back(test::pixelAt(*of->cgImage, x, y));
    return pixels;
}

TEST(Mask, BrightnessBecomesAlphaAndColoursStay)
{
    const struct {
        const char* name;
        Rgba mask;
        std::uint8_t alpha;
    } cases[] = {
        {"white", {255, 255, 255, 255}, 255},   {"black", {0, 0, 0, 255}, 0},
        {"grey", {128, 128, 128, 255}, 128},    {"red", {255, 0, 0, 255}, 85},
        {"one of three", {1, 0, 0, 255}, 0},    {"half-transparent white", {255, 255, 255, 128}, 128},
        {"clear white", {255, 255, 255, 0}, 0}, {"sums that do not divide", {200, 100, 1, 255}, 100},
    };
    const auto some = flat(3, 2, {200, 100, 50, 128}); // premultiplied: 100, 50, 25
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto masked = apply(some, {.mask = test::flat(3, 2, c.mask, CGAlphaInfo::last)});
        ASSERT_NE(masked, some);
        EXPECT_EQ(masked->size, some->size);
        EXPECT_EQ(pixelsOf(masked), std::vector<Rgba>(6, Rgba{c.alpha, 100, 50, 25}));
    }
    EXPECT_EQ(pixelsOf(some).front(), (Rgba{200, 100, 50, 128})) << "the receiver stays as it is";
}

TEST(Mask, StandsWhereItStood)
{
    const auto corner = [](int x, int y) { return x < 2 && y < 2 ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 0, 0}; };
    const auto some = flat(4, 4, {10, 20, 30, 255});
    const auto byColor = apply(some, {.mask = test::painted(4, 4, CGAlphaInfo::last, corner)});
    const auto byAlpha = apply(some, {.mask = image(4, 4, CGAlphaInfo::last, corner)});
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const Rgba expected = {static_cast<std::uint8_t>(x < 2 && y < 2 ? 255 : 0), 10, 20, 30};
            EXPECT_EQ(test::pixelAt(*byColor->cgImage, x, y), expected) << x << ", " << y;
            EXPECT_EQ(test::pixelAt(*byAlpha->cgImage, x, y), expected) << x << ", " << y;
        }
}

TEST(Mask, IsScaledToThePictureWhateverItsPoints)
{
    const auto some = flat(40, 30, {10, 20, 30, 255});
    some->image = NSImage::make(some->cgImage, {20, 15}); // two pixels a point
    const auto half = [](int x, int) { return x < 5 ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 0, 0}; };
    for (const auto& masked : {apply(some, {.mask = test::painted(10, 90, CGAlphaInfo::last, half)}),
                               apply(some, {.mask = image(10, 90, CGAlphaInfo::last, half)})}) {
        ASSERT_EQ(masked->size, (CGSize{40, 30}));
        EXPECT_EQ(test::pixelAt(*masked->cgImage, 3, 29)[0], 255);
        EXPECT_EQ(test::pixelAt(*masked->cgImage, 36, 0)[0], 0);
    }
}

TEST(Mask, ThatCannotBeHadLeavesTheReceiver)
{
    const auto some = flat(3, 3, {1, 2, 3, 255});
    const auto blank = std::make_shared<ZelImage>();
    EXPECT_EQ(apply(some, {.mask = Ref<const CGImage>()}), some);
    EXPECT_EQ(apply(some, {.mask = Ref<ZelImage>()}), some);
    EXPECT_EQ(apply(some, {.mask = blank}), some);
    EXPECT_EQ(apply(blank, {.mask = some}), blank);
    EXPECT_EQ(apply(blank, {.mask = some->cgImage}), blank);
    EXPECT_EQ(apply(nullptr, {.mask = some}), nullptr);
    EXPECT_EQ(apply(nullptr, {.mask = some->cgImage}), nullptr);
    const auto huge = flat(1, 1, {1, 2, 3, 255});
    huge->size = {1e7, 1e7};
    EXPECT_EQ(apply(huge, {.mask = some}), huge);
    EXPECT_EQ(apply(huge, {.mask = some->cgImage}), huge);
    ZelFailure::clear();
}

} // namespace
} // namespace zel
