#include <zel/engine/ycc_decode.h>

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/ycc_decode.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR // no lanes to work in
template <class Sample>
void convertRow(const Sample* luma, const Sample* blue, const Sample* red, const YccToRgb& formula, Sample* rgbx,
                std::size_t pixels)
{
    fromYccReference(luma, blue, red, formula, rgbx, pixels);
}
#else

template <class D32, class V32>
V32 colour(D32 d32, const YccToRgb& formula, int c, V32 luma, V32 blue, V32 red)
{
    const auto differences =
        hn::Add(hn::Mul(blue, hn::Set(d32, formula.blue[c])), hn::Mul(red, hn::Set(d32, formula.red[c])));
    return hn::ShiftRight<yccFraction>(hn::Add(hn::Add(luma, hn::Set(d32, formula.offset[c])), differences));
}

template <class D32, class V32>
void store(D32 d32, V32 red, V32 green, V32 blue, std::uint8_t* to)
{
    // The components of a pixel lie in one 32-bit lane: red lowest, as bytes are ordered in memory.
    const hn::Repartition<std::uint8_t, D32> d8;
    const auto held = [&](V32 value) { return hn::Min(hn::Max(value, hn::Zero(d32)), hn::Set(d32, 255)); };
    const auto pixel =
        hn::Or(hn::Or(held(red), hn::ShiftLeft<8>(held(green))),
               hn::Or(hn::ShiftLeft<16>(held(blue)), hn::Set(d32, static_cast<std::int32_t>(0xFF000000U))));
    hn::StoreU(hn::BitCast(d8, pixel), d8, to);
}

template <class D32, class V32>
void store(D32, V32 red, V32 green, V32 blue, std::uint16_t* to)
{
    const hn::Rebind<std::uint16_t, D32> d16;
    hn::StoreInterleaved4(hn::DemoteTo(d16, red), hn::DemoteTo(d16, green), hn::DemoteTo(d16, blue),
                          hn::Set(d16, std::uint16_t{0xFFFF}), d16, to);
}

template <class Sample>
void convertRow(const Sample* luma, const Sample* blue, const Sample* red, const YccToRgb& formula, Sample* rgbx,
                std::size_t pixels)
{
    const hn::ScalableTag<std::int32_t> d32;
    const hn::Rebind<Sample, decltype(d32)> samples;
    const std::size_t lanes = hn::Lanes(d32);
    std::size_t x = 0;
    for (; x + lanes <= pixels; x += lanes) {
        const auto y = hn::Mul(hn::PromoteTo(d32, hn::LoadU(samples, luma + x)), hn::Set(d32, formula.luma));
        const auto cb = hn::PromoteTo(d32, hn::LoadU(samples, blue + x));
        const auto cr = hn::PromoteTo(d32, hn::LoadU(samples, red + x));
        store(d32, colour(d32, formula, 0, y, cb, cr), colour(d32, formula, 1, y, cb, cr),
              colour(d32, formula, 2, y, cb, cr), rgbx + 4 * x);
    }
    fromYccReference(luma + x, blue + x, red + x, formula, rgbx + 4 * x, pixels - x);
}
#endif

void convertBytes(const std::uint8_t* luma, const std::uint8_t* blue, const std::uint8_t* red, const YccToRgb& formula,
                  std::uint8_t* rgbx, std::size_t pixels)
{
    convertRow(luma, blue, red, formula, rgbx, pixels);
}

void convertWords(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red,
                  const YccToRgb& formula, std::uint16_t* rgbx, std::size_t pixels)
{
    convertRow(luma, blue, red, formula, rgbx, pixels);
}

} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {

HWY_EXPORT(convertBytes);
HWY_EXPORT(convertWords);

void fromYcc(const std::uint8_t* luma, const std::uint8_t* blue, const std::uint8_t* red, const YccToRgb& formula,
             std::uint8_t* rgbx, std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(convertBytes)(luma, blue, red, formula, rgbx, pixels);
}

void fromYcc(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red, const YccToRgb& formula,
             std::uint16_t* rgbx, std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(convertWords)(luma, blue, red, formula, rgbx, pixels);
}

} // namespace zel::engine
#endif
