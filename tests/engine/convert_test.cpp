#include <zel/engine/convert.h>
#include <zel/engine/convert_kernels.h>

#include "targets.h"
#include "test_picture.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace zel::engine {
namespace {

using Alpha = PixelLayout::Alpha;

std::vector<PixelLayout> everyLayout()
{
    std::vector<PixelLayout> layouts;
    for (const bool alphaFirst : {false, true})
        for (const Alpha alpha : {Alpha::skip, Alpha::straight, Alpha::premultiplied})
            for (const int bytes : {1, 2})
                layouts.push_back({alphaFirst, alpha, bytes});
    return layouts;
}

std::string nameOf(PixelLayout layout)
{
    const char* alphas[] = {"skip", "straight", "premultiplied"};
    return std::string(alphas[static_cast<int>(layout.alpha)]) + (layout.alphaFirst ? " first " : " last ") +
           std::to_string(8 * layout.bytesPerComponent);
}

unsigned nearest(double value)
{
    return static_cast<unsigned>(std::floor(value + 0.5));
}

/// Red, green, blue, alpha of the result, in real numbers.
std::array<unsigned, 4> expectedPixel(std::array<unsigned, 4> pixel, PixelLayout from, PixelLayout to)
{
    const bool deep = from.bytesPerComponent == 2 || to.bytesPerComponent == 2;
    const unsigned most = deep ? 65535 : 255;
    if (deep && from.bytesPerComponent == 1)
        for (auto& value : pixel)
            value *= 257;
    if (from.alpha == Alpha::skip)
        pixel[3] = most;
    const double alpha = pixel[3];
    for (std::size_t i = 0; i < 3; ++i) {
        if (from.alpha == Alpha::straight && to.alpha == Alpha::premultiplied)
            pixel[i] = nearest(pixel[i] * (alpha / most));
        if (from.alpha == Alpha::premultiplied && to.alpha != Alpha::premultiplied)
            pixel[i] = pixel[3] == 0 ? 0 : std::min(most, nearest(pixel[i] * double(most) / alpha));
    }
    if (to.alpha == Alpha::skip)
        pixel[3] = most;
    if (deep && to.bytesPerComponent == 1)
        for (auto& value : pixel)
            value = nearest(value / 257.0);
    return pixel;
}

std::array<unsigned, 4> readPixel(const ConstPixels& pixels, int x, int y, PixelLayout layout)
{
    const int first = layout.alphaFirst ? 1 : 0;
    return {component(pixels, x, y, first), component(pixels, x, y, first + 1), component(pixels, x, y, first + 2),
            component(pixels, x, y, layout.alphaFirst ? 0 : 3)};
}

TEST(Convert, EveryPairOfLayoutsMatchesRealArithmetic)
{
    for (const PixelLayout fromLayout : everyLayout()) {
        TestPicture from(61, 9, 4 * fromLayout.bytesPerComponent);
        for (int x = 0; x < 20; ++x) // alphas that hurt: none, least, all but one step, all
            for (int i = 0; i < 4; ++i)
                if (const unsigned most = fromLayout.bytesPerComponent == 1 ? 255 : 65535; x < 16)
                    setComponent(from.pixels(), x, 0, i,
                                 std::array{0u, 1u, most - 1, most}[std::size_t(x >> (i & 2)) & 3]);
        for (const PixelLayout toLayout : everyLayout()) {
            SCOPED_TRACE(nameOf(fromLayout) + " to " + nameOf(toLayout));
            TestPicture to(61, 9, 4 * toLayout.bytesPerComponent);
            ASSERT_TRUE(convert(from.pixels(), fromLayout, to.pixels(), toLayout));
            for (int y = 0; y < 9; ++y)
                for (int x = 0; x < 61; ++x)
                    ASSERT_EQ(readPixel(to.pixels(), x, y, toLayout),
                              expectedPixel(readPixel(from.pixels(), x, y, fromLayout), fromLayout, toLayout))
                        << "at " << x << ", " << y;
        }
    }
}

TEST(Convert, EveryComponentAndAlphaOf8Bits)
{
    TestPicture all(256, 256);
    for (int alpha = 0; alpha < 256; ++alpha)
        for (int value = 0; value < 256; ++value)
            for (int i = 0; i < 4; ++i)
                setComponent(all.pixels(), value, alpha, i, static_cast<unsigned>(i == 3 ? alpha : value));
    TestPicture multiplied(256, 256), divided(256, 256), again(256, 256);
    const PixelLayout straight{false, Alpha::straight, 1}, premultiplied{false, Alpha::premultiplied, 1};
    ASSERT_TRUE(convert(all.pixels(), straight, multiplied.pixels(), premultiplied));
    ASSERT_TRUE(convert(all.pixels(), premultiplied, divided.pixels(), straight));
    ASSERT_TRUE(convert(divided.pixels(), straight, again.pixels(), premultiplied));
    for (int alpha = 0; alpha < 256; ++alpha) {
        for (int value = 0; value < 256; ++value) {
            ASSERT_EQ(component(multiplied.pixels(), value, alpha, 1), nearest(value * alpha / 255.0));
            const unsigned straightValue = alpha == 0 ? 0 : std::min(255u, nearest(value * 255.0 / alpha));
            ASSERT_EQ(component(divided.pixels(), value, alpha, 2), straightValue) << value << " of " << alpha;
            if (value <= alpha) {
                ASSERT_EQ(component(again.pixels(), value, alpha, 0), static_cast<unsigned>(value));
            }
        }
    }
}

TEST(Convert, Every16BitValueNarrowsToTheNearestAndWidensBack)
{
    TestPicture deep(256, 256, 8), narrow(256, 256, 4), wide(256, 256, 8);
    for (int i = 0; i < 65536; ++i)
        for (int c = 0; c < 4; ++c)
            setComponent(deep.pixels(), i % 256, i / 256, c, static_cast<unsigned>(i));
    const PixelLayout from{false, Alpha::straight, 2}, to{false, Alpha::straight, 1};
    ASSERT_TRUE(convert(deep.pixels(), from, narrow.pixels(), to));
    ASSERT_TRUE(convert(narrow.pixels(), to, wide.pixels(), from));
    for (int i = 0; i < 65536; ++i) {
        const unsigned expected = nearest(i / 257.0);
        for (int c = 0; c < 4; ++c) {
            ASSERT_EQ(component(narrow.pixels(), i % 256, i / 256, c), expected) << i;
            ASSERT_EQ(component(wide.pixels(), i % 256, i / 256, c), expected * 257);
        }
    }
}

TEST(Convert, InPlaceGivesWhatASecondPictureGets)
{
    for (const PixelLayout fromLayout : everyLayout()) {
        for (const PixelLayout toLayout : everyLayout()) {
            if (fromLayout.bytesPerComponent != toLayout.bytesPerComponent)
                continue;
            SCOPED_TRACE(nameOf(fromLayout) + " to " + nameOf(toLayout));
            TestPicture picture(67, 5, 4 * fromLayout.bytesPerComponent);
            TestPicture apart = picture;
            ASSERT_TRUE(convert(picture.pixels(), fromLayout, apart.pixels(), toLayout));
            ASSERT_TRUE(convert(picture.pixels(), fromLayout, picture.pixels(), toLayout));
            EXPECT_EQ(picture.bytes, apart.bytes);
        }
    }
}

TEST(Convert, RowsFromTheBottomUp)
{
    const TestPicture from(5, 3);
    TestPicture to(5, 3);
    ConstPixels turned = from.pixels().rows(2, 1);
    turned.height = 3;
    turned.stride = -from.pixels().stride;
    ASSERT_TRUE(convert(turned, {true, Alpha::straight, 1}, to.pixels(), {false, Alpha::straight, 1}));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            for (int i = 0; i < 4; ++i)
                EXPECT_EQ(component(to.pixels(), x, y, i), component(from.pixels(), x, 2 - y, (i + 1) % 4));
}

TEST(Convert, RefusesWhatDoesNotFit)
{
    const TestPicture from(4, 4);
    TestPicture same(4, 4), wider(5, 4), lower(4, 3), deep(4, 4, 8);
    const PixelLayout layout{false, Alpha::straight, 1}, other{false, Alpha::premultiplied, 1};
    EXPECT_TRUE(convert(from.pixels(), layout, same.pixels(), other));
    const auto before = wider.bytes;
    EXPECT_FALSE(convert(from.pixels(), layout, wider.pixels(), other));
    EXPECT_EQ(wider.bytes, before);
    EXPECT_FALSE(convert(from.pixels(), layout, lower.pixels(), other));
    EXPECT_FALSE(convert(from.pixels(), layout, deep.pixels(), other));
    EXPECT_FALSE(convert(from.pixels(), {false, Alpha::straight, 2}, same.pixels(), other));
    EXPECT_FALSE(convert(from.pixels(), {false, Alpha::straight, 3}, same.pixels(), other));
    EXPECT_FALSE(convert(ConstPixels{}, layout, Pixels{}, other));
}

TEST(ConvertKernels, EveryTargetGivesTheReferenceAndTouchesNothingElse)
{
    using Step = Conversion::Step;
    forEachTarget([] {
        for (const int fromBytes : {1, 2})
            for (const int toBytes : {1, 2})
                for (const int order : {0, 1, 2, 3})
                    for (const Step step : {Step::keep, Step::premultiply, Step::divide})
                        for (const bool makeOpaque : {false, true})
                            for (int width = 1; width <= 70; width += width < 35 ? 1 : 7) {
                                const Conversion conversion{fromBytes,        toBytes, (order & 1) != 0,
                                                            (order & 2) != 0, step,    makeOpaque};
                                const std::size_t gap = static_cast<std::size_t>(width % 5) * 2;
                                TestPicture from(width, 2, 4 * fromBytes, gap, static_cast<std::uint32_t>(width));
                                if (width % 3 == 0) // whole vectors of opaque or of clear pixels have ways of their own
                                    for (auto& byte : from.bytes)
                                        byte = width % 2 == 0 ? 255 : 0;
                                TestPicture expected(width, 2, 4 * toBytes, gap);
                                TestPicture actual = expected;
                                convertRowsReference(conversion, from.pixels(), expected.pixels());
                                convertRows(conversion, from.pixels(), actual.pixels());
                                ASSERT_EQ(actual.bytes, expected.bytes)
                                    << width << " pixels, " << fromBytes << " to " << toBytes << " bytes, order "
                                    << order << ", step " << static_cast<int>(step) << ", opaque " << makeOpaque;
                            }
    });
}

TEST(ConvertKernels, Every16BitValueOnEveryTarget)
{
    TestPicture deep(256, 64, 8); // 65536 values, and beside each alpha some smaller and some larger ones
    for (int i = 0; i < 65536; ++i)
        setComponent(deep.pixels(), i / 4 % 256, i / 1024, i % 4, static_cast<unsigned>(i) * 40503u % 65536);
    forEachTarget([&] {
        for (const int toBytes : {1, 2})
            for (const auto step : {Conversion::Step::keep, Conversion::Step::premultiply, Conversion::Step::divide}) {
                const Conversion conversion{2, toBytes, false, false, step, false};
                TestPicture expected(256, 64, 4 * toBytes);
                TestPicture actual = expected;
                convertRowsReference(conversion, deep.pixels(), expected.pixels());
                convertRows(conversion, deep.pixels(), actual.pixels());
                EXPECT_EQ(actual.bytes, expected.bytes) << toBytes << " bytes, step " << static_cast<int>(step);
            }
    });
}

TEST(ConvertKernels, Every8BitPairOnEveryTarget)
{
    TestPicture all(256, 256);
    for (int alpha = 0; alpha < 256; ++alpha)
        for (int value = 0; value < 256; ++value)
            for (int i = 0; i < 4; ++i)
                setComponent(all.pixels(), value, alpha, i, static_cast<unsigned>(i == 3 ? alpha : value));
    forEachTarget([&] {
        for (const auto step : {Conversion::Step::premultiply, Conversion::Step::divide}) {
            const Conversion conversion{1, 1, false, false, step, false};
            TestPicture expected(256, 256);
            TestPicture actual = expected;
            convertRowsReference(conversion, all.pixels(), expected.pixels());
            convertRows(conversion, all.pixels(), actual.pixels());
            EXPECT_EQ(actual.bytes, expected.bytes);
        }
    });
}

} // namespace
} // namespace zel::engine
