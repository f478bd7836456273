#include "jpeg_samples.h"

#include <zel/engine/parallel.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/codecs/jpeg_huffman.h>
#include <zel/platform/foundation/failure.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

// JPEG pictures that are coded again without being decoded.
namespace zel {
namespace {

using jpegtest::Bytes;
using jpegtest::Recipe;

Ref<const CGImage> pictureOf(const Bytes& file)
{
    return CGImage::make(jpegCodec.open(ByteSource::of(Data(file))));
}

Bytes bytesOf(const std::optional<Data>& data)
{
    EXPECT_TRUE(data) << ZelFailure::last().message;
    return data ? Bytes(data->data(), data->data() + data->size()) : Bytes{};
}

Ref<const CGImage> copyOf(const Ref<const CGImage>& image)
{
    const auto bytes = image->bytes();
    return CGImage::make(image->layout(), Data({bytes.begin(), bytes.end()}), image->bytesPerRow());
}

double meanError(const Bytes& left, const Bytes& right)
{
    double sum = 0;
    for (std::size_t i = 0; i < left.size(); ++i)
        sum += std::abs(left[i] - right[i]);
    return sum / static_cast<double>(left.size());
}

TEST(JpegTranscoding, AtItsOwnQualityNothingChanges)
{
    const struct {
        const char* name;
        Recipe recipe;
    } cases[] = {
        {"one block", {.width = 1, .height = 1, .quality = 75}},
        {"odd sides", {.width = 45, .height = 39, .quality = 75}},
        {"progressive", {.width = 83, .height = 17, .progressive = true, .quality = 75}},
        {"arithmetic, with restarts",
         {.width = 70, .height = 66, .arithmetic = true, .restartInterval = 2, .quality = 75}},
        {"several strips", {.width = 1203, .height = 907, .quality = 75}},
        {"grey", {.width = 1031, .height = 1025, .stored = JCS_GRAYSCALE, .quality = 75}},
        {"grey with factors",
         {.width = 37, .height = 45, .stored = JCS_GRAYSCALE, .horizontal = 2, .vertical = 2, .quality = 75}},
    };
    for (const auto& [name, recipe] : cases) {
        SCOPED_TRACE(name);
        const Bytes file = jpegtest::make(recipe);
        const auto image = pictureOf(file);
        const Bytes again = bytesOf(encodeJpeg(image, 0.75));
        EXPECT_EQ(jpegtest::decodePlainly(again), jpegtest::decodePlainly(file));
        EXPECT_FALSE(image->isDecoded());
    }
}

TEST(JpegTranscoding, IsAsCloseAsCodingThePixels)
{
    const Bytes file = jpegtest::make({.width = 500, .height = 301, .quality = 80});
    const auto image = pictureOf(file);
    const Bytes before = jpegtest::decodePlainly(file);
    const auto copy = copyOf(image);
    for (const double quality : {0.1, 0.5, 0.79, 0.85, 0.95}) { // above 0.8 the steps are finer than the file's
        SCOPED_TRACE(quality);
        const Bytes direct = bytesOf(encodeJpeg(image, quality)), around = bytesOf(encodeJpeg(copy, quality));
        const double error = meanError(jpegtest::decodePlainly(direct), before);
        EXPECT_LE(error, meanError(jpegtest::decodePlainly(around), before) * 1.01);
        EXPECT_GT(error, 0);
        EXPECT_LE(static_cast<double>(direct.size()), static_cast<double>(around.size()) * 1.03);
    }
}

TEST(JpegTranscoding, SameBytesWhateverTheWayAndTheThreads)
{
    const Bytes file = jpegtest::make({.width = 1500, .height = 1111});
    const auto decoded = pictureOf(file);
    ASSERT_FALSE(decoded->bytes().empty());
    for (const double quality : {0.3, 0.853, 0.98}) {
        const Bytes expected = bytesOf(encodeJpeg(decoded, quality));
        for (const int threads : {1, 2, 5}) {
            engine::setConcurrency(threads);
            SCOPED_TRACE(testing::Message() << quality << ", threads " << threads);
            const auto encoder = JpegEncoder::make(pictureOf(file));
            ASSERT_TRUE(encoder);
            EXPECT_EQ(bytesOf(encoder->encode(quality)), expected);
            EXPECT_EQ(encoder->countBytes(quality), expected.size());
            EXPECT_EQ(bytesOf(encodeJpeg(pictureOf(file), quality)), expected);
        }
        engine::setConcurrency(0);
    }
}

TEST(JpegTranscoding, OtherPicturesGoByTheirPixels)
{
    // Orientation 6, by hand.
    const Bytes exif = jpegtest::text("Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0", 32);
    Bytes cut = jpegtest::make({.width = 200, .height = 160});
    cut.resize(cut.size() / 2);
    const struct {
        const char* name;
        Bytes file;
    } cases[] = {
        {"turned", jpegtest::make({.segments = {{0xE1, exif}}})},
        {"colour at full size", jpegtest::make({.horizontal = 1, .vertical = 1})},
        {"halved one way", jpegtest::make({.horizontal = 2, .vertical = 1})},
        {"RGB", jpegtest::make({.stored = JCS_RGB, .horizontal = 1, .vertical = 1})},
        {"ink", jpegtest::make({.stored = JCS_CMYK, .horizontal = 1, .vertical = 1})},
        {"cut short", cut},
    };
    for (const auto& [name, file] : cases) {
        SCOPED_TRACE(name);
        const auto image = pictureOf(file);
        ASSERT_TRUE(image);
        EXPECT_EQ(encodeJpeg(image, 0.6), encodeJpeg(copyOf(image), 0.6));
    }
}

TEST(JpegTranscoding, FiguresFarOutsideAreHeld)
{
    // The quantisers of a file are claims: here 255 each, for coefficients that were made with 1.
    Bytes file = jpegtest::make({.quality = 100});
    for (std::size_t i = 0; i + 69 < file.size(); ++i)
        if (file[i] == 0xFF && file[i + 1] == 0xDB)
            std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(i + 5), 64, std::uint8_t{255});
    for (const double quality : {0.0, 0.9})
        EXPECT_EQ(jpegtest::decodePlainly(bytesOf(encodeJpeg(pictureOf(file), quality))).size(), 45U * 39 * 4);
}

TEST(JpegHuffman, ShortCodesForWhatIsFrequent)
{
    // By hand: the spare symbol joins 7 and then 1; 3 stays alone.
    JpegSymbolCounts counts{};
    counts[3] = 100, counts[1] = 20, counts[7] = 5;
    const JpegHuffmanTable table = makeHuffmanTable(counts);
    EXPECT_EQ(table.symbols, (std::vector<std::uint8_t>{3, 1, 7}));
    EXPECT_EQ(std::vector<int>(table.codes.begin(), table.codes.begin() + 5), (std::vector<int>{0, 1, 1, 1, 0}));
}

TEST(JpegHuffman, NoCodeIsLongerThanSixteenBits)
{
    // Fibonacci's numbers make the longest codes that there are.
    JpegSymbolCounts counts{};
    std::uint32_t before = 1, now = 1;
    for (std::size_t symbol = 0; symbol < 40; ++symbol) {
        counts[symbol] = now;
        before = std::exchange(now, now + before);
    }
    const JpegHuffmanTable table = makeHuffmanTable(counts);
    EXPECT_EQ(table.symbols.size(), 40U);
    double used = 0;
    int codes = 0;
    for (std::size_t length = 1; length <= 16; ++length) {
        used += table.codes[length] * std::exp2(-static_cast<double>(length));
        codes += table.codes[length];
    }
    EXPECT_EQ(codes, 40);
    EXPECT_LE(used, 1 - std::exp2(-16)); // the code of all ones is free
    EXPECT_EQ(table.symbols.front(), 39);
}

} // namespace
} // namespace zel
