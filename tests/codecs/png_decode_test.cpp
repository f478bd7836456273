#include <codecs/png_pictures.h>
#include <zel/engine/parallel.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <png.h>

namespace zel {
namespace {

using namespace testing_png;

Bytes paletteOf(int entries)
{
    Bytes palette;
    for (int i = 0; i < entries; ++i)
        append(palette, {static_cast<std::uint8_t>(i * 7), static_cast<std::uint8_t>(255 - i),
                         static_cast<std::uint8_t>(i * i)});
    return palette;
}

struct TypeCase {
    const char* name;
    int type, bits;
    Bytes transparency = {};
    int entries = 0;
};

const TypeCase typeCases[] = {
    {"grey 1", 0, 1},
    {"grey 2", 0, 2},
    {"grey 4", 0, 4},
    {"grey 8", 0, 8},
    {"grey 16", 0, 16},
    {"grey 1, white transparent", 0, 1, {0, 1}},
    {"grey 2, one level transparent", 0, 2, {0, 2}},
    {"grey 4, one level transparent", 0, 4, {0, 9}},
    {"grey 8, one level transparent", 0, 8, {0, 33}},
    {"grey 16, one level transparent", 0, 16, {0x21, 0x24}},
    {"rgb 8", 2, 8},
    {"rgb 16", 2, 16},
    {"rgb 8, one colour transparent", 2, 8, {0, 0, 0, 3, 0, 6}},
    {"rgb 16, one colour transparent", 2, 16, {0, 3, 6, 9, 12, 15}},
    {"palette 1", 3, 1, {}, 2},
    {"palette 2", 3, 2, {}, 4},
    {"palette 4", 3, 4, {}, 16},
    {"palette 8", 3, 8, {}, 256},
    {"palette 8 of few colours", 3, 8, {}, 5},
    {"palette 4, transparent entries", 3, 4, {0, 128, 255, 7}, 16},
    {"palette 8, transparent entries", 3, 8, {0, 128, 255, 7, 90}, 200},
    {"palette 8, entries all opaque", 3, 8, {255, 255}, 200},
    {"grey and alpha 8", 4, 8},
    {"grey and alpha 16", 4, 16},
    {"rgba 8", 6, 8},
    {"rgba 16", 6, 16},
};

Recipe recipeOf(const TypeCase& type, int width, int height)
{
    Recipe recipe{width, height, type.bits, type.type};
    recipe.palette = paletteOf(type.entries);
    recipe.transparency = type.transparency;
    return recipe;
}

TEST(PngDecode, everyTypeAndDepthGivesTheSamplesOfTheFile)
{
    for (const auto& type : typeCases)
        for (const bool interlaced : {false, true})
            for (const int width : {1, 2, 7, 8, 9, 33, 130})
                for (const int height : {1, 3, 20}) {
                    SCOPED_TRACE(testing::Message()
                                 << type.name << (interlaced ? " interlaced " : " ") << width << " x " << height);
                    Recipe recipe = recipeOf(type, width, height);
                    recipe.interlaced = interlaced;
                    fillRows(recipe, static_cast<unsigned>(width));
                    const auto decoded = decode(writeWithLibpng(recipe));
                    ASSERT_TRUE(decoded);
                    ASSERT_TRUE(decoded->complete);
                    ASSERT_EQ(decoded->samples, expectedSamples(recipe));
                }
}

const std::pair<const char*, int> filterCases[] = {
    {"none", PNG_FILTER_NONE},   {"sub", PNG_FILTER_SUB},     {"up", PNG_FILTER_UP},
    {"average", PNG_FILTER_AVG}, {"paeth", PNG_FILTER_PAETH}, {"all in turn", PNG_ALL_FILTERS},
};

TEST(PngDecode, everyFilterAtEveryWidth)
{
    for (const auto& type : typeCases)
        for (const auto& [filterName, filter] : filterCases)
            for (int width = 1; width <= 70; ++width) {
                SCOPED_TRACE(testing::Message() << type.name << ", " << filterName << ", width " << width);
                Recipe recipe = recipeOf(type, width, 5);
                recipe.filters = filter;
                fillRows(recipe, static_cast<unsigned>(width));
                const auto decoded = decode(writeWithLibpng(recipe));
                ASSERT_TRUE(decoded && decoded->complete);
                ASSERT_EQ(decoded->samples, expectedSamples(recipe));
            }
}

/// Sets the number of threads for a test.
struct Threads {
    explicit Threads(int count) { engine::setConcurrency(count); }
    ~Threads() { engine::setConcurrency(0); }
};

TEST(PngDecode, twoThreadsGiveWhatOneGives)
{
    for (const auto& type : typeCases) {
        SCOPED_TRACE(type.name);
        Recipe recipe = recipeOf(type, 641, 433);
        ASSERT_GE(641 * 433, engine::parallelGrain);
        recipe.filters = PNG_ALL_FILTERS;
        fillRows(recipe);
        const Bytes file = writeWithLibpng(recipe);
        const auto expected = expectedSamples(recipe);
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(file.size() * 2 / 3));
        Bytes damaged = file; // most of the file's bytes are pixels
        for (std::size_t i = 0; i < 40; ++i)
            damaged[file.size() / 2 + i] = 0xFF;
        std::array<std::optional<Decoded>, 3> one;
        for (const int threads : {1, 2}) {
            const Threads scope(threads);
            const auto whole = decode(file), part = decode(file, {1, 100, 200}), early = decode(cut, {}, 0x77),
                       broken = decode(damaged, {}, 0x77);
            ASSERT_TRUE(whole && part && early && broken);
            EXPECT_TRUE(whole->complete && part->complete && early->complete);
            EXPECT_TRUE(whole->samples == expected);
            EXPECT_TRUE(std::equal(part->samples.begin(), part->samples.end(), expected.begin() + 100 * 641 * 4));
            if (threads == 1)
                one = {whole, early, broken};
            EXPECT_TRUE(early->samples == one[1]->samples);
            EXPECT_EQ(broken->complete, one[2]->complete);
            EXPECT_TRUE(broken->samples == one[2]->samples);
            int calls = 0;
            const auto provider = pngCodec.open(ByteSource::of(Data(file)));
            EXPECT_FALSE(provider->decode({}, [&](int, const engine::ConstPixels&) { return ++calls < 2; }));
            EXPECT_EQ(calls, 2);
        }
    }
}

TEST(PngDecode, factsSayWhatTheFileHolds)
{
    for (const auto& type : typeCases) {
        SCOPED_TRACE(type.name);
        Recipe recipe = recipeOf(type, 5, 4);
        fillRows(recipe);
        const auto provider = pngCodec.open(ByteSource::of(Data(writeWithLibpng(recipe))));
        ASSERT_TRUE(provider);
        const auto& facts = provider->facts();
        const bool allOpaque =
            std::all_of(type.transparency.begin(), type.transparency.end(), [](int a) { return a == 255; });
        const bool hasAlpha = type.type >= 4 || !allOpaque;
        EXPECT_EQ(facts.layout.width, 5);
        EXPECT_EQ(facts.layout.height, 4);
        EXPECT_EQ(facts.bits, type.bits);
        EXPECT_EQ(facts.layout.bitsPerComponent, type.bits == 16 ? 16 : 8);
        EXPECT_EQ(facts.hasAlpha, hasAlpha);
        EXPECT_EQ(facts.layout.alphaInfo, hasAlpha ? CGAlphaInfo::last : CGAlphaInfo::noneSkipLast);
        EXPECT_EQ(facts.layout.isGray, type.type == 0 || type.type == 4);
        EXPECT_EQ(facts.layout.colorSpace, nullptr);
        EXPECT_EQ(facts.orientation, Orientation::up);
        EXPECT_EQ(facts.format, "png");
        EXPECT_EQ(facts.frames, 1);
        EXPECT_EQ(facts.dpiX, 0);
    }
}

TEST(PngDecode, rowRangesAreThoseOfTheWhole)
{
    for (const auto& type : typeCases)
        for (const bool interlaced : {false, true}) {
            SCOPED_TRACE(testing::Message() << type.name << (interlaced ? " interlaced" : ""));
            Recipe recipe = recipeOf(type, 19, 40);
            recipe.interlaced = interlaced;
            fillRows(recipe);
            const Bytes file = writeWithLibpng(recipe);
            const auto whole = expectedSamples(recipe);
            const std::pair<int, int> ranges[] = {{0, 1}, {0, 40}, {39, 1}, {17, 5}, {20, -1}, {7, 0}};
            for (const auto& [first, count] : ranges) {
                const auto decoded = decode(file, {1, first, count});
                ASSERT_TRUE(decoded && decoded->complete);
                const int rows = count < 0 ? 40 - first : count;
                const std::vector<std::uint16_t> part(whole.begin() + first * 19 * 4,
                                                      whole.begin() + (first + rows) * 19 * 4);
                EXPECT_EQ(decoded->samples, part) << first << " + " << count;
            }
        }
}

TEST(PngDecode, aSinkThatStopsEndsTheDecoding)
{
    Recipe recipe{64, 2000, 8, 2};
    fillRows(recipe);
    const auto provider = pngCodec.open(ByteSource::of(Data(writeWithLibpng(recipe))));
    int calls = 0;
    EXPECT_FALSE(provider->decode({}, [&](int, const engine::ConstPixels&) { return ++calls < 2; }));
    EXPECT_EQ(calls, 2);
}

Bytes big(std::uint32_t value)
{
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

/// A grey picture of 2 × 2 pixels with chunks before and behind its pixels.
Bytes smallWith(const std::vector<Bytes>& before, const std::vector<Bytes>& behind = {})
{
    std::vector<Bytes> chunks = {imageHeader(2, 2, 8, 0)};
    chunks.insert(chunks.end(), before.begin(), before.end());
    chunks.push_back(chunk("IDAT", deflated({0, 10, 20, 0, 30, 40})));
    chunks.insert(chunks.end(), behind.begin(), behind.end());
    chunks.push_back(chunk("IEND", {}));
    return fileOf(chunks);
}

const std::vector<std::uint16_t> smallSamples = {10, 10, 10, 255, 20, 20, 20, 255, 30, 30, 30, 255, 40, 40, 40, 255};

Bytes physical(std::uint32_t x, std::uint32_t y, std::uint8_t unit)
{
    Bytes data = big(x);
    append(data, big(y));
    data.push_back(unit);
    return chunk("pHYs", data);
}

TEST(PngDecode, resolution)
{
    const struct {
        const char* name;
        Bytes chunk;
        double x, y;
    } cases[] = {
        {"72 dots per inch", physical(2835, 2835, 1), 72, 72},
        {"144 dots per inch", physical(5669, 5669, 1), 144, 144},
        {"300 and 600", physical(11811, 23622, 1), 300, 600},
        {"no whole figure stays as it is", physical(4000, 4000, 1), 101.6, 101.6},
        {"a shape of pixels is no resolution", physical(3, 4, 0), 0, 0},
        {"one pixel a metre is absurd", physical(1, 1, 1), 0, 0},
        {"zero", physical(0, 0, 1), 0, 0},
        {"too short a chunk", chunk("pHYs", {0, 0, 11, 19}), 0, 0},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const auto decoded = decode(smallWith({each.chunk}));
        ASSERT_TRUE(decoded);
        EXPECT_DOUBLE_EQ(decoded->facts.dpiX, each.x);
        EXPECT_DOUBLE_EQ(decoded->facts.dpiY, each.y);
    }
}

/// IFD 0 with nothing but an orientation, little endian.
Bytes orientationBlock(std::uint8_t orientation)
{
    return {'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x12, 0x01, 3, 0, 1, 0, 0, 0, orientation, 0, 0, 0, 0, 0, 0, 0};
}

TEST(PngDecode, orientationBeforeAndBehindThePixels)
{
    const auto block = chunk("eXIf", orientationBlock(6));
    EXPECT_EQ(decode(smallWith({block}))->facts.orientation, Orientation::right);
    EXPECT_EQ(decode(smallWith({}, {chunk("tEXt", {'a', 0, 'b'}), block}))->facts.orientation, Orientation::right);
    EXPECT_EQ(decode(smallWith({chunk("eXIf", {1, 2, 3})}))->facts.orientation, Orientation::up);
    EXPECT_EQ(decode(smallWith({chunk("eXIf", {})}))->facts.orientation, Orientation::up);
}

TEST(PngDecode, framesOfAnAnimationAreCountedAndTheFirstIsShown)
{
    Bytes animation = big(7);
    append(animation, big(0));
    Bytes frame(26);
    const auto decoded =
        decode(smallWith({chunk("acTL", animation), chunk("fcTL", frame)}, {chunk("fdAT", {0, 0, 0, 1, 9, 9})}));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->facts.frames, 7);
    EXPECT_EQ(decoded->samples, smallSamples);
    append(animation, {0});
    EXPECT_EQ(decode(smallWith({chunk("acTL", animation)}))->facts.frames, 1)
        << "a chunk of another length says nothing";
    Bytes many = big(0xFFFFFFFF);
    append(many, big(0));
    EXPECT_EQ(decode(smallWith({chunk("acTL", many)}))->facts.frames, ZelLimits{}.frames);
}

TEST(PngDecode, whatIsNotNeededForThePixelsNeverFailsThem)
{
    Bytes damagedText = chunk("tEXt", {'a', 0, 'b'});
    damagedText.back() ^= 1;
    Bytes damagedResolution = physical(5669, 5669, 1);
    damagedResolution.back() ^= 1;
    const std::pair<const char*, Bytes> cases[] = {
        {"text", chunk("tEXt", {'a', 0, 'b'})},
        {"damaged text", damagedText},
        {"damaged resolution", damagedResolution},
        {"gamma", chunk("gAMA", big(100000))},
        {"profile that is no stream", chunk("iCCP", {'x', 0, 0, 1, 2, 3, 4})},
        {"profile that is no profile",
         [] {
             Bytes data = {'x', 0, 0};
             append(data, deflated(Bytes(200, 7)));
             return chunk("iCCP", data);
         }()},
        {"profile without a name's end", chunk("iCCP", Bytes(100, 'x'))},
        {"profile without content", chunk("iCCP", {'x', 0})},
        {"profile of another method", chunk("iCCP", {'x', 0, 1, 0})},
        {"empty profile chunk", chunk("iCCP", {})},
        {"text that unpacks to a bomb",
         [] {
             Bytes data = {'x', 0, 0};
             append(data, deflated(Bytes(20'000'000)));
             return chunk("zTXt", data);
         }()},
        {"profile that unpacks to a bomb",
         [] {
             Bytes data = {'x', 0, 0};
             append(data, deflated(Bytes(20'000'000)));
             return chunk("iCCP", data);
         }()},
        {"a palette that only suggests", chunk("PLTE", {1, 2, 3})},
        {"transparency of a wrong length", chunk("tRNS", {0, 0, 0})},
        {"unknown, may be ignored", chunk("quUx", {1, 2, 3})},
    };
    for (const auto& [name, extra] : cases) {
        SCOPED_TRACE(name);
        const auto decoded = decode(smallWith({extra}));
        ASSERT_TRUE(decoded && decoded->complete);
        EXPECT_EQ(decoded->samples, smallSamples);
        EXPECT_EQ(decoded->facts.layout.colorSpace, nullptr);
        EXPECT_EQ(decoded->facts.dpiX, 0);
    }
}

TEST(PngDecode, pixelsInPiecesAndWhatFollowsThem)
{
    const Bytes stream = deflated({0, 10, 20, 0, 30, 40});
    std::vector<Bytes> pieces = {imageHeader(2, 2, 8, 0)};
    for (const auto byte : stream) {
        pieces.push_back(chunk("IDAT", {byte}));
        pieces.push_back(chunk("IDAT", {}));
    }
    const Bytes withoutEnd = fileOf(pieces);
    EXPECT_EQ(decode(withoutEnd)->samples, smallSamples);
    Bytes withRubbish = smallWith({});
    append(withRubbish, Bytes(1000, 0xEE));
    ZelReport report;
    EXPECT_EQ(decode(withRubbish)->samples, smallSamples);
    EXPECT_EQ(decode(smallWith({}, {chunk("quUX", {1})}))->samples, smallSamples);
    EXPECT_TRUE(report.notes().empty());
}

struct RefusedCase {
    const char* name;
    Bytes file;
    ZelFailureCode code;
};

TEST(PngDecode, refusals)
{
    const Bytes pixels = chunk("IDAT", deflated({0, 10, 20, 0, 30, 40}));
    const Bytes end = chunk("IEND", {});
    Bytes damagedHeader = smallWith({});
    damagedHeader[8 + 8 + 3] ^= 1;
    std::vector<Bytes> manyChunks = {imageHeader(2, 2, 8, 0)};
    manyChunks.insert(manyChunks.end(), 5000, chunk("tEXt", {}));
    manyChunks.push_back(pixels);
    Bytes damagedPalette = chunk("PLTE", {1, 2, 3});
    damagedPalette.back() ^= 1;
    const RefusedCase cases[] = {
        {"signature alone", fileOf({}), ZelFailureCode::truncated},
        {"no pixels", fileOf({imageHeader(2, 2, 8, 0), end}), ZelFailureCode::unreadable},
        {"nothing behind the header", fileOf({imageHeader(2, 2, 8, 0)}), ZelFailureCode::truncated},
        {"pixels without content", fileOf({imageHeader(2, 2, 8, 0), chunk("IDAT", {}), end}),
         ZelFailureCode::unreadable},
        {"header damaged", damagedHeader, ZelFailureCode::unreadable},
        {"header too long", fileOf({chunk("IHDR", Bytes(14)), pixels}), ZelFailureCode::unreadable},
        {"header too short", fileOf({chunk("IHDR", Bytes(12)), pixels}), ZelFailureCode::unreadable},
        {"another chunk first", fileOf({end, imageHeader(2, 2, 8, 0), pixels}), ZelFailureCode::unsupported},
        {"no width", fileOf({imageHeader(0, 2, 8, 0), pixels}), ZelFailureCode::unreadable},
        {"no height", fileOf({imageHeader(2, 0, 8, 0), pixels}), ZelFailureCode::unreadable},
        {"width of 2^31", fileOf({imageHeader(0x80000000, 2, 8, 0), pixels}), ZelFailureCode::unreadable},
        {"too many pixels", fileOf({imageHeader(60'000, 60'000, 8, 0), pixels}), ZelFailureCode::limit},
        {"too long a side", fileOf({imageHeader(1'000'001, 1, 8, 0), pixels}), ZelFailureCode::limit},
        {"3 bits", fileOf({imageHeader(2, 2, 3, 0), pixels}), ZelFailureCode::unreadable},
        {"rgb of 4 bits", fileOf({imageHeader(2, 2, 4, 2), pixels}), ZelFailureCode::unreadable},
        {"palette of 16 bits", fileOf({imageHeader(2, 2, 16, 3), pixels}), ZelFailureCode::unreadable},
        {"type 5", fileOf({imageHeader(2, 2, 8, 5), pixels}), ZelFailureCode::unreadable},
        {"interlace method 2", fileOf({imageHeader(2, 2, 8, 0, 2), pixels}), ZelFailureCode::unsupported},
        {"no palette", fileOf({imageHeader(2, 2, 8, 3), pixels}), ZelFailureCode::unreadable},
        {"palette damaged", fileOf({imageHeader(2, 2, 8, 3), damagedPalette, pixels}), ZelFailureCode::unreadable},
        {"palette of 4 bytes", fileOf({imageHeader(2, 2, 8, 3), chunk("PLTE", Bytes(4)), pixels}),
         ZelFailureCode::unreadable},
        {"palette of 257 entries", fileOf({imageHeader(2, 2, 8, 3), chunk("PLTE", Bytes(771)), pixels}),
         ZelFailureCode::unreadable},
        {"unknown chunk that matters", smallWith({chunk("QUUX", {1})}), ZelFailureCode::unsupported},
        {"thousands of chunks", fileOf(manyChunks), ZelFailureCode::limit},
        {"pixels that are no stream", fileOf({imageHeader(2, 2, 8, 0), chunk("IDAT", {1, 2, 3, 4}), end}),
         ZelFailureCode::unreadable},
        {"less than a row", fileOf({imageHeader(20, 2, 8, 0), pixels, end}), ZelFailureCode::unreadable},
        {"unknown filter in the first row",
         fileOf({imageHeader(2, 2, 8, 0), chunk("IDAT", deflated({9, 1, 1, 0, 1, 1})), end}),
         ZelFailureCode::unreadable},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        ZelFailure::clear();
        EXPECT_FALSE(decode(each.file));
        EXPECT_EQ(ZelFailure::last().code, each.code) << ZelFailure::last().message;
    }
}

TEST(PngDecode, entriesOfAPaletteThatNoIndexReachesSayNothing)
{
    // One bit a pixel, three entries, and an alpha for each: as many as a reader may not believe.
    const auto decoded =
        decode(fileOf({imageHeader(2, 1, 1, 3), chunk("PLTE", {1, 2, 3, 4, 5, 6, 7, 8, 9}), chunk("tRNS", {0, 0, 0}),
                       chunk("IDAT", deflated({0, 0x40})), chunk("IEND", {})}));
    ASSERT_TRUE(decoded && decoded->complete);
    EXPECT_FALSE(decoded->facts.hasAlpha);
    EXPECT_EQ(decoded->samples, (std::vector<std::uint16_t>{1, 2, 3, 255, 4, 5, 6, 255}));
}

TEST(PngDecode, limitsOfTheCallerHold)
{
    Recipe recipe{50, 40, 8, 6};
    fillRows(recipe);
    const Bytes file = writeWithLibpng(recipe);
    ZelLimits limits;
    limits.pixels = 2000;
    {
        const ZelLimits::Scope scope(limits);
        EXPECT_TRUE(decode(file));
    }
    limits.pixels = 1999;
    const ZelLimits::Scope scope(limits);
    EXPECT_FALSE(decode(file));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
}

/// Rows of the samples that equal the expected ones, from the top.
int rowsInCommon(const std::vector<std::uint16_t>& a, const std::vector<std::uint16_t>& b, std::size_t rowSamples)
{
    int rows = 0;
    for (std::size_t at = 0;
         at + rowSamples <= a.size() && std::equal(a.begin() + static_cast<std::ptrdiff_t>(at),
                                                   a.begin() + static_cast<std::ptrdiff_t>(at + rowSamples),
                                                   b.begin() + static_cast<std::ptrdiff_t>(at));
         at += rowSamples)
        ++rows;
    return rows;
}

bool hasWarning(const ZelReport& report, ZelFailureCode code)
{
    for (const auto& note : report.notes())
        if (note.severity == ZelSeverity::warning && note.code == code)
            return true;
    return false;
}

TEST(PngDecode, aFileThatEndsEarlyGivesTheRowsBeforeItsEnd)
{
    for (const auto& type : typeCases)
        for (const bool interlaced : {false, true}) {
            Recipe recipe = recipeOf(type, 23, 200);
            recipe.interlaced = interlaced;
            fillRows(recipe);
            const Bytes file = writeWithLibpng(recipe);
            const auto expected = expectedSamples(recipe);
            int opened = 0;
            for (std::size_t length = 0; length < file.size() - 12; length += file.size() / 50 + 1) {
                SCOPED_TRACE(testing::Message()
                             << type.name << (interlaced ? " interlaced" : "") << " cut at " << length);
                const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
                ZelReport report;
                const auto decoded = decode(cut, {}, 0x00);
                if (!decoded)
                    continue;
                ++opened;
                ASSERT_TRUE(decoded->complete);
                const auto again = decode(cut, {}, 0xA5);
                ASSERT_EQ(decoded->samples, again->samples) << "all of the target is written";
                if (interlaced || decoded->samples == expected)
                    continue;
                EXPECT_TRUE(hasWarning(report, ZelFailureCode::truncated));
                const std::size_t rowSamples = 23 * 4;
                const int good = rowsInCommon(decoded->samples, expected, rowSamples);
                EXPECT_GE(good, 1);
                for (std::size_t at = static_cast<std::size_t>(good) * rowSamples; at < expected.size(); ++at)
                    ASSERT_EQ(decoded->samples[at], 0) << "zeros below the last row";
            }
            EXPECT_GE(opened, 1);
        }
}

TEST(PngDecode, flippedBytesNeitherCrashNorLeaveMemoryUnwritten)
{
    for (const auto& type : typeCases)
        for (const bool interlaced : {false, true}) {
            Recipe recipe = recipeOf(type, 9, 11);
            recipe.interlaced = interlaced;
            fillRows(recipe);
            const Bytes file = writeWithLibpng(recipe);
            for (std::size_t at = 8; at < file.size(); ++at)
                for (const int flip : {0x01, 0x80, 0xFF}) {
                    Bytes broken = file;
                    broken[at] = static_cast<std::uint8_t>(broken[at] ^ flip);
                    const auto decoded = decode(broken, {}, 0x00);
                    if (!decoded)
                        continue;
                    ASSERT_EQ(decoded->facts.layout.width, decoded->width);
                    const auto again = decode(broken, {}, 0xA5);
                    ASSERT_TRUE(again);
                    ASSERT_EQ(decoded->complete, again->complete);
                    if (decoded->complete) {
                        ASSERT_EQ(decoded->samples, again->samples) << type.name << ", byte " << at;
                    }
                }
        }
}

TEST(PngDecode, pixelsThatDoNotMatchTheirChecksumAreShownWithAWarning)
{
    for (const bool interlaced : {false, true}) {
        Bytes pixels = chunk("IDAT", deflated({0, 10, 20, 0, 30, 40}));
        pixels.back() ^= 1;
        // Of a picture of 2 × 2 pixels the passes 1, 6 and 7 hold something: their rows are 1, 1 and 2 pixels long.
        if (interlaced) {
            pixels = chunk("IDAT", deflated({0, 10, 0, 20, 0, 30, 40}));
            pixels.back() ^= 1;
        }
        ZelReport report;
        const auto decoded = decode(fileOf({imageHeader(2, 2, 8, 0, interlaced ? 1 : 0), pixels, chunk("IEND", {})}));
        ASSERT_TRUE(decoded && decoded->complete);
        EXPECT_EQ(decoded->samples, smallSamples);
        EXPECT_TRUE(hasWarning(report, ZelFailureCode::unreadable));
    }
}

} // namespace
} // namespace zel
