#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

#include <codecs/bytes.h>

#include "seeds_modern.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

namespace zel {
namespace {

using seeds::Coded;
using seeds::codedSample;
using test::Pixel;

/// What a pixel is to be: its samples brought to all of 8 or 16 bits.
Pixel expectedAt(const Coded& coded, int x, int y)
{
    const int full = coded.bits > 8 ? 65535 : 255;
    const double most = (1 << coded.bits) - 1;
    std::array<int, 4> s{};
    for (int i = 0; i < coded.components; ++i)
        s[static_cast<std::size_t>(i)] = static_cast<int>(codedSample(coded, x, y, i) / most * full + 0.5);
    if (coded.components < 3)
        return {s[0], s[0], s[0], coded.components == 2 ? s[1] : full};
    return {s[0], s[1], s[2], coded.components == 4 ? s[3] : full};
}

void expectSound(const seeds::Bytes& file, const Coded& coded)
{
    const ZelReport report;
    const auto picture = test::open(file);
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const PictureFacts& facts = picture->facts();
    EXPECT_EQ(facts.layout.width, coded.width);
    EXPECT_EQ(facts.layout.height, coded.height);
    EXPECT_EQ(facts.layout.bitsPerComponent, coded.bits > 8 ? 16 : 8);
    EXPECT_EQ(facts.bits, coded.bits);
    EXPECT_EQ(facts.hasAlpha, coded.components % 2 == 0);
    EXPECT_EQ(facts.layout.isGray, coded.components < 3);
    EXPECT_EQ(facts.layout.colorSpace, nullptr);
    const test::Decoded decoded = test::decode(*picture);
    EXPECT_TRUE(decoded.complete);
    std::vector<Pixel> expected;
    for (int y = 0; y < coded.height; ++y)
        for (int x = 0; x < coded.width; ++x)
            expected.push_back(expectedAt(coded, x, y));
    EXPECT_EQ(test::pixelsOf(*picture, decoded), expected);
    EXPECT_EQ(report.notes().size(), coded.frames > 1 ? 1U : 0U);
}

#ifdef ZEL_OPENJPEG

TEST(Jpeg2000, PixelsAreThoseThatWereCoded)
{
    const Coded table[] = {
        {.name = "colour", .width = 40, .height = 30},
        {.name = "a bare stream", .width = 7, .height = 1, .isBoxed = false},
        {.name = "grey", .width = 1, .height = 9, .components = 1},
        {.name = "grey with alpha", .components = 2},
        {.name = "colour with alpha", .width = 33, .height = 17, .components = 4},
        {.name = "tiles", .width = 33, .height = 29, .tile = 16},
        {.name = "1 bit", .width = 16, .height = 4, .components = 1, .bits = 1},
        {.name = "12 bits", .components = 1, .bits = 12},
        {.name = "16 bits", .width = 20, .height = 20, .bits = 16},
        {.name = "samples with a sign", .components = 1, .bits = 8, .isBoxed = false, .isSigned = true},
    };
    for (const Coded& coded : table) {
        SCOPED_TRACE(coded.name);
        expectSound(seeds::encodeJpeg2000(coded), coded);
    }
}

TEST(Jpeg2000, ColourDifferencesOfHalfTheSides)
{
    const Coded coded{.width = 15, .height = 10, .isYcc = true};
    const auto picture = test::open(seeds::encodeJpeg2000(coded));
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const test::Decoded decoded = test::decode(*picture);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 15; ++x) {
            const double luma = codedSample(coded, x, y, 0);
            const double blue = codedSample(coded, x / 2 * 2, y / 2 * 2, 1) - 128;
            const double red = codedSample(coded, x / 2 * 2, y / 2 * 2, 2) - 128;
            const double kr = 0.299, kb = 0.114; // ITU-R BT.601
            const double r = luma + 2 * (1 - kr) * red, b = luma + 2 * (1 - kb) * blue;
            const double expected[] = {r, (luma - kr * r - kb * b) / (1 - kr - kb), b};
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_NEAR(decoded.at(x, y)[i], std::clamp(expected[i], 0.0, 255.0), 0.51) << x << ", " << y;
        }
}

TEST(Jpeg2000, HalvedSizesComeFromFewerLevels)
{
    const auto picture = test::open(seeds::encodeJpeg2000({.width = 21, .height = 13, .components = 1}));
    ASSERT_TRUE(picture);
    EXPECT_TRUE(picture->canReduce(4));
    EXPECT_FALSE(picture->canReduce(8)); // three resolutions are two halvings
    EXPECT_FALSE(picture->canReduce(3));
    int rows = 0;
    EXPECT_TRUE(picture->decode({.denominator = 4}, [&](int, const engine::ConstPixels& band) {
        EXPECT_EQ(band.width, 6);
        rows += band.height;
        return true;
    }));
    EXPECT_EQ(rows, 4);
}

/// One tile that is too large to be decoded without a stop: parts of it are, and make the whole.
TEST(Jpeg2000, LargeTilesAreDecodedInParts)
{
    const Coded coded{.width = 8200, .height = 2050, .components = 1};
    const seeds::Bytes file = seeds::encodeJpeg2000(coded);
    const auto picture = test::open(file);
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const test::Decoded decoded = test::decode(*picture);
    ASSERT_TRUE(decoded.complete);
    int wrong = 0;
    for (int y = 0; y < coded.height; ++y)
        for (int x = y % 7; x < coded.width; x += 13)
            wrong += decoded.at(x, y) == expectedAt(coded, x, y) ? 0 : 1;
    EXPECT_EQ(wrong, 0);

    ZelLimits limits;
    limits.decodeTime = std::chrono::milliseconds(60);
    const ZelLimits::Scope scope(limits);
    ZelFailure::clear();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(test::decode(*picture).complete);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit) << ZelFailure::last().message;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

/// 300 x 150 dots an inch for display: 11811 and 59055 / 10 dots a metre, beside another figure for the capture. The
/// box with the number that stands for EXIF says orientation 3.
TEST(Jpeg2000, SaysResolutionAndOrientation)
{
    seeds::Bytes file = seeds::encodeJpeg2000({.width = 9, .height = 7});
    const std::string_view name = "jp2h";
    const auto found = std::search(file.begin(), file.end(), name.begin(), name.end());
    ASSERT_NE(found, file.end());
    const auto at = found - file.begin();
    const test::Bytes resolution = test::Bytes()
                                       .u8({0, 0, 0, 44})
                                       .text("res ")
                                       .u8({0, 0, 0, 18})
                                       .text("resc")
                                       .u8({0, 1, 0, 1, 0, 1, 0, 1, 3, 3})
                                       .u8({0, 0, 0, 18})
                                       .text("resd")
                                       .u8({0xE6, 0xAF, 0, 100, 0x2E, 0x23, 0, 1, 1, 0});
    const auto end = file.begin() + at - 4 + file[static_cast<std::size_t>(at - 1)];
    file[static_cast<std::size_t>(at - 1)] = static_cast<std::uint8_t>(file[static_cast<std::size_t>(at - 1)] + 44);
    file.insert(end, resolution.data.begin(), resolution.data.end());
    const test::Bytes exif = test::Bytes()
                                 .u8({0, 0, 0, 50})
                                 .text("uuidJpgTiffExif->JP2II*")
                                 .u8({0})
                                 .u32({8})
                                 .u16({1, 0x0112, 3})
                                 .u32({1, 3, 0});
    file.insert(file.end(), exif.data.begin(), exif.data.end());
    const auto picture = test::open(file);
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    EXPECT_NEAR(picture->facts().dpiX, 300, 0.01);
    EXPECT_NEAR(picture->facts().dpiY, 150, 0.01);
    EXPECT_EQ(picture->facts().orientation, Orientation::down);
}

TEST(Jpeg2000, EndsEarlyOrIsRefused)
{
    const seeds::Bytes whole = seeds::encodeJpeg2000({.width = 64, .height = 64, .isBoxed = false, .tile = 16});
    const auto patched = [&](std::size_t at, std::initializer_list<int> values) {
        seeds::Bytes bytes = whole;
        for (const int value : values)
            bytes[at++] = static_cast<std::uint8_t>(value);
        return bytes;
    };
    const struct {
        const char* name;
        seeds::Bytes bytes;
        ZelFailureCode code;
    } table[] = {
        // the sizes stand at 8: of the grid, where it begins, of the tiles
        {"2^31 x 64 pixels", patched(8, {0x80, 0, 0, 0}), ZelFailureCode::limit},
        {"30000 x 30000 pixels", patched(8, {0, 0, 0x75, 0x30, 0, 0, 0x75, 0x30}), ZelFailureCode::limit},
        {"a tile for each of 4096 x 64 pixels",
         patched(8, {0, 0, 16, 0, 0, 0, 0, 64, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1}), ZelFailureCode::limit},
        {"tiles of 25 megapixels",
         patched(8, {0, 0, 0x1B, 0x58, 0, 0, 0x1B, 0x58, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x13, 0x88, 0, 0, 0x13, 0x88}),
         ZelFailureCode::limit},
        {"it begins where it ends", patched(16, {0, 0, 0, 64}), ZelFailureCode::unreadable},
        {"tiles of no width", patched(24, {0, 0, 0, 0}), ZelFailureCode::unreadable},
        {"more components than are described", patched(40, {0, 4}), ZelFailureCode::unreadable},
        {"half a header", {whole.begin(), whole.begin() + 60}, ZelFailureCode::truncated},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_EQ(test::open(c.bytes), nullptr);
        EXPECT_EQ(ZelFailure::last().code, c.code) << ZelFailure::last().message;
    }

    const ZelReport report;
    const auto picture = test::open({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2)});
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const test::Decoded decoded = test::decode(*picture);
    EXPECT_TRUE(decoded.complete);
    for (int x = 0; x < 64; ++x) // the upper tiles
        EXPECT_EQ(decoded.at(x, 5), expectedAt({}, x, 5)) << x;
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].code, ZelFailureCode::truncated);
}

#endif
#ifdef ZEL_JXL

TEST(Jxl, PixelsAreThoseThatWereCoded)
{
    const Coded table[] = {
        {.name = "colour", .width = 40, .height = 30},
        {.name = "grey", .width = 1, .height = 9, .components = 1},
        {.name = "grey with alpha", .components = 2},
        {.name = "colour with alpha", .width = 33, .height = 17, .components = 4},
        {.name = "16 bits", .width = 20, .height = 20, .components = 4, .bits = 16},
        {.name = "two frames", .frames = 2},
    };
    for (const Coded& coded : table) {
        SCOPED_TRACE(coded.name);
        expectSound(seeds::encodeJxl(coded), coded);
    }
}

TEST(Jxl, SaysHowItIsTurned)
{
    const auto picture = test::open(seeds::encodeJxl({.width = 5, .height = 3, .orientation = 6}));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->facts().orientation, Orientation::right);
    EXPECT_EQ(picture->facts().layout.width, 5);
    EXPECT_EQ(test::decode(*picture).at(4, 2), expectedAt({}, 4, 2));
}

/// In boxes, with EXIF behind the pixels that states 144 dots an inch and another orientation, which does not count.
TEST(Jxl, InBoxes)
{
    const seeds::Bytes stream = seeds::encodeJxl({.width = 5, .height = 3});
    test::Bytes file =
        test::Bytes()
            .u8({0, 0, 0, 12})
            .text("JXL ")
            .u8({13, 10, 0x87, 10, 0, 0, 0, 20})
            .text("ftypjxl ")
            .u32({0})
            .text("jxl ")
            .u8({0, 0, static_cast<int>((stream.size() + 8) >> 8), static_cast<int>((stream.size() + 8) & 255)})
            .text("jxlc");
    file.add({stream});
    file.u8({0, 0, 0, 66})
        .text("Exif")
        .u32({0})
        .text("II*")
        .u8({0})
        .u32({8})
        .u16({2, 0x0112, 3})
        .u32({1, 8})
        .u16({0x011A, 5})
        .u32({1, 38, 0, 144, 1, 0});
    const auto picture = test::open(file.data);
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    EXPECT_EQ(picture->facts().orientation, Orientation::up);
    EXPECT_EQ(picture->facts().dpiX, 144);
    EXPECT_EQ(test::decode(*picture).at(4, 2), expectedAt({}, 4, 2));
}

TEST(Jxl, EndsEarlyOrIsRefused)
{
    const seeds::Bytes whole = seeds::encodeJxl({.width = 48, .height = 48, .isLossy = true});
    const auto cut = [&](std::size_t length) {
        return seeds::Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    };
    ZelFailure::clear();
    EXPECT_EQ(test::open(cut(3)), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::truncated);
    const auto picture = test::open(cut(whole.size() - 20));
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const ZelReport report;
    (void)test::decode(*picture);
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].code, ZelFailureCode::truncated);

    ZelLimits limits;
    limits.pixels = 48 * 48 - 1;
    const ZelLimits::Scope scope(limits);
    EXPECT_EQ(test::open(whole), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
}

/// The libraries' own words about damage stay away from standard error.
TEST(Jxl, DamageIsToldInNotesAlone)
{
    const seeds::Bytes whole = seeds::encodeJxl({.width = 48, .height = 48});
    testing::internal::CaptureStderr();
    int failures = 0;
    for (std::size_t at = 4; at < whole.size(); at += 5) {
        seeds::Bytes damaged = whole;
        damaged[at] ^= 0x55;
        const auto picture = test::open(damaged);
        failures += picture && test::decode(*picture).complete ? 0 : 1;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_GT(failures, 0);
}

#endif

} // namespace
} // namespace zel
