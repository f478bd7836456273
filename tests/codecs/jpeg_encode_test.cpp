#include "jpeg_samples.h"

#include <zel/engine/parallel.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/codecs/jpeg_tables.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace zel {
namespace {

using jpegtest::Bytes;

/// An RGBX picture of the test pattern, its fourth byte arbitrary.
Bytes patternRgbx(int width, int height)
{
    return jpegtest::pattern(width, height, 4);
}

Ref<const CGImage> picture(int width, int height, Bytes rgbx, bool grey = false)
{
    CGImage::Layout layout{width, height, 8, CGAlphaInfo::noneSkipLast, nullptr, grey};
    return CGImage::make(layout, Data(std::move(rgbx)), static_cast<std::size_t>(width) * 4);
}

Ref<const CGImage> picture(int width, int height)
{
    return picture(width, height, patternRgbx(width, height));
}

Bytes bytesOf(const std::optional<Data>& data)
{
    EXPECT_TRUE(data) << ZelFailure::last().message;
    return data ? Bytes(data->data(), data->data() + data->size()) : Bytes{};
}

Bytes encoded(const Ref<const CGImage>& image, double quality)
{
    return bytesOf(encodeJpeg(image, quality));
}

/// What libjpeg itself makes of RGBX rows, from its defaults.
Bytes encodedPlainly(int width, int height, const Bytes& rgbx, int quality, bool fullColour, bool grey = false)
{
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &memory, &size);
    info.image_width = static_cast<JDIMENSION>(width);
    info.image_height = static_cast<JDIMENSION>(height);
    info.input_components = 4;
    info.in_color_space = JCS_EXT_RGBX;
    jpeg_set_defaults(&info);
    if (grey)
        jpeg_set_colorspace(&info, JCS_GRAYSCALE);
    jpeg_set_quality(&info, quality, TRUE);
    if (fullColour)
        info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        auto* row =
            const_cast<JSAMPROW>(rgbx.data() + std::size_t{info.next_scanline} * static_cast<std::size_t>(width) * 4);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    Bytes result(memory, memory + size);
    std::free(memory);
    return result;
}

/// The quantisers of libjpeg, row by row.
std::array<std::uint16_t, 64> libjpegTable(int table, int quality)
{
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    info.in_color_space = JCS_RGB;
    info.input_components = 3;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    std::array<std::uint16_t, 64> result{};
    std::copy_n(info.quant_tbl_ptrs[table]->quantval, 64, result.begin());
    jpeg_destroy_compress(&info);
    return result;
}

TEST(JpegTables, AreLibjpegsAtWholeQualities)
{
    for (int quality = 0; quality <= 100; ++quality)
        for (int table = 0; table < 2; ++table)
            EXPECT_EQ(jpegQuantizers(quality / 100.0)[static_cast<std::size_t>(table)], libjpegTable(table, quality))
                << quality;
}

TEST(JpegTables, RunBetweenThem)
{
    EXPECT_DOUBLE_EQ(jpegTableScale(0.855), 29.0);
    EXPECT_DOUBLE_EQ(jpegTableScale(0.8525), 29.5);
    EXPECT_DOUBLE_EQ(jpegTableScale(0.105), 477.0); // half way from 500 to 5000 / 11 = 454
    EXPECT_DOUBLE_EQ(jpegTableScale(0.495), 101.0); // from 102 to 100
    // A finer scale moves single entries: 16 × 29.5 % is 4.72, 99 × 29.5 % is 29.2.
    EXPECT_EQ(jpegQuantizers(0.8525)[0][0], 5);
    EXPECT_EQ(jpegQuantizers(0.8525)[1][63], 29);
    double before = std::numeric_limits<double>::infinity();
    for (int step = 0; step <= 10000; ++step) {
        const double scale = jpegTableScale(step / 10000.0);
        EXPECT_LE(scale, before) << step;
        before = scale;
    }
    EXPECT_EQ(jpegTableScale(-1), 5000);
    EXPECT_EQ(jpegTableScale(std::nan("")), 5000);
    EXPECT_EQ(jpegTableScale(2), 0);
}

struct Size {
    int width, height;
};

TEST(JpegEncoding, GivesLibjpegsOwnBytes)
{
    const Size sizes[] = {{1, 1},   {1, 7},   {7, 1},   {15, 15},  {16, 16},  {17, 17},
                          {18, 33}, {31, 18}, {64, 48}, {99, 100}, {640, 481}};
    for (const auto& [width, height] : sizes)
        for (const int quality : {0, 10, 50, 85, 96, 97, 100}) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << " at " << quality);
            const Bytes rgbx = patternRgbx(width, height);
            const Bytes expected = encodedPlainly(width, height, rgbx, quality, quality >= 97);
            EXPECT_EQ(encoded(picture(width, height, rgbx), quality / 100.0), expected);
            const auto encoder = JpegEncoder::make(picture(width, height, rgbx));
            ASSERT_TRUE(encoder);
            EXPECT_EQ(bytesOf(encoder->encode(quality / 100.0)), expected);
            EXPECT_EQ(encoder->countBytes(quality / 100.0), expected.size());
        }
}

TEST(JpegEncoding, GreyPicturesHaveOneComponent)
{
    for (const auto& [width, height] : {Size{1, 1}, Size{37, 21}, Size{200, 64}}) {
        Bytes rgbx = patternRgbx(width, height);
        for (std::size_t pixel = 0; pixel < rgbx.size(); pixel += 4)
            rgbx[pixel + 1] = rgbx[pixel + 2] = rgbx[pixel];
        for (const int quality : {30, 99})
            EXPECT_EQ(encoded(picture(width, height, rgbx, true), quality / 100.0),
                      encodedPlainly(width, height, rgbx, quality, false, true));
    }
}

TEST(JpegEncoding, StripsJoinToThePictureThatOneStripGives)
{
    // Over a megapixel: several strips with restart markers between them, the last one lower than the others.
    for (const auto& [width, height] : {Size{1200, 901}, Size{1037, 1025}, Size{20011, 53}, Size{33, 40001}})
        for (const int quality : {40, 98}) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << " at " << quality);
            const Bytes rgbx = patternRgbx(width, height);
            const Bytes file = encoded(picture(width, height, rgbx), quality / 100.0);
            const std::uint8_t interval[] = {0xFF, 0xDD, 0, 4};
            EXPECT_NE(std::search(file.begin(), file.end(), interval, interval + 4), file.end());
            EXPECT_EQ(jpegtest::decodePlainly(file),
                      jpegtest::decodePlainly(encodedPlainly(width, height, rgbx, quality, quality >= 97)));
        }
}

TEST(JpegEncoding, SameBytesWhateverTheWayAndTheThreads)
{
    constexpr int width = 1500, height = 1111;
    const Bytes rgbx = patternRgbx(width, height);
    const Ref<const CGImage> inMemory = picture(width, height, rgbx);
    // The same pixels, decoded as they flow: a file at quality 100 decodes to pixels that are then the original.
    const Bytes file = encodedPlainly(width, height, rgbx, 100, true);
    const auto provider = jpegCodec.open(ByteSource::of(Data(file)));
    ASSERT_TRUE(provider);
    const Ref<const CGImage> decoded = CGImage::make(provider);
    ASSERT_FALSE(decoded->bytes().empty());
    for (const double quality : {0.5, 0.853, 0.98}) {
        SCOPED_TRACE(quality);
        Bytes memory, flowing;
        for (const int threads : {1, 2, 5}) {
            engine::setConcurrency(threads);
            SCOPED_TRACE(threads);
            const Bytes direct = encoded(inMemory, quality);
            if (memory.empty())
                memory = direct;
            EXPECT_EQ(direct, memory);
            EXPECT_EQ(bytesOf(JpegEncoder::make(inMemory)->encode(quality)), memory);
            const auto fresh = CGImage::make(provider);
            const Bytes flowed = encoded(fresh, quality);
            EXPECT_FALSE(fresh->isDecoded());
            if (flowing.empty())
                flowing = flowed;
            EXPECT_EQ(flowed, flowing);
            EXPECT_EQ(flowed, encoded(decoded, quality));
            EXPECT_EQ(bytesOf(JpegEncoder::make(fresh)->encode(quality)), flowing);
        }
        engine::setConcurrency(0);
    }
}

TEST(JpegEncoding, CountsWhatItWouldWrite)
{
    for (const auto& [width, height] : {Size{40, 40}, Size{1500, 1111}}) {
        const auto encoder = JpegEncoder::make(picture(width, height));
        ASSERT_TRUE(encoder);
        for (const double quality : {0.0, 0.3, 0.77, 0.969, 0.97, 1.0}) {
            const std::uint64_t size = bytesOf(encoder->encode(quality)).size();
            EXPECT_EQ(encoder->countBytes(quality), size);
            EXPECT_EQ(encoder->countBytes(quality, size), size);
            EXPECT_GT(encoder->countBytes(quality, size - 1).value_or(0), size - 1);
            EXPECT_GT(encoder->countBytes(quality, 100).value_or(0), 100U);
        }
    }
}

TEST(JpegEncoding, AHigherQualityIsNeverMuchSmaller)
{
    const auto encoder = JpegEncoder::make(picture(200, 150));
    ASSERT_TRUE(encoder);
    double before = 0;
    for (int step = 0; step <= 200; ++step) {
        const auto size = static_cast<double>(encoder->countBytes(step / 200.0).value_or(0));
        EXPECT_GE(size, before * 0.98) << step;
        before = size;
    }
    EXPECT_EQ(encoder->countBytes(-3), encoder->countBytes(0));
    EXPECT_EQ(encoder->countBytes(std::nan("")), encoder->countBytes(0));
    EXPECT_EQ(encoder->countBytes(7), encoder->countBytes(1));
}

TEST(JpegEncoding, BeginsWithJfifWithoutAResolution)
{
    const Bytes file = encoded(picture(3, 3), 0.5);
    const Bytes expected = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0, 0xFF};
    ASSERT_GE(file.size(), expected.size());
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 21), expected);
    EXPECT_EQ(file[file.size() - 2], 0xFF);
    EXPECT_EQ(file[file.size() - 1], 0xD9);
}

TEST(JpegEncoding, LaysTransparencyOverWhite)
{
    using Info = CGAlphaInfo;
    struct Case {
        const char* name;
        Info info;
        int bits;
        std::vector<unsigned> pixel;
        int red, green, blue;
    };
    const Case cases[] = {
        {"straight", Info::last, 8, {200, 100, 0, 128}, 227, 177, 127},
        {"premultiplied", Info::premultipliedLast, 8, {100, 50, 0, 128}, 227, 177, 127},
        {"alpha first", Info::first, 8, {128, 200, 100, 0}, 227, 177, 127},
        {"premultiplied, alpha first", Info::premultipliedFirst, 8, {128, 100, 50, 0}, 227, 177, 127},
        {"clear", Info::last, 8, {9, 9, 9, 0}, 255, 255, 255},
        {"skipped first", Info::noneSkipFirst, 8, {0, 200, 100, 0}, 200, 100, 0},
        {"16 bits, opaque", Info::noneSkipLast, 16, {51400, 25700, 0, 0}, 200, 100, 0},
        {"16 bits, straight", Info::last, 16, {51400, 25700, 0, 32896}, 227, 177, 127},
    };
    constexpr int side = 24;
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        Bytes bytes;
        for (int pixel = 0; pixel < side * side; ++pixel)
            for (const unsigned component : each.pixel) {
                if (each.bits == 16) { // the machine's order
                    const auto value = static_cast<std::uint16_t>(component);
                    const auto* raw = reinterpret_cast<const std::uint8_t*>(&value);
                    bytes.insert(bytes.end(), raw, raw + 2);
                } else {
                    bytes.push_back(static_cast<std::uint8_t>(component));
                }
            }
        const auto image = CGImage::make({side, side, each.bits, each.info, nullptr, false}, Data(bytes),
                                         side * 4U * static_cast<unsigned>(each.bits) / 8);
        ASSERT_TRUE(image);
        const ZelReport report;
        const Bytes pixels = jpegtest::decodePlainly(encoded(image, 1.0));
        for (std::size_t pixel = 0; pixel < pixels.size(); pixel += 4) {
            ASSERT_NEAR(pixels[pixel], each.red, 2);
            ASSERT_NEAR(pixels[pixel + 1], each.green, 2);
            ASSERT_NEAR(pixels[pixel + 2], each.blue, 2);
        }
        EXPECT_EQ(report.notes().size(), each.bits == 16 ? 1U : 0U);
    }
}

TEST(JpegEncoding, EncodesThePictureUpright)
{
    // Orientation 6: the stored top left becomes the top right.
    const Bytes exif = jpegtest::text("Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0", 32);
    const Bytes stored = jpegtest::make({.width = 64, .height = 32, .segments = {{0xE1, exif}}});
    const auto image = CGImage::make(jpegCodec.open(ByteSource::of(Data(stored))));
    ASSERT_TRUE(image);
    const Bytes upright = jpegtest::decodePlainly(encoded(image, 1.0));
    const Bytes source = jpegtest::decodePlainly(stored);
    ASSERT_EQ(upright.size(), source.size());
    for (std::size_t y = 0; y < 64; ++y)
        for (std::size_t x = 0; x < 32; ++x)
            ASSERT_NEAR(upright[(y * 32 + x) * 4 + 1], source[((31 - x) * 64 + y) * 4 + 1], 6);
}

TEST(JpegEncoding, RefusesWhatTheFormatCannotHold)
{
    EXPECT_FALSE(encodeJpeg(nullptr, 0.5));
    EXPECT_FALSE(JpegEncoder::make(nullptr));
    ZelFailure::clear();
    EXPECT_FALSE(encodeJpeg(picture(65501, 1), 0.5));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::unsupported);
    EXPECT_FALSE(JpegEncoder::make(picture(1, 65501)));
    EXPECT_EQ(jpegtest::decodePlainly(encoded(picture(65500, 1), 0.9)).size(), 65500U * 4);
    EXPECT_EQ(jpegtest::decodePlainly(encoded(picture(65500, 20), 0.99)).size(), 65500U * 20 * 4);
}

} // namespace
} // namespace zel
