#include <zel/platform/foundation/failure.h>

#include <codecs/bytes.h>

#include <gtest/gtest.h>
#include <webp/encode.h>

#include <random>

namespace zel {
namespace {

using test::Bytes;
using test::Pixel;
using test::pixels;

std::vector<std::uint8_t> samplesOf(const std::vector<Pixel>& content)
{
    std::vector<std::uint8_t> samples;
    for (const Pixel& pixel : content)
        for (const int component : pixel)
            samples.push_back(static_cast<std::uint8_t>(component));
    return samples;
}

Bytes encoded(const std::vector<Pixel>& content, int width, bool lossless)
{
    const std::vector<std::uint8_t> samples = samplesOf(content);
    const int height = static_cast<int>(content.size()) / width;
    std::uint8_t* written = nullptr;
    const std::size_t size = lossless ? WebPEncodeLosslessRGBA(samples.data(), width, height, width * 4, &written)
                                      : WebPEncodeRGBA(samples.data(), width, height, width * 4, 100, &written);
    Bytes file{{written, written + size}};
    WebPFree(written);
    return file;
}

/// The pixels' own chunks of what libwebp wrote in the simple form.
Bytes payload(const std::vector<Pixel>& content, int width)
{
    const Bytes file = encoded(content, width, true);
    return {{file.data.begin() + 12, file.data.end()}};
}

Bytes chunk(std::string_view type, const Bytes& data)
{
    Bytes all = Bytes().text(type).u32({static_cast<std::int64_t>(data.data.size())}).add(data);
    return data.data.size() % 2 == 0 ? all : all.u8({0});
}

Bytes file(std::initializer_list<Bytes> chunks)
{
    Bytes all;
    for (const Bytes& each : chunks)
        all.add(each);
    return Bytes().text("RIFF").u32({static_cast<std::int64_t>(all.data.size() + 4)}).text("WEBP").add(all);
}

Bytes canvas(int width, int height, int flags)
{
    return chunk("VP8X", Bytes().u8({flags, 0, 0, 0, width - 1, 0, 0, height - 1, 0, 0}));
}

Bytes frame(int left, int top, int width, int height, const Bytes& content)
{
    return chunk(
        "ANMF",
        Bytes().u8({left / 2, 0, 0, top / 2, 0, 0, width - 1, 0, 0, height - 1, 0, 0, 9, 0, 0, 0}).add(content));
}

const Bytes animated = chunk("ANIM", Bytes().u8({255, 0, 0, 255, 0, 0}));
/// Orientation 6 (turned by a quarter), 144 dots an inch.
const Bytes exif = chunk("EXIF", Bytes()
                                     .text("II*")
                                     .u8({0})
                                     .u32({8})
                                     .u16({3, 0x0112, 3})
                                     .u32({1, 6})
                                     .u16({0x011A, 5})
                                     .u32({1, 50})
                                     .u16({0x011B, 5})
                                     .u32({1, 50, 0})
                                     .u32({144, 1}));

TEST(Webp, PixelsAreThoseOfTheFile)
{
    const struct {
        const char* name;
        Bytes bytes;
        int width;
        std::vector<Pixel> expected;
        bool hasAlpha = false;
        int frames = 1;
    } table[] = {
        {"lossless", encoded(pixels("RGB CMY"), 3, true), 3, pixels("RGB CMY")},
        {"lossless with alpha",
         encoded({{9, 8, 7, 6}, {255, 0, 0, 255}}, 2, true),
         2,
         {{9, 8, 7, 6}, {255, 0, 0, 255}},
         true},
        {"extended", file({canvas(2, 1, 0), payload(pixels("RG"), 2)}), 2, pixels("RG")},
        {"an animation whose first frame is all",
         file({canvas(2, 1, 2), animated, frame(0, 0, 2, 1, payload(pixels("RG"), 2)),
               frame(0, 0, 1, 1, payload(pixels("B"), 1))}),
         2, pixels("RG"), false, 2},
        {"a first frame within the canvas",
         file({canvas(4, 4, 2), animated, frame(2, 2, 1, 1, payload(pixels("M"), 1))}), 4,
         pixels(".... .... ..M. ...."), true},
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

TEST(Webp, LossyColoursComeNearAndAlphaExactly)
{
    std::vector<Pixel> content;
    for (int i = 0; i < 40 * 30; ++i)
        content.push_back({i % 40 * 6, i / 40 * 8, 128, i % 40 < 20 ? 255 : 100});
    const auto picture = test::open(encoded(content, 40, false).data);
    ASSERT_TRUE(picture);
    EXPECT_TRUE(picture->facts().hasAlpha);
    const test::Decoded decoded = test::decode(*picture);
    int furthest = 0;
    for (int i = 0; i < 40 * 30; ++i) {
        const Pixel found = decoded.at(i % 40, i / 40), &wanted = content[static_cast<std::size_t>(i)];
        EXPECT_EQ(found[3], wanted[3]);
        for (std::size_t k = 0; k < 3; ++k)
            furthest = std::max(furthest, std::abs(found[k] - wanted[k]));
    }
    EXPECT_LE(furthest, 16);
    // A part is a part of the whole, at odd places too.
    const test::Decoded part = test::decode(*picture, {.denominator = 1, .firstRow = 7, .rowCount = 9});
    ASSERT_TRUE(part.complete);
    for (int y = 0; y < 9; ++y)
        EXPECT_EQ(part.row(y), decoded.row(7 + y)) << "row " << 7 + y;
}

TEST(Webp, SaysOrientationAndResolution)
{
    const auto picture = test::open(file({canvas(2, 1, 8), payload(pixels("RG"), 2), exif}).data);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->facts().orientation, Orientation::right);
    EXPECT_EQ(picture->facts().dpiX, 144);
    EXPECT_EQ(picture->facts().dpiY, 144);
    EXPECT_EQ(picture->facts().format, "webp");
}

TEST(Webp, RefusesWithTheReason)
{
    const Bytes one = payload(pixels("R"), 1);
    const struct {
        const char* name;
        Bytes bytes;
        ZelFailureCode code;
    } table[] = {
        {"nothing behind the head", file({}), ZelFailureCode::truncated},
        {"a canvas alone", file({canvas(2, 2, 0)}), ZelFailureCode::truncated},
        {"a canvas of another size", file({canvas(2, 2, 0), one}), ZelFailureCode::unreadable},
        {"a frame that sticks out", file({canvas(2, 2, 2), animated, frame(2, 0, 1, 1, one)}),
         ZelFailureCode::unreadable},
        {"a frame of another size", file({canvas(9, 9, 2), animated, frame(2, 0, 2, 1, one)}),
         ZelFailureCode::unreadable},
        {"a frame without pixels", file({canvas(9, 9, 2), animated, frame(0, 0, 1, 1, exif)}),
         ZelFailureCode::unreadable},
        {"cut behind the head of its pixels", encoded(pixels("RGB"), 3, true).cut(5), ZelFailureCode::truncated},
        {"a canvas of 2^24 x 2^24",
         file({chunk("VP8X", Bytes().u8({2, 0, 0, 0, 255, 255, 255, 255, 255, 255})), animated}),
         ZelFailureCode::limit},
    };
    for (const auto& c : table) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_EQ(test::open(c.bytes.data), nullptr);
        EXPECT_EQ(ZelFailure::last().code, c.code) << ZelFailure::last().message;
    }
}

TEST(Webp, ACutFileGivesTheRowsThatItHolds)
{
    std::vector<Pixel> content;
    std::mt19937 random(7);
    for (int i = 0; i < 64 * 256; ++i)
        content.push_back({static_cast<int>(random() >> 24), static_cast<int>(random() >> 24), i / 64, 255});
    for (const bool lossless : {false, true}) {
        SCOPED_TRACE(lossless ? "lossless" : "lossy");
        const Bytes whole = encoded(content, 64, lossless);
        const auto all = test::decode(*test::open(whole.data));
        const auto picture = test::open(whole.cut(whole.data.size() / 2).data);
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        const ZelReport report;
        const test::Decoded decoded = test::decode(*picture);
        EXPECT_TRUE(decoded.complete);
        ASSERT_EQ(report.notes().size(), 1U);
        EXPECT_EQ(report.notes()[0].code, ZelFailureCode::truncated);
        const std::vector<std::uint8_t> zeros(decoded.rowBytes());
        int rows = 0;
        while (rows < 256 && decoded.row(rows) == all.row(rows))
            ++rows;
        EXPECT_GT(rows, 50);
        EXPECT_LT(rows, 250);
        for (int y = rows; y < 256; ++y)
            EXPECT_EQ(decoded.row(y), zeros) << "row " << y;
    }
}

} // namespace
} // namespace zel
