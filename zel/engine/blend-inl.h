// Per-target include guard: this header is compiled once for every instruction set.
#if defined(ZEL_ENGINE_BLEND_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef ZEL_ENGINE_BLEND_INL_H_
#undef ZEL_ENGINE_BLEND_INL_H_
#else
#define ZEL_ENGINE_BLEND_INL_H_
#endif

#include <zel/engine/blend_kernels.h>

#include <hwy/highway.h>

// What kernels on pixels of four 8-bit components share. A vector of pixels is worked on as two vectors of 16-bit
// lanes: red and blue in one, green and alpha in the other, so that nothing crosses the 128-bit blocks and no packing
// is needed.
#if HWY_TARGET != HWY_SCALAR
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <class D32>
using Bytes = hn::Repartition<std::uint8_t, D32>;
template <class D32>
using Words = hn::Repartition<std::uint16_t, D32>;

/// A vector of pixels, a lane each, as 16-bit lanes.
template <class D32>
struct WidePixels {
    hn::VFromD<Words<D32>> redBlue, greenAlpha;
};

template <class D32>
HWY_INLINE hn::VFromD<D32> loadPixels(D32 d32, const std::uint8_t* from)
{
    return hn::BitCast(d32, hn::LoadU(Bytes<D32>(), from));
}

template <class D32>
HWY_INLINE void storePixels(D32 d32, hn::VFromD<D32> pixels, std::uint8_t* to)
{
    const Bytes<D32> d8;
    static_cast<void>(d32);
    hn::StoreU(hn::BitCast(d8, pixels), d8, to);
}

/// A table for TableLookupBytes, the same in every 128-bit block.
template <class D32>
HWY_INLINE hn::VFromD<Bytes<D32>> byteTable(D32, const std::uint8_t* sixteen)
{
    return hn::LoadDup128(Bytes<D32>(), sixteen);
}

HWY_ALIGN constexpr std::uint8_t twiceRedBlue[16] = {0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14};
HWY_ALIGN constexpr std::uint8_t twiceGreenAlpha[16] = {1, 1, 3, 3, 5, 5, 7, 7, 9, 9, 11, 11, 13, 13, 15, 15};
HWY_ALIGN constexpr std::uint8_t upperWordTwice[16] = {2, 3, 2, 3, 6, 7, 6, 7, 10, 11, 10, 11, 14, 15, 14, 15};

/// Every component × 257.
template <class D32>
HWY_INLINE WidePixels<D32> widened(D32 d32, hn::VFromD<D32> pixels)
{
    const Words<D32> d16;
    const auto bytes = hn::BitCast(Bytes<D32>(), pixels);
    return {hn::BitCast(d16, hn::TableLookupBytes(bytes, byteTable(d32, twiceRedBlue))),
            hn::BitCast(d16, hn::TableLookupBytes(bytes, byteTable(d32, twiceGreenAlpha)))};
}

/// The alpha of each pixel in both of its lanes.
template <class D32>
HWY_INLINE hn::VFromD<Words<D32>> alphaOf(D32 d32, const WidePixels<D32>& pixels)
{
    const auto bytes = hn::BitCast(Bytes<D32>(), pixels.greenAlpha);
    return hn::BitCast(Words<D32>(), hn::TableLookupBytes(bytes, byteTable(d32, upperWordTwice)));
}

/// (v + 128) ÷ 256, cut off and at most 255, packed again.
template <class D32>
HWY_INLINE hn::VFromD<D32> rounded(D32 d32, const WidePixels<D32>& pixels)
{
    const Words<D32> d16;
    const auto half = hn::Set(d16, 128);
    const auto redBlue = hn::ShiftRight<8>(hn::SaturatedAdd(pixels.redBlue, half));
    const auto greenAlpha = hn::AndNot(hn::Set(d16, 255), hn::SaturatedAdd(pixels.greenAlpha, half));
    return hn::BitCast(d32, hn::Or(redBlue, greenAlpha));
}

/// What shows of the source, in 1/256 steps, over `to`: the second half of the formula of `blendRows`.
template <class D32>
HWY_INLINE hn::VFromD<D32> shownOver(D32 d32, const WidePixels<D32>& shown, hn::VFromD<D32> to)
{
    const WidePixels<D32> below = widened(d32, to);
    const auto clear = hn::Sub(hn::Set(Words<D32>(), static_cast<std::uint16_t>(fullOpacity)), alphaOf(d32, shown));
    return rounded(d32, WidePixels<D32>{hn::SaturatedAdd(shown.redBlue, hn::MulHigh(below.redBlue, clear)),
                                        hn::SaturatedAdd(shown.greenAlpha, hn::MulHigh(below.greenAlpha, clear))});
}

/// Components × 257 of the source through the opacity.
template <class D32>
HWY_INLINE WidePixels<D32> shownOf(D32, const WidePixels<D32>& source, hn::VFromD<Words<D32>> opacity)
{
    return {hn::MulHigh(source.redBlue, opacity), hn::MulHigh(source.greenAlpha, opacity)};
}

} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif // HWY_TARGET != HWY_SCALAR

#endif // per-target include guard
