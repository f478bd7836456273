#include <zel/engine/resample_kernels.h>

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/resample_deep.cpp"
#include <hwy/foreach_target.h> // must precede highway.h
#include <zel/engine/resample_kernels-inl.h>

// Components of 16 bits: products of 32 bits in sums of 64. A multiplication takes every other lane, so sums come in
// two vectors: components 0, 2, 4, … and 1, 3, 5, …
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {

using Reference = ReferenceKernels<Depth16>;
using Components = WeightedRows<std::uint16_t>;
using Middles = WeightedRows<std::int32_t>;

#if ZEL_RESAMPLE_PLAIN

void verticalIn(const Components& in, std::int32_t* out, std::size_t count)
{
    Reference::verticalIn(in, out, count);
}

void verticalAdd(const Components& in, std::int64_t* sums, std::size_t count)
{
    Reference::verticalAdd(in, sums, count);
}

void verticalRound(const std::int64_t* sums, std::int32_t* out, std::size_t count)
{
    Reference::verticalRound(sums, out, count);
}

void horizontalOut(const std::int32_t* in, const RowTaps& taps, Hold hold, std::uint16_t* out)
{
    Reference::horizontalOut(in, taps, hold, out);
}

void horizontalIn(const std::int32_t* in, const RowTaps& taps, std::int32_t* out)
{
    Reference::horizontalIn(in, taps, out);
}

void verticalOut(const Middles& in, Hold hold, std::uint16_t* out, std::size_t count)
{
    Reference::verticalOut(in, hold, out, count);
}

#else

template <class D32>
struct EvenOddSums {
    using D64 = hn::Repartition<std::int64_t, D32>;
    using V32 = hn::Vec<D32>;
    using V64 = hn::Vec<D64>;

    HWY_INLINE EvenOddSums() : even(hn::Zero(D64())), odd(hn::Zero(D64())) {}

    /// The weights of lanes 2 i and 2 i + 1 are the same.
    HWY_INLINE void add(V32 values, V32 weights)
    {
        const D64 d64;
        const auto oddValues = hn::BitCast(D32(), hn::ShiftRight<32>(hn::BitCast(d64, values)));
        even = hn::Add(even, hn::MulEven(values, weights));
        odd = hn::Add(odd, hn::MulEven(oddValues, weights));
    }

    /// To nearest, in the order of the components. Results fit in 32 bits, so the bits above those need no sign.
    template <int shift>
    HWY_INLINE V32 rounded() const
    {
        const D32 d32;
        const hn::Repartition<std::uint64_t, D32> du64;
        const auto half = hn::Set(D64(), std::int64_t{1} << (shift - 1));
        const auto lower = hn::ShiftRight<shift>(hn::BitCast(du64, hn::Add(even, half)));
        const auto upper = hn::ShiftRight<shift>(hn::BitCast(du64, hn::Add(odd, half)));
        return hn::OddEven(hn::BitCast(d32, hn::ShiftLeft<32>(upper)), hn::BitCast(d32, lower));
    }

    V64 even;
    V64 odd;
};

template <class D32, class Value>
HWY_INLINE hn::Vec<D32> loaded(D32 d32, const Value* at)
{
    if constexpr (sizeof(Value) == 2)
        return hn::PromoteTo(d32, hn::LoadU(hn::Rebind<Value, D32>(), at));
    else
        return hn::LoadU(d32, at);
}

template <class D32, class Value>
HWY_INLINE EvenOddSums<D32> sumRows(D32 d32, const WeightedRows<Value>& in, std::size_t x)
{
    EvenOddSums<D32> sums;
    x += in.first;
    for (int k = 0; k < in.count; ++k)
        sums.add(loaded(d32, in.rows[k] + x), hn::Set(d32, in.weights[k]));
    return sums;
}

template <class D32>
HWY_INLINE void storeComponents(D32 d32, hn::Vec<D32> values, Hold hold, std::uint16_t* out)
{
    alignas(16) static constexpr std::uint8_t alpha[16] = {12, 13, 14, 15, 12, 13, 14, 15,
                                                           12, 13, 14, 15, 12, 13, 14, 15};
    const auto order = hn::BitCast(d32, hn::LoadDup128(hn::Repartition<std::uint8_t, D32>(), alpha));
    if (hold == Hold::alpha)
        values = hn::Min(values, hn::TableLookupBytes(values, order));
    const hn::Rebind<std::uint16_t, D32> d16;
    hn::StoreU(hn::DemoteTo(d16, values), d16, out);
}

template <class D32>
HWY_INLINE void verticalInAt(D32 d32, const Components& in, std::size_t x, std::int32_t* out)
{
    hn::StoreU(sumRows(d32, in, x).template rounded<Reference::shiftIn>(), d32, out + x);
}

template <class D32>
HWY_INLINE void verticalAddAt(D32 d32, const Components& in, std::size_t x, std::int64_t* sums)
{
    const hn::Repartition<std::int64_t, D32> d64;
    const auto more = sumRows(d32, in, x);
    sums += x;
    hn::StoreU(hn::Add(hn::LoadU(d64, sums), more.even), d64, sums);
    sums += hn::Lanes(d64);
    hn::StoreU(hn::Add(hn::LoadU(d64, sums), more.odd), d64, sums);
}

template <class D32>
HWY_INLINE void verticalRoundAt(D32 d32, const std::int64_t* sums, std::size_t x, std::int32_t* out)
{
    const hn::Repartition<std::int64_t, D32> d64;
    EvenOddSums<D32> all;
    all.even = hn::LoadU(d64, sums + x);
    all.odd = hn::LoadU(d64, sums + x + hn::Lanes(d64));
    hn::StoreU(all.template rounded<Reference::shiftIn>(), d32, out + x);
}

template <class D32>
HWY_INLINE void verticalOutAt(D32 d32, const Middles& in, Hold hold, std::size_t x, std::uint16_t* out)
{
    storeComponents(d32, sumRows(d32, in, x).template rounded<Reference::shiftOut>(), hold, out + x);
}

// Rows are whole pixels, so blocks of four components leave nothing over.
void verticalIn(const Components& in, std::int32_t* out, std::size_t count)
{
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide32()) <= count; x += hn::Lanes(Wide32()))
        verticalInAt(Wide32(), in, x, out);
    for (; x < count; x += hn::Lanes(Block32()))
        verticalInAt(Block32(), in, x, out);
}

void verticalAdd(const Components& in, std::int64_t* sums, std::size_t count)
{
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide32()) <= count; x += hn::Lanes(Wide32()))
        verticalAddAt(Wide32(), in, x, sums);
    for (; x < count; x += hn::Lanes(Block32()))
        verticalAddAt(Block32(), in, x, sums);
}

void verticalRound(const std::int64_t* sums, std::int32_t* out, std::size_t count)
{
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide32()) <= count; x += hn::Lanes(Wide32()))
        verticalRoundAt(Wide32(), sums, x, out);
    for (; x < count; x += hn::Lanes(Block32()))
        verticalRoundAt(Block32(), sums, x, out);
}

void verticalOut(const Middles& in, Hold hold, std::uint16_t* out, std::size_t count)
{
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide32()) <= count; x += hn::Lanes(Wide32()))
        verticalOutAt(Wide32(), in, hold, x, out);
    for (; x < count; x += hn::Lanes(Block32()))
        verticalOutAt(Block32(), in, hold, x, out);
}

template <class D64, class V = hn::Vec<D64>>
HWY_INLINE hn::Vec<hn::Repartition<std::int64_t, Block32>> sumOfBlocks(D64 d64, V v)
{
    if constexpr (hn::MaxLanes(d64) == 2) {
        return v;
    } else {
        const hn::Half<D64> half;
        return sumOfBlocks(half, hn::Add(hn::LowerHalf(half, v), hn::UpperHalf(half, v)));
    }
}

template <class D32>
HWY_INLINE EvenOddSums<Block32> sumPixels(D32 d32, const std::int32_t* in, const RowTaps& taps, std::size_t position)
{
    const std::int32_t* pixels = in + 4 * static_cast<std::ptrdiff_t>(taps.axis.taps[position].first);
    const std::int32_t* weights = taps.fours.data() + taps.arrangedAt[position];
    EvenOddSums<D32> sums;
    for (std::size_t k = 0; k < 4 * static_cast<std::size_t>(taps.padded); k += hn::Lanes(d32))
        sums.add(hn::LoadU(d32, pixels + k), hn::LoadU(d32, weights + k));
    EvenOddSums<Block32> position4;
    const hn::Repartition<std::int64_t, D32> d64;
    position4.even = sumOfBlocks(d64, sums.even);
    position4.odd = sumOfBlocks(d64, sums.odd);
    return position4;
}

HWY_INLINE EvenOddSums<Block32> sumPosition(const std::int32_t* in, const RowTaps& taps, std::size_t position)
{
    return taps.padded == 2 ? sumPixels(Block32(), in, taps, position) : sumPixels(Wide32(), in, taps, position);
}

void horizontalOut(const std::int32_t* in, const RowTaps& taps, Hold hold, std::uint16_t* out)
{
    for (std::size_t p = 0; p < taps.axis.taps.size(); ++p)
        storeComponents(Block32(), sumPosition(in, taps, p).rounded<Reference::shiftOut>(), hold, out + 4 * p);
}

void horizontalIn(const std::int32_t* in, const RowTaps& taps, std::int32_t* out)
{
    for (std::size_t p = 0; p < taps.axis.taps.size(); ++p)
        hn::StoreU(sumPosition(in, taps, p).rounded<Reference::shiftIn>(), Block32(), out + 4 * p);
}

#endif

} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {

HWY_EXPORT(verticalIn);
HWY_EXPORT(verticalAdd);
HWY_EXPORT(verticalRound);
HWY_EXPORT(verticalOut);
HWY_EXPORT(horizontalOut);
HWY_EXPORT(horizontalIn);

} // namespace

void Kernels<Depth16>::verticalIn(const WeightedRows<Component>& in, Middle* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(verticalIn)(in, out, count);
}

void Kernels<Depth16>::verticalAdd(const WeightedRows<Component>& in, Sum* sums, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(verticalAdd)(in, sums, count);
}

void Kernels<Depth16>::verticalRound(const Sum* sums, Middle* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(verticalRound)(sums, out, count);
}

void Kernels<Depth16>::verticalOut(const WeightedRows<Middle>& in, Hold hold, Component* out, std::size_t count, Store)
{
    HWY_DYNAMIC_DISPATCH(verticalOut)(in, hold, out, count);
}

void Kernels<Depth16>::horizontalOut(const Middle* in, const RowTaps& taps, Hold hold, Component* out)
{
    HWY_DYNAMIC_DISPATCH(horizontalOut)(in, taps, hold, out);
}

void Kernels<Depth16>::widen(const Component* in, Middle* out, std::size_t count)
{
    std::copy_n(in, count, out);
}

void Kernels<Depth16>::horizontalIn(const Middle* in, const RowTaps& taps, Middle* out)
{
    HWY_DYNAMIC_DISPATCH(horizontalIn)(in, taps, out);
}

} // namespace zel::engine
#endif
