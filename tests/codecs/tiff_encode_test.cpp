#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/color_space.h>

#include <codecs/decoded.h>
#include <codecs/tiff_maker.h>
#include <graphics/profile_maker.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

/// A picture whose every component differs, colours at most the alpha.
Ref<const CGImage> picture(const CGImage::Layout& layout)
{
    const std::size_t size = layout.bitsPerComponent == 16 ? 2 : 1, gap = 6;
    const std::size_t stride = static_cast<std::size_t>(layout.width) * 4 * size + gap;
    std::vector<std::uint8_t> bytes(stride * static_cast<std::size_t>(layout.height));
    const bool alphaFirst = layout.alphaInfo == CGAlphaInfo::first ||
                            layout.alphaInfo == CGAlphaInfo::premultipliedFirst ||
                            layout.alphaInfo == CGAlphaInfo::noneSkipFirst;
    for (int y = 0; y < layout.height; ++y)
        for (int x = 0; x < layout.width; ++x) {
            const unsigned scale = size == 2 ? 251 : 1; // 16 bits: low bytes that a narrowing would lose
            std::array<unsigned, 4> pixel{};
            for (unsigned i = 0; i < 3; ++i)
                pixel[i] = (static_cast<unsigned>(x) + 3U * static_cast<unsigned>(y) + 40U * (layout.isGray ? 0 : i)) %
                           100 * scale;
            pixel[3] = (100 + static_cast<unsigned>(x + y) % 155) * scale;
            for (unsigned i = 0; i < 4; ++i) {
                const std::size_t component = alphaFirst ? (i + 1) % 4 : i;
                std::memcpy(bytes.data() + static_cast<std::size_t>(y) * stride +
                                (static_cast<std::size_t>(x) * 4 + component) * size,
                            &pixel[i], size);
            }
        }
    return CGImage::make(layout, Data(std::move(bytes)), stride);
}

/// What another reader finds: tags, and samples row by row.
struct Found {
    std::uint32_t width = 0, height = 0;
    std::uint16_t bits = 0, samples = 0, photometric = 0, compression = 0, predictor = 0, extra = 0, unit = 0;
    float dpiX = 0, dpiY = 0;
    std::vector<std::uint8_t> profile, rows;
};

Found read(const Data& bytes)
{
    test::MemoryFile memory{{bytes.data(), bytes.data() + bytes.size()}, 0};
    TIFF* const file = memory.open("r");
    Found found;
    if (file == nullptr)
        return found;
    TIFFGetField(file, TIFFTAG_IMAGEWIDTH, &found.width);
    TIFFGetField(file, TIFFTAG_IMAGELENGTH, &found.height);
    TIFFGetField(file, TIFFTAG_BITSPERSAMPLE, &found.bits);
    TIFFGetField(file, TIFFTAG_SAMPLESPERPIXEL, &found.samples);
    TIFFGetField(file, TIFFTAG_PHOTOMETRIC, &found.photometric);
    TIFFGetField(file, TIFFTAG_COMPRESSION, &found.compression);
    TIFFGetField(file, TIFFTAG_PREDICTOR, &found.predictor);
    TIFFGetField(file, TIFFTAG_RESOLUTIONUNIT, &found.unit);
    TIFFGetField(file, TIFFTAG_XRESOLUTION, &found.dpiX);
    TIFFGetField(file, TIFFTAG_YRESOLUTION, &found.dpiY);
    std::uint16_t count = 0, *extras = nullptr;
    if (TIFFGetField(file, TIFFTAG_EXTRASAMPLES, &count, &extras) == 1 && count == 1)
        found.extra = extras[0];
    std::uint32_t size = 0;
    std::uint8_t* profile = nullptr;
    if (TIFFGetField(file, TIFFTAG_ICCPROFILE, &size, &profile) == 1)
        found.profile.assign(profile, profile + size);
    const std::size_t rowBytes = static_cast<std::size_t>(TIFFScanlineSize(file));
    found.rows.resize(rowBytes * found.height);
    for (std::uint32_t y = 0; y < found.height; ++y)
        EXPECT_EQ(TIFFReadScanline(file, found.rows.data() + y * rowBytes, y), 1);
    EXPECT_EQ(TIFFReadDirectory(file), 0) << "one page";
    TIFFClose(file);
    return found;
}

TEST(TiffEncode, AnotherReaderFindsEverySample)
{
    struct Case {
        const char* name;
        CGAlphaInfo alphaInfo;
        bool isGray;
        unsigned samples, extra;
        std::vector<std::size_t> order; ///< components of a pixel of ours, in the order of the file
    };
    const Case cases[] = {
        {"opaque", CGAlphaInfo::noneSkipLast, false, 3, 0, {0, 1, 2}},
        {"opaque, skipped first", CGAlphaInfo::noneSkipFirst, false, 3, 0, {1, 2, 3}},
        {"straight", CGAlphaInfo::last, false, 4, EXTRASAMPLE_UNASSALPHA, {0, 1, 2, 3}},
        {"straight, alpha first", CGAlphaInfo::first, false, 4, EXTRASAMPLE_UNASSALPHA, {1, 2, 3, 0}},
        {"premultiplied", CGAlphaInfo::premultipliedLast, false, 4, EXTRASAMPLE_ASSOCALPHA, {0, 1, 2, 3}},
        {"premultiplied, alpha first", CGAlphaInfo::premultipliedFirst, false, 4, EXTRASAMPLE_ASSOCALPHA, {1, 2, 3, 0}},
        {"grey", CGAlphaInfo::noneSkipLast, true, 1, 0, {0}},
        {"grey and straight alpha", CGAlphaInfo::last, true, 2, EXTRASAMPLE_UNASSALPHA, {0, 3}},
        {"grey and alpha, alpha first", CGAlphaInfo::premultipliedFirst, true, 2, EXTRASAMPLE_ASSOCALPHA, {1, 0}},
    };
    for (const Case& c : cases)
        for (const int bits : {8, 16})
            for (const auto& [width, height] : {std::pair{1, 1}, {67, 45}, {300, 3}}) {
                SCOPED_TRACE(testing::Message() << c.name << ", " << bits << " bits, " << width << " x " << height);
                const auto image = picture({width, height, bits, c.alphaInfo, nullptr, c.isGray});
                ASSERT_TRUE(image);
                const std::optional<Data> bytes = encodeTiff(image, {});
                ASSERT_TRUE(bytes) << ZelFailure::last().message;
                const Found found = read(*bytes);
                EXPECT_EQ(found.width, static_cast<unsigned>(width));
                EXPECT_EQ(found.height, static_cast<unsigned>(height));
                EXPECT_EQ(found.bits, bits);
                EXPECT_EQ(found.samples, c.samples);
                EXPECT_EQ(found.photometric, c.isGray ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
                EXPECT_EQ(found.compression, COMPRESSION_LZW);
                EXPECT_EQ(found.predictor, PREDICTOR_HORIZONTAL);
                EXPECT_EQ(found.extra, c.extra);
                EXPECT_EQ(found.unit, RESUNIT_NONE) << "no resolution was given";
                EXPECT_EQ(found.dpiX, found.dpiY);
                const std::size_t size = static_cast<std::size_t>(bits / 8);
                std::vector<std::uint8_t> expected;
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x)
                        for (const std::size_t component : c.order) {
                            const auto from =
                                image->bytes().begin() +
                                static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * image->bytesPerRow() +
                                                            (static_cast<std::size_t>(x) * 4 + component) * size);
                            expected.insert(expected.end(), from, from + static_cast<std::ptrdiff_t>(size));
                        }
                EXPECT_EQ(found.rows, expected);
            }
}

TEST(TiffEncode, ResolutionAndProfile)
{
    const auto p3 =
        CGColorSpace::fromProfile(test::saved(test::matrixProfile(test::p3Primaries, test::srgbCurve())), 3, "test");
    const auto gray = CGColorSpace::fromProfile(test::saved(test::grayProfile(1.8)), 1, "test");
    ASSERT_TRUE(p3 && gray);
    const std::optional<Data> color =
        encodeTiff(picture({9, 9, 8, CGAlphaInfo::noneSkipLast, p3, false}), {300, 150.5});
    ASSERT_TRUE(color);
    const Found found = read(*color);
    EXPECT_EQ(found.dpiX, 300);
    EXPECT_EQ(found.dpiY, 150.5F);
    EXPECT_EQ(found.unit, RESUNIT_INCH);
    EXPECT_EQ(Data(found.profile), p3->profile());

    const std::optional<Data> grayBytes = encodeTiff(picture({9, 9, 8, CGAlphaInfo::noneSkipLast, gray, true}), {});
    ASSERT_TRUE(grayBytes);
    EXPECT_EQ(Data(read(*grayBytes).profile), gray->profile());
    EXPECT_EQ(read(*grayBytes).samples, 1);
    // Grey samples with a profile for colours: written as colours, so that the file makes sense.
    const std::optional<Data> mixed = encodeTiff(picture({9, 9, 8, CGAlphaInfo::noneSkipLast, p3, true}), {});
    ASSERT_TRUE(mixed);
    EXPECT_EQ(read(*mixed).samples, 3);
    EXPECT_EQ(Data(read(*mixed).profile), p3->profile());
}

TEST(TiffEncode, WhatIsWrittenReadsBackTheSame)
{
    for (const int bits : {8, 16})
        for (const CGAlphaInfo alphaInfo :
             {CGAlphaInfo::noneSkipLast, CGAlphaInfo::last, CGAlphaInfo::premultipliedLast}) {
            const auto image = picture({131, 77, bits, alphaInfo, nullptr, false});
            const std::optional<Data> bytes = encodeTiff(image, {72, 72});
            ASSERT_TRUE(bytes);
            const auto again = openPicture(ByteSource::of(*bytes));
            ASSERT_TRUE(again);
            EXPECT_EQ(again->facts().layout.alphaInfo, alphaInfo);
            EXPECT_EQ(again->facts().dpiX, 72);
            // From the decoder of a TIFF straight into a TIFF: the very same bytes.
            const std::optional<Data> twice = encodeTiff(CGImage::make(again), {72, 72});
            ASSERT_TRUE(twice);
            EXPECT_TRUE(*twice == *bytes);
        }
}

/// A picture whose file was good until its pixels were asked for.
class Failing final : public PixelProvider {
public:
    Failing() { facts_.layout = {10, 10, 8, CGAlphaInfo::noneSkipLast, nullptr, false}; }
    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    [[nodiscard]] bool decode(const Request&, const RowSink& sink) const override
    {
        const std::vector<std::uint8_t> rows(10 * 4 * 4);
        return sink(0, {rows.data(), 40, 10, 4, 4}) && false;
    }

private:
    PictureFacts facts_;
};

TEST(TiffEncode, WithoutPixelsThereIsNoFile)
{
    ZelFailure::clear();
    EXPECT_FALSE(encodeTiff(nullptr, {}));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    ZelFailure::clear();
    EXPECT_FALSE(encodeTiff(CGImage::make(std::make_shared<Failing>()), {}));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none) << "the decoder has said why";
}

} // namespace
} // namespace zel
