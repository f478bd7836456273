#include "decoded.h"
#include "heif_maker.h"

#include <zel/platform/foundation/failure.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace zel {
namespace {

using test::Bytes, test::MadeItem, test::operator+;

const seeds::Seed& seedNamed(const std::string& name)
{
    for (const seeds::Seed& seed : seeds::heifSeeds())
        if (seed.name == name)
            return seed;
    ADD_FAILURE() << "no seed " << name;
    return seeds::heifSeeds().front();
}

/// The mean difference from what the seed was painted with, of 8 bits.
double meanError(const test::Decoded& found, int channel, bool isGray,
                 const std::function<std::pair<int, int>(int, int)>& stored)
{
    double sum = 0;
    for (int y = 0; y < found.height; ++y)
        for (int x = 0; x < found.width; ++x) {
            const auto [sx, sy] = stored(x, y);
            const double value = found.at(x, y)[static_cast<std::size_t>(channel)];
            sum += std::abs(value / (found.bitsPerComponent == 16 ? 257 : 1) -
                            seeds::sample(sx / 4, sy / 4, isGray ? 0 : channel));
        }
    return sum / found.width / found.height;
}

TEST(HeifRead, KindsThatAnotherLibraryWrote)
{
    const struct {
        const char* seed;
        int bits = 8;
        bool isGray = false, hasAlpha = false;
        int frames = 1;
        Orientation orientation = Orientation::up;
    } cases[] = {
        {.seed = "heif-colour"},
        {.seed = "heif-small"},
        {.seed = "heif-odd"},
        {.seed = "heif-alpha", .hasAlpha = true},
        {.seed = "heif-ten-bits", .bits = 10},
        {.seed = "heif-grey", .isGray = true},
        {.seed = "heif-turned", .orientation = Orientation::right},
        {.seed = "heif-two", .frames = 2},
        {.seed = "avif-colour"},
        {.seed = "avif-alpha", .hasAlpha = true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.seed);
        const seeds::Seed& seed = seedNamed(c.seed);
        const ZelReport report;
        const auto picture = test::open(seed.bytes);
        ASSERT_TRUE(picture) << ZelFailure::last().message;
        const PictureFacts& facts = picture->facts();
        EXPECT_EQ(facts.format, std::string(c.seed).substr(0, 4));
        EXPECT_EQ(facts.bits, c.bits);
        EXPECT_EQ(facts.layout.bitsPerComponent, c.bits == 8 ? 8 : 16);
        EXPECT_EQ(facts.layout.isGray, c.isGray);
        EXPECT_EQ(facts.hasAlpha, c.hasAlpha);
        EXPECT_EQ(facts.frames, c.frames);
        EXPECT_EQ(facts.orientation, c.orientation);
        EXPECT_EQ(report.notes().size(), c.frames > 1 ? 1U : 0U);
        const bool isTurned = swapsSides(c.orientation);
        const test::Decoded pixels = test::decode(*picture);
        EXPECT_TRUE(pixels.complete);
        EXPECT_EQ(pixels.width, isTurned ? seed.height : seed.width);
        EXPECT_EQ(pixels.height, isTurned ? seed.width : seed.height);
        const auto asStored = [](int x, int y) { return std::pair(x, y); };
        // Colours are kept at half the resolution, patches are 4 pixels wide; transparency is kept whole.
        for (int channel = 0; channel < 3; ++channel)
            EXPECT_LT(meanError(pixels, channel, c.isGray, asStored), c.isGray ? 3 : 12) << channel;
        if (c.hasAlpha) {
            EXPECT_LT(meanError(pixels, 3, false, asStored), 5);
        }
    }
}

TEST(HeifRead, TransformsCompose)
{
    const Bytes turn = test::box("irot", {1}), flip = test::box("imir", {0}), mirror = test::box("imir", {1});
    const auto clap = [](std::uint32_t width, std::uint32_t height, std::int32_t right, std::int32_t down) {
        const auto offset = [](std::int32_t value) {
            return test::be(static_cast<std::uint32_t>(value), 4) + test::be(2, 4);
        };
        return test::box("clap", test::be(width, 4) + test::be(1, 4) + test::be(height, 4) + test::be(1, 4) +
                                     offset(right) + offset(down));
    };
    // 64 × 48 stored; offsets are of the centre, in half pixels.
    const struct {
        const char* name;
        std::vector<Bytes> properties;
        Orientation orientation;
        heif::Crop crop;
    } cases[] = {
        {"none", {}, Orientation::up, {0, 0, 64, 48}},
        {"anticlockwise", {turn}, Orientation::left, {0, 0, 64, 48}},
        {"half", {test::box("irot", {2})}, Orientation::down, {0, 0, 64, 48}},
        {"clockwise", {test::box("irot", {3})}, Orientation::right, {0, 0, 64, 48}},
        {"top to bottom", {flip}, Orientation::downMirrored, {0, 0, 64, 48}},
        {"left to right", {mirror}, Orientation::mirrored, {0, 0, 64, 48}},
        {"turned, then flipped", {turn, flip}, Orientation::transposed, {0, 0, 64, 48}},
        {"turned, then mirrored", {turn, mirror}, Orientation::transverse, {0, 0, 64, 48}},
        {"mirrored, then turned", {mirror, turn}, Orientation::transposed, {0, 0, 64, 48}},
        {"middle", {clap(40, 20, 0, 0)}, Orientation::up, {12, 14, 40, 20}},
        {"left top", {clap(40, 20, -24, -28)}, Orientation::up, {0, 0, 40, 20}},
        // Upright 48 × 64 after an anticlockwise turn: its top is the right of the stored one.
        {"turned, then its top", {turn, clap(48, 16, 0, -48)}, Orientation::left, {48, 0, 16, 48}},
        {"its right, then turned", {clap(16, 48, 48, 0), turn}, Orientation::left, {48, 0, 16, 48}},
        {"outside", {clap(40, 20, 100, 0)}, Orientation::up, {0, 0, 64, 48}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MadeItem item = test::codedItem();
        item.properties.insert(item.properties.end(), c.properties.begin(), c.properties.end());
        const Bytes file = test::madeHeif({item});
        const auto contents = heif::readContents(*ByteSource::view(file));
        ASSERT_TRUE(contents) << ZelFailure::last().message;
        EXPECT_EQ(contents->orientation, c.orientation);
        const auto& [left, top, width, height] = contents->crop;
        EXPECT_EQ((std::array{left, top, width, height}),
                  (std::array{c.crop.left, c.crop.top, c.crop.width, c.crop.height}));

        // The crop is cut out of the whole, whatever rows are asked for.
        const auto picture = test::open(file);
        ASSERT_TRUE(picture);
        const auto whole = test::decode(*test::open(test::madeHeif({test::codedItem()})));
        const auto part = test::decode(*picture, {.firstRow = 3, .rowCount = 9});
        ASSERT_TRUE(part.complete);
        EXPECT_EQ(part.at(5, 4), whole.at(c.crop.left + 5, c.crop.top + 7));
    }
}

TEST(HeifRead, GridsArePutTogetherAndTheirBorderCutOff)
{
    const MadeItem tile = test::codedItem();
    const auto alone = test::decode(*test::open(test::madeHeif({tile})));
    const Bytes file = test::madeHeif({test::grid(2, 3, 150, 90, {2, 2, 2, 2, 2, 2}), tile});
    const auto picture = test::open(file);
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const auto pixels = test::decode(*picture);
    EXPECT_TRUE(pixels.complete);
    EXPECT_EQ(pixels.width, 150);
    EXPECT_EQ(pixels.height, 90);
    for (const auto& [x, y] : {std::pair{0, 0}, {63, 47}, {64, 47}, {149, 48}, {130, 89}})
        EXPECT_EQ(pixels.at(x, y), alone.at(x % 64, y % 48)) << x << ", " << y;
    EXPECT_EQ(picture->facts().frames, 1) << "a tile is no picture";
}

TEST(HeifRead, ACutGridGivesTheRowsAboveTheCut)
{
    const MadeItem tile = test::codedItem();
    Bytes file = test::madeHeif({test::grid(2, 1, 64, 96, {2, 3}), tile, tile});
    file.resize(file.size() - 10);
    const auto picture = test::open(file);
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const ZelReport report;
    const auto pixels = test::decode(*picture);
    EXPECT_TRUE(pixels.complete);
    EXPECT_EQ(pixels.at(20, 60), (std::array{0, 0, 0, 0}));
    EXPECT_EQ(pixels.at(20, 20)[3], 255);
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].code, ZelFailureCode::truncated);

    Bytes whole = test::madeHeif({tile});
    whole.resize(whole.size() - 10);
    EXPECT_FALSE(test::open(whole));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::truncated);
}

TEST(HeifRead, ColoursAndResolution)
{
    // An EXIF block that turns the picture, which the container does not, and states 300 dots an inch.
    const Bytes tiff = test::text("MM") + test::be(42, 2) + test::be(8, 4) + test::be(3, 2) + test::be(0x0112'0003, 4) +
                       test::be(1, 4) + test::be(6 << 16, 4) +                       //
                       test::be(0x011A'0005, 4) + test::be(1, 4) + test::be(50, 4) + //
                       test::be(0x011B'0005, 4) + test::be(1, 4) + test::be(50, 4) + test::be(0, 4) + test::be(300, 4) +
                       test::be(1, 4);
    MadeItem item = test::codedItem();
    const auto nclx = [](int primaries, int transfer) {
        return test::box("colr", test::text("nclx") + test::be(static_cast<unsigned>(primaries), 2) +
                                     test::be(static_cast<unsigned>(transfer), 2) + test::be(6, 2) + Bytes{0x80});
    };
    item.properties.push_back(nclx(12, 13));
    const auto picture = test::open(test::madeHeif({item, {"Exif", test::be(0, 4) + tiff, {}, {}, {{"cdsc", 1}}}}));
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    const PictureFacts& facts = picture->facts();
    EXPECT_EQ(facts.orientation, Orientation::up);
    EXPECT_EQ(facts.dpiX, 300);
    ASSERT_TRUE(facts.layout.colorSpace) << "Display P3 is not sRGB";

    item.properties.back() = nclx(1, 13);
    EXPECT_FALSE(test::open(test::madeHeif({item}))->facts().layout.colorSpace);
}

TEST(HeifRead, RefusesWhatCannotBeOrCostsTooMuch)
{
    const MadeItem tile = test::codedItem();
    const auto sized = [&](int width, int height) {
        MadeItem item = tile;
        item.properties[0] = test::sizeProperty(width, height);
        return item;
    };
    const auto cut = [](Bytes bytes, std::size_t length) {
        bytes.resize(length);
        return bytes;
    };
    std::vector<int> many(200, 2);
    const struct {
        const char* name;
        Bytes file;
        ZelFailureCode code;
    } cases[] = {
        {"a million items", test::madeHeif({tile}, 1'000'000), ZelFailureCode::limit},
        {"289 megapixels", test::madeHeif({sized(17'000, 17'000)}), ZelFailureCode::limit},
        {"an endless side", test::madeHeif({sized(-1, 1)}), ZelFailureCode::limit},
        {"no pixels", test::madeHeif({sized(0, 48)}), ZelFailureCode::unreadable},
        {"a grid of 289 megapixels", test::madeHeif({test::grid(1, 1, 17'000, 17'000, {2}), tile}),
         ZelFailureCode::limit},
        {"a grid of more than it shows", test::madeHeif({test::grid(1, 200, 64, 48, many), tile}),
         ZelFailureCode::unreadable},
        {"a grid of too little", test::madeHeif({test::grid(1, 2, 500, 48, {2, 2}), tile}), ZelFailureCode::unreadable},
        {"a grid of fewer tiles", test::madeHeif({test::grid(2, 2, 128, 96, {2, 2, 2}), tile}),
         ZelFailureCode::unreadable},
        {"a grid of itself", test::madeHeif({test::grid(1, 1, 64, 48, {1})}), ZelFailureCode::unreadable},
        {"a picture that is itself", test::madeHeif({{"iden", {}, {}, {1}}}), ZelFailureCode::unreadable},
        {"pictures in a ring", test::madeHeif({{"iden", {}, {}, {2}}, {"iden", {}, {}, {1}}}),
         ZelFailureCode::unreadable},
        {"a kind of its own", test::madeHeif({{"hero", {1}, {}}}), ZelFailureCode::unsupported},
        {"more coded than stated", test::madeHeif({sized(16, 16)}), ZelFailureCode::none},
        {"less coded than stated", test::madeHeif({sized(640, 480)}), ZelFailureCode::unreadable},
        {"no configuration", test::madeHeif({{"hvc1", tile.data, {tile.properties[0]}}}), ZelFailureCode::unreadable},
        {"tables that end early", cut(test::madeHeif({tile}), 100), ZelFailureCode::truncated},
        {"nothing but its brands", cut(test::madeHeif({tile}), 24), ZelFailureCode::unreadable},
        {"a film", test::box("ftyp", test::text("msf1") + test::be(0, 4)) + test::box("moov", Bytes(20)),
         ZelFailureCode::unsupported},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_EQ(test::open(c.file) != nullptr, c.code == ZelFailureCode::none);
        EXPECT_EQ(ZelFailure::last().code, c.code) << ZelFailure::last().message;
    }
}

/// The decoders' own words about damage stay away from standard error.
TEST(HeifRead, DamageIsToldInNotesAlone)
{
    testing::internal::CaptureStderr();
    int failures = 0;
    for (const seeds::Seed& seed : seeds::heifSeeds()) {
        const std::string_view name = seed.name.substr(0, 4) == "avif" ? "mdat" : "hvcC";
        const auto found = std::search(seed.bytes.begin(), seed.bytes.end(), name.begin(), name.end());
        const auto first = static_cast<std::size_t>(found - seed.bytes.begin());
        for (std::size_t at = first + 4; at < std::min(first + 120, seed.bytes.size()); ++at) {
            Bytes damaged = seed.bytes;
            damaged[at] ^= 0x55;
            const auto picture = test::open(damaged);
            failures += picture && test::decode(*picture).complete ? 0 : 1;
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_GT(failures, 0);
}

} // namespace
} // namespace zel
