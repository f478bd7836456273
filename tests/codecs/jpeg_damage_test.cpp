#include "jpeg_samples.h"

#include <zel/engine/parallel.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/graphics/image_rows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <malloc.h>
#include <thread>

namespace zel {
namespace {

using jpegtest::Bytes;
using jpegtest::Recipe;
using jpegtest::operator+;

struct Result {
    bool opened = false;
    bool decoded = false;
    int width = 0, height = 0;
    Bytes pixels;
    std::vector<ZelNote> notes;
};

Result read(const Bytes& file, int denominator = 1)
{
    const ZelReport report;
    Result result;
    if (const auto provider = jpegCodec.open(ByteSource::of(Data(file)))) {
        result.opened = true;
        result.decoded = provider->decode({.denominator = denominator}, [&](int, const engine::ConstPixels& rows) {
            result.width = rows.width;
            result.height += rows.height;
            for (int y = 0; y < rows.height; ++y)
                result.pixels.insert(result.pixels.end(), rows.row(y), rows.row(y) + rows.rowBytes());
            return true;
        });
    }
    result.notes = report.notes();
    return result;
}

Bytes cut(const Bytes& file, std::size_t size)
{
    return Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
}

long notesOf(const Result& result, ZelSeverity severity, ZelFailureCode code)
{
    return std::count_if(result.notes.begin(), result.notes.end(),
                         [&](const ZelNote& note) { return note.severity == severity && note.code == code; });
}

/// What the header ends with: the first byte of entropy-coded data.
std::size_t startOfData(const Bytes& file)
{
    const std::uint8_t scan[] = {0xFF, 0xDA};
    const auto found = std::search(file.begin(), file.end(), scan, scan + 2);
    const auto length = static_cast<std::size_t>(found[2] << 8 | found[3]);
    return static_cast<std::size_t>(found - file.begin()) + 2 + length;
}

const Recipe smallKinds[] = {
    {.width = 37, .height = 70, .quality = 60},
    {.width = 37, .height = 70, .progressive = true, .quality = 60},
    {.width = 37, .height = 70, .restartInterval = 2, .quality = 60},
    {.width = 37, .height = 70, .separateScans = true, .quality = 60},
    {.width = 37, .height = 40, .arithmetic = true, .quality = 60},
    {.width = 20, .height = 40, .stored = JCS_YCCK, .quality = 60},
    {.width = 37, .height = 70, .stored = JCS_GRAYSCALE, .horizontal = 1, .vertical = 1, .quality = 60},
};

TEST(JpegDamage, EveryCutGivesNothingOrAPictureOfFullSize)
{
    for (const Recipe& recipe : smallKinds) {
        const Bytes file = jpegtest::make(recipe);
        const Result whole = read(file);
        bool sawPicture = false;
        for (std::size_t size = 0; size < file.size() - 2; ++size) { // the last two bytes only say that it ends
            SCOPED_TRACE(testing::Message() << size << " of " << file.size() << " bytes");
            const Result result = read(cut(file, size));
            if (!result.decoded) {
                EXPECT_EQ(result.notes.empty(), false);
                EXPECT_GE(notesOf(result, ZelSeverity::failure, ZelFailureCode::truncated) +
                              notesOf(result, ZelSeverity::failure, ZelFailureCode::unreadable),
                          1);
                EXPECT_FALSE(sawPicture) << "a longer file gave less";
                continue;
            }
            sawPicture = true;
            ASSERT_EQ(result.width, recipe.width);
            ASSERT_EQ(result.height, recipe.height);
            EXPECT_GE(size, startOfData(file));
            ASSERT_LE(notesOf(result, ZelSeverity::warning, ZelFailureCode::truncated), 1);
            if (result.pixels != whole.pixels) {
                ASSERT_EQ(notesOf(result, ZelSeverity::warning, ZelFailureCode::truncated), 1);
            }
        }
        EXPECT_TRUE(sawPicture);
        // Without its end-of-image marker a file holds the whole picture still.
        const Result complete = read(cut(file, file.size() - 2));
        EXPECT_EQ(complete.pixels, whole.pixels);
        EXPECT_TRUE(complete.notes.empty() || recipe.arithmetic);
    }
}

TEST(JpegDamage, RowsThatTheFileDoesNotHoldAreZero)
{
    const Bytes file = jpegtest::make({.width = 64, .height = 160, .horizontal = 1, .vertical = 1});
    const Result whole = read(file);
    const std::size_t data = startOfData(file);
    const Result half = read(cut(file, data + (file.size() - data) / 2));
    ASSERT_TRUE(half.decoded);
    const std::size_t rowBytes = 64 * 4;
    const auto isZero = [&](int row) {
        const auto first = half.pixels.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(row) * rowBytes);
        return std::all_of(first, first + static_cast<std::ptrdiff_t>(rowBytes),
                           [](std::uint8_t byte) { return byte == 0; });
    };
    int held = 0;
    while (held < 160 && !isZero(held))
        ++held;
    EXPECT_EQ(held % 8, 0) << "whole rows of blocks are held";
    EXPECT_GT(held, 40);
    EXPECT_LT(held, 120);
    for (int row = held; row < 160; ++row)
        EXPECT_TRUE(isZero(row));
    // All but the row of blocks in which the data ends is as it was.
    EXPECT_TRUE(
        std::equal(half.pixels.begin(),
                   half.pixels.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(held - 8) * rowBytes),
                   whole.pixels.begin()));
}

TEST(JpegDamage, ACutProgressivePictureIsWholeButCoarse)
{
    const Bytes file = jpegtest::make({.width = 64, .height = 96, .progressive = true});
    const Result whole = read(file);
    const Result cutLate = read(cut(file, file.size() * 3 / 4));
    ASSERT_TRUE(cutLate.decoded);
    EXPECT_NE(cutLate.pixels, whole.pixels);
    double error = 0;
    for (std::size_t index = 0; index < whole.pixels.size(); ++index)
        error += std::abs(cutLate.pixels[index] - whole.pixels[index]);
    EXPECT_LT(error / static_cast<double>(whole.pixels.size()), 12.0);
    EXPECT_EQ(notesOf(cutLate, ZelSeverity::warning, ZelFailureCode::truncated), 1);
}

TEST(JpegDamage, ABrokenLaterScanLeavesTheEarlierOnes)
{
    const Bytes file = jpegtest::make({.width = 64, .height = 96, .progressive = true});
    std::vector<std::size_t> scans;
    for (std::size_t at = 0; at + 1 < file.size(); ++at)
        if (file[at] == 0xFF && file[at + 1] == 0xDA)
            scans.push_back(at);
    ASSERT_GT(scans.size(), 4U);
    Bytes broken = file;
    broken[scans[3] + 4] = 9; // nine components in a scan
    const Result result = read(broken);
    ASSERT_TRUE(result.decoded);
    EXPECT_EQ(result.height, 96);
    EXPECT_EQ(notesOf(result, ZelSeverity::warning, ZelFailureCode::unreadable), 1);
    EXPECT_EQ(notesOf(result, ZelSeverity::failure, ZelFailureCode::unreadable), 0);
    // The same picture as one that ends there, blocks not smoothed.
    EXPECT_EQ(result.pixels, jpegtest::decodePlainly(cut(file, scans[3]) + Bytes{0xFF, 0xD9}, 1, false));
}

TEST(JpegDamage, ALostRestartPieceCostsNoMore)
{
    const Bytes file =
        jpegtest::make({.width = 64, .height = 160, .horizontal = 1, .vertical = 1, .restartInterval = 8});
    const Result whole = read(file);
    Bytes broken = file;
    const std::uint8_t restart[] = {0xFF, 0xD1};
    const auto found = std::search(broken.begin(), broken.end(), restart, restart + 2); // ends the second piece
    ASSERT_NE(found, broken.end());
    std::fill(found - 12, found, std::uint8_t{0});
    const Result result = read(broken);
    ASSERT_TRUE(result.decoded);
    // The third row of blocks and what follows is untouched.
    EXPECT_TRUE(
        std::equal(result.pixels.begin() + 16 * 64 * 4, result.pixels.end(), whole.pixels.begin() + 16 * 64 * 4));
}

TEST(JpegDamage, ChangedBytesNeverDoMoreThanSpoilThePicture)
{
    for (const Recipe& recipe : smallKinds) {
        const Bytes file = jpegtest::make(recipe);
        std::uint32_t random = 99;
        for (int round = 0; round < 400; ++round) {
            Bytes broken = file;
            random = random * 1664525U + 1013904223U;
            const std::size_t at =
                round % 2 == 0 ? (random >> 8) % std::min<std::size_t>(file.size(), 700) : (random >> 8) % file.size();
            random = random * 1664525U + 1013904223U;
            broken[at] = static_cast<std::uint8_t>(random >> 24);
            ZelLimits limits = ZelLimits::untrusted();
            limits.pixels = 1 << 20;
            const ZelLimits::Scope scope(limits);
            const Result result = read(broken);
            if (result.decoded) {
                ASSERT_EQ(result.pixels.size(),
                          static_cast<std::size_t>(result.width) * static_cast<std::size_t>(result.height) * 4);
                ASSERT_EQ(read(broken).pixels, result.pixels);
            } else {
                ASSERT_FALSE(result.notes.empty()) << "byte " << at;
            }
        }
    }
}

TEST(JpegDamage, NothingDependsOnWhatMemoryHeld)
{
    for (const Recipe& recipe : smallKinds) {
        const Bytes file = jpegtest::make(recipe);
        for (const std::size_t part : {file.size() / 2, file.size() * 3 / 4, file.size() - 20}) {
            mallopt(M_PERTURB, 0xFF);
            const Bytes first = read(cut(file, part)).pixels;
            mallopt(M_PERTURB, 0x5A);
            const Bytes second = read(cut(file, part)).pixels;
            mallopt(M_PERTURB, 0);
            EXPECT_EQ(first, second);
        }
    }
}

/// A header that promises `scans` scans of one DC coefficient each.
Bytes scanStorm(int scans)
{
    Bytes file = jpegtest::make(
        {.width = 8, .height = 8, .stored = JCS_GRAYSCALE, .horizontal = 1, .vertical = 1, .progressive = true});
    const std::uint8_t marker[] = {0xFF, 0xDA};
    std::size_t first = 0, second = 0;
    for (std::size_t at = 0; at + 1 < file.size() && second == 0; ++at)
        if (std::equal(marker, marker + 2, file.begin() + static_cast<std::ptrdiff_t>(at)))
            (first == 0 ? first : second) = at;
    // The first scan with what follows it, up to the next scan's tables, is repeated.
    const Bytes scan(file.begin() + static_cast<std::ptrdiff_t>(first),
                     file.begin() + static_cast<std::ptrdiff_t>(second));
    Bytes storm = cut(file, first);
    for (int count = 0; count < scans; ++count)
        storm = storm + scan;
    return storm + Bytes{0xFF, 0xD9};
}

TEST(JpegDamage, RefusesAStormOfScans)
{
    ZelLimits limits;
    limits.jpegScans = 20;
    const ZelLimits::Scope scope(limits);
    EXPECT_TRUE(read(scanStorm(20)).decoded);
    const Result result = read(scanStorm(21));
    EXPECT_FALSE(result.decoded);
    EXPECT_EQ(notesOf(result, ZelSeverity::failure, ZelFailureCode::limit), 1);
    // Told from the markers; one that is no scan's does not count, nor one behind the picture.
    const Bytes storm = scanStorm(20);
    EXPECT_TRUE(read(cut(storm, storm.size() - 2) + Bytes{0xFF, 0xFE, 0, 6, 0xFF, 0xDA, 0xFF, 0xDA, 0xFF, 0xD9} + storm)
                    .decoded);
    EXPECT_FALSE(read(scanStorm(3'000)).opened);
}

// A sink that runs out of memory: on the decoder's own thread and beside it.
TEST(JpegDamage, SurvivesASinkThatThrows)
{
    const auto throwing = [](int first, const engine::ConstPixels&) -> bool {
        if (first > 0)
            throw std::bad_alloc();
        return true;
    };
    const auto small = jpegCodec.open(ByteSource::of(Data(jpegtest::make({.width = 400, .height = 400}))));
    const auto large = jpegCodec.open(ByteSource::of(Data(jpegtest::make({.width = 1000, .height = 800}))));
    ASSERT_TRUE(small && large);
    ZelFailure::clear();
    EXPECT_FALSE(small->decode({}, throwing));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::outOfMemory);
    engine::setConcurrency(2);
    EXPECT_THROW((void)decodeBeside(*large, {}, throwing), std::bad_alloc);
    engine::setConcurrency(0);
}

TEST(JpegDamage, KeepsTheLimits)
{
    struct Case {
        const char* name;
        ZelLimits limits;
        Recipe recipe;
    };
    ZelLimits pixels, side, memory;
    pixels.pixels = 100 * 100 - 1;
    side.side = 99;
    memory.decodeBytes = 100 * 100 * 4 - 1;
    const Case cases[] = {
        {"pixels", pixels, {.width = 100, .height = 100}},
        {"side", side, {.width = 100, .height = 20}},
        {"bytes", memory, {.width = 100, .height = 100}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        EXPECT_TRUE(read(jpegtest::make(each.recipe)).decoded);
        const ZelLimits::Scope scope(each.limits);
        const Result result = read(jpegtest::make(each.recipe));
        EXPECT_FALSE(result.opened);
        EXPECT_EQ(notesOf(result, ZelSeverity::failure, ZelFailureCode::limit), 1);
    }
}

TEST(JpegDamage, CountsTheCoefficientsOfProgressivePictures)
{
    ZelLimits limits;
    limits.decodeBytes = 100 * 100 * 6; // enough for pixels, not for pixels and coefficients
    const ZelLimits::Scope scope(limits);
    EXPECT_TRUE(read(jpegtest::make({.width = 100, .height = 100})).opened);
    EXPECT_FALSE(read(jpegtest::make({.width = 100, .height = 100, .progressive = true})).opened);
}

TEST(JpegDamage, EndsAtTheDeadline)
{
    ZelLimits limits;
    limits.decodeTime = std::chrono::milliseconds(1);
    for (const bool progressive : {false, true}) {
        const auto provider = jpegCodec.open(
            ByteSource::of(Data(jpegtest::make({.width = 2000, .height = 2000, .progressive = progressive}))));
        ASSERT_TRUE(provider);
        const ZelLimits::Scope scope(limits);
        ZelFailure::clear();
        EXPECT_FALSE(provider->decode({}, [](int, const engine::ConstPixels&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            return true;
        }));
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    }
}

TEST(JpegDamage, StopsWhenAsked)
{
    for (const bool progressive : {false, true}) {
        const auto provider = jpegCodec.open(
            ByteSource::of(Data(jpegtest::make({.width = 1000, .height = 1000, .progressive = progressive}))));
        ASSERT_TRUE(provider);
        std::stop_source stop;
        std::vector<double> fractions;
        const ZelProgress progress(
            [&](double fraction) {
                fractions.push_back(fraction);
                if (fraction > 0.3)
                    stop.request_stop();
            },
            stop.get_token());
        EXPECT_FALSE(provider->decode({}, [](int, const engine::ConstPixels&) { return true; }));
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::cancelled);
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    }
}

TEST(JpegDamage, SaysWhyAFileCannotBeRead)
{
    const Bytes file = jpegtest::make({});
    const auto patched =
        [&](std::initializer_list<std::pair<int, int>> changes) { // offsets behind the start-of-frame marker
            Bytes result = file;
            const std::uint8_t frame[] = {0xFF, 0xC0};
            const auto at = std::search(result.begin(), result.end(), frame, frame + 2);
            for (const auto& [offset, value] : changes)
                at[offset] = static_cast<std::uint8_t>(value);
            return result;
        };
    struct Case {
        const char* name;
        Bytes file;
        ZelFailureCode code;
    };
    const Case cases[] = {
        {"ends in the header", cut(file, 100), ZelFailureCode::truncated},
        {"ends behind the header", cut(file, startOfData(file)), ZelFailureCode::truncated},
        {"only the first marker", cut(file, 3), ZelFailureCode::truncated},
        {"12 bits a sample", patched({{4, 12}}), ZelFailureCode::unsupported},
        {"height 0", patched({{5, 0}, {6, 0}}), ZelFailureCode::unsupported},
        {"lossless", patched({{1, 0xC3}}), ZelFailureCode::unsupported},
        {"no sampling", patched({{11, 0}}), ZelFailureCode::unreadable},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const Result result = read(each.file);
        EXPECT_FALSE(result.opened);
        ASSERT_EQ(result.notes.size(), 1U);
        EXPECT_EQ(result.notes[0].code, each.code) << result.notes[0].message;
        EXPECT_FALSE(result.notes[0].message.empty());
    }
}

TEST(JpegDamage, LibjpegKeepsStill)
{
    const Bytes file = jpegtest::make(smallKinds[0]);
    testing::internal::CaptureStderr();
    for (std::size_t size = 100; size < file.size(); size += 37)
        read(cut(file, size));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace zel
