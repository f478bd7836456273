#include <zel/platform/foundation/failure.h>

#include <codecs/bytes.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::Bytes;
using test::Pixel;
using test::pixels;

/// Four colours: black, red, green, white.
const Bytes colors = Bytes().u8({0, 0, 0, 255, 0, 0, 0, 255, 0, 255, 255, 255});

Bytes screen(int width, int height, bool hasColors = true)
{
    Bytes bytes = Bytes().text("GIF89a").u16({width, height}).u8({hasColors ? 0x81 : 0, 0, 0});
    return hasColors ? bytes.add(colors) : bytes;
}

/// Digits as palette indices, in codes of three bits. The table is cleared (code 4) before every second pixel, so that
/// codes never grow; code 5 ends the stream. Sub-blocks of up to `block` bytes.
Bytes compressed(std::string_view digits, std::size_t block = 255)
{
    std::vector<int> codes;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i % 2 == 0)
            codes.push_back(4);
        codes.push_back(digits[i] - '0');
    }
    codes.push_back(5);
    Bytes packed;
    unsigned held = 0, bits = 0;
    for (const int code : codes) {
        held |= static_cast<unsigned>(code) << bits;
        for (bits += 3; bits >= 8; bits -= 8, held >>= 8)
            packed.u8({static_cast<int>(held & 0xFF)});
    }
    packed.u8({static_cast<int>(held)});
    Bytes all = Bytes().u8({2});
    for (std::size_t at = 0; at < packed.data.size(); at += block) {
        const std::size_t count = std::min(block, packed.data.size() - at);
        all.u8({static_cast<int>(count)});
        all.data.insert(all.data.end(), packed.data.begin() + static_cast<std::ptrdiff_t>(at),
                        packed.data.begin() + static_cast<std::ptrdiff_t>(at + count));
    }
    return all.u8({0});
}

Bytes frame(int left, int top, int width, int height, std::string_view digits, int flags = 0, const Bytes& local = {},
            std::size_t block = 255)
{
    return Bytes().u8({','}).u16({left, top, width, height}).u8({flags}).add(local).add(compressed(digits, block));
}

Bytes clearColor(int index)
{
    return Bytes().u8({'!', 0xF9, 4, 1, 0, 0, index, 0});
}

const Bytes comment = Bytes().u8({'!', 0xFE, 2, 'h', 'i', 0});
const Bytes end = Bytes().u8({';'});
constexpr int interlaced = 0x40, ownColors = 0x80;

TEST(Gif, TheFirstFrameOnItsCanvas)
{
    const struct {
        const char* name;
        Bytes bytes;
        int width;
        std::vector<Pixel> expected;
        bool hasAlpha = false;
        int frames = 1;
    } table[] = {
        {"all of the canvas", screen(3, 2).add(frame(0, 0, 3, 2, "012321")).add(end), 3, pixels("kRG WGR")},
        {"small sub-blocks", screen(3, 2).add(frame(0, 0, 3, 2, "012321", 0, {}, 1)).add(end), 3, pixels("kRG WGR")},
        {"a part, the rest clear", screen(4, 3).add(frame(1, 1, 2, 1, "13")).add(end), 4, pixels(".... .RW. ...."),
         true},
        {"a clear colour", screen(3, 1).add(clearColor(2)).add(comment).add(frame(0, 0, 3, 1, "123")).add(end), 3,
         pixels("R.W"), true},
        {"colours of its own", // blue and yellow
         screen(2, 1, false).add(frame(0, 0, 2, 1, "01", ownColors, Bytes().u8({0, 0, 255, 255, 255, 0}))).add(end), 2,
         pixels("BY")},
        // Rows 0 and 8, then 4, then 2 and 6, then the odd ones.
        {"interlaced", screen(1, 9).add(frame(0, 0, 1, 9, "013221113", interlaced)).add(end), 1, pixels("kRGRWRGWR"),
         false},
        {"a screen that is too small", screen(1, 0).add(frame(1, 0, 2, 1, "12")).add(end), 3, pixels(".RG"), true},
        {"an index without a colour", // 3 of two colours
         screen(2, 1, false).add(frame(0, 0, 2, 1, "13", ownColors, Bytes().u8({0, 0, 255, 255, 255, 0}))).add(end), 2,
         pixels("Yk")},
        {"three frames",
         screen(1, 1)
             .add(frame(0, 0, 1, 1, "1"))
             .add(comment)
             .add(frame(0, 0, 1, 1, "2"))
             .add(frame(0, 0, 1, 1, "3"))
             .add(end),
         1, pixels("R"), false, 3},
        {"without its end", screen(2, 1).add(frame(0, 0, 2, 1, "12")).cut(1), 2, pixels("RG")},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        const ZelReport report;
        const auto picture = test::open(c.bytes.data);
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        EXPECT_EQ(picture->facts().layout.width, c.width);
        EXPECT_EQ(picture->facts().hasAlpha, c.hasAlpha);
        EXPECT_EQ(picture->facts().frames, c.frames);
        const test::Decoded decoded = test::decode(*picture);
        EXPECT_TRUE(decoded.complete);
        EXPECT_EQ(test::pixelsOf(*picture, decoded), c.expected);
        EXPECT_EQ(report.notes().size(), c.frames > 1 ? 1U : 0U);
    }
}

TEST(Gif, CutAndDamagedFilesGiveTheRowsThatTheyHold)
{
    const Bytes four = screen(2, 4).add(frame(0, 0, 2, 4, "12121212", 0, {}, 1));
    const Bytes crossed = screen(1, 9).add(frame(0, 0, 1, 9, "123321123", interlaced, {}, 1));
    const struct {
        const char* name;
        Bytes bytes;
        ZelFailureCode code;
        std::vector<Pixel> expected; // of the first column; nothing: refused
    } table[] = {
        // 9 bits a row: of the five bytes and their lengths, three are left.
        {"cut in its third row", four.cut(5), ZelFailureCode::truncated, pixels("RR..")},
        {"ends by itself after a row", screen(2, 2).add(frame(0, 0, 2, 2, "12")), ZelFailureCode::unreadable,
         pixels("R.")},
        {"cut in the first row", four.cut(9), ZelFailureCode::truncated, {}},
        {"cut in the first of the passes: its rows stand for those below", crossed.cut(11), ZelFailureCode::truncated,
         pixels("RRRRRRRR.")},
        {"cut in its header", screen(2, 2).cut(3), ZelFailureCode::truncated, {}},
        {"no picture", screen(2, 2).add(comment).add(end), ZelFailureCode::unreadable, {}},
        {"no colours", screen(2, 1, false).add(frame(0, 0, 2, 1, "12")), ZelFailureCode::unreadable, {}},
        {"a frame of no width", screen(2, 1).add(frame(0, 0, 0, 1, "")), ZelFailureCode::unreadable, {}},
        {"44 bytes that declare 65535 x 65535 pixels",
         screen(65535, 65535).add(frame(0, 0, 1, 1, "1")).add(end),
         ZelFailureCode::limit,
         {}},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        const auto picture = test::open(c.bytes.data);
        ASSERT_EQ(picture != nullptr, !c.expected.empty()) << ZelFailure::last().message;
        if (!picture) {
            EXPECT_EQ(ZelFailure::last().code, c.code) << ZelFailure::last().message;
            continue;
        }
        const ZelReport report;
        const test::Decoded decoded = test::decode(*picture);
        EXPECT_TRUE(decoded.complete);
        for (int y = 0; y < decoded.height; ++y)
            EXPECT_EQ(decoded.at(0, y), c.expected[static_cast<std::size_t>(y)]) << "row " << y;
        ASSERT_EQ(report.notes().size(), 1U);
        EXPECT_EQ(report.notes()[0].code, c.code);
    }
}

} // namespace
} // namespace zel
