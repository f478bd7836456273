#include "jpeg_samples.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/graphics/color_space.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace zel {
namespace {

using jpegtest::Bytes;
using jpegtest::Recipe;

Ref<const PixelProvider> open(const Bytes& file)
{
    return jpegCodec.open(ByteSource::of(Data(file)));
}

/// Gives its bytes by pieces only, as large files do.
class PiecewiseSource final : public ByteSource {
public:
    explicit PiecewiseSource(Bytes bytes) : bytes_(std::move(bytes)) {}
    [[nodiscard]] std::uint64_t size() const override { return bytes_.size(); }
    [[nodiscard]] std::size_t read(std::uint64_t offset, std::span<std::uint8_t> into) const override
    {
        if (offset >= bytes_.size())
            return 0;
        const std::size_t count = std::min<std::size_t>(into.size(), bytes_.size() - offset);
        std::memcpy(into.data(), bytes_.data() + offset, count);
        return count;
    }
    void cutAt(std::size_t size) { bytes_.resize(size); }

private:
    Bytes bytes_;
};

struct Decoded {
    bool good = false;
    int width = 0;
    int rows = 0;
    Bytes pixels;
};

/// Collects what a provider delivers; checks that rows come in order, each once, at one width.
Decoded decode(const PixelProvider& provider, const PixelProvider::Request& request = {})
{
    Decoded result;
    int next = request.firstRow;
    result.good = provider.decode(request, [&](int first, const engine::ConstPixels& rows) {
        EXPECT_EQ(first, next);
        EXPECT_EQ(rows.bytesPerPixel, 4);
        next = first + rows.height;
        result.width = rows.width;
        for (int y = 0; y < rows.height; ++y)
            result.pixels.insert(result.pixels.end(), rows.row(y), rows.row(y) + rows.rowBytes());
        return true;
    });
    result.rows = next - request.firstRow;
    return result;
}

struct NamedRecipe {
    const char* name;
    Recipe recipe;
};

std::vector<NamedRecipe> allKinds()
{
    std::vector<NamedRecipe> kinds = {
        {"4:2:0", {}},
        {"4:2:2", {.horizontal = 2, .vertical = 1}},
        {"4:4:0", {.horizontal = 1, .vertical = 2}},
        {"4:4:4", {.horizontal = 1, .vertical = 1}},
        {"4:1:1", {.horizontal = 4, .vertical = 1}},
        {"4:1:0", {.horizontal = 4, .vertical = 2}},
        {"grey", {.stored = JCS_GRAYSCALE, .horizontal = 1, .vertical = 1}},
        {"grey with odd sampling", {.stored = JCS_GRAYSCALE}},
        {"RGB without transform", {.stored = JCS_RGB, .horizontal = 1, .vertical = 1}},
        {"progressive 4:2:0", {.progressive = true}},
        {"progressive 4:4:4", {.horizontal = 1, .vertical = 1, .progressive = true}},
        {"progressive grey", {.stored = JCS_GRAYSCALE, .horizontal = 1, .vertical = 1, .progressive = true}},
        {"one scan a component", {.separateScans = true}},
        {"restart markers", {.restartInterval = 2}},
        {"progressive with restart markers", {.progressive = true, .restartInterval = 3}},
        {"arithmetic", {.arithmetic = true}},
        {"arithmetic and progressive", {.progressive = true, .arithmetic = true}},
        {"quality 5", {.quality = 5}},
        {"quality 100", {.quality = 100}},
        {"1 x 1", {.width = 1, .height = 1}},
        {"1 x 70", {.width = 1, .height = 70}},
        {"200 x 1", {.width = 200, .height = 1}},
        {"17 x 33", {.width = 17, .height = 33}},
        {"64 x 64", {.width = 64, .height = 64}},
        {"3000 x 40, several bands", {.width = 3000, .height = 40}},
    };
    return kinds;
}

TEST(JpegReading, GivesWhatLibjpegGivesAtEverySize)
{
    for (const auto& [name, recipe] : allKinds())
        for (const int denominator : {1, 2, 4, 8}) {
            SCOPED_TRACE(testing::Message() << name << " at 1/" << denominator);
            const Bytes file = jpegtest::make(recipe);
            const auto provider = open(file);
            ASSERT_TRUE(provider) << ZelFailure::last().message;
            ASSERT_TRUE(provider->canReduce(denominator));
            const PictureFacts& facts = provider->facts();
            EXPECT_EQ(facts.layout.width, recipe.width);
            EXPECT_EQ(facts.layout.height, recipe.height);
            EXPECT_EQ(facts.layout.bitsPerComponent, 8);
            EXPECT_EQ(facts.layout.alphaInfo, CGAlphaInfo::noneSkipLast);
            EXPECT_EQ(facts.layout.isGray, recipe.stored == JCS_GRAYSCALE);
            EXPECT_FALSE(facts.layout.colorSpace);
            EXPECT_EQ(facts.format, "jpeg");
            EXPECT_EQ(facts.frames, 1);
            EXPECT_FALSE(facts.hasAlpha);

            const ZelReport report;
            const Decoded decoded = decode(*provider, {.denominator = denominator});
            EXPECT_TRUE(decoded.good);
            EXPECT_EQ(decoded.width, (recipe.width + denominator - 1) / denominator);
            EXPECT_EQ(decoded.rows, (recipe.height + denominator - 1) / denominator);
            EXPECT_EQ(decoded.pixels, jpegtest::decodePlainly(file, denominator));
            EXPECT_TRUE(report.notes().empty());
        }
}

TEST(JpegReading, IsTheSameByPieces)
{
    for (const auto& [name, recipe] : allKinds()) {
        SCOPED_TRACE(name);
        const Bytes file = jpegtest::make(recipe);
        const auto provider = jpegCodec.open(std::make_shared<PiecewiseSource>(file));
        ASSERT_TRUE(provider);
        EXPECT_EQ(decode(*provider).pixels, jpegtest::decodePlainly(file));
    }
}

TEST(JpegReading, RowRangesAreTheRowsOfTheWhole)
{
    for (auto [name, recipe] : allKinds()) {
        if (recipe.width > 200)
            continue;
        recipe.height = std::min(recipe.height, 1) + recipe.height;
        for (const int denominator : {1, 2, 8}) {
            const auto provider = open(jpegtest::make(recipe));
            ASSERT_TRUE(provider);
            const Decoded whole = decode(*provider, {.denominator = denominator});
            const std::size_t rowBytes = static_cast<std::size_t>(whole.width) * 4;
            for (int first = 0; first <= whole.rows; ++first)
                for (const int count : {0, 1, 2, 9, 17, -1}) {
                    if (first + count > whole.rows)
                        continue;
                    SCOPED_TRACE(testing::Message()
                                 << name << " at 1/" << denominator << ", " << count << " rows from " << first);
                    const Decoded part =
                        decode(*provider, {.denominator = denominator, .firstRow = first, .rowCount = count});
                    const int rows = count < 0 ? whole.rows - first : count;
                    EXPECT_TRUE(part.good);
                    ASSERT_EQ(part.rows, rows);
                    ASSERT_TRUE(std::equal(part.pixels.begin(), part.pixels.end(),
                                           whole.pixels.begin() + static_cast<std::ptrdiff_t>(
                                                                      static_cast<std::size_t>(first) * rowBytes)));
                }
        }
    }
}

TEST(JpegReading, RefusesRequestsOutsideThePicture)
{
    const auto provider = open(jpegtest::make({}));
    ASSERT_TRUE(provider);
    const PixelProvider::Request requests[] = {
        {.denominator = 3}, {.denominator = 0}, {.denominator = 16},
        {.firstRow = -1},   {.firstRow = 40},   {.firstRow = 20, .rowCount = 20},
    };
    for (const auto& request : requests) {
        ZelFailure::clear();
        EXPECT_FALSE(decode(*provider, request).good);
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    }
}

TEST(JpegReading, StopsWhenTheSinkSaysSo)
{
    const auto provider = open(jpegtest::make({.width = 3000, .height = 400}));
    ASSERT_TRUE(provider);
    int calls = 0;
    EXPECT_FALSE(provider->decode({}, [&](int, const engine::ConstPixels&) { return ++calls < 2; }));
    EXPECT_EQ(calls, 2);
}

TEST(JpegReading, BringsInkToRgb)
{
    struct Case {
        const char* name;
        J_COLOR_SPACE stored;
        bool adobe;
        Bytes samples; ///< as stored: with an Adobe marker 255 is no ink
        int red, green, blue;
    };
    const Case cases[] = {
        {"no ink, Adobe CMYK", JCS_CMYK, true, {255, 255, 255, 255}, 255, 255, 255},
        {"no ink, plain CMYK", JCS_CMYK, false, {0, 0, 0, 0}, 255, 255, 255},
        {"magenta and yellow, Adobe CMYK", JCS_CMYK, true, {255, 0, 0, 255}, 255, 0, 0},
        {"magenta and yellow, plain CMYK", JCS_CMYK, false, {0, 255, 255, 0}, 255, 0, 0},
        {"cyan, Adobe YCCK", JCS_YCCK, true, {0, 255, 255, 255}, 0, 255, 255},
        {"half black, Adobe YCCK", JCS_YCCK, true, {255, 255, 255, 128}, 128, 128, 128},
        {"all inks, Adobe YCCK", JCS_YCCK, true, {0, 0, 0, 0}, 0, 0, 0},
        {"half of each but black, plain CMYK", JCS_CMYK, false, {128, 128, 128, 0}, 127, 127, 127},
        {"200 x 100 of 255, plain CMYK", JCS_CMYK, false, {55, 0, 155, 128}, 100, 127, 50},
    };
    for (const Case& each : cases)
        for (const int denominator : {1, 8}) {
            SCOPED_TRACE(each.name);
            const auto provider = open(jpegtest::make({.stored = each.stored,
                                                       .horizontal = 1,
                                                       .vertical = 1,
                                                       .quality = 100,
                                                       .adobe = each.adobe,
                                                       .flat = each.samples}));
            ASSERT_TRUE(provider);
            EXPECT_FALSE(provider->facts().layout.isGray);
            EXPECT_FALSE(provider->facts().layout.colorSpace);
            const Decoded decoded = decode(*provider, {.denominator = denominator});
            ASSERT_TRUE(decoded.good);
            for (std::size_t pixel = 0; pixel < decoded.pixels.size(); pixel += 4) {
                ASSERT_NEAR(decoded.pixels[pixel], each.red, 2);
                ASSERT_NEAR(decoded.pixels[pixel + 1], each.green, 2);
                ASSERT_NEAR(decoded.pixels[pixel + 2], each.blue, 2);
                ASSERT_EQ(decoded.pixels[pixel + 3], 255);
            }
        }
}

TEST(JpegReading, RecognisesByContent)
{
    const Bytes jpeg = {0xFF, 0xD8, 0xFF, 0xE0};
    const Bytes cut = {0xFF, 0xD8};
    const Bytes other = {0x89, 'P', 'N', 'G'};
    EXPECT_TRUE(jpegCodec.recognises(jpeg));
    EXPECT_FALSE(jpegCodec.recognises(cut));
    EXPECT_FALSE(jpegCodec.recognises(other));
    EXPECT_FALSE(jpegCodec.recognises({}));
}

} // namespace
} // namespace zel
