#include <zel/platform/foundation/failure.h>

#include <codecs/bytes.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::Bytes;
using test::Pixel;
using test::pixels;

enum { plain = 0, rle8 = 1, rle4 = 2, fields = 3, jpeg = 4, png = 5, fieldsWithAlpha = 6 };

/// The information header of version 1, 3, 4 or 5 (40, 56, 108, 124 bytes), 100 dots an inch.
Bytes info(int size, std::int64_t width, std::int64_t height, int bits, int compression = plain, int colors = 0,
           std::initializer_list<std::int64_t> masks = {})
{
    Bytes header;
    header.u32({size, width, height}).u16({1, bits}).u32({compression, 0, 3937, 3937, colors, 0});
    header.u32(masks);
    header.data.resize(std::max(header.data.size(), static_cast<std::size_t>(size)));
    return header;
}

/// The file around it; `behind` are masks or a palette, then `pixels`.
Bytes file(const Bytes& header, const Bytes& behind, const Bytes& content)
{
    const auto start = static_cast<std::int64_t>(14 + header.data.size() + behind.data.size());
    return Bytes()
        .text("BM")
        .u32({start + static_cast<std::int64_t>(content.data.size()), 0, start})
        .add(header)
        .add(behind)
        .add(content);
}

const Bytes redAndBlue = Bytes().u8({0, 0, 255, 0, 255, 0, 0, 0}); // palettes are blue, green, red, 0
const Bytes fourColors = Bytes().u8({0, 0, 0, 0, 0, 0, 255, 0, 0, 255, 0, 0, 255, 255, 255, 0}); // black R G W
const Bytes none;

struct Case {
    const char* name;
    Bytes bytes;
    int width, height;
    std::vector<Pixel> expected;
    bool hasAlpha = false;
    int bits = 8;
};

// Each row of a file is padded to 4 bytes and stands below the next one, but for "top down".
std::vector<Case> cases()
{
    return {
        {"1 bit", file(info(40, 10, 2, 1), redAndBlue, Bytes().u8({0xFF, 0xC0, 0, 0, 0x80, 0x40, 0, 0})), 10, 2,
         pixels("BRRRRRRRRB BBBBBBBBBB")},
        {"2 bits", file(info(40, 5, 1, 2), fourColors, Bytes().u8({0x1B, 0x40, 0, 0})), 5, 1, pixels("kRGWR")},
        {"4 bits, a short palette", file(info(40, 3, 1, 4, plain, 2), redAndBlue, Bytes().u8({0x01, 0x20, 0, 0})), 3, 1,
         pixels("RBk")},
        {"8 bits", file(info(40, 2, 2, 8, plain, 4), fourColors, Bytes().u8({1, 2, 0, 0, 3, 0, 0, 0})), 2, 2,
         pixels("Wk RG")},
        {"8 bits, top down", file(info(40, 2, -2, 8, plain, 4), fourColors, Bytes().u8({1, 2, 0, 0, 3, 0, 0, 0})), 2, 2,
         pixels("RG Wk")},
        {"a core header, palette of three bytes",
         file(Bytes().u32({12}).u16({2, 1, 1, 1}), Bytes().u8({0, 255, 0, 255, 255, 255}), Bytes().u8({0x40, 0, 0, 0})),
         2, 1, pixels("GW")},
        {"a short OS/2 header", file(Bytes().u32({16, 2, 1}).u16({1, 8}), fourColors, Bytes().u8({2, 1, 0, 0})), 2, 1,
         pixels("GR")},
        {"16 bits, five each", file(info(40, 3, 1, 16), none, Bytes().u16({0x7C00, 0x03E0, 0x8000 | 0x001F, 0})), 3, 1,
         pixels("RGB")},
        {"16 bits, 5-6-5",
         file(info(40, 2, 1, 16, fields), Bytes().u32({0xF800, 0x07E0, 0x001F}), Bytes().u16({0x8410, 0xFFFF})),
         2,
         1,
         {{132, 130, 132, 255}, {255, 255, 255, 255}}}, // 16 of 31, 32 of 63
        {"16 bits, four each with alpha",
         file(info(40, 2, 1, 16, fieldsWithAlpha), Bytes().u32({0x0F00, 0x00F0, 0x000F, 0xF000}),
              Bytes().u16({0x8F00, 0x0123})),
         2,
         1,
         {{255, 0, 0, 136}, {17, 34, 51, 0}},
         true},
        {"24 bits",
         file(info(40, 3, 1, 24), none, Bytes().u8({1, 2, 3, 0, 0, 255, 255, 0, 0, 0, 0, 0})),
         3,
         1,
         {{3, 2, 1, 255}, {255, 0, 0, 255}, {0, 0, 255, 255}}},
        {"32 bits, the fourth byte means nothing",
         file(info(40, 2, 1, 32), none, Bytes().u8({1, 2, 3, 0, 4, 5, 6, 128})),
         2,
         1,
         {{3, 2, 1, 255}, {6, 5, 4, 255}}},
        {"version 3 with alpha, components in another order",
         file(info(56, 1, 1, 32, fields, 0, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}), none, Bytes().u8({9, 8, 7, 6})),
         1,
         1,
         {{9, 8, 7, 6}},
         true},
        {"version 5, ten bits each", // 1023, 512 and 0 of 1023; alpha 2 of 3
         file(info(124, 1, 1, 32, fields, 0, {0x3FF, 0xFFC00, 0x3FF00000, 0xC0000000}), none,
              Bytes().u32({0x800803FF})),
         1,
         1,
         {{65535, 32800, 0, 43690}},
         true,
         16},
        // 5 of index 1; three as they stand, padded; the end of the row. Above: a jump of 2, a run of 9 that is cut.
        {"run lengths of 8 bits",
         file(info(40, 8, 2, 8, rle8, 4), fourColors,
              Bytes().u8({5, 1, 0, 3, 3, 2, 3, 0, 0, 0, 0, 2, 2, 0, 9, 2, 0, 1})),
         8, 2, pixels("kkGGGGGG RRRRRWGW")},
        {"run lengths of 4 bits", // two colours in turn; five as they stand; a jump of a row, then the end
         file(info(40, 9, 3, 4, rle4, 4), fourColors,
              Bytes().u8({4, 0x12, 0, 5, 0x33, 0x12, 0x10, 0, 0, 0, 0, 2, 1, 1, 2, 0x33, 0, 1})),
         9, 3, pixels("kWWkkkkkk kkkkkkkkk RGRGWWRGR")},
    };
}

TEST(Bmp, PixelsAreThoseOfTheFile)
{
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.name);
        const auto picture = test::open(c.bytes.data);
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        const PictureFacts& facts = picture->facts();
        EXPECT_EQ(facts.layout.width, c.width);
        EXPECT_EQ(facts.layout.height, c.height);
        EXPECT_EQ(facts.layout.bitsPerComponent, c.bits);
        EXPECT_EQ(facts.hasAlpha, c.hasAlpha);
        const ZelReport report;
        const test::Decoded decoded = test::decode(*picture);
        EXPECT_TRUE(decoded.complete);
        EXPECT_EQ(test::pixelsOf(*picture, decoded), c.expected);
        EXPECT_TRUE(report.notes().empty());
    }
}

TEST(Bmp, SaysResolutionAndDepth)
{
    const auto picture =
        test::open(file(info(124, 1, 1, 32, fields, 0, {0x3FF, 0xFFC00, 0x3FF00000, 0}), none, Bytes().u32({0})).data);
    ASSERT_TRUE(picture);
    EXPECT_NEAR(picture->facts().dpiX, 100, 0.001); // 3937 dots a metre
    EXPECT_NEAR(picture->facts().dpiY, 100, 0.001);
    EXPECT_EQ(picture->facts().bits, 10);
    EXPECT_EQ(picture->facts().format, "bmp");
}

/// The rows that a cut file holds are at the bottom of most pictures.
TEST(Bmp, CutFilesGiveTheRowsThatTheyHold)
{
    const Bytes rows = Bytes().u8({1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0});
    const struct {
        const char* name;
        Bytes bytes;
        std::vector<Pixel> expected; // nothing: refused
    } table[] = {
        {"bottom up",
         file(info(40, 1, 3, 8, plain, 4), fourColors, rows).cut(2),
         {{}, {0, 255, 0, 255}, {255, 0, 0, 255}}},
        {"top down", file(info(40, 1, -3, 8, plain, 4), fourColors, rows).cut(5), {{255, 0, 0, 255}, {}, {}}},
        {"run lengths",
         file(info(40, 1, 2, 8, rle8, 4), fourColors, Bytes().u8({1, 1, 0, 0, 1})),
         {{}, {255, 0, 0, 255}}},
        {"no row", file(info(40, 1, 3, 8, plain, 4), fourColors, rows).cut(9), {}},
        {"no row of run lengths", file(info(40, 1, 2, 8, rle8, 4), fourColors, Bytes().u8({1, 1, 0})), {}},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        const auto picture = test::open(c.bytes.data);
        ASSERT_EQ(picture != nullptr, !c.expected.empty());
        if (!picture) {
            EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::truncated);
            continue;
        }
        const ZelReport report;
        const test::Decoded decoded = test::decode(*picture);
        EXPECT_TRUE(decoded.complete);
        for (int y = 0; y < decoded.height; ++y) {
            Pixel found = decoded.at(0, y);
            EXPECT_EQ(found, c.expected[static_cast<std::size_t>(y)]) << "row " << y;
        }
        ASSERT_EQ(report.notes().size(), 1U);
        EXPECT_EQ(report.notes()[0].code, ZelFailureCode::truncated);
    }
}

TEST(Bmp, RefusesWithTheReason)
{
    const struct {
        const char* name;
        Bytes bytes;
        ZelFailureCode code;
        const char* saying;
    } table[] = {
        {"a JPEG inside", file(info(40, 8, 8, 0, jpeg), none, Bytes().u8({0xFF, 0xD8})), ZelFailureCode::unsupported,
         "a JPEG inside"},
        {"a PNG inside", file(info(40, 8, 8, 0, png), none, Bytes().u8({0x89})), ZelFailureCode::unsupported,
         "a PNG inside"},
        {"a negative width", file(info(40, -8, 8, 24), none, none), ZelFailureCode::unreadable, "-8 x 8"},
        {"no height", file(info(40, 8, 0, 24), none, none), ZelFailureCode::unreadable, "8 x 0"},
        {"the least height there is", file(info(40, 8, -2147483648LL, 24), none, none), ZelFailureCode::limit, ""},
        {"six million million pixels", file(info(40, 3'000'000, 2'000'000, 24), none, none), ZelFailureCode::limit, ""},
        {"7 bits", file(info(40, 8, 8, 7), none, none), ZelFailureCode::unreadable, "7 bits"},
        {"run lengths of 24 bits", file(info(40, 8, 8, 24, rle8), none, none), ZelFailureCode::unreadable, "24 bits"},
        {"a mask with a gap", file(info(40, 1, 1, 16, fields), Bytes().u32({0xF100, 0x7E0, 0x1F}), Bytes().u32({0})),
         ZelFailureCode::unreadable, "gaps"},
        {"a header of 17 MB", Bytes().text("BM").u32({0, 0, 0, 99}), ZelFailureCode::unreadable, "99 bytes"},
        {"half a header", file(info(40, 8, 8, 24), none, none).cut(20), ZelFailureCode::truncated, "header"},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_EQ(test::open(c.bytes.data), nullptr);
        EXPECT_EQ(ZelFailure::last().code, c.code) << ZelFailure::last().message;
        EXPECT_NE(ZelFailure::last().message.find(c.saying), std::string::npos) << ZelFailure::last().message;
    }
}

// --- Icons ---

/// An icon or cursor (type 1, 2) of pictures that stand one behind the other.
Bytes icon(int type, const std::vector<Bytes>& pictures)
{
    Bytes all;
    all.u16({0, type, static_cast<int>(pictures.size())});
    auto at = static_cast<std::int64_t>(6 + 16 * pictures.size());
    for (const Bytes& picture : pictures) {
        all.u8({0, 0, 0, 0}).u16({1, 9}).u32({static_cast<std::int64_t>(picture.data.size()), at});
        at += static_cast<std::int64_t>(picture.data.size());
    }
    for (const Bytes& picture : pictures)
        all.add(picture);
    return all;
}

/// 2 x 1 pixels of palette indices; the height counts the mask.
Bytes twoPixels(int mask)
{
    return info(40, 2, 2, 8, plain, 4).add(fourColors).u8({1, 2, 0, 0}).u8({mask, 0, 0, 0});
}

Bytes deepPixels(int alpha, int mask)
{
    return info(40, 2, 2, 32).u8({0, 0, 255, alpha, 0, 255, 0, 0}).u8({mask, 0, 0, 0});
}

/// 1 x 1 red, as another library wrote it.
const Bytes redPng =
    Bytes().u8({137, 80, 78, 71, 13, 10, 26,  10,  0,   0,   0,   13, 73, 72, 68, 82, 0,  0,  0,   1,   0,  0,   0,
                1,   8,  2,  0,  0,  0,  144, 119, 83,  222, 0,   0,  0,  12, 73, 68, 65, 84, 120, 156, 99, 248, 207,
                192, 0,  0,  3,  1,  1,  0,   201, 254, 146, 239, 0,  0,  0,  0,  73, 69, 78, 68,  174, 66, 96,  130});

TEST(Ico, TheLargestPictureWithItsMask)
{
    const struct {
        const char* name;
        Bytes bytes;
        int frames;
        std::vector<Pixel> expected;
    } table[] = {
        {"a mask hides the second pixel", icon(1, {twoPixels(0x40)}), 1, {{255, 0, 0, 255}, {0, 255, 0, 0}}},
        {"alpha goes before the mask", icon(1, {deepPixels(255, 0x80)}), 1, {{255, 0, 0, 255}, {0, 255, 0, 0}}},
        {"no alpha anywhere: the mask counts", icon(1, {deepPixels(0, 0x80)}), 1, {{255, 0, 0, 0}, {0, 255, 0, 255}}},
        {"a cursor", icon(2, {twoPixels(0)}), 1, pixels("RG")},
        {"a PNG", icon(1, {redPng}), 1, pixels("R")},
        {"more pixels win over a PNG", icon(1, {redPng, twoPixels(0)}), 2, pixels("RG")},
        {"more bits win over what stands first",
         icon(1, {twoPixels(0), deepPixels(128, 0)}),
         2,
         {{255, 0, 0, 128}, {0, 255, 0, 0}}},
        {"an icon within is passed over", icon(1, {icon(1, {twoPixels(0), twoPixels(0)}), redPng}), 2, pixels("R")},
        {"without its mask", icon(1, {twoPixels(0).cut(4)}), 1, pixels("RG")},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        const ZelReport report;
        const auto picture = test::open(c.bytes.data);
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        EXPECT_EQ(picture->facts().format, "ico");
        EXPECT_EQ(picture->facts().frames, c.frames);
        const test::Decoded decoded = test::decode(*picture);
        EXPECT_TRUE(decoded.complete);
        EXPECT_EQ(test::pixelsOf(*picture, decoded), c.expected);
        EXPECT_EQ(report.notes().size(), c.frames > 1 ? 1U : 0U);
    }
}

TEST(Ico, RefusesWithTheReason)
{
    const struct {
        const char* name;
        Bytes bytes;
        ZelFailureCode code;
    } table[] = {
        {"an icon within an icon", icon(1, {icon(1, {redPng})}), ZelFailureCode::unreadable},
        {"no pictures", icon(1, {}), ZelFailureCode::unreadable},
        {"half a directory", icon(1, {redPng}).cut(redPng.data.size() + 5), ZelFailureCode::truncated},
        {"pictures beyond the end", icon(1, {redPng}).cut(redPng.data.size()), ZelFailureCode::truncated},
        {"half a picture", icon(1, {twoPixels(0).cut(6)}), ZelFailureCode::truncated},
        {"run lengths", icon(1, {info(40, 8, 16, 8, rle8).u32({0, 0})}), ZelFailureCode::unreadable},
        {"over all limits", icon(1, {info(40, 900'000, 1'800'000, 8).u32({0})}), ZelFailureCode::limit},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_EQ(test::open(c.bytes.data), nullptr);
        EXPECT_EQ(ZelFailure::last().code, c.code) << ZelFailure::last().message;
    }
}

} // namespace
} // namespace zel
