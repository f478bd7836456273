#include "decoded.h"

#include <zel/engine/parallel.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/stated_colors.h>

#include "common/pictures.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zel {
namespace {

using heif::Coding;

/// Slopes of 64 steps, 32 pixels wide, in all components.
Ref<const CGImage> slopes(int width, int height, CGAlphaInfo info)
{
    return test::painted(width, height, info, [](int x, int y) {
        return test::Rgba{static_cast<std::uint8_t>(4 * x % 256), static_cast<std::uint8_t>(5 * y % 256),
                          static_cast<std::uint8_t>(3 * (x + y) % 256), static_cast<std::uint8_t>(255 - y)};
    });
}

std::vector<std::uint8_t> bytesOf(const std::optional<Data>& data)
{
    return data ? std::vector<std::uint8_t>(data->span().begin(), data->span().end()) : std::vector<std::uint8_t>();
}

TEST(HeifEncode, ComesBackInEverySize)
{
    const struct {
        int width, height;
        CGAlphaInfo info;
        int bits = 8;
        Coding coding = Coding::hevc;
    } cases[] = {
        {128, 96, CGAlphaInfo::noneSkipLast},
        {1, 1, CGAlphaInfo::noneSkipLast},
        {1, 7, CGAlphaInfo::noneSkipLast},
        {67, 33, CGAlphaInfo::last},
        {64, 64, CGAlphaInfo::premultipliedLast},
        {65, 64, CGAlphaInfo::first},
        {33, 47, CGAlphaInfo::noneSkipLast, 10},
        {128, 96, CGAlphaInfo::noneSkipLast, 8, Coding::av1},
        {1, 1, CGAlphaInfo::noneSkipLast, 8, Coding::av1},
        {1, 7, CGAlphaInfo::last, 8, Coding::av1},
        {67, 33, CGAlphaInfo::premultipliedLast, 8, Coding::av1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << ", " << c.bits << " bits, "
                                        << (c.coding == Coding::av1 ? "AV1" : "HEVC"));
        const bool hasAlpha = c.info != CGAlphaInfo::noneSkipLast;
        const test::Rgba color{200, 100, 50, 255}, premultiplied{120, 60, 30, 153}, first{153, 200, 100, 50},
            straight{200, 100, 50, 153};
        const auto image = test::flat(c.width, c.height,
                                      c.info == CGAlphaInfo::premultipliedLast ? premultiplied
                                      : c.info == CGAlphaInfo::first           ? first
                                      : hasAlpha                               ? straight
                                                                               : color,
                                      c.info);
        const auto encoder = HeifEncoder::make(image, {.bits = c.bits, .coding = c.coding});
        ASSERT_TRUE(encoder) << ZelFailure::last().message;
        const auto picture = test::open(bytesOf(encoder->encode(0.9)));
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        EXPECT_EQ(picture->facts().format, c.coding == Coding::av1 ? "avif" : "heif");
        EXPECT_EQ(picture->facts().bits, c.bits);
        EXPECT_EQ(picture->facts().hasAlpha, hasAlpha);
        EXPECT_FALSE(picture->facts().layout.colorSpace);
        const auto pixels = test::decode(*picture);
        ASSERT_EQ(pixels.width, c.width);
        ASSERT_EQ(pixels.height, c.height);
        const auto found = pixels.at(c.width - 1, c.height - 1);
        const int unit = c.bits == 8 ? 1 : 257;
        EXPECT_NEAR(found[0], 200 * unit, 3 * unit);
        EXPECT_NEAR(found[1], 100 * unit, 3 * unit);
        EXPECT_NEAR(found[2], 50 * unit, 3 * unit);
        EXPECT_NEAR(found[3], (hasAlpha ? 153 : 255) * unit, 2 * unit);
    }
}

TEST(HeifEncode, QualityBuysLikeness)
{
    const auto image = slopes(256, 192, CGAlphaInfo::noneSkipLast);
    const auto source = image->bytes();
    const struct {
        Coding coding;
        std::vector<double> qualities;
    } cases[] = {
        {Coding::hevc, {0.0, 0.3, 0.5, 0.505, 0.8, 1.0}}, // also between whole steps
        {Coding::av1, {0.0, 0.3, 0.5, 0.52, 0.8, 1.0}},   // of which AV1 has 64
    };
    for (const auto& [coding, qualities] : cases) {
        const auto encoder = HeifEncoder::make(image, {.coding = coding});
        ASSERT_TRUE(encoder) << ZelFailure::last().message;
        std::size_t before = 0;
        double errorBefore = 1e9;
        for (const double quality : qualities) {
            SCOPED_TRACE(testing::Message() << (coding == Coding::av1 ? "AV1, " : "HEVC, ") << quality);
            const auto file = encoder->encode(quality);
            ASSERT_TRUE(file);
            const auto pixels = test::decode(*test::open(bytesOf(file)));
            double error = 0;
            for (std::size_t i = 0; i < source.size(); i += 4)
                error += std::abs(pixels.bytes[i + 1] - source[i + 1]);
            EXPECT_GT(file->size(), before);
            EXPECT_LT(error, errorBefore * 1.01);
            before = file->size();
            errorBefore = error;
        }
        EXPECT_EQ(bytesOf(encoder->encode(0.5)), bytesOf(HeifEncoder::make(image, {.coding = coding})->encode(0.5)));
        EXPECT_EQ(bytesOf(encoder->encode(-1)), bytesOf(encoder->encode(0)));
        EXPECT_EQ(bytesOf(encoder->encode(std::nan(""))), bytesOf(encoder->encode(0)));
    }
}

TEST(HeifEncode, ThreadsChangeNothing)
{
    const auto image = slopes(700, 500, CGAlphaInfo::last);
    for (const Coding coding : {Coding::hevc, Coding::av1}) {
        const auto encoder = HeifEncoder::make(image, {.coding = coding});
        ASSERT_TRUE(encoder);
        engine::setConcurrency(1);
        const auto alone = bytesOf(encoder->encode(0.5));
        for (const int threads : {2, 4}) {
            engine::setConcurrency(threads);
            EXPECT_EQ(bytesOf(encoder->encode(0.5)), alone) << threads << (coding == Coding::av1 ? ", AV1" : ", HEVC");
        }
        engine::setConcurrency(0);
    }
}

TEST(HeifEncode, KeepsTheProfile)
{
    constexpr int displayP3 = 12, srgbCurve = 13;
    const auto space = spaceOfStatedColors(displayP3, srgbCurve, "test");
    ASSERT_TRUE(space);
    CGImage::Layout layout{.width = 20, .height = 20, .alphaInfo = CGAlphaInfo::noneSkipLast};
    layout.colorSpace = space;
    const auto image = CGImage::make(layout, Data(std::vector<std::uint8_t>(20 * 20 * 4, 90)), 80);
    for (const Coding coding : {Coding::hevc, Coding::av1}) {
        const auto picture = test::open(bytesOf(HeifEncoder::make(image, {.coding = coding})->encode(0.5)));
        ASSERT_TRUE(picture);
        ASSERT_TRUE(picture->facts().layout.colorSpace);
        EXPECT_TRUE(picture->facts().layout.colorSpace->profile() == space->profile());
        EXPECT_NEAR(test::decode(*picture).at(10, 10)[0], 90, 2) << "samples stay what they were";
    }
}

TEST(HeifEncode, RefusesWithTheReason)
{
    ZelFailure::clear();
    EXPECT_FALSE(HeifEncoder::make(nullptr));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    EXPECT_FALSE(HeifEncoder::make(test::flat(4, 4, {}), {.bits = 12}));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    EXPECT_FALSE(HeifEncoder::make(test::flat(16'385, 1, {})));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    EXPECT_FALSE(HeifEncoder::make(test::flat(4, 4, {}), {.bits = 10, .coding = Coding::av1}));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    EXPECT_FALSE(HeifEncoder::make(test::flat(1, 16'385, {}), {.coding = Coding::av1}));
    EXPECT_EQ(ZelFailure::last().message.substr(0, 5), "AVIF:");
}

} // namespace
} // namespace zel
