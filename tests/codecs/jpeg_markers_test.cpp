#include "jpeg_samples.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/jpeg_markers.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/color_space.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lcms2.h>

namespace zel {
namespace {

using jpegtest::Bytes;
using jpegtest::Recipe;
using jpegtest::Segment;
using jpegtest::operator+;

Bytes big(unsigned value, int count)
{
    Bytes result;
    for (int byte = count - 1; byte >= 0; --byte)
        result.push_back(static_cast<std::uint8_t>(value >> 8 * byte));
    return result;
}

/// An EXIF segment with an orientation and, where `dpi` is above 0, a resolution in dots per inch.
Segment exif(unsigned orientation, unsigned dpi = 0)
{
    const unsigned entries = dpi > 0 ? 3 : 1;
    const unsigned behind = 8 + 2 + 12 * entries + 4;
    Bytes block = jpegtest::text("Exif\0\0MM\0\x2A\0\0\0\x08", 14) + big(entries, 2);
    block = block + big(0x0112, 2) + big(3, 2) + big(1, 4) + big(orientation, 2) + big(0, 2);
    if (dpi > 0) {
        block = block + big(0x011A, 2) + big(5, 2) + big(1, 4) + big(behind, 4);
        block = block + big(0x011B, 2) + big(5, 2) + big(1, 4) + big(behind, 4);
    }
    block = block + big(0, 4);
    if (dpi > 0)
        block = block + big(dpi, 4) + big(1, 4);
    return {0xE1, block};
}

Segment profilePiece(int number, int count, const Bytes& piece)
{
    return {0xE2, jpegtest::text("ICC_PROFILE\0", 12) + big(static_cast<unsigned>(number), 1) +
                      big(static_cast<unsigned>(count), 1) + piece};
}

/// A multi-picture index of one entry, little-endian or not.
Segment pictureIndex(bool littleEndian, unsigned pictures)
{
    const auto put = [littleEndian](unsigned value, int count) {
        Bytes bytes = big(value, count);
        if (littleEndian)
            std::reverse(bytes.begin(), bytes.end());
        return bytes;
    };
    Bytes block = jpegtest::text(littleEndian ? "MPF\0II" : "MPF\0MM", 6) + put(42, 2) + put(8, 4) + put(2, 2);
    block = block + put(0xB000, 2) + put(7, 2) + put(4, 4) + jpegtest::text("0100", 4);
    block = block + put(0xB001, 2) + put(4, 2) + put(1, 4) + put(pictures, 4) + put(0, 4);
    return {0xE2, block};
}

PictureFacts factsOf(const Recipe& recipe)
{
    const auto provider = jpegCodec.open(ByteSource::of(Data(jpegtest::make(recipe))));
    EXPECT_TRUE(provider);
    return provider ? provider->facts() : PictureFacts{};
}

JpegMarkers markersOf(const Bytes& file)
{
    JpegMarkers markers;
    EXPECT_TRUE(readJpegMarkers(*ByteSource::of(Data(file)), Deadline(), markers));
    return markers;
}

TEST(JpegMarkers, TellsEveryOrientation)
{
    EXPECT_EQ(factsOf({}).orientation, Orientation::up);
    for (unsigned value = 0; value < 12; ++value) {
        const auto expected = value >= 1 && value <= 8 ? static_cast<Orientation>(value) : Orientation::up;
        const PictureFacts facts = factsOf({.width = 40, .height = 20, .segments = {exif(value)}});
        EXPECT_EQ(facts.orientation, expected) << value;
        EXPECT_EQ(facts.layout.width, 40) << "the stored width, whatever the orientation";
        EXPECT_EQ(facts.layout.height, 20);
    }
    // The first EXIF block counts; other contents of APP1 do not.
    EXPECT_EQ(factsOf({.segments = {{0xE1, jpegtest::text("http://ns", 9)}, exif(6), exif(3)}}).orientation,
              Orientation::right);
}

TEST(JpegMarkers, TellsTheResolution)
{
    struct Case {
        const char* name;
        Recipe recipe;
        double dpiX, dpiY;
    };
    const Case cases[] = {
        {"no unit", {.densityUnit = 0, .densityX = 300, .densityY = 300}, 0, 0},
        {"dots per inch", {.densityUnit = 1, .densityX = 300, .densityY = 150}, 300, 150},
        {"dots per centimetre", {.densityUnit = 2, .densityX = 100, .densityY = 50}, 254, 127},
        {"below 10", {.densityUnit = 1, .densityX = 9, .densityY = 9}, 0, 0},
        {"just 10", {.densityUnit = 1, .densityX = 10, .densityY = 10}, 10, 10},
        {"above 100000", {.densityUnit = 2, .densityX = 65535, .densityY = 65535}, 0, 0},
        {"EXIF alone", {.segments = {exif(1, 240)}}, 240, 240},
        {"EXIF before JFIF", {.densityUnit = 1, .densityX = 72, .densityY = 72, .segments = {exif(1, 240)}}, 240, 240},
        {"an absurd EXIF leaves JFIF",
         {.densityUnit = 1, .densityX = 72, .densityY = 72, .segments = {exif(1, 3)}},
         72,
         72},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const PictureFacts facts = factsOf(each.recipe);
        EXPECT_NEAR(facts.dpiX, each.dpiX, 1e-9);
        EXPECT_NEAR(facts.dpiY, each.dpiY, 1e-9);
    }
}

TEST(JpegMarkers, CountsPicturesByTheirIndex)
{
    EXPECT_EQ(factsOf({.segments = {pictureIndex(false, 2)}}).frames, 2);
    EXPECT_EQ(factsOf({.segments = {pictureIndex(true, 3)}}).frames, 3);
    EXPECT_EQ(factsOf({.segments = {pictureIndex(true, 0)}}).frames, 1);
    EXPECT_EQ(factsOf({.segments = {pictureIndex(false, 0xFFFFFFFF)}}).frames, ZelLimits::current().frames);
    EXPECT_EQ(factsOf({.segments = {{0xE2, jpegtest::text("MPF\0II*\0\xFF\xFF\xFF\xFF", 12)}}}).frames, 1);
    EXPECT_EQ(factsOf({.segments = {{0xE2, jpegtest::text("MPF\0", 4)}}}).frames, 1);
}

TEST(JpegMarkers, JoinsTheProfileFromItsPieces)
{
    const Bytes first(60000, 1), second(60000, 2), third(5, 3);
    const Bytes all = first + second + third;
    struct Case {
        const char* name;
        std::vector<Segment> segments;
        Bytes profile;
        int warnings;
    };
    const Case cases[] = {
        {"none", {}, {}, 0},
        {"one piece", {profilePiece(1, 1, third)}, third, 0},
        {"three pieces", {profilePiece(1, 3, first), profilePiece(2, 3, second), profilePiece(3, 3, third)}, all, 0},
        {"in another order",
         {profilePiece(3, 3, third), profilePiece(1, 3, first), exif(1), profilePiece(2, 3, second)},
         all,
         0},
        {"one is missing", {profilePiece(1, 3, first), profilePiece(3, 3, third)}, {}, 1},
        {"one comes twice", {profilePiece(1, 2, first), profilePiece(1, 2, first)}, {}, 1},
        {"number 0", {profilePiece(0, 1, third)}, {}, 1},
        {"number behind the count", {profilePiece(2, 1, third)}, {}, 1},
        {"counts differ", {profilePiece(1, 2, third), profilePiece(2, 3, third)}, {}, 1},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const ZelReport report;
        EXPECT_EQ(markersOf(jpegtest::make({.segments = each.segments})).profile, Data(each.profile));
        ASSERT_EQ(report.notes().size(), static_cast<std::size_t>(each.warnings));
        for (const ZelNote& note : report.notes())
            EXPECT_EQ(note.severity, ZelSeverity::warning);
    }
}

TEST(JpegMarkers, LeavesOutAProfileOfMoreThanFourMebibytes)
{
    std::vector<Segment> segments;
    constexpr int pieces = 80; // of 60,000 bytes: 4.8 million
    for (int piece = 1; piece <= pieces; ++piece)
        segments.push_back(profilePiece(piece, pieces, Bytes(60000, 7)));
    const ZelReport report;
    EXPECT_TRUE(markersOf(jpegtest::make({.segments = segments})).profile.empty());
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].code, ZelFailureCode::limit);
}

TEST(JpegMarkers, KeepsTheProfileOfThePicture)
{
    const cmsCIExyY white{0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}}; // Adobe RGB (1998)
    cmsToneCurve* curve = cmsBuildGamma(nullptr, 563.0 / 256);
    cmsToneCurve* const curves[] = {curve, curve, curve};
    cmsHPROFILE handle = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsUInt32Number size = 0;
    ASSERT_TRUE(cmsSaveProfileToMem(handle, nullptr, &size));
    Bytes profile(size);
    ASSERT_TRUE(cmsSaveProfileToMem(handle, profile.data(), &size));
    cmsCloseProfile(handle);
    cmsFreeToneCurve(curve);

    const PictureFacts facts = factsOf({.segments = {profilePiece(1, 1, profile)}});
    ASSERT_TRUE(facts.layout.colorSpace);
    EXPECT_EQ(facts.layout.colorSpace->profile(), Data(profile));
    EXPECT_EQ(facts.layout.colorSpace->channels(), 3);

    const ZelReport report; // three channels do not fit one component
    EXPECT_FALSE(factsOf({.stored = JCS_GRAYSCALE, .segments = {profilePiece(1, 1, profile)}}).layout.colorSpace);
    EXPECT_EQ(report.notes().size(), 1U);
}

TEST(JpegMarkers, SurvivesEveryCutOfTheHeader)
{
    const Bytes file = jpegtest::make(
        {.width = 8, .height = 8, .segments = {exif(6, 240), profilePiece(1, 1, Bytes(40, 9)), pictureIndex(true, 2)}});
    for (std::size_t size = 0; size < file.size(); ++size) {
        const JpegMarkers markers = markersOf(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_TRUE(markers.exif.orientation == Orientation::up || markers.exif.orientation == Orientation::right);
        EXPECT_TRUE(markers.profile.empty() || markers.profile.size() == 40);
    }
}

} // namespace
} // namespace zel
