#include <zel/platform/foundation/failure.h>
#include <zel/platform/graphics/color_space.h>

#include <graphics/profile_maker.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <thread>

namespace zel {
namespace {

using test::encodeSrgb;

Ref<const CGColorSpace> spaceOf(cmsHPROFILE profile, int channels = 3)
{
    return CGColorSpace::fromProfile(test::saved(profile), channels, "decode");
}

/// One pixel of 8 bits through a conversion.
std::array<int, 4> converted(const Ref<const ColorTransform>& transform, std::array<int, 4> pixel)
{
    std::array<std::uint8_t, 4> in{}, out{};
    for (std::size_t i = 0; i < 4; ++i)
        in[i] = static_cast<std::uint8_t>(pixel[i]);
    transform->apply({in.data(), 4, 1, 1, 4}, {out.data(), 4, 1, 1, 4});
    return {out[0], out[1], out[2], out[3]};
}

std::array<int, 4> converted16(const Ref<const ColorTransform>& transform, std::array<int, 4> pixel)
{
    std::array<std::uint16_t, 4> in{}, out{};
    for (std::size_t i = 0; i < 4; ++i)
        in[i] = static_cast<std::uint16_t>(pixel[i]);
    std::uint8_t bytesIn[8], bytesOut[8];
    std::memcpy(bytesIn, in.data(), 8);
    transform->apply({bytesIn, 8, 1, 1, 8}, {bytesOut, 8, 1, 1, 8});
    std::memcpy(out.data(), bytesOut, 8);
    return {out[0], out[1], out[2], out[3]};
}

void expectNear(const std::array<int, 4>& actual, const std::array<int, 4>& expected, int tolerance)
{
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(actual[i], expected[i], tolerance) << "component " << i;
}

TEST(ColorSpace, WideGamutsBringSrgbPrimariesHome)
{
    // What sRGB's primaries are in Display P3 and in Adobe RGB (1998), to the nearest byte: published by both.
    const auto p3 = ColorTransform::toSrgb(spaceOf(test::matrixProfile(test::p3Primaries, test::srgbCurve())));
    const auto adobe =
        ColorTransform::toSrgb(spaceOf(test::matrixProfile(test::adobePrimaries, test::gammaCurve(563 / 256.0))));
    ASSERT_TRUE(p3 && adobe);
    const struct {
        const char* name;
        const Ref<const ColorTransform>& transform;
        std::array<int, 4> from, to;
        int tolerance;
    } cases[] = {
        {"P3, sRGB's red", p3, {234, 51, 35, 255}, {255, 0, 0, 255}, 8},
        {"P3, sRGB's green", p3, {117, 251, 76, 17}, {0, 255, 0, 17}, 8},
        {"P3, sRGB's blue", p3, {0, 0, 245, 0}, {0, 0, 255, 0}, 2},
        {"P3 red lies outside", p3, {255, 0, 0, 255}, {255, 0, 0, 255}, 0},
        {"P3 white", p3, {255, 255, 255, 255}, {255, 255, 255, 255}, 0},
        {"P3 grey", p3, {99, 99, 99, 1}, {99, 99, 99, 1}, 1},
        {"Adobe, sRGB's red", adobe, {219, 0, 0, 255}, {255, 0, 0, 255}, 2},
        {"Adobe, sRGB's green", adobe, {144, 255, 60, 255}, {0, 255, 0, 255}, 8},
        {"Adobe black", adobe, {0, 0, 0, 128}, {0, 0, 0, 128}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        expectNear(converted(c.transform, c.from), c.to, c.tolerance);
        std::array<int, 4> from16 = c.from, to16 = c.to;
        for (std::size_t i = 0; i < 4; ++i)
            from16[i] *= 257, to16[i] *= 257;
        expectNear(converted16(c.transform, from16), to16, c.tolerance * 257 + 40);
    }
}

TEST(ColorSpace, CurvesFollowTheirFormula)
{
    for (const double gamma : {1.0, 1.8, 2.2, 3.0}) {
        const auto color =
            ColorTransform::toSrgb(spaceOf(test::matrixProfile(test::srgbPrimaries, test::gammaCurve(gamma))));
        const auto gray = ColorTransform::toSrgb(spaceOf(test::grayProfile(gamma), 1));
        ASSERT_TRUE(color && gray) << gamma;
        for (int value = 0; value < 256; ++value) {
            SCOPED_TRACE(testing::Message() << "gamma " << gamma << ", value " << value);
            const double exact = encodeSrgb(std::pow(value / 255.0, gamma));
            const int expected = static_cast<int>(std::lround(exact * 255)),
                      wide = static_cast<int>(std::lround(exact * 65535));
            expectNear(converted(color, {value, value, value, 7}), {expected, expected, expected, 7}, 1);
            expectNear(converted16(color, {value * 257, value * 257, value * 257, 7}), {wide, wide, wide, 7}, 40);
            expectNear(converted(gray, {value, value, value, 9}), {expected, expected, expected, 9}, 1);
            expectNear(converted16(gray, {value * 257, value * 257, value * 257, 9}), {wide, wide, wide, 9}, 130);
        }
    }
}

/// Random pixels through a conversion and, one by one, through an unoptimised one of lcms2.
TEST(ColorSpace, TablesAgreeWithAnotherImplementation)
{
    const Data profile = test::saved(test::matrixProfile(test::p3Primaries, test::gammaCurve(2.2)));
    const auto transform = ColorTransform::toSrgb(CGColorSpace::fromProfile(profile, 3, "decode"));
    ASSERT_TRUE(transform);
    cmsHPROFILE from = cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size()));
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHTRANSFORM other = cmsCreateTransform(from, TYPE_RGBA_16, srgb, TYPE_RGBA_16, INTENT_RELATIVE_COLORIMETRIC,
                                             cmsFLAGS_NOOPTIMIZE | cmsFLAGS_COPY_ALPHA);
    std::mt19937 random(1);
    for (int i = 0; i < 20'000; ++i) {
        std::array<int, 4> pixel{};
        std::array<std::uint16_t, 4> in{}, out{};
        for (std::size_t k = 0; k < 4; ++k) {
            pixel[k] = static_cast<int>(random() % 256);
            in[k] = static_cast<std::uint16_t>(pixel[k] * 257);
        }
        cmsDoTransform(other, in.data(), out.data(), 1);
        const std::array<int, 4> wide = {out[0], out[1], out[2], out[3]};
        SCOPED_TRACE(testing::Message() << pixel[0] << ", " << pixel[1] << ", " << pixel[2]);
        expectNear(converted(transform, pixel),
                   {(wide[0] + 128) / 257, (wide[1] + 128) / 257, (wide[2] + 128) / 257, pixel[3]}, 1);
        expectNear(converted16(transform, {in[0], in[1], in[2], in[3]}), wide, 40);
    }
    cmsDeleteTransform(other);
    cmsCloseProfile(from);
    cmsCloseProfile(srgb);
}

TEST(ColorSpace, ProfilesOfTables)
{
    // Red and blue change places; every corner of the grid is exact, between them lcms2 interpolates in L*a*b*.
    const auto swapped = ColorTransform::toSrgb(spaceOf(test::tableProfile(cmsSigRgbData, 3, 17, [](const double* s) {
        return std::array<double, 3>{s[2], s[1], s[0]};
    })));
    ASSERT_TRUE(swapped);
    for (const std::array<int, 4>& pixel :
         {std::array<int, 4>{255, 0, 0, 3}, {0, 255, 0, 255}, {0, 0, 255, 0}, {255, 255, 255, 9}, {176, 64, 128, 1}}) {
        expectNear(converted(swapped, pixel), {pixel[2], pixel[1], pixel[0], pixel[3]}, 3);
        expectNear(converted16(swapped, {pixel[0] * 257, pixel[1] * 257, pixel[2] * 257, 5}),
                   {pixel[2] * 257, pixel[1] * 257, pixel[0] * 257, 5}, 3 * 257);
    }

    // Inks that multiply, as in the formula that holds without a profile.
    const auto inks = spaceOf(
        test::tableProfile(
            cmsSigCmykData, 4, 9,
            [](const double* s) {
                return std::array<double, 3>{(1 - s[0]) * (1 - s[3]), (1 - s[1]) * (1 - s[3]), (1 - s[2]) * (1 - s[3])};
            }),
        4);
    ASSERT_TRUE(inks);
    EXPECT_EQ(ColorTransform::toSrgb(inks), nullptr) << "its samples are no RGB";
    const auto byProfile = ColorTransform::cmykToSrgb(inks), byFormula = ColorTransform::cmykToSrgb(nullptr);
    for (const std::array<int, 4>& pixel : {std::array<int, 4>{0, 0, 0, 0},
                                            {255, 0, 0, 0},
                                            {0, 255, 0, 0},
                                            {0, 0, 255, 0},
                                            {0, 0, 0, 255},
                                            {64, 128, 192, 32}}) {
        SCOPED_TRACE(testing::Message() << pixel[0] << ", " << pixel[1] << ", " << pixel[2] << ", " << pixel[3]);
        expectNear(converted(byProfile, pixel), converted(byFormula, pixel), 4);
        EXPECT_EQ(converted(byProfile, pixel)[3], 255);
    }
}

TEST(ColorTransform, InksWithoutAProfile)
{
    const auto transform = ColorTransform::cmykToSrgb(nullptr);
    const struct {
        std::array<int, 4> inks, rgb;
    } cases[] = {
        {{0, 0, 0, 0}, {255, 255, 255, 255}},
        {{0, 0, 0, 255}, {0, 0, 0, 255}},
        {{255, 0, 0, 0}, {0, 255, 255, 255}},
        {{100, 50, 25, 128}, {77, 102, 115, 255}}, // 155 * 127 / 255 = 77.2, 205 * 127 / 255 = 102.1, 230 * 127 / 255 =
                                                   // 114.5
        {{1, 254, 128, 1}, {253, 1, 127, 255}},    // 254 * 254 / 255 = 253.0, 1 * 254 / 255 = 0.996, 127 * 254 / 255 =
                                                   // 126.5
    };
    for (const auto& c : cases) {
        EXPECT_EQ(converted(transform, c.inks), c.rgb);
        std::array<int, 4> wide = c.inks;
        for (int& sample : wide)
            sample *= 257;
        const std::array<int, 4> result = converted16(transform, wide);
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_NEAR(result[i], c.rgb[i] * 257, 129);
    }
    EXPECT_EQ(converted16(transform, {65535, 0, 1, 0}), (std::array<int, 4>{0, 65535, 65534, 65535}));
}

TEST(ColorTransform, Lab)
{
    // sRGB colours in L*a*b* relative to D50 (Bradford), as colour calculators give them.
    const struct {
        const char* name;
        double l, a, b;
        std::array<int, 4> rgb;
    } cases[] = {
        {"white", 100, 0, 0, {255, 255, 255, 255}},          {"black", 0, 0, 0, {0, 0, 0, 255}},
        {"middle grey", 53.585, 0, 0, {128, 128, 128, 255}}, {"red", 54.29, 80.81, 69.89, {255, 0, 0, 255}},
        {"green", 87.82, -79.27, 80.99, {0, 255, 0, 255}},   {"blue", 29.57, 68.30, -112.03, {0, 0, 255, 255}},
    };
    const auto transform = ColorTransform::labToSrgb();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto at8 = [](double x) { return static_cast<int>(std::lround(x)); };
        expectNear(converted(transform, {at8(c.l * 2.55), at8(c.a + 128), at8(c.b + 128), 255}), c.rgb, 12);
        expectNear(converted16(transform, {at8(c.l * 655.35), at8((c.a + 128) * 257), at8((c.b + 128) * 257), 65535}),
                   {c.rgb[0] * 257, c.rgb[1] * 257, c.rgb[2] * 257, 65535}, 500);
    }
}

TEST(ColorSpace, WhatIsNearSrgbIsLeftAlone)
{
    const struct {
        const char* name;
        cmsHPROFILE profile;
        int channels;
        bool near;
    } cases[] = {
        {"sRGB", cmsCreate_sRGBProfile(), 3, true},
        {"sRGB by its primaries", test::matrixProfile(test::srgbPrimaries, test::srgbCurve()), 3, true},
        {"gamma 2.2 in place of sRGB's curve", test::matrixProfile(test::srgbPrimaries, test::gammaCurve(2.2)), 3,
         false},
        {"P3", test::matrixProfile(test::p3Primaries, test::srgbCurve()), 3, false},
        {"grey of gamma 1", test::grayProfile(1.0), 1, false},
        {"identical tables",
         test::tableProfile(cmsSigRgbData, 3, 33,
                            [](const double* s) {
                                return std::array<double, 3>{s[0], s[1], s[2]};
                            }),
         3, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Ref<const CGColorSpace> space = spaceOf(c.profile, c.channels);
        ASSERT_TRUE(space);
        EXPECT_EQ(space->isNearSrgb(), c.near);
        EXPECT_EQ(ColorTransform::toSrgb(space) == nullptr, c.near);
    }
    EXPECT_EQ(ColorTransform::toSrgb(nullptr), nullptr);
}

TEST(ColorSpace, NamesAreCleanUtf8)
{
    const struct {
        const wchar_t* described;
        const char* expected;
    } cases[] = {
        {L"Display P3", "Display P3"},
        {L"  Farbe: Gr\u00FCn \u20AC  ", "Farbe: Gr\u00FCn \u20AC"},
        {L"\x1B[31mred\x1B[0m\n\u0085", "[31mred[0m"},
        {L"gpj.\u202Eexe\u2066", "gpj.exe"},
        {L"\xD83C\xDF08", "\U0001F308"},
    };
    for (const auto& c : cases) {
        cmsHPROFILE profile = test::matrixProfile(test::p3Primaries, test::srgbCurve());
        test::describe(profile, c.described);
        const Ref<const CGColorSpace> space = spaceOf(profile);
        ASSERT_TRUE(space);
        EXPECT_EQ(space->name(), c.expected);
    }
    cmsHPROFILE profile = test::matrixProfile(test::p3Primaries, test::srgbCurve());
    test::describe(profile, std::wstring(70'000, L'a').c_str());
    EXPECT_EQ(spaceOf(profile)->name(), std::string(255, 'a'));
}

cmsHPROFILE ofClass(cmsProfileClassSignature kind)
{
    cmsHPROFILE profile = test::matrixProfile(test::p3Primaries, test::srgbCurve());
    cmsSetDeviceClass(profile, kind);
    return profile;
}

/// A chain of 1,000 stages, all of them the same bytes of the file.
cmsHPROFILE ofManyStages()
{
    cmsHPROFILE profile = test::matrixProfile(test::p3Primaries, test::srgbCurve());
    cmsSetProfileVersion(profile, 4.3);
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, 3, 3);
    const double identity[] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (int i = 0; i < 1'000; ++i)
        cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocMatrix(nullptr, 3, 3, identity, nullptr));
    cmsWriteTag(profile, cmsSigDToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    return profile;
}

TEST(ColorSpace, UnusableProfilesAreNotedAndLeaveSrgb)
{
    const Data p3 = test::saved(test::matrixProfile(test::p3Primaries, test::srgbCurve()));
    const auto cut = [&](std::size_t length) { return Data(std::vector<std::uint8_t>(p3.data(), p3.data() + length)); };
    std::vector<std::uint8_t> long_(p3.data(), p3.data() + p3.size());
    long_.resize((std::size_t{4} << 20) + 1);
    const struct {
        const char* name;
        Data profile;
        int channels;
        const char* saying;
    } cases[] = {
        {"no bytes", Data(), 3, "empty"},
        {"one byte", Data(std::vector<std::uint8_t>{1}), 3, ""},
        {"a header alone", cut(128), 3, ""},
        {"half of it", cut(p3.size() / 2), 3, ""},
        {"text", Data(std::vector<std::uint8_t>(1000, 'x')), 3, ""},
        {"4 MiB and a byte", Data(long_), 3, "4194305 bytes exceed the limit of 4194304"},
        {"RGB profile, grey picture", p3, 1, "describes RGB samples, the picture has 1 a pixel"},
        {"RGB profile, CMYK picture", p3, 4, "describes RGB samples"},
        {"grey profile, RGB picture", test::saved(test::grayProfile(2.2)), 3, "describes GRAY samples"},
        {"an effect", test::saved(ofClass(cmsSigAbstractClass)), 3, "does not describe the colours of a device"},
        {"a link of devices", test::saved(ofClass(cmsSigLinkClass)), 3, "does not describe"},
        {"a chain of 1,000 stages", test::saved(ofManyStages()), 3, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ZelReport report;
        EXPECT_EQ(CGColorSpace::fromProfile(c.profile, c.channels, "decode"), nullptr);
        ASSERT_EQ(report.notes().size(), 1U);
        const ZelNote note = report.notes().front();
        EXPECT_EQ(note.severity, ZelSeverity::warning);
        EXPECT_EQ(note.code, ZelFailureCode::unreadable);
        EXPECT_EQ(note.operation, "decode");
        EXPECT_NE(note.message.find(c.saying), std::string::npos) << note.message;
    }
}

TEST(ColorSpace, DamagedProfilesConvertOrAreNoted)
{
    const Data whole[] = {
        test::saved(test::matrixProfile(test::adobePrimaries, test::gammaCurve(2.2))),
        test::saved(test::tableProfile(cmsSigRgbData, 3, 3,
                                       [](const double* s) {
                                           return std::array<double, 3>{s[1], s[0], s[2]};
                                       })),
        test::saved(test::grayProfile(1.8)),
    };
    std::mt19937 random(7);
    for (const Data& profile : whole)
        for (int i = 0; i < 100; ++i) {
            std::vector<std::uint8_t> bytes(profile.data(), profile.data() + profile.size());
            for (unsigned k = 0; k < 1 + random() % 4; ++k)
                bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
            const int channels = &profile == &whole[2] ? 1 : 3;
            const ZelReport report;
            const Ref<const CGColorSpace> space = CGColorSpace::fromProfile(Data(bytes), channels, "decode");
            EXPECT_EQ(report.notes().empty(), space != nullptr);
            if (const auto transform = ColorTransform::toSrgb(space)) {
                EXPECT_EQ(converted(transform, {10, 10, 10, 99})[3], 99);
                EXPECT_EQ(converted16(transform, {10, 10, 10, 99})[3], 99);
            }
        }
}

TEST(ColorTransform, RowsMayBeTheSameAndStridesOfAnyKind)
{
    const auto transform = ColorTransform::toSrgb(spaceOf(test::matrixProfile(test::p3Primaries, test::srgbCurve())));
    const auto inks = ColorTransform::cmykToSrgb(nullptr);
    for (const auto& conversion : {transform, inks})
        for (const int bytesPerPixel : {4, 8}) {
            constexpr int width = 5, height = 3, gap = 3;
            const int stride = width * bytesPerPixel + gap;
            std::vector<std::uint8_t> source(static_cast<std::size_t>(stride * height));
            for (std::size_t i = 0; i < source.size(); ++i)
                source[i] = static_cast<std::uint8_t>(i * 37);
            std::vector<std::uint8_t> apart(source.size(), 0xA5), inPlace = source;
            conversion->apply({source.data(), stride, width, height, bytesPerPixel},
                              {apart.data(), stride, width, height, bytesPerPixel});
            // The same rows, taken from the last to the first.
            std::uint8_t* const lastRow = inPlace.data() + stride * (height - 1);
            conversion->apply({lastRow, -stride, width, height, bytesPerPixel},
                              {lastRow, -stride, width, height, bytesPerPixel});
            for (int y = 0; y < height; ++y) {
                EXPECT_EQ(std::memcmp(apart.data() + y * stride, inPlace.data() + y * stride,
                                      static_cast<std::size_t>(width * bytesPerPixel)),
                          0);
                for (int x = width * bytesPerPixel; x < stride; ++x)
                    EXPECT_EQ(apart[static_cast<std::size_t>(y * stride + x)], 0xA5) << "written past the row";
            }
        }
}

TEST(ColorSpace, TheSameProfileOnSeveralThreads)
{
    const Data profile = test::saved(test::matrixProfile(test::adobePrimaries, test::gammaCurve(2.19)));
    std::array<std::array<int, 4>, 4> results{};
    std::vector<std::thread> threads;
    for (std::array<int, 4>& result : results)
        threads.emplace_back([&profile, &result] {
            const auto transform = ColorTransform::toSrgb(CGColorSpace::fromProfile(profile, 3, "decode"));
            result = converted16(transform, {30'000, 20'000, 10'000, 5});
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& result : results)
        EXPECT_EQ(result, results[0]);
    EXPECT_EQ(CGColorSpace::fromProfile(profile, 3, "decode"), CGColorSpace::fromProfile(profile, 3, "decode"))
        << "tables are made once for a series of pictures";
}

} // namespace
} // namespace zel
