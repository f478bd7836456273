// What the kernels of `resample` share, once for each instruction set: included again by every pass over the targets.
#include <zel/engine/resample_kernels.h>

#if defined(ZEL_RESAMPLE_KERNELS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef ZEL_RESAMPLE_KERNELS_INL
#undef ZEL_RESAMPLE_KERNELS_INL
#else
#define ZEL_RESAMPLE_KERNELS_INL
#endif

#include <hwy/highway.h>

/// Without vectors of 16 bytes the definition serves.
#undef ZEL_RESAMPLE_PLAIN
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128
#define ZEL_RESAMPLE_PLAIN 1
#else
#define ZEL_RESAMPLE_PLAIN 0
#endif

#if !ZEL_RESAMPLE_PLAIN
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Wide8 = hn::ScalableTag<std::uint8_t>;
using Wide16 = hn::ScalableTag<std::int16_t>;
using Wide32 = hn::ScalableTag<std::int32_t>;
using Block8 = hn::CappedTag<std::uint8_t, 16>;
using Block16 = hn::CappedTag<std::int16_t, 8>;
using Block32 = hn::CappedTag<std::int32_t, 4>;

template <class D>
inline constexpr std::size_t bytesOf = hn::MaxLanes(D()) * sizeof(hn::TFromD<D>);

/// To nearest, halves up.
template <int shift, class D32, class V = hn::Vec<D32>>
HWY_INLINE V rounded(D32 d32, V sum)
{
    return hn::ShiftRight<shift>(hn::Add(sum, hn::Set(d32, 1 << (shift - 1))));
}

/// A running sum of products of pairs: one instruction for two products and their sum. Some instruction sets have no
/// such pairs and put halves into two vectors, which `sum` brings together.
template <class D32>
struct PairSum {
    using D16 = hn::Repartition<std::int16_t, D32>;
    using V = hn::Vec<D32>;

    HWY_INLINE PairSum() : first(hn::Zero(D32())), second(hn::Zero(D32())) {}

    HWY_INLINE void add(hn::Vec<D16> values, hn::Vec<D16> weights)
    {
        first = hn::ReorderWidenMulAccumulate(D32(), values, weights, first, second);
    }
    HWY_INLINE V sum() const { return hn::RearrangeToOddPlusEven(first, second); }

    V first;
    V second;
};

/// Colours held to the alpha beside them.
template <class V>
HWY_INLINE V heldToAlpha(V pixels)
{
    alignas(16) static constexpr std::uint8_t alphas[16] = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};
    const hn::DFromV<V> d8;
    return hn::Min(pixels,
                   hn::TableLookupBytes(pixels, hn::LoadDup128(hn::Repartition<std::uint8_t, decltype(d8)>(), alphas)));
}

} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif
