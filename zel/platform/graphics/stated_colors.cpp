#include <zel/platform/graphics/stated_colors.h>

#include <zel/platform/foundation/notes.h>

#include <lcms2.h>

#include <memory>

namespace zel {
namespace {

struct Primaries {
    int number;
    cmsCIExyY white;
    cmsCIExyYTRIPLE colors;
};

constexpr cmsCIExyY d65 = {0.3127, 0.3290, 1};

// Their number 1 is that of sRGB.
constexpr Primaries known[] = {
    {4, {0.310, 0.316, 1}, {{0.67, 0.33, 1}, {0.21, 0.71, 1}, {0.14, 0.08, 1}}},
    {5, d65, {{0.64, 0.33, 1}, {0.29, 0.60, 1}, {0.15, 0.06, 1}}},
    {6, d65, {{0.630, 0.340, 1}, {0.310, 0.595, 1}, {0.155, 0.070, 1}}},
    {7, d65, {{0.630, 0.340, 1}, {0.310, 0.595, 1}, {0.155, 0.070, 1}}},
    {8, {0.310, 0.316, 1}, {{0.681, 0.319, 1}, {0.243, 0.692, 1}, {0.145, 0.049, 1}}},
    {9, d65, {{0.708, 0.292, 1}, {0.170, 0.797, 1}, {0.131, 0.046, 1}}},
    {11, {0.314, 0.351, 1}, {{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}}},
    {12, d65, {{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}}},
    {22, d65, {{0.630, 0.340, 1}, {0.295, 0.605, 1}, {0.155, 0.077, 1}}},
};
constexpr Primaries ofSrgb = {1, d65, {{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}}};

struct FreeCurve {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};

/// Null for the curve of sRGB.
std::unique_ptr<cmsToneCurve, FreeCurve> curveOf(int transfer)
{
    const double gamma = transfer == 4 ? 2.2 : transfer == 5 ? 2.8 : transfer == 8 ? 1.0 : transfer == 17 ? 2.6 : 0;
    return std::unique_ptr<cmsToneCurve, FreeCurve>(gamma > 0 ? cmsBuildGamma(nullptr, gamma) : nullptr);
}

} // namespace

Ref<const CGColorSpace> spaceOfStatedColors(int primaries, int transfer, std::string_view operation)
{
    constexpr int perceptualQuantizer = 16, hybridLogGamma = 18;
    if (transfer == perceptualQuantizer || transfer == hybridLogGamma)
        warn(ZelFailureCode::unsupported, operation, "its high dynamic range is not brought to that of screens");
    const Primaries* found = nullptr;
    for (const Primaries& candidate : known)
        if (candidate.number == primaries)
            found = &candidate;
    std::unique_ptr<cmsToneCurve, FreeCurve> curve = curveOf(transfer);
    if (found == nullptr && !curve)
        return nullptr;
    if (!curve) { // IEC 61966-2-1
        constexpr cmsFloat64Number srgb[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
        constexpr cmsInt32Number kind = 4;
        curve.reset(cmsBuildParametricToneCurve(nullptr, kind, srgb));
    }
    if (!curve)
        return nullptr;
    const Primaries& chosen = found != nullptr ? *found : ofSrgb;
    cmsToneCurve* const curves[] = {curve.get(), curve.get(), curve.get()};
    const cmsHPROFILE profile = cmsCreateRGBProfile(&chosen.white, &chosen.colors, curves);
    if (profile == nullptr)
        return nullptr;
    cmsUInt32Number size = 0;
    std::vector<std::uint8_t> bytes;
    if (cmsSaveProfileToMem(profile, nullptr, &size) != 0) {
        bytes.resize(size);
        if (cmsSaveProfileToMem(profile, bytes.data(), &size) == 0)
            bytes.clear();
    }
    cmsCloseProfile(profile);
    return bytes.empty() ? nullptr : CGColorSpace::fromProfile(Data(std::move(bytes)), 3, operation);
}

} // namespace zel
