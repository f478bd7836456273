#pragma once
#include <zel/platform/foundation/ref.h>

#include <lcms2.h>

#include <array>
#include <cmath>
#include <functional>

// Colour profiles for tests, made through lcms2's writing side.
namespace zel::test {

struct Chromaticity {
    double x, y;
};
inline constexpr Chromaticity d65 = {0.3127, 0.3290};
inline constexpr std::array<Chromaticity, 3> srgbPrimaries = {{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}}};
inline constexpr std::array<Chromaticity, 3> p3Primaries = {{{0.68, 0.32}, {0.265, 0.69}, {0.15, 0.06}}};
inline constexpr std::array<Chromaticity, 3> adobePrimaries = {{{0.64, 0.33}, {0.21, 0.71}, {0.15, 0.06}}};

inline Data saved(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<std::uint8_t> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return Data(std::move(bytes));
}

inline cmsToneCurve* gammaCurve(double gamma)
{
    return cmsBuildGamma(nullptr, gamma);
}
inline cmsToneCurve* srgbCurve()
{
    const double parameters[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    return cmsBuildParametricToneCurve(nullptr, 4, parameters);
}

inline cmsHPROFILE matrixProfile(const std::array<Chromaticity, 3>& primaries, cmsToneCurve* curve)
{
    const cmsCIExyY white = {d65.x, d65.y, 1};
    const cmsCIExyYTRIPLE colors = {
        {primaries[0].x, primaries[0].y, 1}, {primaries[1].x, primaries[1].y, 1}, {primaries[2].x, primaries[2].y, 1}};
    cmsToneCurve* const curves[] = {curve, curve, curve};
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &colors, curves);
    cmsFreeToneCurve(curve);
    return profile;
}

inline cmsHPROFILE grayProfile(double gamma)
{
    cmsToneCurve* const curve = gammaCurve(gamma);
    cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    return profile;
}

/// A profile of tables: `toSrgb` says which colour (0...1, as sRGB) each corner of the grid has.
inline cmsHPROFILE tableProfile(cmsColorSpaceSignature space, unsigned channels, unsigned points,
                                const std::function<std::array<double, 3>(const double*)>& toSrgb)
{
    struct Sampler {
        const std::function<std::array<double, 3>(const double*)>& toSrgb;
        unsigned channels;
        cmsHTRANSFORM toLab;
        static cmsInt32Number sample(const cmsUInt16Number in[], cmsUInt16Number out[], void* cargo)
        {
            const Sampler& self = *static_cast<const Sampler*>(cargo);
            double samples[4] = {};
            for (unsigned i = 0; i < self.channels; ++i)
                samples[i] = in[i] / 65535.0;
            const std::array<double, 3> rgb = self.toSrgb(samples);
            cmsCIELab lab;
            cmsDoTransform(self.toLab, rgb.data(), &lab, 1);
            cmsFloat2LabEncoded(out, &lab);
            return 1;
        }
    };
    cmsHPROFILE srgb = cmsCreate_sRGBProfile(), lab = cmsCreateLab4Profile(nullptr);
    Sampler sampler{
        toSrgb, channels,
        cmsCreateTransform(srgb, TYPE_RGB_DBL, lab, TYPE_Lab_DBL, INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE)};
    cmsStage* const grid = cmsStageAllocCLut16bit(nullptr, points, channels, 3, nullptr);
    cmsStageSampleCLut16bit(grid, Sampler::sample, &sampler, 0);
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, channels, 3);
    cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, cmsStageAllocToneCurves(nullptr, channels, nullptr));
    cmsPipelineInsertStage(pipeline, cmsAT_END, grid);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 4.3);
    cmsSetDeviceClass(profile, space == cmsSigCmykData ? cmsSigOutputClass : cmsSigDisplayClass);
    cmsSetColorSpace(profile, space);
    cmsSetPCS(profile, cmsSigLabData);
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    cmsWriteTag(profile, cmsSigMediaWhitePointTag, cmsD50_XYZ());
    cmsPipelineFree(pipeline);
    cmsDeleteTransform(sampler.toLab);
    cmsCloseProfile(srgb);
    cmsCloseProfile(lab);
    return profile;
}

inline void describe(cmsHPROFILE profile, const wchar_t* text)
{
    cmsMLU* const words = cmsMLUalloc(nullptr, 1);
    cmsMLUsetWide(words, "en", "US", text);
    cmsWriteTag(profile, cmsSigProfileDescriptionTag, words);
    cmsMLUfree(words);
}

/// sRGB's curve (IEC 61966-2-1), linear light to encoded.
inline double encodeSrgb(double linear)
{
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

} // namespace zel::test
