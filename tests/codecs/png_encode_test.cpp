#include <codecs/png_pictures.h>
#include <zel/engine/parallel.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/codecs/png_deflate.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <isa-l/igzip_lib.h>
#include <lcms2.h>
#include <libdeflate.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>

namespace zel {
namespace {

using namespace testing_png;

/// What libpng reads from a file, samples as stored (16 bits in the machine's order).
struct Read {
    int width = 0, height = 0, bits = 0, type = 0;
    std::uint32_t perMetreX = 0, perMetreY = 0;
    int resolutionUnit = -1;
    std::string profileName;
    Bytes profile;
    Bytes rows;
};

Read readWithLibpng(const Data& file)
{
    struct Source {
        const std::uint8_t* at;
        const std::uint8_t* end;
    } source{file.data(), file.data() + file.size()};
    const auto refuse = [](png_structp, png_const_charp message) { throw std::runtime_error(message); };
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, refuse, refuse); // warnings as well
    png_infop info = png_create_info_struct(png);
    png_set_read_fn(png, &source, [](png_structp self, png_bytep to, std::size_t size) {
        auto& from = *static_cast<Source*>(png_get_io_ptr(self));
        if (static_cast<std::size_t>(from.end - from.at) < size)
            throw std::runtime_error("end of file");
        std::memcpy(to, from.at, size);
        from.at += size;
    });
    png_read_info(png, info);
    Read result;
    result.width = static_cast<int>(png_get_image_width(png, info));
    result.height = static_cast<int>(png_get_image_height(png, info));
    result.bits = png_get_bit_depth(png, info);
    result.type = png_get_color_type(png, info);
    png_get_pHYs(png, info, &result.perMetreX, &result.perMetreY, &result.resolutionUnit);
    png_charp name = nullptr;
    png_bytep profile = nullptr;
    png_uint_32 profileBytes = 0;
    int method = 0;
    if (png_get_iCCP(png, info, &name, &method, &profile, &profileBytes)) {
        result.profileName = name;
        result.profile.assign(profile, profile + profileBytes);
    }
    if (std::endian::native == std::endian::little)
        png_set_swap(png);
    const std::size_t rowBytes = png_get_rowbytes(png, info);
    result.rows.resize(rowBytes * static_cast<std::size_t>(result.height));
    for (int y = 0; y < result.height; ++y)
        png_read_row(png, result.rows.data() + rowBytes * static_cast<std::size_t>(y), nullptr);
    png_read_end(png, info); // checks that the stream ends with its checksum and the file with its last chunk
    png_destroy_read_struct(&png, &info, nullptr);
    EXPECT_EQ(source.at, source.end) << "nothing behind the end";
    return result;
}

enum class Look { noise, photograph, drawing };

/// Components of a picture, 4 a pixel: 0 to 255, or to 65535.
std::vector<std::uint16_t> components(const CGImage::Layout& layout, Look look, unsigned seed = 3)
{
    std::mt19937 random(seed);
    const int most = layout.bitsPerComponent == 16 ? 65535 : 255;
    std::vector<std::uint16_t> result;
    for (int y = 0; y < layout.height; ++y)
        for (int x = 0; x < layout.width; ++x)
            for (int c = 0; c < 4; ++c) {
                int value = 0;
                if (look == Look::noise)
                    value = static_cast<int>(random() & static_cast<unsigned>(most));
                else if (look == Look::photograph)
                    value = most / 2 + static_cast<int>(std::sin(0.02 * (x + c * 9)) * std::cos(0.03 * y) * most / 3) +
                            static_cast<int>(random() % 9);
                else
                    value = (x / 23 + y / 17) % 3 == 0 ? most * (c + 1) / 5 : most;
                result.push_back(static_cast<std::uint16_t>(value));
            }
    if (layout.isGray)
        for (std::size_t i = 0; i < result.size(); i += 4)
            result[i + 1] = result[i + 2] = result[i];
    return result;
}

/// A picture of straight components (red, green, blue, alpha) in its layout; colours of premultiplied ones are given
/// so.
Ref<const CGImage> imageOf(const CGImage::Layout& layout, const std::vector<std::uint16_t>& values)
{
    const bool first = layout.alphaInfo == CGAlphaInfo::first || layout.alphaInfo == CGAlphaInfo::premultipliedFirst ||
                       layout.alphaInfo == CGAlphaInfo::noneSkipFirst;
    Bytes bytes;
    for (std::size_t i = 0; i < values.size(); i += 4)
        for (std::size_t k = 0; k < 4; ++k) {
            const std::uint16_t value = values[i + (first ? (k + 3) % 4 : k)];
            if (layout.bitsPerComponent == 16) {
                std::array<std::uint8_t, 2> pair{};
                std::memcpy(pair.data(), &value, 2);
                append(bytes, {pair[0], pair[1]});
            } else {
                bytes.push_back(static_cast<std::uint8_t>(value));
            }
        }
    const auto rowBytes = static_cast<std::size_t>(layout.width) * (layout.bitsPerComponent == 16 ? 8 : 4);
    return CGImage::make(layout, Data(std::move(bytes)), rowBytes);
}

/// The rows that the file must hold: `order` names the components of a pixel in it.
Bytes expectedRows(const std::vector<std::uint16_t>& values, int bits, const std::vector<std::size_t>& order)
{
    Bytes rows;
    for (std::size_t i = 0; i < values.size(); i += 4)
        for (const std::size_t k : order) {
            std::array<std::uint8_t, 2> pair{};
            std::memcpy(pair.data(), &values[i + k], 2);
            rows.push_back(bits == 16 ? pair[0] : static_cast<std::uint8_t>(values[i + k]));
            if (bits == 16)
                rows.push_back(pair[1]);
        }
    return rows;
}

CGImage::Layout layoutOf(int width, int height, int bits, CGAlphaInfo alpha, bool isGray = false)
{
    CGImage::Layout layout;
    layout.width = width;
    layout.height = height;
    layout.bitsPerComponent = bits;
    layout.alphaInfo = alpha;
    layout.isGray = isGray;
    return layout;
}

TEST(PngEncode, libpngReadsBackEverySample)
{
    const struct {
        const char* name;
        CGAlphaInfo alpha;
        bool isGray;
        int type;
        std::vector<std::size_t> order;
    } cases[] = {
        {"opaque", CGAlphaInfo::noneSkipLast, false, PNG_COLOR_TYPE_RGB, {0, 1, 2}},
        {"opaque, first skipped", CGAlphaInfo::noneSkipFirst, false, PNG_COLOR_TYPE_RGB, {0, 1, 2}},
        {"straight", CGAlphaInfo::last, false, PNG_COLOR_TYPE_RGBA, {0, 1, 2, 3}},
        {"straight, alpha first", CGAlphaInfo::first, false, PNG_COLOR_TYPE_RGBA, {0, 1, 2, 3}},
        {"grey", CGAlphaInfo::noneSkipLast, true, PNG_COLOR_TYPE_GRAY, {0}},
        {"grey and alpha", CGAlphaInfo::last, true, PNG_COLOR_TYPE_GRAY_ALPHA, {0, 3}},
        {"grey, alpha first", CGAlphaInfo::first, true, PNG_COLOR_TYPE_GRAY_ALPHA, {0, 3}},
    };
    const std::pair<int, int> sizes[] = {{1, 1}, {1, 7}, {7, 1}, {16, 16}, {17, 31}, {203, 160}};
    for (const auto& each : cases)
        for (const int bits : {8, 16})
            for (const auto& [width, height] : sizes)
                for (const Look look : {Look::noise, Look::photograph, Look::drawing}) {
                    SCOPED_TRACE(testing::Message() << each.name << ", " << bits << " bits, " << width << " x "
                                                    << height << ", look " << static_cast<int>(look));
                    const auto layout = layoutOf(width, height, bits, each.alpha, each.isGray);
                    const auto values = components(layout, look);
                    const auto file = encodePng(imageOf(layout, values), {});
                    ASSERT_TRUE(file);
                    const Read read = readWithLibpng(*file);
                    ASSERT_EQ(read.width, width);
                    ASSERT_EQ(read.height, height);
                    ASSERT_EQ(read.bits, bits);
                    ASSERT_EQ(read.type, each.type);
                    ASSERT_TRUE(read.rows == expectedRows(values, bits, each.order));
                    ASSERT_EQ(read.resolutionUnit, -1);
                    ASSERT_TRUE(read.profile.empty());
                }
}

TEST(PngEncode, premultipliedColoursAreDividedToTheNearest)
{
    // c × 255 ÷ a, halves upward; nothing is left of colours under an alpha of 0.
    const std::vector<std::uint16_t> values = {64, 32, 1, 128, 10, 20, 30, 255, 0, 0, 0, 0, 1, 2, 3, 3};
    const Bytes expected = {128, 64, 2, 128, 10, 20, 30, 255, 0, 0, 0, 0, 85, 170, 255, 3};
    for (const auto alpha : {CGAlphaInfo::premultipliedLast, CGAlphaInfo::premultipliedFirst}) {
        const auto file = encodePng(imageOf(layoutOf(4, 1, 8, alpha), values), {});
        ASSERT_TRUE(file);
        EXPECT_EQ(readWithLibpng(*file).rows, expected);
    }
}

TEST(PngEncode, resolutionIsRecordedInPixelsAMetre)
{
    const struct {
        const char* name;
        double x, y;
        std::uint32_t perMetreX, perMetreY;
    } cases[] = {
        {"72", 72, 72, 2835, 2835},
        {"144", 144, 144, 5669, 5669},
        {"300 and 600", 300, 600, 11811, 23622},
        {"one stands for both", 300, 0, 11811, 11811},
        {"none", 0, 0, 0, 0},
        {"negative", -1, -1, 0, 0},
        {"no number", std::nan(""), std::nan(""), 0, 0},
        {"infinite", INFINITY, INFINITY, 0, 0},
        {"beyond what can be recorded", 1e12, 1e12, 0, 0},
    };
    const auto image = imageOf(layoutOf(1, 1, 8, CGAlphaInfo::last), {1, 2, 3, 4});
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        PngOptions options;
        options.dpiX = each.x;
        options.dpiY = each.y;
        const auto file = encodePng(image, options);
        ASSERT_TRUE(file);
        const Read read = readWithLibpng(*file);
        EXPECT_EQ(read.perMetreX, each.perMetreX);
        EXPECT_EQ(read.perMetreY, each.perMetreY);
        EXPECT_EQ(read.resolutionUnit, each.perMetreX > 0 ? PNG_RESOLUTION_METER : -1);
        if (each.x == 144) {
            EXPECT_EQ(decode(Bytes(file->data(), file->data() + file->size()))->facts.dpiX, 144);
        }
    }
}

/// Where a file is not the one that it should be; empty where it is.
std::string differenceOf(const std::optional<Data>& file, const Data& wanted)
{
    if (!file)
        return "none: " + ZelFailure::last().message;
    const auto is = file->span(), should = wanted.span();
    if (std::equal(is.begin(), is.end(), should.begin(), should.end()))
        return "";
    const auto at = std::mismatch(is.begin(), is.end(), should.begin(), should.end()).first - is.begin();
    return fmt::format("{} bytes, not {}, from byte {} on", is.size(), should.size(), at);
}

TEST(PngEncode, theSameBytesForAnyNumberOfThreadsAndWhereverRowsComeFrom)
{
    const std::pair<int, int> sizes[] = {{1000, 800}, {3, 200'000}, {200'000, 4}};
    for (const auto& [width, height] : sizes)
        for (const Look look : {Look::photograph, Look::drawing}) {
            const auto layout = layoutOf(width, height, 8, CGAlphaInfo::last);
            const auto values = components(layout, look);
            const auto image = imageOf(layout, values);
            engine::setConcurrency(1);
            const auto one = encodePng(image, {});
            ASSERT_TRUE(one);
            EXPECT_TRUE(readWithLibpng(*one).rows == expectedRows(values, 8, {0, 1, 2, 3}));
            for (const int threads : {2, 5}) {
                SCOPED_TRACE(fmt::format("{} x {}, {}, {} threads", width, height, look == Look::drawing, threads));
                engine::setConcurrency(threads);
                EXPECT_EQ(differenceOf(encodePng(image, {}), *one), "");
                // From its file, which is decoded on the way.
                const auto undecoded = CGImage::make(pngCodec.open(ByteSource::of(*one)));
                ASSERT_TRUE(undecoded);
                EXPECT_EQ(differenceOf(encodePng(undecoded, {}), *one), "") << "decoded on the way";
            }
            engine::setConcurrency(0);
        }
}

TEST(PngEncode, compressionDoesNotDependOnWhatMemoryHeldBefore)
{
    Bytes content(300'000);
    std::mt19937 random(5);
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<std::uint8_t>(random() % 9 + i / 4000 % 7);
    Bytes first;
    const std::uint16_t fillings[] = {0, 5, 9, 12};
    for (const std::uint16_t before : fillings) {
        {
            // Freed at once: the stream's memory is taken from here.
            const std::vector<std::uint16_t> dirty(sizeof(isal_zstream) / sizeof before, before);
            ASSERT_EQ(dirty.back(), before);
        }
        png::Deflater deflater;
        const auto part = deflater.fast(content, true);
        if (first.empty())
            first.assign(part.begin(), part.end());
        EXPECT_TRUE(std::equal(part.begin(), part.end(), first.begin(), first.end())) << before;
    }
}

TEST(PngEncode, whatCannotBeDecodedIsNotEncoded)
{
    ZelFailure::clear();
    EXPECT_FALSE(encodePng(nullptr, {}));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    ZelLimits limits;
    limits.decodeTime = std::chrono::milliseconds(1);
    const auto layout = layoutOf(1500, 1500, 8, CGAlphaInfo::last);
    const auto file = encodePng(imageOf(layout, components(layout, Look::noise)), {});
    const auto image = CGImage::make(pngCodec.open(ByteSource::of(*file)));
    const ZelLimits::Scope scope(limits);
    EXPECT_FALSE(encodePng(image, {}));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
}

Data profileOf(const std::array<cmsCIExyY, 3>& primaries, double gamma, int channels)
{
    const cmsCIExyY white = {0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE triple = {primaries[0], primaries[1], primaries[2]};
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* const curves[] = {curve, curve, curve};
    const cmsHPROFILE profile =
        channels == 1 ? cmsCreateGrayProfile(&white, curve) : cmsCreateRGBProfile(&white, &triple, curves);
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    cmsFreeToneCurve(curve);
    return Data(std::move(bytes));
}

TEST(PngEncode, aProfileIsEmbeddedAndReadBackByteForByte)
{
    const std::array<cmsCIExyY, 3> wide = {cmsCIExyY{0.68, 0.32, 1}, {0.265, 0.69, 1}, {0.15, 0.06, 1}};
    for (const bool isGray : {false, true}) {
        SCOPED_TRACE(isGray ? "grey" : "colour");
        const Data profile = profileOf(wide, 1.8, isGray ? 1 : 3);
        auto layout = layoutOf(5, 4, 8, CGAlphaInfo::noneSkipLast, isGray);
        layout.colorSpace = CGColorSpace::fromProfile(profile, isGray ? 1 : 3, "test");
        ASSERT_TRUE(layout.colorSpace);
        const auto values = components(layout, Look::noise);
        const auto image = imageOf(layout, values);
        for (const bool smallest : {false, true}) {
            PngOptions options;
            options.smallest = smallest;
            const auto file = encodePng(image, options);
            ASSERT_TRUE(file);
            const Read read = readWithLibpng(*file);
            EXPECT_TRUE(read.profile == Bytes(profile.data(), profile.data() + profile.size()));
            EXPECT_FALSE(read.profileName.empty());
            const auto decoded = decode(Bytes(file->data(), file->data() + file->size()));
            ASSERT_TRUE(decoded && decoded->facts.layout.colorSpace);
            EXPECT_EQ(decoded->facts.layout.colorSpace->profile(), profile);
        }
    }
}

TEST(PngEncode, aProfileOfOtherChannelsMakesNoInvalidFile)
{
    const std::array<cmsCIExyY, 3> wide = {cmsCIExyY{0.68, 0.32, 1}, {0.265, 0.69, 1}, {0.15, 0.06, 1}};
    auto layout = layoutOf(5, 4, 8, CGAlphaInfo::noneSkipLast, true);
    layout.colorSpace = CGColorSpace::fromProfile(profileOf(wide, 1.8, 3), 3, "test");
    ASSERT_TRUE(layout.colorSpace);
    const auto values = components(layout, Look::noise);
    const Read read = readWithLibpng(*encodePng(imageOf(layout, values), {}));
    EXPECT_EQ(read.type, PNG_COLOR_TYPE_RGB) << "a grey picture in an RGB profile is written in colour";
    EXPECT_FALSE(read.profile.empty());
    EXPECT_TRUE(read.rows == expectedRows(values, 8, {0, 1, 2}));
}

/// The size that libpng makes of the same rows at its defaults.
std::size_t sizeByLibpng(const CGImage::Layout& layout, const std::vector<std::uint16_t>& values)
{
    Recipe recipe{layout.width, layout.height, 8, 2};
    recipe.rows = expectedRows(values, 8, {0, 1, 2});
    return writeWithLibpng(recipe).size();
}

TEST(PngEncode, drawingsDoNotComeOutLarge)
{
    const auto layout = layoutOf(1200, 900, 8, CGAlphaInfo::noneSkipLast);
    auto values = components(layout, Look::drawing);
    // Lettering: strokes of a few shapes, again and again, with soft edges.
    std::mt19937 random(5);
    for (int line = 0; line < 40; ++line)
        for (int letter = 0; letter < 90; ++letter) {
            const auto shape = static_cast<unsigned>(random() % 24);
            for (int y = 0; y < 14; ++y)
                for (int x = 0; x < 9; ++x) {
                    const unsigned ink = (shape * 2654435761U >> ((x / 2 + y / 3 * 4) % 31)) & 1;
                    const auto at = static_cast<std::size_t>((line * 22 + y) * 1200 + letter * 13 + x) * 4;
                    for (std::size_t c = 0; c < 3 && ink; ++c)
                        values[at + c] = static_cast<std::uint16_t>(x % 2 == 0 ? 20 : 140);
                }
        }
    const auto file = encodePng(imageOf(layout, values), {});
    ASSERT_TRUE(file);
    EXPECT_LT(file->size(), sizeByLibpng(layout, values) * 11 / 10);
    EXPECT_TRUE(readWithLibpng(*file).rows == expectedRows(values, 8, {0, 1, 2}));
}

TEST(PngEncode, theSmallestFileHasTheSamePixels)
{
    const struct {
        const char* name;
        CGAlphaInfo alpha;
        bool isGray;
        int bits;
        int colors; ///< 0 = as many as there are
        bool opaque;
        int type, depth;
    } cases[] = {
        {"many colours", CGAlphaInfo::last, false, 8, 0, false, 6, 8},
        {"many colours, all opaque", CGAlphaInfo::last, false, 8, 0, true, 2, 8},
        {"16 bits", CGAlphaInfo::last, false, 16, 0, false, 6, 16},
        {"16 bits, all opaque", CGAlphaInfo::last, false, 16, 0, true, 2, 16},
        {"grey and alpha", CGAlphaInfo::last, true, 8, 0, false, 4, 8},
        {"grey and an alpha that says nothing", CGAlphaInfo::last, true, 8, 0, true, 0, 8},
        {"two colours", CGAlphaInfo::noneSkipLast, false, 8, 2, true, 3, 1},
        {"three colours", CGAlphaInfo::last, false, 8, 3, false, 3, 2},
        {"five colours", CGAlphaInfo::last, false, 8, 5, false, 3, 4},
        {"17 colours", CGAlphaInfo::noneSkipLast, false, 8, 17, true, 3, 8},
        {"256 colours", CGAlphaInfo::last, false, 8, 256, false, 3, 8},
        {"257 colours", CGAlphaInfo::last, false, 8, 257, false, 6, 8},
    };
    PngOptions options;
    options.smallest = true;
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const auto layout = layoutOf(61, 47, each.bits, each.alpha, each.isGray);
        auto values = components(layout, Look::noise);
        const int most = each.bits == 16 ? 65535 : 255;
        for (std::size_t i = 0; i < values.size(); i += 4) {
            if (each.colors > 0) {
                const auto color =
                    i / 4 < static_cast<std::size_t>(each.colors) ? static_cast<int>(i / 4) : values[i] % each.colors;
                values[i] = static_cast<std::uint16_t>(color % 256);
                values[i + 1] = static_cast<std::uint16_t>(color / 256);
                values[i + 2] = 9;
                values[i + 3] = static_cast<std::uint16_t>(255 - color % 7);
            }
            if (each.opaque)
                values[i + 3] = static_cast<std::uint16_t>(most);
        }
        const auto image = imageOf(layout, values);
        const auto file = encodePng(image, options);
        ASSERT_TRUE(file);
        const Read read = readWithLibpng(*file);
        EXPECT_EQ(read.type, each.type);
        EXPECT_EQ(read.bits, each.depth);
        EXPECT_LE(file->size(), encodePng(image, {})->size());
        const auto decoded = decode(Bytes(file->data(), file->data() + file->size()));
        ASSERT_TRUE(decoded && decoded->complete);
        EXPECT_EQ(decoded->samples, values);
    }
}

TEST(PngDeflate, partsOfAnyKindJoinIntoOneStream)
{
    png::Deflater deflater;
    std::mt19937 random(1);
    const std::size_t sizes[] = {1, 2, 100, 5000, 70'000, 400'000};
    for (const bool thoroughFirst : {false, true})
        for (const std::size_t size : sizes) {
            SCOPED_TRACE(size);
            Bytes content, stream = {0x78, 0x5E};
            std::uint32_t adler = 1;
            constexpr int parts = 5;
            for (int part = 0; part < parts; ++part) {
                Bytes piece(size + static_cast<std::size_t>(part));
                for (auto& byte : piece) // noise in some parts, so that stored blocks come about
                    byte = static_cast<std::uint8_t>(part % 2 == 0 ? random() % 5 : random());
                const bool thorough = (part % 3 == 0) == thoroughFirst, last = part == parts - 1;
                const auto made = thorough ? deflater.thorough(piece, last) : deflater.fast(piece, last);
                ASSERT_FALSE(made.empty());
                append(stream, Bytes(made.begin(), made.end()));
                adler = png::combineAdler32(adler, png::adler32Of(piece), piece.size());
                append(content, piece);
            }
            EXPECT_EQ(adler, libdeflate_adler32(1, content.data(), content.size()));
            for (int shift = 24; shift >= 0; shift -= 8)
                stream.push_back(static_cast<std::uint8_t>(adler >> shift));
            Bytes unpacked(content.size());
            auto* const decompressor = libdeflate_alloc_decompressor();
            std::size_t used = 0, made = 0;
            EXPECT_EQ(libdeflate_zlib_decompress_ex(decompressor, stream.data(), stream.size(), unpacked.data(),
                                                    unpacked.size(), &used, &made),
                      LIBDEFLATE_SUCCESS);
            libdeflate_free_decompressor(decompressor);
            EXPECT_EQ(used, stream.size());
            EXPECT_TRUE(unpacked == content);
        }
}

} // namespace
} // namespace zel
