#include <zel/platform/codecs/tiff_directories.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

#include <codecs/decoded.h>
#include <codecs/tiff_maker.h>

#include <gtest/gtest.h>

#include <random>
#include <thread>

namespace zel {
namespace {

using test::atData;
using test::Decoded;
using test::makeTiff;
using test::TiffEntry;
using test::TiffSpec;

using Bytes = std::vector<std::uint8_t>;

/// Never 0, so that what is missing shows.
std::uint32_t bright(unsigned x, unsigned y, unsigned sample)
{
    return 1 + (x * 7 + y * 13 + sample * 29) % 255;
}

Bytes cut(const Bytes& whole, std::size_t length)
{
    return {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)};
}

struct Arrangement {
    const char* name;
    unsigned planar, tile, compression;
};
const Arrangement arrangements[] = {
    {"strips", PLANARCONFIG_CONTIG, 0, COMPRESSION_NONE},
    {"LZW strips", PLANARCONFIG_CONTIG, 0, COMPRESSION_LZW},
    {"PackBits", PLANARCONFIG_CONTIG, 0, COMPRESSION_PACKBITS},
    {"Deflate planes", PLANARCONFIG_SEPARATE, 0, COMPRESSION_ADOBE_DEFLATE},
    {"LZW tiles", PLANARCONFIG_CONTIG, 16, COMPRESSION_LZW},
};

Bytes arranged(const Arrangement& arrangement)
{
    TiffSpec spec;
    spec.planar = arrangement.planar;
    spec.tileWidth = spec.tileHeight = arrangement.tile;
    spec.compression = arrangement.compression;
    return test::withDirectoryFirst(makeTiff(spec, bright));
}

TEST(TiffDamage, CutFilesGiveWhatTheyHold)
{
    for (const Arrangement& arrangement : arrangements) {
        const Bytes whole = arranged(arrangement);
        const auto sound = test::open(whole);
        ASSERT_TRUE(sound) << arrangement.name << ": " << ZelFailure::last().message;
        const Decoded expected = test::decode(*sound);
        int pictures = 0, refusals = 0, bestRows = 0;
        for (std::size_t length = 0; length < whole.size(); length += 1 + length / 50) {
            SCOPED_TRACE(testing::Message()
                         << arrangement.name << ", " << length << " of " << whole.size() << " bytes");
            ZelFailure::clear();
            const auto picture = test::open(cut(whole, length));
            if (!picture) {
                ++refusals;
                EXPECT_NE(ZelFailure::last().code, ZelFailureCode::none);
                continue;
            }
            ++pictures;
            const ZelReport report;
            const Decoded decoded = test::decode(*picture, {}, 0x00);
            ASSERT_TRUE(decoded.complete);
            ASSERT_EQ(report.notes().size(), 1U);
            EXPECT_EQ(report.notes().front().code, ZelFailureCode::truncated);
            EXPECT_EQ(report.notes().front().severity, ZelSeverity::warning);
            EXPECT_EQ(decoded.bytes, test::decode(*picture, {}, 0xFF).bytes) << "memory that nobody wrote shows";
            int rows = 0;
            for (int y = 0; y < decoded.height; ++y) {
                if (decoded.row(y) == expected.row(y))
                    ++rows;
                for (int x = 0; x < decoded.width; ++x)
                    for (std::size_t i = 0; i < 3; ++i) {
                        const int sample = decoded.at(x, y)[i];
                        ASSERT_TRUE(sample == 0 || sample == expected.at(x, y)[i])
                            << "neither read nor missing: " << x << ", " << y;
                    }
            }
            bestRows = std::max(bestRows, rows);
        }
        EXPECT_GT(refusals, 10) << arrangement.name;
        EXPECT_GT(pictures, 10) << arrangement.name;
        EXPECT_GE(bestRows, 16) << arrangement.name << ": all but the last strips or tiles";
    }
}

TEST(TiffDamage, AStripInTheMiddleCostsNoOther)
{
    TiffSpec spec;
    spec.compression = COMPRESSION_LZW;
    Bytes file = test::withDirectoryFirst(makeTiff(spec, bright));
    const Decoded sound = test::decode(*test::open(file));
    // The second of five strips: its beginning becomes nonsense.
    Bytes damaged = file;
    const std::size_t directory = test::get(file, 4, 4);
    for (std::size_t i = 0; i < test::get(file, directory, 2); ++i)
        if (const std::size_t entry = directory + 2 + 12 * i; test::get(file, entry, 2) == TIFFTAG_STRIPOFFSETS) {
            const std::size_t strip = test::get(file, test::get(file, entry + 8, 4) + 4, 4);
            std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(strip), 20, std::uint8_t{0xFF});
        }
    ASSERT_NE(damaged, file);
    const auto picture = test::open(damaged);
    ASSERT_TRUE(picture);
    const ZelReport report;
    const Decoded decoded = test::decode(*picture);
    ASSERT_TRUE(decoded.complete);
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes().front().code, ZelFailureCode::unreadable);
    for (int y = 0; y < 29; ++y) {
        if (y < 7 || y >= 14) {
            EXPECT_EQ(decoded.row(y), sound.row(y)) << y;
        }
    }
    EXPECT_EQ(decoded.at(3, 13), (std::array<int, 4>{0, 0, 0, 0}));
    // The damaged strip alone is no failure: the picture as a whole was proven to decode.
    EXPECT_TRUE(test::decode(*picture, {1, 8, 3}).complete);
}

TEST(TiffDamage, ChangedBytesEndInAPictureOrAReason)
{
    testing::internal::CaptureStderr();
    std::mt19937 random(11);
    int pictures = 0, refusals = 0;
    for (const Arrangement& arrangement : arrangements) {
        const Bytes whole = arranged(arrangement);
        for (int i = 0; i < 400; ++i) {
            Bytes damaged = whole;
            // Half of the changes hit the header and the directory.
            const std::size_t reach = i % 2 == 0 ? std::min<std::size_t>(damaged.size(), 300) : damaged.size();
            for (unsigned k = 0; k < 1 + random() % 3; ++k)
                damaged[random() % reach] = static_cast<std::uint8_t>(random());
            SCOPED_TRACE(testing::Message() << arrangement.name << ", change " << i);
            ZelFailure::clear();
            const auto picture = test::open(damaged);
            if (!picture) {
                ++refusals;
                EXPECT_NE(ZelFailure::last().code, ZelFailureCode::none);
                continue;
            }
            ++pictures;
            const CGImage::Layout& layout = picture->facts().layout;
            ASSERT_TRUE(layout.width > 0 && layout.height > 0 &&
                        (layout.bitsPerComponent == 8 || layout.bitsPerComponent == 16));
            if (std::int64_t{layout.width} * layout.height > 4'000'000)
                continue;
            EXPECT_EQ(test::decode(*picture, {}, 0x00).bytes, test::decode(*picture, {}, 0x00).bytes);
            const Decoded decoded = test::decode(*picture, {}, 0xFF);
            if (decoded.complete) {
                EXPECT_EQ(decoded.bytes, test::decode(*picture, {}, 0x00).bytes) << "memory that nobody wrote shows";
            }
        }
    }
    EXPECT_GT(pictures, 500);
    EXPECT_GT(refusals, 100);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "libtiff speaks to the terminal";
}

/// A directory of grey pixels of 8 bits with some figures replaced.
Bytes figures(const std::vector<TiffEntry>& replaced, std::size_t dataBytes = 64)
{
    std::vector<TiffEntry> entries = {{256, 4, {8}},      {257, 4, {8}}, {258, 3, {8}}, {259, 3, {1}}, {262, 3, {1}},
                                      {273, 4, {atData}}, {277, 3, {1}}, {278, 4, {8}}, {279, 4, {64}}};
    for (const TiffEntry& entry : replaced) {
        const auto place =
            std::find_if(entries.begin(), entries.end(), [&](const TiffEntry& e) { return e.tag >= entry.tag; });
        if (place != entries.end() && place->tag == entry.tag)
            *place = entry;
        else
            entries.insert(place, entry);
    }
    return test::handMadeTiff(entries, Bytes(dataBytes, 0x55));
}

TEST(TiffDamage, FiguresThatMakeNoSenseAreRefused)
{
    using Code = ZelFailureCode;
    const struct {
        const char* name;
        std::vector<TiffEntry> replaced;
        std::vector<Code> codes;
    } cases[] = {
        {"no width", {{256, 4, {0}}}, {Code::unreadable}},
        {"no height", {{257, 4, {0}}}, {Code::unreadable}},
        {"4 thousand million columns", {{256, 4, {0xFFFFFFFF}}}, {Code::limit}},
        {"2 thousand million rows", {{257, 4, {0x7FFFFFFF}}}, {Code::limit, Code::unreadable}},
        {"300 million pixels", {{256, 4, {20'000}}, {257, 4, {15'000}}}, {Code::limit}},
        {"65,535 samples a pixel of a million columns",
         {{256, 4, {1'000'000}}, {277, 3, {65535}}},
         {Code::limit, Code::unreadable}},
        {"samples of 64 bits", {{258, 3, {64}}}, {Code::unsupported}},
        {"samples of 0 bits", {{258, 3, {0}}}, {Code::unsupported, Code::unreadable}},
        {"signed samples", {{339, 3, {2}}}, {Code::unsupported}},
        {"floating samples of 16 bits", {{258, 3, {16}}, {339, 3, {3}}}, {Code::unsupported}},
        {"a camera's raw grid", {{262, 3, {32803}}}, {Code::unsupported}},
        {"RGB of one sample", {{262, 3, {2}}}, {Code::unsupported, Code::unreadable}},
        {"inks of another set", {{262, 3, {5}}, {277, 3, {4}}, {332, 3, {2}}}, {Code::unsupported}},
        {"an unknown compression", {{259, 3, {60'000}}}, {Code::unsupported}},
        {"tiles of 2 thousand million pixels",
         {{322, 4, {65'536}}, {323, 4, {32'768}}, {324, 4, {atData}}, {325, 4, {64}}},
         {Code::limit}},
        {"tiles without a side",
         {{322, 4, {0}}, {323, 4, {16}}, {324, 4, {atData}}, {325, 4, {64}}},
         {Code::unreadable, Code::limit}},
        {"a strip past the end", {{273, 4, {0x7FFFFFFF}}}, {Code::truncated}},
        {"no strips", {{273, 4, {}}, {279, 4, {}}}, {Code::unreadable, Code::truncated}},
        {"LZW of nothing but one code", {{259, 3, {5}}}, {Code::unreadable}},
    };
    EXPECT_TRUE(test::open(figures({}))) << "the unchanged directory is sound";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ZelFailure::clear();
        EXPECT_EQ(test::open(figures(c.replaced)), nullptr);
        const ZelNote note = ZelFailure::last();
        EXPECT_NE(std::find(c.codes.begin(), c.codes.end(), note.code), c.codes.end())
            << "code " << static_cast<int>(note.code) << ": " << note.message;
        EXPECT_EQ(note.subject, "picture");
    }
}

TEST(TiffDamage, StripsThatClaimTooMuchAreReadAllTheSame)
{
    // The strip says 4 GB; the pixels are there.
    const auto picture = test::open(figures({{279, 4, {0xFFFFFFFF}}}));
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    EXPECT_EQ(test::decode(*picture).at(7, 7), (std::array<int, 4>{0x55, 0x55, 0x55, 255}));
}

TEST(TiffDamage, LimitsComeBeforeMemory)
{
    TiffSpec spec;
    spec.width = 1000;
    spec.height = 600;
    const Bytes file = makeTiff(spec, bright);
    ZelLimits limits;
    limits.pixels = 599'999;
    {
        const ZelLimits::Scope scope(limits);
        EXPECT_EQ(test::open(file), nullptr);
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    }
    limits.pixels = 600'000;
    limits.decodeBytes = 4 * 600'000 - 1;
    {
        const ZelLimits::Scope scope(limits);
        EXPECT_EQ(test::open(file), nullptr);
    }
    limits.decodeBytes = std::uint64_t{1} << 30;
    const ZelLimits::Scope scope(limits);
    const auto picture = test::open(file);
    ASSERT_TRUE(picture);
    EXPECT_TRUE(test::decode(*picture).complete);

    // The time runs out while the sink holds the first rows.
    limits.decodeTime = std::chrono::milliseconds(20);
    const ZelLimits::Scope hurried(limits);
    ZelFailure::clear();
    int bands = 0;
    EXPECT_FALSE(picture->decode({}, [&](int, const engine::ConstPixels&) {
        ++bands;
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        return true;
    }));
    EXPECT_EQ(bands, 1);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
}

TEST(TiffDamage, StoppingLeavesNoOtherReason)
{
    TiffSpec spec;
    spec.width = 1000;
    spec.height = 600;
    const auto picture = test::open(makeTiff(spec, bright));
    ASSERT_TRUE(picture);
    ZelFailure::clear();
    EXPECT_FALSE(picture->decode({}, [](int, const engine::ConstPixels&) { return false; }));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none) << "the sink knows why it refused";
    std::stop_source stop;
    double reached = 0;
    const ZelProgress progress(
        [&](double fraction) {
            reached = fraction;
            stop.request_stop();
        },
        stop.get_token());
    EXPECT_FALSE(picture->decode({}, [](int, const engine::ConstPixels&) { return true; }));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::cancelled);
    EXPECT_GT(reached, 0);
    EXPECT_LT(reached, 1);
}

// --- The chain of directories ---

/// Directories without entries, each `step` bytes after the other, each naming the place of the next.
Bytes chain(const std::vector<std::uint32_t>& next, bool wide = false, bool bigEndian = false)
{
    Bytes bytes;
    const auto putFigure = [&](std::uint64_t value, int count) {
        for (int i = 0; i < count; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? count - 1 - i : i)));
    };
    bytes.assign(2, bigEndian ? 'M' : 'I');
    putFigure(wide ? 43 : 42, 2);
    if (wide) {
        putFigure(8, 2);
        putFigure(0, 2);
    }
    putFigure(16, wide ? 8 : 4);
    bytes.resize(16);
    for (const std::uint32_t place : next) {
        putFigure(0, wide ? 8 : 2);
        putFigure(place, wide ? 8 : 4);
    }
    return bytes;
}

TEST(TiffDirectories, AreCountedOnceEach)
{
    const auto count = [](Bytes bytes, int most = tiff::mostDirectories) {
        return tiff::countDirectories(*ByteSource::of(Data(std::move(bytes))), most);
    };
    std::vector<std::uint32_t> many;
    for (std::uint32_t i = 1; i <= 5000; ++i)
        many.push_back(i == 5000 ? 0 : 16 + 6 * i);
    const struct {
        const char* name;
        Bytes bytes;
        int expected;
        bool endsEarly;
    } cases[] = {
        {"one", chain({0}), 1, false},
        {"three", chain({22, 28, 0}), 3, false},
        {"three, big endian", chain({22, 28, 0}, false, true), 3, false},
        {"three with 64-bit offsets", chain({32, 48, 0}, true), 3, false},
        {"three with 64-bit offsets, big endian", chain({32, 48, 0}, true, true), 3, false},
        {"one that names itself", chain({16}), 1, false},
        {"a circle of three", chain({22, 28, 16}), 3, false},
        {"a loop behind the first", chain({22, 28, 22}), 3, false},
        {"5,000", chain(many), 4096, false},
        {"one past the end", chain({22, 0x7FFFFFF0}), 2, true},
        {"cut within the second", cut(chain({22, 28, 0}), 25), 1, true},
        {"none", cut(chain({0}), 12), 0, true},
        {"no file of this kind", Bytes(100, 'x'), 0, false},
        {"nothing", {}, 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const tiff::Directories found = count(c.bytes);
        EXPECT_EQ(found.count, c.expected);
        EXPECT_EQ(found.endsEarly, c.endsEarly);
    }
    EXPECT_EQ(count(chain(many), 7).count, 7);
}

TEST(TiffDirectories, ALoopHidesNoPicture)
{
    Bytes file = test::withDirectoryFirst(makeTiff({}, bright));
    const std::size_t directory = test::get(file, 4, 4), next = directory + 2 + 12 * test::get(file, directory, 2);
    for (std::size_t i = 0; i < 4; ++i)
        file[next + i] = static_cast<std::uint8_t>(directory >> 8 * i);
    const ZelReport report;
    const auto picture = test::open(file);
    ASSERT_TRUE(picture) << ZelFailure::last().message;
    EXPECT_EQ(picture->facts().frames, 1);
    EXPECT_TRUE(test::decode(*picture).complete);
    EXPECT_TRUE(report.notes().empty());
}

} // namespace
} // namespace zel
