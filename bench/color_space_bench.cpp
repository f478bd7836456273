#include <zel/platform/graphics/color_space.h>

#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <array>

// Display P3 to sRGB over a megapixel of noise, ours beside lcms2's own paths, and what a profile costs when it is
// first met.
namespace {

using namespace zel;

constexpr int side = 1024;

/// Display P3, or another one with the same primaries for every `gamma`.
Data profileOf(double gamma)
{
    const cmsCIExyY white = {0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries = {{0.68, 0.32, 1}, {0.265, 0.69, 1}, {0.15, 0.06, 1}};
    const std::array<double, 5> curve = {gamma, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    cmsToneCurve* const tone = cmsBuildParametricToneCurve(nullptr, 4, curve.data());
    cmsToneCurve* const tones[] = {tone, tone, tone};
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, tones);
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<std::uint8_t> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    cmsFreeToneCurve(tone);
    return Data(std::move(bytes));
}

std::vector<std::uint8_t> noise(int bytesPerPixel)
{
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(side) * side * static_cast<std::size_t>(bytesPerPixel));
    std::uint32_t state = 1;
    for (std::uint8_t& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24U);
    }
    return bytes;
}

void countPixels(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * side * side);
}

void ours(benchmark::State& state)
{
    const int bytesPerPixel = static_cast<int>(state.range(0)) / 2;
    const auto transform = ColorTransform::toSrgb(CGColorSpace::fromProfile(profileOf(2.4), 3, "bench"));
    std::vector<std::uint8_t> from = noise(bytesPerPixel), to(from.size());
    const std::ptrdiff_t stride = static_cast<std::ptrdiff_t>(side) * bytesPerPixel;
    for ([[maybe_unused]] auto _ : state)
        transform->apply({from.data(), stride, side, side, bytesPerPixel},
                         {to.data(), stride, side, side, bytesPerPixel});
    countPixels(state);
}
BENCHMARK(ours)->ArgName("bits")->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);

void lcms(benchmark::State& state)
{
    const bool wide = state.range(0) == 16;
    const Data bytes = profileOf(2.4);
    cmsHPROFILE profile = cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size()));
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHTRANSFORM transform =
        cmsCreateTransform(profile, wide ? TYPE_RGBA_16 : TYPE_RGBA_8, srgb, wide ? TYPE_RGBA_16 : TYPE_RGBA_8,
                           INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE | cmsFLAGS_COPY_ALPHA);
    std::vector<std::uint8_t> from = noise(wide ? 8 : 4), to(from.size());
    for ([[maybe_unused]] auto _ : state)
        cmsDoTransform(transform, from.data(), to.data(), side * side);
    countPixels(state);
    cmsDeleteTransform(transform);
    cmsCloseProfile(srgb);
    cmsCloseProfile(profile);
}
BENCHMARK(lcms)->ArgName("bits")->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);

void firstMet(benchmark::State& state)
{
    double gamma = 2;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        Data profile = profileOf(gamma += 0.001); // one that is not among the last few
        state.ResumeTiming();
        benchmark::DoNotOptimize(CGColorSpace::fromProfile(std::move(profile), 3, "bench"));
    }
}
BENCHMARK(firstMet)->Unit(benchmark::kMicrosecond);

void metAgain(benchmark::State& state)
{
    const Data profile = profileOf(2.4);
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(CGColorSpace::fromProfile(profile, 3, "bench"));
}
BENCHMARK(metAgain)->Unit(benchmark::kMicrosecond);

} // namespace
