#include <zel/engine/resample_kernels.h>

#include <algorithm>

// Instruction sets without 128-bit blocks are left to the next lower one that has them.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/resample_kernels.cpp"
#include <hwy/foreach_target.h> // must precede highway.h
#include <hwy/highway.h>

// Multiply-add of pairs does the work: two rows interleaved component by component (vertical), or two neighbouring
// pixels (horizontal), times a pair of weights, is one instruction for products and their sum.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Reference = ReferenceKernels<Depth8>;

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

void verticalIn(const WeightedRows<std::uint8_t>& in, std::int16_t* out, std::size_t count)
{
    Reference::verticalIn(in, out, count);
}

void verticalAdd(const WeightedRows<std::uint8_t>& in, std::int32_t* sums, std::size_t count)
{
    Reference::verticalAdd(in, sums, count);
}

void verticalRound(const std::int32_t* sums, std::int16_t* out, std::size_t count)
{
    Reference::verticalRound(sums, out, count);
}

void horizontalOut(const std::int16_t* in, const RowTaps& taps, Hold hold, std::uint8_t* out)
{
    Reference::horizontalOut(in, taps, hold, out);
}

void widen(const std::uint8_t* in, std::int16_t* out, std::size_t count)
{
    Reference::widen(in, out, count);
}

void horizontalIn(const std::int16_t* in, const RowTaps& taps, std::int16_t* out)
{
    Reference::horizontalIn(in, taps, out);
}

void verticalOut(const WeightedRows<std::int16_t>& in, Hold hold, std::uint8_t* out, std::size_t count)
{
    Reference::verticalOut(in, hold, out, count);
}

#else

template <int shift, class D32, class V = hn::Vec<D32>>
HWY_INLINE V rounded(D32 d32, V sum)
{
    return hn::ShiftRight<shift>(hn::Add(sum, hn::Set(d32, 1 << (shift - 1))));
}

/// A running sum of products of pairs. Some instruction sets put the halves of the pairs into two vectors.
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

/// Blocks of a and b in turn: the lower or upper half of all of them.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V interleaveBlocksLower(D d, V a, V b)
{
    (void)d, (void)b;
#if HWY_MAX_BYTES == 16
    return a;
#else
    if constexpr (hn::MaxLanes(d) * sizeof(hn::TFromD<D>) == 16)
        return a;
    else if constexpr (hn::MaxLanes(d) * sizeof(hn::TFromD<D>) == 32)
        return hn::ConcatLowerLower(d, b, a);
    else {
        const hn::Repartition<std::uint64_t, D> d64;
        alignas(64) static constexpr std::uint64_t order[8] = {0, 1, 4, 5, 2, 3, 6, 7};
        const auto both = hn::BitCast(d64, hn::ConcatLowerLower(d, b, a));
        return hn::BitCast(d, hn::TableLookupLanes(both, hn::SetTableIndices(d64, order)));
    }
#endif
}

template <class D, class V = hn::Vec<D>>
HWY_INLINE V interleaveBlocksUpper(D d, V a, V b)
{
    (void)d, (void)a;
#if HWY_MAX_BYTES == 16
    return b;
#else
    if constexpr (hn::MaxLanes(d) * sizeof(hn::TFromD<D>) == 16)
        return b;
    else if constexpr (hn::MaxLanes(d) * sizeof(hn::TFromD<D>) == 32)
        return hn::ConcatUpperUpper(d, b, a);
    else {
        const hn::Repartition<std::uint64_t, D> d64;
        alignas(64) static constexpr std::uint64_t order[8] = {0, 1, 4, 5, 2, 3, 6, 7};
        const auto both = hn::BitCast(d64, hn::ConcatUpperUpper(d, b, a));
        return hn::BitCast(d, hn::TableLookupLanes(both, hn::SetTableIndices(d64, order)));
    }
#endif
}

/// The sums of one vector of components, in four vectors: the quarters of every block of 16.
template <class D8>
struct QuarterSums {
    using D16 = hn::Repartition<std::int16_t, D8>;
    using D32 = hn::Repartition<std::int32_t, D8>;

    HWY_INLINE QuarterSums() {}

    HWY_INLINE void add(hn::Vec<D8> a, hn::Vec<D8> b, std::int32_t pair)
    {
        const D8 d8;
        const D16 d16;
        const auto zero = hn::Zero(d8);
        const auto weights = hn::BitCast(d16, hn::Set(D32(), pair));
        const auto low = hn::InterleaveLower(d8, a, b);
        const auto high = hn::InterleaveUpper(d8, a, b);
        quarter0.add(hn::BitCast(d16, hn::InterleaveLower(d8, low, zero)), weights);
        quarter1.add(hn::BitCast(d16, hn::InterleaveUpper(d8, low, zero)), weights);
        quarter2.add(hn::BitCast(d16, hn::InterleaveLower(d8, high, zero)), weights);
        quarter3.add(hn::BitCast(d16, hn::InterleaveUpper(d8, high, zero)), weights);
    }

    PairSum<D32> quarter0, quarter1, quarter2, quarter3;
};

template <class D8, class V32>
HWY_INLINE void storeRounded(D8 d8, V32 quarter0, V32 quarter1, V32 quarter2, V32 quarter3, std::int16_t* out)
{
    (void)d8;
    constexpr int shift = Reference::shiftIn;
    const hn::Repartition<std::int16_t, D8> d16;
    const hn::Repartition<std::int32_t, D8> d32;
    const auto low = hn::ReorderDemote2To(d16, rounded<shift>(d32, quarter0), rounded<shift>(d32, quarter1));
    const auto high = hn::ReorderDemote2To(d16, rounded<shift>(d32, quarter2), rounded<shift>(d32, quarter3));
    hn::StoreU(interleaveBlocksLower(d16, low, high), d16, out);
    hn::StoreU(interleaveBlocksUpper(d16, low, high), d16, out + hn::Lanes(d16));
}

template <class D8>
HWY_INLINE QuarterSums<D8> sumRows(D8 d8, const WeightedRows<std::uint8_t>& in, std::size_t x)
{
    QuarterSums<D8> sums;
    const std::uint8_t* const* row = in.rows;
    const std::int32_t* const end = in.pairs + in.pairCount();
    for (const std::int32_t* pair = in.pairs; pair != end; ++pair, row += 2)
        sums.add(hn::LoadU(d8, row[0] + x), hn::LoadU(d8, row[1] + x), *pair);
    return sums;
}

using Wide8 = hn::ScalableTag<std::uint8_t>;
using Block8 = hn::CappedTag<std::uint8_t, 16>;

template <class Value>
std::int32_t sumAt(const WeightedRows<Value>& in, std::size_t x)
{
    std::int32_t sum = 0;
    for (int k = 0; k < in.count; ++k)
        sum += in.weights[k] * in.rows[k][x];
    return sum;
}

std::int16_t roundedIn(std::int32_t sum)
{
    return static_cast<std::int16_t>((sum + (1 << (Reference::shiftIn - 1))) >> Reference::shiftIn);
}

void verticalIn(const WeightedRows<std::uint8_t>& in, std::int16_t* out, std::size_t count)
{
    const auto block = [&](auto d8, std::size_t x) HWY_ATTR {
        const auto sums = sumRows(d8, in, x);
        storeRounded(d8, sums.quarter0.sum(), sums.quarter1.sum(), sums.quarter2.sum(), sums.quarter3.sum(), out + x);
    };
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide8()) <= count; x += hn::Lanes(Wide8()))
        block(Wide8(), x);
    for (; x + hn::Lanes(Block8()) <= count; x += hn::Lanes(Block8()))
        block(Block8(), x);
    for (; x < count; ++x)
        out[x] = roundedIn(sumAt(in, x));
}

void verticalAdd(const WeightedRows<std::uint8_t>& in, std::int32_t* sums, std::size_t count)
{
    const auto block = [&](auto d8, std::size_t x) HWY_ATTR {
        const hn::Repartition<std::int32_t, decltype(d8)> d32;
        const std::size_t step = hn::Lanes(d32);
        const auto news = sumRows(d8, in, x);
        std::int32_t* at = sums + x;
        hn::StoreU(hn::Add(hn::LoadU(d32, at), news.quarter0.sum()), d32, at);
        hn::StoreU(hn::Add(hn::LoadU(d32, at + step), news.quarter1.sum()), d32, at + step);
        hn::StoreU(hn::Add(hn::LoadU(d32, at + 2 * step), news.quarter2.sum()), d32, at + 2 * step);
        hn::StoreU(hn::Add(hn::LoadU(d32, at + 3 * step), news.quarter3.sum()), d32, at + 3 * step);
    };
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide8()) <= count; x += hn::Lanes(Wide8()))
        block(Wide8(), x);
    for (; x + hn::Lanes(Block8()) <= count; x += hn::Lanes(Block8()))
        block(Block8(), x);
    for (; x < count; ++x)
        sums[x] += sumAt(in, x);
}

void verticalRound(const std::int32_t* sums, std::int16_t* out, std::size_t count)
{
    const auto block = [&](auto d8, std::size_t x) HWY_ATTR {
        const hn::Repartition<std::int32_t, decltype(d8)> d32;
        const std::size_t step = hn::Lanes(d32);
        const std::int32_t* at = sums + x;
        storeRounded(d8, hn::LoadU(d32, at), hn::LoadU(d32, at + step), hn::LoadU(d32, at + 2 * step),
                     hn::LoadU(d32, at + 3 * step), out + x);
    };
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide8()) <= count; x += hn::Lanes(Wide8()))
        block(Wide8(), x);
    for (; x + hn::Lanes(Block8()) <= count; x += hn::Lanes(Block8()))
        block(Block8(), x);
    for (; x < count; ++x)
        out[x] = roundedIn(sums[x]);
}

void widen(const std::uint8_t* in, std::int16_t* out, std::size_t count)
{
    const hn::ScalableTag<std::int16_t> d16;
    const hn::Rebind<std::uint8_t, decltype(d16)> d8;
    std::size_t x = 0;
    for (; x + hn::Lanes(d16) <= count; x += hn::Lanes(d16))
        hn::StoreU(hn::PromoteTo(d16, hn::LoadU(d8, in + x)), d16, out + x);
    for (; x < count; ++x)
        out[x] = in[x];
}

using Wide16 = hn::ScalableTag<std::int16_t>;
using Wide32 = hn::ScalableTag<std::int32_t>;
using Pixel32 = hn::CappedTag<std::int32_t, 4>;

/// The sum of the blocks of a vector.
template <class D, class V = hn::Vec<D>>
HWY_INLINE hn::Vec<Pixel32> sumOfBlocks(D d, V v)
{
    if constexpr (hn::MaxLanes(d) == 4) {
        return v;
    } else {
        const hn::Half<D> half;
        return sumOfBlocks(half, hn::Add(hn::LowerHalf(half, v), hn::UpperHalf(half, v)));
    }
}

/// Weighted sum of the pixels of a position, one component a lane.
HWY_INLINE hn::Vec<Pixel32> sumPixels(const std::int16_t* in, const RowTaps& taps, std::size_t position,
                                      hn::Vec<hn::Repartition<std::uint8_t, Wide16>> pairUp)
{
    const Wide16 d16;
    const std::size_t pixels = hn::Lanes(d16) / 4;
    const std::int16_t* at = in + 4 * static_cast<std::ptrdiff_t>(taps.axis.taps[position].first);
    const std::int16_t* weights = taps.pairs.data() + taps.pairsOf[position];
    PairSum<Wide32> sum;
    for (std::size_t k = 0; k < static_cast<std::size_t>(taps.padded); k += pixels) {
        const auto values = hn::TableLookupBytes(hn::LoadU(d16, at + 4 * k), hn::BitCast(d16, pairUp));
        sum.add(values, hn::LoadU(d16, weights + 4 * k));
    }
    return sumOfBlocks(Wide32(), sum.sum());
}

/// Puts component c of pixel 0 and of pixel 1 beside one another, in every block of two pixels.
HWY_INLINE hn::Vec<hn::Repartition<std::uint8_t, Wide16>> pairingOrder()
{
    alignas(16) static constexpr std::uint8_t order[16] = {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15};
    return hn::LoadDup128(hn::Repartition<std::uint8_t, Wide16>(), order);
}

using Block16 = hn::CappedTag<std::int16_t, 8>;

template <int shift>
HWY_INLINE hn::Vec<Block16> roundedPair(const std::int16_t* in, const RowTaps& taps, std::size_t position,
                                        hn::Vec<hn::Repartition<std::uint8_t, Wide16>> pairUp)
{
    const Pixel32 d32;
    return hn::ReorderDemote2To(Block16(), rounded<shift>(d32, sumPixels(in, taps, position, pairUp)),
                                rounded<shift>(d32, sumPixels(in, taps, position + 1, pairUp)));
}

template <class V>
HWY_INLINE V heldToAlpha(V pixels)
{
    alignas(16) static constexpr std::uint8_t alphas[16] = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};
    const hn::DFromV<V> d8;
    return hn::Min(pixels, hn::TableLookupBytes(pixels, hn::LoadDup128(d8, alphas)));
}

void horizontalOut(const std::int16_t* in, const RowTaps& taps, Hold hold, std::uint8_t* out)
{
    constexpr int shift = Reference::shiftOut;
    const auto pairUp = pairingOrder();
    const hn::CappedTag<std::uint8_t, 8> half8;
    const Block8 d8;
    const std::size_t count = taps.axis.taps.size();
    std::size_t p = 0;
    for (; p + 4 <= count; p += 4) {
        const auto low = hn::DemoteTo(half8, roundedPair<shift>(in, taps, p, pairUp));
        const auto high = hn::DemoteTo(half8, roundedPair<shift>(in, taps, p + 2, pairUp));
        auto pixels = hn::Combine(d8, high, low);
        if (hold == Hold::alpha)
            pixels = heldToAlpha(pixels);
        hn::StoreU(pixels, d8, out + 4 * p);
    }
    for (; p < count; ++p) {
        const hn::CappedTag<std::uint8_t, 4> pixel8;
        auto pixel = hn::DemoteTo(pixel8, rounded<shift>(Pixel32(), sumPixels(in, taps, p, pairUp)));
        if (hold == Hold::alpha)
            pixel = heldToAlpha(pixel);
        hn::StoreU(pixel, pixel8, out + 4 * p);
    }
}

void horizontalIn(const std::int16_t* in, const RowTaps& taps, std::int16_t* out)
{
    constexpr int shift = Reference::shiftIn;
    const auto pairUp = pairingOrder();
    const std::size_t count = taps.axis.taps.size();
    std::size_t p = 0;
    for (; p + 2 <= count; p += 2)
        hn::StoreU(roundedPair<shift>(in, taps, p, pairUp), Block16(), out + 4 * p);
    if (p < count) {
        const hn::CappedTag<std::int16_t, 4> pixel16;
        const auto sum = rounded<shift>(Pixel32(), sumPixels(in, taps, p, pairUp));
        hn::StoreU(hn::DemoteTo(pixel16, sum), pixel16, out + 4 * p);
    }
}

constexpr std::int32_t maximumOut = 255 << Reference::shiftOut;

std::uint8_t componentOut(std::int32_t sum, std::int32_t most)
{
    const std::int32_t held = std::clamp(std::min(sum, most), 0, maximumOut);
    return static_cast<std::uint8_t>((held + (1 << (Reference::shiftOut - 1))) >> Reference::shiftOut);
}

/// Components of one vector of middle values.
template <class D16>
HWY_INLINE auto sumMiddle(D16 d16, const WeightedRows<std::int16_t>& in, std::size_t x)
{
    constexpr int shift = Reference::shiftOut;
    const hn::Repartition<std::int32_t, D16> d32;
    PairSum<decltype(d32)> low, high;
    const std::int16_t* const* row = in.rows;
    const std::int32_t* const end = in.pairs + in.pairCount();
    for (const std::int32_t* pair = in.pairs; pair != end; ++pair, row += 2) {
        const auto a = hn::LoadU(d16, row[0] + x);
        const auto b = hn::LoadU(d16, row[1] + x);
        const auto weights = hn::BitCast(d16, hn::Set(d32, *pair));
        low.add(hn::InterleaveLower(d16, a, b), weights);
        high.add(hn::InterleaveUpper(d16, a, b), weights);
    }
    return hn::ReorderDemote2To(d16, rounded<shift>(d32, low.sum()), rounded<shift>(d32, high.sum()));
}

void verticalOut(const WeightedRows<std::int16_t>& in, Hold hold, std::uint8_t* out, std::size_t count)
{
    const auto block = [&](auto d16, std::size_t x) HWY_ATTR {
        const hn::Rebind<std::uint8_t, decltype(d16)> d8;
        auto pixels = hn::DemoteTo(d8, sumMiddle(d16, in, x));
        if (hold == Hold::alpha)
            pixels = heldToAlpha(pixels);
        hn::StoreU(pixels, d8, out + x);
    };
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide16()) <= count; x += hn::Lanes(Wide16()))
        block(Wide16(), x);
    for (; x + hn::Lanes(Block16()) <= count; x += hn::Lanes(Block16()))
        block(Block16(), x);
    for (std::size_t pixel = x; x < count; ++x)
        out[x] = componentOut(sumAt(in, x), hold == Hold::alpha ? sumAt(in, pixel + 3) : maximumOut);
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
HWY_EXPORT(horizontalOut);
HWY_EXPORT(widen);
HWY_EXPORT(horizontalIn);
HWY_EXPORT(verticalOut);

} // namespace

RowTaps::RowTaps(Axis positions) : axis(std::move(positions))
{
    padded = (axis.mostTaps() + pixelsBehindRow - 1) / pixelsBehindRow * pixelsBehindRow;
    constexpr std::uint32_t unknown = ~0U;
    std::vector<std::uint32_t> pairsAt(axis.weights.size(), unknown); // positions that share weights share pairs
    pairsOf.reserve(axis.taps.size());
    for (const Taps& t : axis.taps) {
        std::uint32_t& at = pairsAt[t.offset];
        if (at == unknown) {
            at = static_cast<std::uint32_t>(pairs.size());
            pairs.resize(pairs.size() + static_cast<std::size_t>(padded) * 4);
            for (int k = 0; k < t.count; ++k)
                for (int copy = 0; copy < 4; ++copy)
                    pairs[at + static_cast<std::size_t>(k / 2 * 8 + copy * 2 + k % 2)] =
                        static_cast<std::int16_t>(axis.weightsOf(t)[k]);
        }
        pairsOf.push_back(at);
    }
}

void Kernels<Depth8>::verticalIn(const WeightedRows<Component>& in, Middle* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(verticalIn)(in, out, count);
}

void Kernels<Depth8>::verticalAdd(const WeightedRows<Component>& in, Sum* sums, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(verticalAdd)(in, sums, count);
}

void Kernels<Depth8>::verticalRound(const Sum* sums, Middle* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(verticalRound)(sums, out, count);
}

void Kernels<Depth8>::horizontalOut(const Middle* in, const RowTaps& taps, Hold hold, Component* out)
{
    HWY_DYNAMIC_DISPATCH(horizontalOut)(in, taps, hold, out);
}

void Kernels<Depth8>::widen(const Component* in, Middle* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(widen)(in, out, count);
}

void Kernels<Depth8>::horizontalIn(const Middle* in, const RowTaps& taps, Middle* out)
{
    HWY_DYNAMIC_DISPATCH(horizontalIn)(in, taps, out);
}

void Kernels<Depth8>::verticalOut(const WeightedRows<Middle>& in, Hold hold, Component* out, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(verticalOut)(in, hold, out, count);
}

} // namespace zel::engine
#endif
