#include <zel/engine/sharpen_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/sharpen_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Blurring adds weighted differences to the pixel itself, not weighted pixels to each other: differences of a flat area
// are 0, whatever the rounding, and fit 16 bits as 64 steps of a byte's value fit them.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void luma(const std::uint8_t* pixels, std::int16_t* to, std::size_t count)
{
    lumaRowReference(pixels, to, count);
}

void alpha(const std::uint8_t* pixels, std::int16_t* to, std::size_t count)
{
    alphaRowReference(pixels, to, count);
}

void across(const std::int16_t* row, const Gaussian& gaussian, std::int16_t* to, std::size_t count)
{
    blurAcrossReference(row, gaussian, to, count);
}

void down(const std::int16_t* const* rows, const Gaussian& gaussian, std::int16_t* to, std::size_t count)
{
    blurDownReference(rows, gaussian, to, count);
}

void underAlpha(const std::int16_t* own, const std::int16_t* cover, std::int16_t* soft, std::size_t count)
{
    lumaUnderAlphaReference(own, cover, soft, count);
}

void detail(const std::uint8_t* pixels, const std::int16_t* sharp, const std::int16_t* soft, Gain gain,
            std::uint8_t* to, std::size_t count)
{
    addDetailReference(pixels, sharp, soft, gain, to, count);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

using D16 = hn::ScalableTag<std::int16_t>;
using D32 = hn::ScalableTag<std::int32_t>;
using HalfD16 = hn::Rebind<std::int16_t, D32>;

/// Values below 2^15 of two vectors of pixels, one to a lane of 16 bits.
HWY_INLINE void storeNarrow(hn::VFromD<D32> values, std::int16_t* to)
{
    const HalfD16 half;
    hn::StoreU(hn::DemoteTo(half, values), half, to);
}

void luma(const std::uint8_t* pixels, std::int16_t* to, std::size_t count)
{
    const D32 d32;
    const hn::Repartition<std::uint8_t, D32> d8;
    const hn::Repartition<std::uint16_t, D32> d16;
    const auto byte = hn::Set(d16, 255);
    const auto factors = hn::BitCast(d16, hn::Set(d32, 54 | 19 << 16)); // red, blue
    std::size_t x = 0;
    for (; x + hn::Lanes(d32) <= count; x += hn::Lanes(d32)) {
        const auto words = hn::BitCast(d16, hn::LoadU(d8, pixels + 4 * x));
        const auto redBlue = hn::BitCast(d32, hn::Mul(hn::And(words, byte), factors));
        const auto green = hn::BitCast(d32, hn::Mul(hn::ShiftRight<8>(words), hn::Set(d16, 183)));
        const auto low = hn::Set(d32, 0xFFFF);
        const auto high = [](auto value) { // without its sign
            return hn::BitCast(D32(), hn::ShiftRight<16>(hn::BitCast(hn::RebindToUnsigned<D32>(), value)));
        };
        const auto sum = hn::Add(hn::Add(hn::And(redBlue, low), high(redBlue)), hn::And(green, low));
        storeNarrow(hn::ShiftRight<2>(hn::Add(sum, hn::Set(d32, 2))), to + x);
    }
    lumaRowReference(pixels + 4 * x, to + x, count - x);
}

void alpha(const std::uint8_t* pixels, std::int16_t* to, std::size_t count)
{
    const D32 d32;
    const hn::Repartition<std::uint8_t, D32> d8;
    const hn::RebindToUnsigned<D32> du32;
    std::size_t x = 0;
    for (; x + hn::Lanes(d32) <= count; x += hn::Lanes(d32)) {
        const auto alphas = hn::ShiftRight<24>(hn::BitCast(du32, hn::LoadU(d8, pixels + 4 * x)));
        storeNarrow(hn::BitCast(d32, hn::ShiftLeft<6>(alphas)), to + x);
    }
    alphaRowReference(pixels + 4 * x, to + x, count - x);
}

/// The pixel with the weighted differences of its neighbours, which `at(k)` loads.
template <class Load>
HWY_INLINE hn::VFromD<D16> blurred(const Gaussian& gaussian, const Load& at)
{
    const D16 d16;
    const auto middle = at(0);
    const auto twice = hn::Add(middle, middle);
    auto sum = middle;
    for (int k = 1; k <= gaussian.reach; ++k) {
        const auto weight = hn::Set(d16, gaussian.weights[static_cast<std::size_t>(k - 1)]);
        sum = hn::Add(sum, hn::MulFixedPoint15(hn::Sub(hn::Add(at(-k), at(k)), twice), weight));
    }
    return sum;
}

void across(const std::int16_t* row, const Gaussian& gaussian, std::int16_t* to, std::size_t count)
{
    const D16 d16;
    std::size_t x = 0;
    for (; x + hn::Lanes(d16) <= count; x += hn::Lanes(d16))
        hn::StoreU(blurred(gaussian, [&](int k) { return hn::LoadU(d16, row + x + k); }), d16, to + x);
    blurAcrossReference(row + x, gaussian, to + x, count - x);
}

void down(const std::int16_t* const* rows, const Gaussian& gaussian, std::int16_t* to, std::size_t count)
{
    const D16 d16;
    const std::int16_t* const* middle = rows + gaussian.reach;
    std::size_t x = 0;
    for (; x + hn::Lanes(d16) <= count; x += hn::Lanes(d16))
        hn::StoreU(blurred(gaussian, [&](int k) { return hn::LoadU(d16, middle[k] + x); }), d16, to + x);
    if (x < count) {
        const std::int16_t* rest[2 * Gaussian::furthest + 1];
        for (int k = 0; k <= 2 * gaussian.reach; ++k)
            rest[k] = rows[k] + x;
        blurDownReference(rest, gaussian, to + x, count - x);
    }
}

void underAlpha(const std::int16_t* own, const std::int16_t* cover, std::int16_t* soft, std::size_t count)
{
    const D32 d32;
    const HalfD16 d16;
    const hn::Rebind<float, D32> df;
    const auto wide = [&](const std::int16_t* values) { return hn::PromoteTo(d32, hn::LoadU(d16, values)); };
    std::size_t x = 0;
    for (; x + hn::Lanes(d32) <= count; x += hn::Lanes(d32)) {
        const auto under = wide(cover + x), around = wide(soft + x);
        const auto mine = hn::ConvertTo(df, wide(own + x));
        const auto divisor = hn::ConvertTo(df, hn::Max(under, hn::Set(d32, 1)));
        const auto scaled = hn::Div(hn::Mul(mine, hn::ConvertTo(df, around)), divisor);
        const auto nearest = hn::ConvertTo(d32, hn::Add(hn::Min(scaled, mine), hn::Set(df, 0.5F)));
        const auto visible = hn::And(hn::Gt(under, hn::Zero(d32)), hn::Gt(around, hn::Zero(d32)));
        storeNarrow(hn::IfThenElseZero(visible, nearest), soft + x);
    }
    lumaUnderAlphaReference(own + x, cover + x, soft + x, count - x);
}

void detail(const std::uint8_t* pixels, const std::int16_t* sharp, const std::int16_t* soft, Gain gain,
            std::uint8_t* to, std::size_t count)
{
    const D32 d32;
    const HalfD16 d16;
    const hn::Repartition<std::uint8_t, D32> d8;
    const hn::Rebind<std::uint8_t, D32> quarter;
    const hn::RebindToUnsigned<D32> du32;
    const auto factor = hn::Set(d16, gain.factor);
    const auto half = hn::Set(d16, static_cast<std::int16_t>((1 << gain.shift) >> 1));
    const auto alphaByte = hn::BitCast(d8, hn::Set(d32, static_cast<std::int32_t>(0xFF000000u)));
    HWY_ALIGN static constexpr std::uint8_t toColours[16] = {0, 0, 0, 0x80, 4,  4,  4,  0x80,
                                                             8, 8, 8, 0x80, 12, 12, 12, 0x80};
    HWY_ALIGN static constexpr std::uint8_t alphas[16] = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};
    const auto spread = [&](hn::VFromD<HalfD16> levels) { // to three bytes of a pixel, held to a byte's range
        const auto bytes = hn::PromoteTo(du32, hn::DemoteTo(quarter, levels));
        return hn::TableLookupBytesOr0(hn::BitCast(d8, bytes), hn::LoadDup128(d8, toColours));
    };
    std::size_t x = 0;
    for (; x + hn::Lanes(d32) <= count; x += hn::Lanes(d32)) {
        const auto difference = hn::Sub(hn::LoadU(d16, sharp + x), hn::LoadU(d16, soft + x));
        const auto scaled = hn::MulFixedPoint15(hn::Add(difference, difference), factor);
        const auto levels = hn::ShiftRightSame(hn::SaturatedAdd(scaled, half), gain.shift);
        const auto own = hn::LoadU(d8, pixels + 4 * x);
        const auto raised = hn::SaturatedAdd(own, spread(levels));
        const auto changed = hn::SaturatedSub(raised, spread(hn::Neg(levels)));
        const auto alphaOf = hn::TableLookupBytes(own, hn::LoadDup128(d8, alphas));
        const auto held = hn::Min(changed, alphaOf);
        hn::StoreU(hn::Or(hn::AndNot(alphaByte, held), hn::And(alphaByte, own)), d8, to + 4 * x);
    }
    addDetailReference(pixels + 4 * x, sharp + x, soft + x, gain, to + 4 * x, count - x);
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(luma);
HWY_EXPORT(alpha);
HWY_EXPORT(across);
HWY_EXPORT(down);
HWY_EXPORT(underAlpha);
HWY_EXPORT(detail);
} // namespace

void lumaRow(const std::uint8_t* pixels, std::int16_t* to, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(luma)(pixels, to, count);
}

void alphaRow(const std::uint8_t* pixels, std::int16_t* to, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(alpha)(pixels, to, count);
}

void blurAcross(const std::int16_t* row, const Gaussian& gaussian, std::int16_t* to, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(across)(row, gaussian, to, count);
}

void blurDown(const std::int16_t* const* rows, const Gaussian& gaussian, std::int16_t* to, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(down)(rows, gaussian, to, count);
}

void lumaUnderAlpha(const std::int16_t* own, const std::int16_t* cover, std::int16_t* soft, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(underAlpha)(own, cover, soft, count);
}

void addDetail(const std::uint8_t* pixels, const std::int16_t* sharp, const std::int16_t* soft, Gain gain,
               std::uint8_t* to, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(detail)(pixels, sharp, soft, gain, to, count);
}

} // namespace zel::engine
#endif // HWY_ONCE
