#include "jpeg_samples.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/codecs/exif_edit.h>
#include <zel/platform/codecs/jpeg_coefficients.h>
#include <zel/platform/codecs/jpeg_lossless.h>
#include <zel/platform/codecs/jpeg_markers.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/image_rows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace zel {
namespace {

using jpegtest::Bytes;
using jpegtest::operator+;
using jpegtest::Recipe;
using Area = JpegChange::Area;

std::optional<Data> changed(const Bytes& file, const JpegChange& change)
{
    ZelFailure::clear();
    return changeJpeg(ByteSource::view(file), change);
}

Bytes bytesOf(const std::optional<Data>& data)
{
    EXPECT_TRUE(data) << ZelFailure::last().message;
    return data ? Bytes(data->data(), data->data() + data->size()) : Bytes{};
}

/// An EXIF block of three entries in IFD 0 (orientation, and the resolution in figures behind them), the pixel sides in
/// a directory of their own, and a thumbnail of four bytes in IFD 1; big endian.
Bytes exifBlock(int orientation)
{
    Bytes block = jpegtest::text("Exif\0\0MM\0\x2A\0\0\0\x08", 14);
    const auto add = [&block](std::uint32_t value, int bytes) {
        for (int shift = 8 * bytes - 8; shift >= 0; shift -= 8)
            block.push_back(static_cast<std::uint8_t>(value >> shift & 0xFF));
    };
    const auto entry = [&add](std::uint32_t tag, std::uint32_t type, std::uint32_t value) {
        add(tag, 2), add(type, 2), add(1, 4);
        if (type == 3)
            add(value, 2), add(0, 2);
        else
            add(value, 4);
    };
    add(4, 2); // at 8
    entry(0x0112, 3, static_cast<std::uint32_t>(orientation));
    entry(0x011A, 5, 62);
    entry(0x011B, 5, 70);
    entry(0x8769, 4, 78);
    add(108, 4); // IFD 1
    add(300, 4), add(1, 4), add(150, 4), add(1, 4);
    add(2, 2); // at 78
    entry(0xA002, 3, 64);
    entry(0xA003, 3, 48);
    add(0, 4);
    add(2, 2); // at 108
    entry(0x0201, 4, 138);
    entry(0x0202, 4, 4);
    add(0, 4);
    add(0xDEADBEEF, 4); // at 138
    return block;
}

/// Upright pixels, four bytes each.
struct Upright {
    int width = 0, height = 0;
    Bytes pixels;
    [[nodiscard]] int at(int x, int y, int component) const
    {
        return pixels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) *
                          4 +
                      static_cast<std::size_t>(component)];
    }
};

Upright uprightOf(const Bytes& file)
{
    const auto image = CGImage::make(jpegCodec.open(ByteSource::of(Data(file))));
    if (!image)
        return {};
    const auto bytes = image->bytes();
    return {image->width(), image->height(), Bytes(bytes.begin(), bytes.end())};
}

/// All coefficients, component after component, row after row, with the sides in front.
std::vector<int> coefficientsOf(const Bytes& file)
{
    const auto source = ByteSource::view(file);
    JpegCoefficients coefficients(*source);
    if (!coefficients.readHeader(JpegDecoder::Segments::passed) || !coefficients.read())
        return {};
    const auto& info = coefficients.decoder().info();
    std::vector<int> all{static_cast<int>(info.image_width), static_cast<int>(info.image_height)};
    for (int component = 0; component < info.num_components; ++component)
        for (int y = 0; y < coefficients.blocksHigh(component); ++y) {
            const auto wide = static_cast<std::size_t>(coefficients.blocksWide(component));
            const JCOEF* const row = coefficients.row(component, y)[0];
            all.insert(all.end(), row, row + wide * 64);
        }
    return all;
}

struct Way {
    const char* name;
    Recipe recipe;
};
const Way ways[] = {
    {"colour at half size", {.width = 96, .height = 64}},
    {"halved across", {.width = 96, .height = 64, .vertical = 1}},
    {"halved down", {.width = 96, .height = 64, .horizontal = 1}},
    {"full colour, progressive", {.width = 96, .height = 64, .horizontal = 1, .vertical = 1, .progressive = true}},
    {"grey", {.width = 96, .height = 64, .stored = JCS_GRAYSCALE, .horizontal = 1, .vertical = 1}},
    {"arithmetic", {.width = 96, .height = 64, .arithmetic = true, .restartInterval = 3}},
    {"ink", {.width = 96, .height = 64, .stored = JCS_CMYK, .horizontal = 1, .vertical = 1}},
};

// Turning pixels and turning coefficients differ by the rounding of two inverse transforms, and where colour is at half
// size by nothing else: its smooth enlarging knows no direction.
TEST(JpegLossless, TurnsLikeThePixels)
{
    for (const auto& [name, recipe] : ways)
        for (int orientation = 1; orientation <= 8; ++orientation)
            for (int turns = 0; turns < 4; ++turns)
                for (const bool mirror : {false, true}) {
                    if (turns == 0 && !mirror)
                        continue;
                    SCOPED_TRACE(testing::Message() << name << ", orientation " << orientation << ", turns " << turns
                                                    << (mirror ? ", mirrored" : ""));
                    Recipe source = recipe;
                    source.segments = {{0xE1, exifBlock(orientation)}};
                    const Bytes file = jpegtest::make(source);
                    const Upright before = uprightOf(file);
                    const Bytes result = bytesOf(changed(file, {.quarterTurns = turns, .mirror = mirror}));
                    const Upright after = uprightOf(result);
                    const bool swapped = turns % 2 != 0;
                    ASSERT_EQ(after.width, swapped ? before.height : before.width);
                    ASSERT_EQ(after.height, swapped ? before.width : before.height);
                    int worst = 0;
                    for (int y = 0; y < after.height; ++y)
                        for (int x = 0; x < after.width; ++x) {
                            int fromX = mirror ? after.width - 1 - x : x, fromY = y;
                            if (turns == 1)
                                fromX = std::exchange(fromY, before.height - 1 - fromX);
                            else if (turns == 2)
                                fromX = before.width - 1 - fromX, fromY = before.height - 1 - fromY;
                            else if (turns == 3)
                                fromY = std::exchange(fromX, before.width - 1 - fromY);
                            for (int component = 0; component < 3; ++component)
                                worst = std::max(
                                    worst, std::abs(after.at(x, y, component) - before.at(fromX, fromY, component)));
                        }
                    ASSERT_LE(worst, 3);
                }
}

TEST(JpegLossless, FourQuarterTurnsGiveTheSameCoefficients)
{
    for (const auto& [name, recipe] : ways) {
        SCOPED_TRACE(name);
        const Bytes file = jpegtest::make(recipe);
        Bytes turned = file;
        for (int turn = 0; turn < 4; ++turn) {
            turned = bytesOf(changed(turned, {.quarterTurns = 1}));
            EXPECT_EQ(coefficientsOf(turned) == coefficientsOf(file), turn == 3);
        }
        EXPECT_EQ(jpegtest::decodePlainly(turned), jpegtest::decodePlainly(file));
    }
}

TEST(JpegLossless, CutsBetweenBlocks)
{
    const struct {
        const char* name;
        int orientation;
        Area area;
    } cases[] = {
        {"inside", 1, {16, 32, 40, 21}},
        {"to the edge", 1, {64, 16, 36, 45}},
        {"one pixel", 1, {48, 48, 1, 1}},
        {"turned: the last column is stored first", 6, {61 - 16 - 20, 32, 20, 30}},
        {"half a turn", 3, {100 - 16 - 40, 61 - 32 - 20, 40, 20}},
    };
    for (const auto& [name, orientation, area] : cases) {
        SCOPED_TRACE(name);
        const Bytes file = jpegtest::make({.width = 100, .height = 61, .segments = {{0xE1, exifBlock(orientation)}}});
        const Upright before = uprightOf(file);
        const Upright after = uprightOf(bytesOf(changed(file, {.area = area})));
        ASSERT_EQ(after.width, area.width);
        ASSERT_EQ(after.height, area.height);
        // Luma is exact; colour at the new edges has no neighbours to be smoothed with.
        for (int y = 1; y + 1 < after.height; ++y)
            for (int x = 1; x + 1 < after.width; ++x)
                for (int component = 0; component < 3; ++component)
                    ASSERT_EQ(after.at(x, y, component), before.at(area.x + x, area.y + y, component));
    }
}

TEST(JpegLossless, RefusesWhatCannotBePerfect)
{
    const Bytes odd = jpegtest::make({.width = 100, .height = 61});
    Bytes cut = jpegtest::make({.width = 96, .height = 64});
    cut.resize(cut.size() * 2 / 3);
    const struct {
        const char* name;
        Bytes file;
        JpegChange change;
        ZelFailureCode code;
        const char* says;
    } cases[] = {
        {"rows left over", odd, {.quarterTurns = 1}, ZelFailureCode::unsupported, "16 x 16"},
        {"columns left over", odd, {.quarterTurns = 3}, ZelFailureCode::unsupported, "rows"},
        {"within a block", odd, {.area = Area{8, 0, 32, 32}}, ZelFailureCode::invalidArgument, "16 x 16"},
        {"outside", odd, {.area = Area{16, 16, 85, 10}}, ZelFailureCode::invalidArgument, "outside"},
        {"outside by far",
         odd,
         {.area = Area{0, 0, 2147483647, 2147483647}},
         ZelFailureCode::invalidArgument,
         "outside"},
        {"left of it", odd, {.area = Area{-16, 0, 32, 32}}, ZelFailureCode::invalidArgument, "outside"},
        {"no area", odd, {.area = Area{0, 0, 0, 5}}, ZelFailureCode::invalidArgument, "outside"},
        {"cut short", cut, {.quarterTurns = 2}, ZelFailureCode::truncated, "ends early"},
        {"nothing left",
         jpegtest::make({.width = 10, .height = 10}),
         {.quarterTurns = 1, .trim = true},
         ZelFailureCode::unsupported,
         "left over"},
        {"no picture", Bytes{1, 2, 3}, {.quarterTurns = 1}, ZelFailureCode::notAnImage, ""},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        EXPECT_FALSE(changed(each.file, each.change));
        EXPECT_EQ(ZelFailure::last().code, each.code);
        EXPECT_THAT(ZelFailure::last().message, testing::HasSubstr(each.says));
    }
    EXPECT_TRUE(changed(odd, {.mirror = true, .trim = true})) << ZelFailure::last().message;
    const Upright trimmed = uprightOf(bytesOf(changed(odd, {.quarterTurns = 2, .trim = true})));
    EXPECT_EQ(trimmed.width, 96);
    EXPECT_EQ(trimmed.height, 48);
}

TEST(JpegLossless, KeepsSegmentsAndSetsThemRight)
{
    const Bytes profile = jpegtest::text("ICC_PROFILE\0\1\1", 14) + Bytes(200, 7);
    const Bytes file = jpegtest::make({.width = 64,
                                       .height = 48,
                                       .segments = {{0xE1, exifBlock(6)},
                                                    {0xE2, profile},
                                                    {0xE2, jpegtest::text("MPF\0MM\0\x2A", 8)},
                                                    {0xFE, jpegtest::text("a comment", 9)}}});
    const Bytes turned = bytesOf(changed(file, {.quarterTurns = 1}));
    const auto holds = [&turned](const Bytes& part) {
        return std::search(turned.begin(), turned.end(), part.begin(), part.end()) != turned.end();
    };
    EXPECT_TRUE(holds(profile));
    EXPECT_TRUE(holds(jpegtest::text("a comment", 9)));
    EXPECT_FALSE(holds(jpegtest::text("MPF", 3)));
    EXPECT_FALSE(holds({0xDE, 0xAD, 0xBE, 0xEF}));
    // Stored upright by a quarter turn and one more: the sides are as they were, rows and columns did not change
    // places.
    JpegMarkers markers;
    ASSERT_TRUE(readJpegMarkers(*ByteSource::view(turned), Deadline(), markers));
    EXPECT_EQ(markers.exif.orientation, Orientation::up);
    EXPECT_EQ(markers.exif.dpiX, 300);
    EXPECT_EQ(markers.exif.dpiY, 150);
    const Bytes once = bytesOf(changed(file, {.quarterTurns = 3})); // undoes the orientation
    ASSERT_TRUE(readJpegMarkers(*ByteSource::view(once), Deadline(), markers = {}));
    EXPECT_EQ(markers.exif.orientation, Orientation::up);
    EXPECT_EQ(markers.exif.dpiX, 300);
    const Bytes mirrored = bytesOf(changed(file, {.quarterTurns = 2})); // orientation 6 and half a turn: on its side
    ASSERT_TRUE(readJpegMarkers(*ByteSource::view(mirrored), Deadline(), markers = {}));
    EXPECT_EQ(markers.exif.dpiX, 150);
    EXPECT_EQ(markers.exif.dpiY, 300);
    const Bytes sides = {0xA0, 0x02, 0, 3, 0, 0, 0, 1, 0, 48, 0, 0, 0xA0, 0x03, 0, 3, 0, 0, 0, 1, 0, 64};
    EXPECT_NE(std::search(mirrored.begin(), mirrored.end(), sides.begin(), sides.end()), mirrored.end());
    // A cut keeps the orientation, which the stored rows still need.
    ASSERT_TRUE(readJpegMarkers(*ByteSource::view(bytesOf(changed(file, {.area = Area{0, 0, 16, 16}}))), Deadline(),
                                markers = {}));
    EXPECT_EQ(markers.exif.orientation, Orientation::right);
}

TEST(JpegLossless, RecordsAResolutionAndTouchesNothingElse)
{
    const Bytes jfif = jpegtest::make({.densityUnit = 1, .densityX = 72, .densityY = 72});
    const Bytes both = jpegtest::make({.segments = {{0xE1, exifBlock(6)}}});
    Bytes bare = jfif;
    bare.erase(bare.begin() + 2, bare.begin() + 20);
    const struct {
        const char* name;
        Bytes file;
        std::size_t added;
    } cases[] = {{"JFIF", jfif, 0}, {"JFIF and EXIF", both, 0}, {"neither", bare, 18}};
    for (const auto& [name, file, added] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(bytesOf(changed(file, {})), file);
        const Bytes result = bytesOf(changed(file, {.dpi = 240}));
        const auto picture = jpegCodec.open(ByteSource::of(Data(result)));
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->facts().dpiX, 240);
        EXPECT_EQ(picture->facts().dpiY, 240);
        ASSERT_EQ(result.size(), file.size() + added);
        EXPECT_TRUE(std::equal(file.end() - 500, file.end(), result.end() - 500));
        EXPECT_EQ(coefficientsOf(result), coefficientsOf(file));
    }
    // Colours that JFIF does not know, and no EXIF: said, and left.
    const ZelReport report;
    const Bytes ink = jpegtest::make({.stored = JCS_CMYK, .horizontal = 1, .vertical = 1});
    EXPECT_EQ(bytesOf(changed(ink, {.dpi = 240})), ink);
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].severity, ZelSeverity::warning);
    const Bytes turned = bytesOf(changed(both, {.quarterTurns = 1, .trim = true, .dpi = 100}));
    EXPECT_EQ(jpegCodec.open(ByteSource::of(Data(turned)))->facts().dpiX, 100);
}

// Whatever the bytes claim: a file that opens again, or a reason.
TEST(JpegLossless, HostileFilesAreSafe)
{
    const Bytes good =
        jpegtest::make({.width = 64, .height = 48, .progressive = true, .segments = {{0xE1, exifBlock(8)}}});
    std::uint32_t seed = 11;
    const auto next = [&] { return (seed = seed * 1664525U + 1013904223U) >> 8; };
    int results = 0;
    for (int round = 0; round < 600; ++round) {
        Bytes file = good;
        for (std::uint32_t changes = 1 + next() % 4; changes > 0; --changes)
            file[next() % (round % 2 == 0 ? 220 : file.size())] = static_cast<std::uint8_t>(next());
        if (round % 5 == 0)
            file.resize(next() % file.size());
        const auto result =
            changed(file, {.quarterTurns = round % 4, .mirror = round % 3 == 0, .trim = true, .dpi = 200});
        if (!result) {
            EXPECT_NE(ZelFailure::last().code, ZelFailureCode::none);
            continue;
        }
        ++results;
        EXPECT_TRUE(jpegCodec.open(ByteSource::of(*result))) << round;
    }
    EXPECT_GT(results, 50);
}

TEST(ExifEditing, StaysWithinTheBlock)
{
    // Directories that lead to themselves and places behind the end.
    const Bytes good = exifBlock(6);
    for (std::size_t length = 0; length <= good.size(); ++length) {
        Bytes block(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length));
        (void)editExif(
            block,
            {.makeUpright = true, .swapResolution = true, .dpi = 99, .width = 1, .height = 2, .clearThumbnail = true});
        EXPECT_EQ(block.size(), length);
    }
    std::uint32_t seed = 5;
    const auto next = [&] { return (seed = seed * 1664525U + 1013904223U) >> 8; };
    for (int round = 0; round < 2000; ++round) {
        Bytes block = good;
        for (int changes = 0; changes < 3; ++changes)
            block[6 + next() % (block.size() - 6)] = static_cast<std::uint8_t>(next() % 3 == 0 ? next() % 150 : 0xFF);
        (void)editExif(
            block,
            {.makeUpright = true, .swapResolution = true, .dpi = 99, .width = 1, .height = 2, .clearThumbnail = true});
    }
}

} // namespace
} // namespace zel
