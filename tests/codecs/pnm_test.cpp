#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/failure.h>

#include <codecs/bytes.h>

#include <gtest/gtest.h>

#include <cstring>

namespace zel {
namespace {

using test::Bytes;
using test::Pixel;
using test::pixels;

Bytes text(std::string_view letters)
{
    return Bytes().text(letters);
}

TEST(Pnm, PixelsAreThoseOfTheFile)
{
    const struct {
        const char* name;
        Bytes bytes;
        int width;
        std::vector<Pixel> expected;
        int bits = 8; // a component, of ours
        bool isGray = true, hasAlpha = false;
        int frames = 1;
    } table[] = {
        {"P1, 1 is black, blanks are free", text("P1 3 2\n101\n0 # a comment\n 1 0"), 3, pixels("kWk WkW")},
        {"P2 to 15, comments", text("P2#a\n# b\n2 1 #c\r15\n0 8"), 2, {{0, 0, 0, 255}, {136, 136, 136, 255}}},
        {"P2 to 1000",
         text("P2 3 1 1000 0 500 1000"),
         3,
         {{0, 0, 0, 65535}, {32768, 32768, 32768, 65535}, {65535, 65535, 65535, 65535}},
         16},
        {"P2, beyond the largest value", text("P2 1 1 9 4000000000"), 1, pixels("W")},
        {"P3", text("P3 2 1 255 1 2 3\n255 0 0"), 2, {{1, 2, 3, 255}, {255, 0, 0, 255}}, 8, false},
        {"P4, rows of whole bytes", text("P4 10 2\n").u8({0x7F, 0x40, 0xFF, 0xC0}), 10,
         pixels("WkkkkkkkWk kkkkkkkkkk")},
        {"P5",
         text("P5 2 2 255\n").u8({0, 10, 32, 255}),
         2,
         {{0, 0, 0, 255}, {10, 10, 10, 255}, {32, 32, 32, 255}, {255, 255, 255, 255}}},
        {"P5 to 3",
         text("P5 4 1 3\n").u8({0, 1, 2, 9}),
         4,
         {{0, 0, 0, 255}, {85, 85, 85, 255}, {170, 170, 170, 255}, {255, 255, 255, 255}}},
        {"P5, two bytes",
         text("P5 2 1 65535\n").u8({0x12, 0x34, 0xFF, 0xFE}),
         2,
         {{0x1234, 0x1234, 0x1234, 65535}, {65534, 65534, 65534, 65535}},
         16},
        {"P6", text("P6\n1 2\n255\n").u8({1, 2, 3, 4, 5, 6}), 1, {{1, 2, 3, 255}, {4, 5, 6, 255}}, 8, false},
        {"P6 to 1023", text("P6 1 1 1023\n").u8({3, 0xFF, 2, 0, 0, 0}), 1, {{65535, 32800, 0, 65535}}, 16, false},
        {"P7 with alpha",
         text("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n").u8({1, 2, 3, 4}),
         1,
         {{1, 2, 3, 4}},
         8,
         false,
         true},
        {"P7, grey with alpha",
         text("P7 DEPTH 2 HEIGHT 1 WIDTH 1 MAXVAL 1 ENDHDR\n").u8({1, 0}),
         1,
         {{255, 255, 255, 0}},
         8,
         true,
         true},
        {"two pictures", text("P5 1 1 255\nZP5 1 1 255\nA"), 1, {{90, 90, 90, 255}}, 8, true, false, 2},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        const ZelReport report;
        const auto picture = test::open(c.bytes.data);
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        const PictureFacts& facts = picture->facts();
        EXPECT_EQ(facts.layout.width, c.width);
        EXPECT_EQ(facts.layout.bitsPerComponent, c.bits);
        EXPECT_EQ(facts.layout.isGray, c.isGray);
        EXPECT_EQ(facts.hasAlpha, c.hasAlpha);
        EXPECT_EQ(facts.frames, c.frames);
        const test::Decoded decoded = test::decode(*picture);
        EXPECT_TRUE(decoded.complete);
        EXPECT_EQ(test::pixelsOf(*picture, decoded), c.expected);
        EXPECT_EQ(report.notes().size(), c.frames > 1 ? 1U : 0U);
    }
}

TEST(Pnm, EndsEarlyOrIsRefused)
{
    const struct {
        const char* name;
        Bytes bytes;
        int rows; // that are read; 0: refused
        ZelFailureCode code;
    } table[] = {
        {"binary, cut", text("P6 1 3 255\n").u8({9, 9, 9, 9, 9, 9, 9}), 2, ZelFailureCode::truncated},
        {"text, cut", text("P2 2 2 9 1 2 3"), 1, ZelFailureCode::truncated},
        {"text, damaged", text("P2 2 2 9 1 2 3 x"), 1, ZelFailureCode::unreadable},
        {"bits, damaged", text("P1 2 2 01 12"), 1, ZelFailureCode::unreadable},
        {"no row", text("P5 9 9 255\nabc"), 0, ZelFailureCode::truncated},
        {"half a header", text("P5 9 "), 0, ZelFailureCode::truncated},
        {"no numbers", text("P5 9 wide"), 0, ZelFailureCode::unreadable},
        {"values that nobody has", text("P5 9 9 65536\n"), 0, ZelFailureCode::unreadable},
        {"no width", text("P5 0 9 255\n"), 0, ZelFailureCode::unreadable},
        {"wider than numbers go", text("P5 99999999999999999999 9 255\n"), 0, ZelFailureCode::limit},
        {"over the limit", text("P5 100000 100000 255\n"), 0, ZelFailureCode::limit},
        {"five channels", text("P7 DEPTH 5 HEIGHT 1 WIDTH 1 MAXVAL 1 ENDHDR\n"), 0, ZelFailureCode::unsupported},
        {"a field that nobody knows", text("P7 DEEP 5 ENDHDR\n"), 0, ZelFailureCode::unreadable},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        const auto picture = test::open(c.bytes.data);
        ASSERT_EQ(picture != nullptr, c.rows > 0) << ZelFailure::last().message;
        if (!picture) {
            EXPECT_EQ(ZelFailure::last().code, c.code) << ZelFailure::last().message;
            continue;
        }
        const ZelReport report;
        const test::Decoded decoded = test::decode(*picture);
        EXPECT_TRUE(decoded.complete);
        for (int y = 0; y < decoded.height; ++y)
            EXPECT_EQ(decoded.at(0, y)[0] != 0, y < c.rows) << "row " << y;
        ASSERT_EQ(report.notes().size(), 1U);
        EXPECT_EQ(report.notes()[0].code, c.code);
    }
}

TEST(Pnm, TextThatBeginsLikeOneIsNone)
{
    for (const char* const letters : {"P3 is a letter and a digit", "P6", "P8 1 1 1 1", "Ping"}) {
        ZelFailure::clear();
        EXPECT_EQ(test::open(text(letters).data), nullptr);
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::notAnImage) << letters;
    }
}

TEST(Pnm, IsWrittenAsColoursOverWhite)
{
    using Data16 = std::vector<std::uint16_t>;
    const auto deep = [](const Data16& samples) {
        std::vector<std::uint8_t> bytes(samples.size() * 2);
        std::memcpy(bytes.data(), samples.data(), bytes.size());
        return Data(std::move(bytes));
    };
    const auto layout = [](int width, int bits, CGAlphaInfo info, bool isGray = false) {
        return CGImage::Layout{width, 1, bits, info, {}, isGray};
    };
    const struct {
        const char* name;
        Ref<const CGImage> picture;
        std::string file;
    } table[] = {
        {"opaque", CGImage::make(layout(2, 8, CGAlphaInfo::noneSkipLast), Data({1, 2, 3, 4, 250, 251, 252, 0}), 8),
         "P6\n2 1\n255\n\x01\x02\x03\xFA\xFB\xFC"},
        {"grey", CGImage::make(layout(1, 8, CGAlphaInfo::noneSkipLast, true), Data({7, 7, 7, 0}), 4),
         "P6\n1 1\n255\n\x07\x07\x07"},
        {"premultiplied", CGImage::make(layout(1, 8, CGAlphaInfo::premultipliedLast), Data({64, 0, 32, 128}), 4),
         std::string("P6\n1 1\n255\n\xBF\x7F\x9F")},
        {"straight, alpha first", CGImage::make(layout(1, 8, CGAlphaInfo::first), Data({0, 9, 9, 9}), 4),
         "P6\n1 1\n255\n\xFF\xFF\xFF"},
        {"deep, high byte first",
         CGImage::make(layout(1, 16, CGAlphaInfo::noneSkipLast), deep({0x0102, 0x0304, 0xFFFE, 0}), 8),
         "P6\n1 1\n65535\n\x01\x02\x03\x04\xFF\xFE"},
    };
    for (const auto& c : table) {
        const auto file = encodePnm(c.picture);
        ASSERT_TRUE(file) << c.name;
        EXPECT_EQ(std::string(file->span().begin(), file->span().end()), c.file) << c.name;
    }
    EXPECT_FALSE(encodePnm(nullptr));
}

} // namespace
} // namespace zel
