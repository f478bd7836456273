#include <zel/operations/chroma.h>

#include <zel/platform/foundation/failure.h>

#include <common/pictures.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

using test::flat;
using test::painted;
using test::pixelAt;
using test::Rgba;

/// What the result of keying holds: alpha, red, green, blue.
Rgba keyed(const Ref<ZelImage>& image, const ZelColor& color, double tolerance)
{
    const auto result = key(image, {.with = {.color = color, .tolerance = tolerance}});
    return result ? pixelAt(*result->cgImage, 0, 0) : Rgba{};
}

TEST(Key, KeepsOrTakes)
{
    const ZelColor green(0, 1, 0);
    const struct {
        const char* name;
        Rgba color; // red, green, blue, alpha
        double tolerance;
        Rgba result; // alpha, red, green, blue
    } cases[] = {
        {"the colour itself", {0, 255, 0, 255}, 0.05, {0, 0, 255, 0}},
        {"one step away", {0, 254, 0, 255}, 0.05, {255, 0, 254, 0}},
        {"one step away, a tolerance of one", {0, 254, 0, 255}, 1, {0, 0, 254, 0}},
        {"a little less than the root of two", {1, 254, 0, 255}, 1.414, {255, 1, 254, 0}},
        {"a little more", {1, 254, 0, 255}, 1.415, {0, 1, 254, 0}},
        {"the farthest colour", {255, 0, 255, 255}, 441.67, {255, 255, 0, 255}},
        {"within the largest distance", {255, 0, 255, 255}, std::sqrt(195075.0), {0, 255, 0, 255}},
        {"everything", {9, 9, 9, 255}, std::numeric_limits<double>::infinity(), {0, 9, 9, 9}},
        {"nothing is farther than no number", {255, 0, 255, 255}, std::nan(""), {0, 255, 0, 255}},
        {"nothing below 0", {0, 255, 0, 255}, -1, {255, 0, 255, 0}},
        {"stored bytes count, not straight ones", {0, 100, 0, 100}, 1, {100, 0, 100, 0}},
    };
    for (const auto& c : cases)
        for (const auto info : {CGAlphaInfo::premultipliedLast, CGAlphaInfo::noneSkipLast}) {
            if (info == CGAlphaInfo::noneSkipLast && c.color[3] != 255)
                continue;
            EXPECT_EQ(keyed(makeZelImage(flat(3, 2, c.color, info)), green, c.tolerance), c.result) << c.name;
        }
}

TEST(Key, DecidesAsTheRootInDoublePrecision)
{
    // Every 17th of all 2^24 colours, so that each byte takes every value.
    constexpr int width = 1024, height = 964;
    const auto colorOf = [](int x, int y) {
        const auto number = static_cast<unsigned>(y * width + x) * 17U;
        return Rgba{static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8U),
                    static_cast<std::uint8_t>(number >> 16U), 255};
    };
    const auto image = makeZelImage(painted(width, height, CGAlphaInfo::noneSkipLast, colorOf));
    for (const double tolerance : {0.05, 60.0, 100.5, 255.0, 441.6}) {
        const auto result = key(image, {.with = {.color = ZelColor::fromBytes(32, 178, 64), .tolerance = tolerance}});
        ASSERT_NE(result, nullptr);
        int wrong = 0;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const Rgba color = colorOf(x, y);
                const double red = color[0] - 32.0, green = color[1] - 178.0, blue = color[2] - 64.0;
                const bool goes = !(std::sqrt(red * red + green * green + blue * blue) > tolerance);
                const Rgba expected{static_cast<std::uint8_t>(goes ? 0 : 255), color[0], color[1], color[2]};
                wrong += pixelAt(*result->cgImage, x, y) == expected ? 0 : 1;
            }
        EXPECT_EQ(wrong, 0) << tolerance;
    }
}

TEST(Key, WorksOnTheDrawnImage)
{
    // Straight colours are premultiplied, alpha that says nothing is opaque, orders do not matter.
    const struct {
        CGAlphaInfo info;
        Rgba stored;
    } cases[] = {
        {CGAlphaInfo::last, {200, 100, 0, 51}},
        {CGAlphaInfo::first, {51, 200, 100, 0}},
        {CGAlphaInfo::premultipliedLast, {40, 20, 0, 51}},
        {CGAlphaInfo::premultipliedFirst, {51, 40, 20, 0}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(keyed(makeZelImage(flat(2, 2, c.stored, c.info)), {1, 1, 1}, 0), (Rgba{51, 40, 20, 0}));
    EXPECT_EQ(keyed(makeZelImage(flat(2, 2, {9, 40, 20, 0}, CGAlphaInfo::noneSkipFirst)), {1, 1, 1}, 0),
              (Rgba{255, 40, 20, 0}));
    // At the image's size, which a host may set.
    const auto resized = makeZelImage(flat(4, 4, {7, 8, 9, 255}));
    resized->size = {9.9, 3.2};
    const auto result = key(resized, {.with = {.color = ZelColor::fromBytes(7, 8, 9), .tolerance = 0.05}});
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->size, (CGSize{9, 3}));
    EXPECT_EQ(pixelAt(*result->cgImage, 8, 2), (Rgba{0, 7, 8, 9}));
    EXPECT_EQ(result->cgImage->layout().alphaInfo, CGAlphaInfo::premultipliedFirst);
}

TEST(Key, AbsentWithAReason)
{
    const auto less = makeZelImage(flat(4, 4, {}));
    less->size = {0.9, 4};
    const std::pair<const char*, Ref<ZelImage>> cases[] = {
        {"no image", nullptr}, {"no pixels", std::make_shared<ZelImage>()}, {"less than a pixel", less}};
    for (const auto& [name, image] : cases) {
        ZelFailure::clear();
        EXPECT_EQ(key(image, {.with = {.color = {}, .tolerance = 1}}), nullptr) << name;
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument) << name;
    }
    EXPECT_EQ(fill(less, {.with = {}}), less);
    EXPECT_EQ(fill(nullptr, {.with = {}}), nullptr);
}

TEST(Fill, PaintsColoursAndKeepsAlpha)
{
    for (const int alpha : {0, 1, 128, 255}) {
        const auto value = static_cast<std::uint8_t>(alpha);
        const auto image = makeZelImage(flat(5, 3, {value, 0, 0, value}));
        const auto filled = fill(image, {.with = {0.5, 2, -1, 0.3}});
        EXPECT_EQ(pixelAt(*filled->cgImage, 4, 2), (Rgba{value, 127, 255, 0}));
        EXPECT_EQ(pixelAt(*image->cgImage, 4, 2), (Rgba{value, 0, 0, value})) << "the image itself stays";
    }
}

TEST(SetColor, WritesToTheBitmapAlone)
{
    const auto image = makeZelImage(flat(3, 2, {10, 20, 30, 255}));
    setColor(image, {.x = 2, .y = 0, .color = {1, 0, 0, 1}});
    const std::pair<std::int64_t, std::int64_t> outside[] = {{-1, 0}, {3, 0}, {0, 2}, {1LL << 32, 0}};
    for (const auto& [x, y] : outside)
        setColor(image, {.x = x, .y = y, .color = {0, 1, 0, 1}});
    EXPECT_EQ(image->bitmapRep()->colorAt(2, 0), (NSColor{1, 0, 0, 1})) << "top right";
    EXPECT_EQ(image->bitmapRep()->colorAt(0, 0), (NSColor{10 / 255.0, 20 / 255.0, 30 / 255.0, 1}));
    EXPECT_EQ(pixelAt(*image->cgImage, 2, 0), (Rgba{10, 20, 30, 255}));
    setColor(std::make_shared<ZelImage>(), {.x = 0, .y = 0, .color = {}});
    setColor(nullptr, {.x = 0, .y = 0, .color = {}});
}

TEST(FillHoles, OfAnImage)
{
    const auto ring = makeZelImage(painted(5, 5, CGAlphaInfo::premultipliedLast, [](int x, int y) {
        const bool isRing = std::max(std::abs(x - 2), std::abs(y - 2)) == 1;
        return isRing ? Rgba{0, 0, 0, 255} : Rgba{};
    }));
    const auto filled = fillHoles(ring, {.with = {0.999, 0, 1}});
    EXPECT_EQ(pixelAt(*filled->cgImage, 2, 2), (Rgba{254, 0, 255, 255}));
    EXPECT_EQ(pixelAt(*filled->cgImage, 0, 0), Rgba{});
    EXPECT_EQ(fillHoles(std::make_shared<ZelImage>(), FillWith{.with = {}}), nullptr);
}

TEST(KeyColor, HasAJsonForm)
{
    const std::string text = R"({"color":{"red":0.0,"green":1.0,"blue":0.25,"alpha":1.0},"tolerance":12.5})";
    const auto value = decode<ZelImage::KeyColor>(text);
    EXPECT_EQ(value.color, ZelColor(0, 1, 0.25, 1));
    EXPECT_EQ(value.tolerance, 12.5);
    EXPECT_EQ(encode(value), text);
    const struct {
        const char* text;
        ZelDecodingError::Kind kind;
    } broken[] = {
        {R"({"color":{"red":0,"green":0,"blue":0,"alpha":1}})", ZelDecodingError::Kind::keyNotFound},
        {R"({"tolerance":1})", ZelDecodingError::Kind::keyNotFound},
        {R"({"color":"red","tolerance":1})", ZelDecodingError::Kind::typeMismatch},
        {R"({"color":{"red":0,"green":0,"blue":0,"alpha":1},"tolerance":"1"})", ZelDecodingError::Kind::typeMismatch},
    };
    for (const auto& each : broken) {
        try {
            (void)decode<ZelImage::KeyColor>(each.text);
            ADD_FAILURE() << each.text;
        } catch (const ZelDecodingError& error) {
            EXPECT_EQ(error.kind(), each.kind) << each.text;
        }
    }
    EXPECT_THROW((void)encode(ZelImage::KeyColor{.color = {}, .tolerance = std::nan("")}), ZelEncodingError);
}

} // namespace
} // namespace zel
