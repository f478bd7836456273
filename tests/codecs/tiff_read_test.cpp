#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/color_space.h>

#include <codecs/decoded.h>
#include <codecs/tiff_maker.h>
#include <graphics/profile_maker.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <thread>

namespace zel {
namespace {

using test::Decoded;
using test::makeTiff;
using test::TiffSpec;

using Pixel = std::array<int, 4>;

/// Samples that differ from pixel to pixel, of any number of bits.
std::uint32_t noise(unsigned x, unsigned y, unsigned sample, unsigned bits)
{
    const std::uint32_t mixed = (x * 2654435761U) ^ (y * 40503U + 0x9E3779B9U) ^ (sample * 0x85EBCA6BU + (x * y << 7U));
    return (mixed ^ mixed >> 15U) & (bits == 32 ? 0xFFFFFFFFU : (1U << bits) - 1);
}

test::SampleAt noiseOf(unsigned bits)
{
    return [bits](unsigned x, unsigned y, unsigned sample) { return noise(x, y, sample, bits); };
}

/// A sample of so many bits in 8 or 16, to the nearest.
int scaled(std::uint32_t value, unsigned bits)
{
    const double most = std::pow(2.0, bits) - 1;
    return static_cast<int>(std::lround(value / most * (bits > 8 ? 65535 : 255)));
}

struct Kind {
    const char* name;
    unsigned photometric, bits, samples;
    std::vector<std::uint16_t> extras;
    CGAlphaInfo alphaInfo;
    bool isGray;
    std::function<Pixel(const std::array<std::uint32_t, 8>& samples, unsigned bits)> expected;
};

constexpr int opaque(unsigned bits)
{
    return bits > 8 ? 65535 : 255;
}

Pixel gray(const std::array<std::uint32_t, 8>& s, unsigned bits)
{
    const int value = scaled(s[0], bits);
    return {value, value, value, opaque(bits)};
}

Pixel inverse(const std::array<std::uint32_t, 8>& s, unsigned bits)
{
    const int value = opaque(bits) - scaled(s[0], bits);
    return {value, value, value, opaque(bits)};
}

Pixel rgb(const std::array<std::uint32_t, 8>& s, unsigned bits)
{
    return {scaled(s[0], bits), scaled(s[1], bits), scaled(s[2], bits), opaque(bits)};
}

template <int alpha>
Pixel withAlpha(Pixel pixel, const std::array<std::uint32_t, 8>& s, unsigned bits)
{
    pixel[3] = scaled(s[alpha], bits);
    return pixel;
}

Pixel inks(const std::array<std::uint32_t, 8>& s, unsigned bits)
{
    Pixel pixel{};
    const double full = opaque(bits);
    for (std::size_t i = 0; i < 3; ++i)
        pixel[i] = static_cast<int>(std::lround((full - scaled(s[i], bits)) * (full - scaled(s[3], bits)) / full));
    pixel[3] = opaque(bits);
    return pixel;
}

const CGAlphaInfo skip = CGAlphaInfo::noneSkipLast, straight = CGAlphaInfo::last,
                  premultiplied = CGAlphaInfo::premultipliedLast;

std::vector<Kind> kinds()
{
    std::vector<Kind> all;
    for (const unsigned bits : {1U, 2U, 3U, 4U, 6U, 8U, 10U, 12U, 16U}) {
        all.push_back({"grey", PHOTOMETRIC_MINISBLACK, bits, 1, {}, skip, true, gray});
        all.push_back({"grey, white is 0", PHOTOMETRIC_MINISWHITE, bits, 1, {}, skip, true, inverse});
        all.push_back({"RGB", PHOTOMETRIC_RGB, bits, 3, {}, skip, false, rgb});
    }
    for (const unsigned bits : {8U, 16U}) {
        all.push_back({"grey, straight alpha",
                       PHOTOMETRIC_MINISBLACK,
                       bits,
                       2,
                       {EXTRASAMPLE_UNASSALPHA},
                       straight,
                       true,
                       [](const auto& s, unsigned b) { return withAlpha<1>(gray(s, b), s, b); }});
        all.push_back({"RGB, straight alpha",
                       PHOTOMETRIC_RGB,
                       bits,
                       4,
                       {EXTRASAMPLE_UNASSALPHA},
                       straight,
                       false,
                       [](const auto& s, unsigned b) { return withAlpha<3>(rgb(s, b), s, b); }});
        all.push_back({"RGB, premultiplied alpha",
                       PHOTOMETRIC_RGB,
                       bits,
                       4,
                       {EXTRASAMPLE_ASSOCALPHA},
                       premultiplied,
                       false,
                       [](const auto& s, unsigned b) { return withAlpha<3>(rgb(s, b), s, b); }});
        all.push_back({"RGB, a sample that means nothing",
                       PHOTOMETRIC_RGB,
                       bits,
                       4,
                       {EXTRASAMPLE_UNSPECIFIED},
                       skip,
                       false,
                       rgb});
        all.push_back({"RGB, alpha behind another sample",
                       PHOTOMETRIC_RGB,
                       bits,
                       5,
                       {EXTRASAMPLE_UNSPECIFIED, EXTRASAMPLE_UNASSALPHA},
                       straight,
                       false,
                       [](const auto& s, unsigned b) { return withAlpha<4>(rgb(s, b), s, b); }});
        all.push_back({"CMYK", PHOTOMETRIC_SEPARATED, bits, 4, {}, skip, false, inks});
        all.push_back({"CMYK, straight alpha",
                       PHOTOMETRIC_SEPARATED,
                       bits,
                       5,
                       {EXTRASAMPLE_UNASSALPHA},
                       straight,
                       false,
                       [](const auto& s, unsigned b) { return withAlpha<4>(inks(s, b), s, b); }});
    }
    return all;
}

/// Every pixel of the picture against the samples that went into it.
void expectPixels(const Decoded& decoded, const Kind& kind, const test::SampleAt& sampleAt)
{
    ASSERT_TRUE(decoded.complete);
    for (int y = 0; y < decoded.height; ++y)
        for (int x = 0; x < decoded.width; ++x) {
            std::array<std::uint32_t, 8> samples{};
            for (unsigned s = 0; s < kind.samples; ++s)
                samples[s] = sampleAt(static_cast<unsigned>(x), static_cast<unsigned>(y), s);
            ASSERT_EQ(decoded.at(x, y), kind.expected(samples, kind.bits)) << "at " << x << ", " << y;
        }
}

TEST(TiffRead, EveryKindInEveryArrangement)
{
    struct Arrangement {
        const char* name;
        unsigned planar, tile, compression;
        const char* mode;
    };
    const Arrangement arrangements[] = {
        {"strips", PLANARCONFIG_CONTIG, 0, COMPRESSION_NONE, "wl"},
        {"strips, big endian, LZW", PLANARCONFIG_CONTIG, 0, COMPRESSION_LZW, "wb"},
        {"tiles, Deflate", PLANARCONFIG_CONTIG, 16, COMPRESSION_ADOBE_DEFLATE, "wl"},
        {"planes, PackBits", PLANARCONFIG_SEPARATE, 0, COMPRESSION_PACKBITS, "wl8"},
        {"planes of tiles, LZW, big endian", PLANARCONFIG_SEPARATE, 16, COMPRESSION_LZW, "wb8"},
    };
    for (const Kind& kind : kinds())
        for (const Arrangement& arrangement : arrangements) {
            SCOPED_TRACE(testing::Message() << kind.name << " of " << kind.bits << " bits in " << arrangement.name);
            TiffSpec spec;
            spec.photometric = kind.photometric;
            spec.bits = kind.bits;
            spec.samples = kind.samples;
            spec.extras = kind.extras;
            spec.planar = arrangement.planar;
            spec.tileWidth = spec.tileHeight = arrangement.tile;
            spec.compression = arrangement.compression;
            spec.mode = arrangement.mode;
            const ZelReport report;
            const auto picture = test::open(makeTiff(spec, noiseOf(kind.bits)));
            ASSERT_TRUE(picture) << ZelFailure::last().message;
            const PictureFacts& facts = picture->facts();
            EXPECT_EQ(facts.format, "tiff");
            EXPECT_EQ(facts.layout.width, 37);
            EXPECT_EQ(facts.layout.height, 29);
            EXPECT_EQ(facts.bits, static_cast<int>(kind.bits));
            EXPECT_EQ(facts.layout.bitsPerComponent, kind.bits > 8 ? 16 : 8);
            EXPECT_EQ(facts.layout.alphaInfo, kind.alphaInfo);
            EXPECT_EQ(facts.hasAlpha, kind.alphaInfo != skip);
            EXPECT_EQ(facts.layout.isGray, kind.isGray);
            EXPECT_EQ(facts.layout.colorSpace, nullptr);
            EXPECT_EQ(facts.frames, 1);
            expectPixels(test::decode(*picture), kind, noiseOf(kind.bits));
            EXPECT_TRUE(report.notes().empty()) << report.notes().front().message;
        }
}

TEST(TiffRead, PredictorsAndCompressions)
{
    struct Case {
        const char* name;
        unsigned compression, predictor, bits;
    };
    for (const Case& c : {Case{"LZW", COMPRESSION_LZW, 2, 8}, Case{"LZW", COMPRESSION_LZW, 2, 16},
                          Case{"Deflate", COMPRESSION_ADOBE_DEFLATE, 2, 8},
                          Case{"old Deflate", COMPRESSION_DEFLATE, 2, 16}, Case{"LZW", COMPRESSION_LZW, 1, 16}}) {
        SCOPED_TRACE(testing::Message() << c.name << ", predictor " << c.predictor << ", " << c.bits << " bits");
        for (const unsigned tile : {0U, 32U}) {
            TiffSpec spec;
            spec.compression = c.compression;
            spec.predictor = c.predictor;
            spec.bits = c.bits;
            spec.tileWidth = spec.tileHeight = tile;
            const auto picture = test::open(makeTiff(spec, noiseOf(c.bits)));
            ASSERT_TRUE(picture);
            expectPixels(test::decode(*picture), {"RGB", PHOTOMETRIC_RGB, c.bits, 3, {}, skip, false, rgb},
                         noiseOf(c.bits));
        }
    }
}

TEST(TiffRead, FaxCodes)
{
    struct Case {
        const char* name;
        unsigned compression, photometric;
        std::uint32_t options;
        unsigned fillOrder;
    };
    const Case cases[] = {
        {"Group 3", COMPRESSION_CCITTFAX3, PHOTOMETRIC_MINISWHITE, 0, FILLORDER_MSB2LSB},
        {"Group 3 in two dimensions", COMPRESSION_CCITTFAX3, PHOTOMETRIC_MINISWHITE, GROUP3OPT_2DENCODING,
         FILLORDER_MSB2LSB},
        {"Group 4", COMPRESSION_CCITTFAX4, PHOTOMETRIC_MINISWHITE, 0, FILLORDER_MSB2LSB},
        {"Group 4, black is 0", COMPRESSION_CCITTFAX4, PHOTOMETRIC_MINISBLACK, 0, FILLORDER_MSB2LSB},
        {"Group 4, low bits first", COMPRESSION_CCITTFAX4, PHOTOMETRIC_MINISWHITE, 0, FILLORDER_LSB2MSB},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TiffSpec spec;
        spec.bits = spec.samples = 1;
        spec.width = 131;
        spec.compression = c.compression;
        spec.photometric = c.photometric;
        spec.tags = [&c](TIFF* file) {
            TIFFSetField(file, TIFFTAG_FILLORDER, c.fillOrder);
            if (c.options != 0)
                TIFFSetField(file, TIFFTAG_GROUP3OPTIONS, c.options);
        };
        const auto picture = test::open(makeTiff(spec, noiseOf(1)));
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        const Kind kind{"", c.photometric, 1,    1,
                        {}, skip,          true, c.photometric == PHOTOMETRIC_MINISWHITE ? inverse : gray};
        expectPixels(test::decode(*picture), kind, noiseOf(1));
    }
}

TEST(TiffRead, Palettes)
{
    for (const unsigned bits : {1U, 2U, 4U, 8U})
        for (const bool narrow : {false, true}) {
            SCOPED_TRACE(testing::Message() << bits << " bits" << (narrow ? ", entries of 8 bits" : ""));
            const std::size_t count = std::size_t{1} << bits;
            std::array<std::vector<std::uint16_t>, 3> map;
            for (std::size_t i = 0; i < 3 * count; ++i)
                map[i % 3].push_back(static_cast<std::uint16_t>(i * 85 % 256 * (narrow ? 1 : 257)));
            TiffSpec spec;
            spec.photometric = PHOTOMETRIC_PALETTE;
            spec.bits = bits;
            spec.samples = 1;
            spec.tags = [&](TIFF* file) {
                TIFFSetField(file, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
            };
            const auto picture = test::open(makeTiff(spec, noiseOf(bits)));
            ASSERT_TRUE(picture);
            EXPECT_FALSE(picture->facts().layout.isGray);
            EXPECT_EQ(picture->facts().bits, static_cast<int>(bits));
            const Decoded decoded = test::decode(*picture);
            for (int y = 0; y < decoded.height; ++y)
                for (int x = 0; x < decoded.width; ++x) {
                    const std::size_t index = noise(static_cast<unsigned>(x), static_cast<unsigned>(y), 0, bits);
                    const auto entry = [&](std::size_t i) { return static_cast<int>((index * 3 + i) * 85 % 256); };
                    ASSERT_EQ(decoded.at(x, y), (Pixel{entry(0), entry(1), entry(2), 255}));
                }
        }
}

TEST(TiffRead, NumbersOf32Bits)
{
    const float values[] = {0.0F, 1.0F, 0.5F, 0.25F, -3.0F, 7.0F, std::nanf(""), 1e-30F};
    const int expected[] = {0, 65535, 32768, 16384, 0, 65535, 0, 0};
    TiffSpec spec;
    spec.bits = 32;
    spec.samples = 1;
    spec.photometric = PHOTOMETRIC_MINISBLACK;
    spec.width = 8;
    spec.format = SAMPLEFORMAT_IEEEFP;
    spec.compression = COMPRESSION_LZW;
    for (const unsigned predictor : {1U, 3U})
        for (const char* mode : {"wl", "wb"}) {
            if (predictor == 3 && mode == std::string_view("wb"))
                continue; // libtiff 4.5 writes such files wrongly
            SCOPED_TRACE(testing::Message() << "predictor " << predictor << ", " << mode);
            spec.predictor = predictor;
            spec.mode = mode;
            const ZelReport report;
            const auto picture = test::open(makeTiff(spec, [&](unsigned x, unsigned, unsigned) {
                std::uint32_t bits = 0;
                std::memcpy(&bits, values + x, 4);
                return bits;
            }));
            ASSERT_TRUE(picture);
            ASSERT_EQ(report.notes().size(), 1U) << "that 32 bits become 16 is worth a warning";
            const Decoded decoded = test::decode(*picture);
            for (int x = 0; x < 8; ++x)
                EXPECT_EQ(decoded.at(x, 3)[1], expected[x]) << values[x];
        }
    spec.format = SAMPLEFORMAT_UINT;
    spec.predictor = 1;
    const auto picture = test::open(makeTiff(spec, [](unsigned x, unsigned, unsigned) { return 0x1234FFFFU * x; }));
    ASSERT_TRUE(picture);
    EXPECT_EQ(test::decode(*picture).at(1, 0), (Pixel{0x1234, 0x1234, 0x1234, 65535}));
}

TEST(TiffRead, JpegInside)
{
    for (const unsigned photometric :
         {unsigned{PHOTOMETRIC_YCBCR}, unsigned{PHOTOMETRIC_RGB}, unsigned{PHOTOMETRIC_MINISBLACK}})
        for (const unsigned tile : {0U, 32U}) {
            SCOPED_TRACE(testing::Message() << "photometric " << photometric << ", tile " << tile);
            TiffSpec spec;
            spec.width = 67;
            spec.height = 45;
            spec.compression = COMPRESSION_JPEG;
            spec.photometric = photometric;
            spec.samples = photometric == PHOTOMETRIC_MINISBLACK ? 1 : 3;
            spec.rowsPerStrip = 16;
            spec.tileWidth = spec.tileHeight = tile;
            spec.tags = [&](TIFF* file) {
                TIFFSetField(file, TIFFTAG_JPEGQUALITY, 95);
                if (photometric == PHOTOMETRIC_YCBCR)
                    TIFFSetField(file, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            };
            const auto ramp = [](unsigned x, unsigned y, unsigned s) { return s == 0 ? x * 3 : s == 1 ? y * 5 : 128U; };
            const auto picture = test::open(makeTiff(spec, ramp));
            ASSERT_TRUE(picture) << ZelFailure::last().message;
            const Decoded decoded = test::decode(*picture);
            ASSERT_TRUE(decoded.complete);
            for (int y = 0; y < decoded.height; ++y)
                for (int x = 0; x < decoded.width; ++x)
                    for (unsigned s = 0; s < spec.samples; ++s)
                        ASSERT_NEAR(decoded.at(x, y)[s],
                                    static_cast<int>(ramp(static_cast<unsigned>(x), static_cast<unsigned>(y), s)), 12)
                            << "at " << x << ", " << y << ", sample " << s;
        }
}

TEST(TiffRead, KindsThatLibtiffConverts)
{
    // Y, Cb, Cr of one colour, full range (JFIF): red = 1.402 (Cr - 128) + Y and so on.
    TiffSpec spec;
    spec.photometric = PHOTOMETRIC_YCBCR;
    spec.tags = [](TIFF* file) { TIFFSetField(file, TIFFTAG_YCBCRSUBSAMPLING, 1, 1); };
    const auto picture = test::open(makeTiff(spec, [](unsigned x, unsigned y, unsigned s) {
        return s == 0 ? 4 * x + y : s == 1 ? 100U : 170U;
    }));
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const Decoded decoded = test::decode(*picture);
    ASSERT_TRUE(decoded.complete);
    for (int y = 0; y < 29; ++y)
        for (int x = 0; x < 37; ++x) {
            const int luma = 4 * x + y;
            const auto held = [](double v) { return static_cast<int>(std::lround(std::clamp(v, 0.0, 255.0))); };
            const Pixel expected = {held(luma + 1.402 * 42), held(luma - 0.344136 * -28 - 0.714136 * 42),
                                    held(luma + 1.772 * -28), 255};
            const Pixel actual = decoded.at(x, y);
            for (std::size_t i = 0; i < 4; ++i)
                ASSERT_NEAR(actual[i], expected[i], 2) << "at " << x << ", " << y;
        }
    for (const auto& [first, count] : {std::pair{0, 1}, {3, 7}, {8, 13}, {28, 1}}) {
        const Decoded part = test::decode(*picture, {1, first, count});
        ASSERT_TRUE(part.complete);
        for (int y = 0; y < count; ++y)
            EXPECT_EQ(part.row(y), decoded.row(first + y));
    }
}

TEST(TiffRead, Lab)
{
    // L*a*b* relative to D50 of sRGB's red and of white, in TIFF's two encodings.
    struct Case {
        const char* name;
        unsigned photometric, bits;
        std::array<std::uint32_t, 3> red, white;
    };
    const Case cases[] = {
        {"two's complement, 8 bits", PHOTOMETRIC_CIELAB, 8, {138, 81, 70}, {255, 0, 0}},
        {"two's complement, 16 bits", PHOTOMETRIC_CIELAB, 16, {35579, 20687, 17892}, {65535, 0, 0}},
        {"offset, 8 bits", PHOTOMETRIC_ICCLAB, 8, {138, 209, 198}, {255, 128, 128}},
        {"offset, 16 bits", PHOTOMETRIC_ICCLAB, 16, {35440, 53455, 50660}, {65280, 32768, 32768}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TiffSpec spec;
        spec.photometric = c.photometric;
        spec.bits = c.bits;
        const auto picture = test::open(
            makeTiff(spec, [&](unsigned x, unsigned, unsigned s) { return x == 0 ? c.red[s] : c.white[s]; }));
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        const Decoded decoded = test::decode(*picture);
        const int full = c.bits == 16 ? 65535 : 255;
        EXPECT_NEAR(decoded.at(0, 0)[0], full, full / 100);
        EXPECT_NEAR(decoded.at(0, 0)[1], 0, full / 20);
        EXPECT_NEAR(decoded.at(0, 0)[2], 0, full / 20);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(decoded.at(1, 0)[i], full, full / 250) << "white";
    }
}

TEST(TiffRead, RowRangesAreSlicesOfTheWhole)
{
    struct Arrangement {
        const char* name;
        unsigned planar, tile, compression;
    };
    for (const Arrangement& a : {Arrangement{"strips", PLANARCONFIG_CONTIG, 0, COMPRESSION_NONE},
                                 {"LZW strips", PLANARCONFIG_CONTIG, 0, COMPRESSION_LZW},
                                 {"planes", PLANARCONFIG_SEPARATE, 0, COMPRESSION_ADOBE_DEFLATE},
                                 {"tiles", PLANARCONFIG_CONTIG, 16, COMPRESSION_LZW},
                                 {"planes of tiles", PLANARCONFIG_SEPARATE, 16, COMPRESSION_NONE}}) {
        SCOPED_TRACE(a.name);
        TiffSpec spec;
        spec.planar = a.planar;
        spec.tileWidth = spec.tileHeight = a.tile;
        spec.compression = a.compression;
        const auto picture = test::open(makeTiff(spec, noiseOf(8)));
        ASSERT_TRUE(picture);
        const Decoded whole = test::decode(*picture);
        for (int first = 0; first <= 29; ++first)
            for (const int count : {0, 1, 2, 6, 7, 8, 16, 17, 29}) {
                const int rows = std::min(count, 29 - first);
                const Decoded part = test::decode(*picture, {1, first, rows});
                ASSERT_TRUE(part.complete);
                for (int y = 0; y < rows; ++y)
                    ASSERT_EQ(part.row(y), whole.row(first + y)) << "row " << y << " of " << rows << " from " << first;
            }
        EXPECT_FALSE(picture->canReduce(2));
        EXPECT_TRUE(picture->canReduce(1));
        EXPECT_FALSE(picture->decode({2, 0, -1}, [](int, const engine::ConstPixels&) { return true; }));
    }
}

TEST(TiffRead, FactsOfTheDirectory)
{
    struct Case {
        const char* name;
        std::function<void(TIFF*)> tags;
        int orientation;
        double dpiX, dpiY;
    };
    const Case cases[] = {
        {"nothing stated", {}, 1, 0, 0},
        {"inches",
         [](TIFF* f) {
             TIFFSetField(f, TIFFTAG_XRESOLUTION, 300.0);
             TIFFSetField(f, TIFFTAG_YRESOLUTION, 150.0);
             TIFFSetField(f, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
         },
         1, 300, 150},
        {"centimetres",
         [](TIFF* f) {
             TIFFSetField(f, TIFFTAG_XRESOLUTION, 100.0);
             TIFFSetField(f, TIFFTAG_YRESOLUTION, 50.0);
             TIFFSetField(f, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
         },
         1, 254, 127},
        {"a ratio",
         [](TIFF* f) {
             TIFFSetField(f, TIFFTAG_XRESOLUTION, 300.0);
             TIFFSetField(f, TIFFTAG_YRESOLUTION, 300.0);
             TIFFSetField(f, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
         },
         1, 0, 0},
        {"1 dot an inch",
         [](TIFF* f) {
             TIFFSetField(f, TIFFTAG_XRESOLUTION, 1.0);
             TIFFSetField(f, TIFFTAG_YRESOLUTION, 1e9);
         },
         1, 0, 0},
        {"orientation 6", [](TIFF* f) { TIFFSetField(f, TIFFTAG_ORIENTATION, ORIENTATION_RIGHTTOP); }, 6, 0, 0},
        {"orientation 3", [](TIFF* f) { TIFFSetField(f, TIFFTAG_ORIENTATION, ORIENTATION_BOTRIGHT); }, 3, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TiffSpec spec;
        spec.tags = c.tags;
        const auto picture = test::open(makeTiff(spec, noiseOf(8)));
        ASSERT_TRUE(picture);
        EXPECT_EQ(static_cast<int>(picture->facts().orientation), c.orientation);
        EXPECT_NEAR(picture->facts().dpiX, c.dpiX, 1e-3);
        EXPECT_NEAR(picture->facts().dpiY, c.dpiY, 1e-3);
        // Rows come as they are stored, whatever turns them upright.
        const Decoded decoded = test::decode(*picture);
        EXPECT_EQ(decoded.at(5, 3)[1], static_cast<int>(noise(5, 3, 1, 8)));
    }
}

TEST(TiffRead, PagesAreCountedAndTheFirstIsShown)
{
    const ZelReport report;
    const auto picture = test::open(makeTiff({}, noiseOf(8), 3));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->facts().frames, 3);
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes().front().severity, ZelSeverity::warning);
    EXPECT_EQ(report.notes().front().message, "TIFF: only the first of 3 pages is used");
}

TEST(TiffRead, ProfilesAreKeptOrUsed)
{
    const Data p3 = test::saved(test::matrixProfile(test::p3Primaries, test::srgbCurve()));
    const Data grayOfGamma1 = test::saved(test::grayProfile(1.0));
    const auto swappedInks = [](const double* s) {
        return std::array<double, 3>{(1 - s[2]) * (1 - s[3]), (1 - s[1]) * (1 - s[3]), (1 - s[0]) * (1 - s[3])};
    };
    const Data inksProfile = test::saved(test::tableProfile(cmsSigCmykData, 4, 9, swappedInks));
    const auto with = [](const Data& profile, unsigned photometric, unsigned samples) {
        TiffSpec spec;
        spec.photometric = photometric;
        spec.samples = samples;
        spec.tags = [&profile](TIFF* file) {
            TIFFSetField(file, TIFFTAG_ICCPROFILE, static_cast<unsigned>(profile.size()), profile.data());
        };
        return test::open(makeTiff(spec, [](unsigned, unsigned, unsigned s) { return s == 0 ? 255U : 0U; }));
    };
    const auto color = with(p3, PHOTOMETRIC_RGB, 3);
    ASSERT_TRUE(color && color->facts().layout.colorSpace);
    EXPECT_EQ(color->facts().layout.colorSpace->profile(), p3);
    EXPECT_EQ(test::decode(*color).at(0, 0), (Pixel{255, 0, 0, 255})) << "samples are as stored";
    const auto gray = with(grayOfGamma1, PHOTOMETRIC_MINISBLACK, 1);
    ASSERT_TRUE(gray && gray->facts().layout.colorSpace);
    EXPECT_EQ(gray->facts().layout.colorSpace->channels(), 1);

    // Full cyan: red is missing without a profile; with one that exchanges cyan and yellow, blue is.
    const auto cmyk = with(inksProfile, PHOTOMETRIC_SEPARATED, 4);
    ASSERT_TRUE(cmyk);
    EXPECT_EQ(cmyk->facts().layout.colorSpace, nullptr) << "converted on decoding";
    const Pixel pixel = test::decode(*cmyk).at(0, 0);
    EXPECT_NEAR(pixel[0], 255, 4);
    EXPECT_NEAR(pixel[1], 255, 4);
    EXPECT_NEAR(pixel[2], 0, 4);

    const ZelReport report;
    const auto wrong = with(p3, PHOTOMETRIC_SEPARATED, 4);
    ASSERT_TRUE(wrong);
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes().front().code, ZelFailureCode::unreadable);
    EXPECT_EQ(test::decode(*wrong).at(0, 0), (Pixel{0, 255, 255, 255}));
}

TEST(TiffRead, SeveralThreadsAtOnce)
{
    TiffSpec spec;
    spec.compression = COMPRESSION_LZW;
    const auto picture = test::open(makeTiff(spec, noiseOf(8)));
    ASSERT_TRUE(picture);
    const Decoded alone = test::decode(*picture);
    std::array<Decoded, 4> together;
    std::vector<std::thread> threads;
    for (Decoded& result : together)
        threads.emplace_back([&] { result = test::decode(*picture); });
    for (std::thread& thread : threads)
        thread.join();
    for (const Decoded& result : together)
        EXPECT_EQ(result.bytes, alone.bytes);
}

} // namespace
} // namespace zel
