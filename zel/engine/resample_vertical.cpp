#include <zel/engine/resample_kernels.h>

#include <algorithm>

#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/resample_vertical.cpp"
#include <hwy/foreach_target.h> // must precede highway.h
#include <zel/engine/resample_kernels-inl.h>

// Two rows are interleaved component by component, so that one multiply-add takes both with their two weights.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {

using Reference = ReferenceKernels<Depth8>;
using Components = WeightedRows<std::uint8_t>;
using Middles = WeightedRows<std::int16_t>;

#if ZEL_RESAMPLE_PLAIN

void verticalIn(const Components& in, std::int16_t* out, std::size_t count)
{
    Reference::verticalIn(in, out, count);
}

void verticalAdd(const Components& in, std::int32_t* sums, std::size_t count)
{
    Reference::verticalAdd(in, sums, count);
}

void verticalRound(const std::int32_t* sums, std::int16_t* out, std::size_t count)
{
    Reference::verticalRound(sums, out, count);
}

void verticalOut(const Middles& in, Hold hold, std::uint8_t* out, std::size_t count, Store store)
{
    Reference::verticalOut(in, hold, out, count, store);
}

#else

/// Blocks of 16 bytes of a and b in turn, a first.
template <class D>
HWY_INLINE void storeBlocksInTurn(D d, hn::Vec<D> a, hn::Vec<D> b, hn::TFromD<D>* out)
{
    const std::size_t lanes = hn::Lanes(d);
    if constexpr (bytesOf<D> == 16) {
        hn::StoreU(a, d, out);
        hn::StoreU(b, d, out + lanes);
    } else {
        auto low = hn::ConcatLowerLower(d, b, a);
        auto high = hn::ConcatUpperUpper(d, b, a);
        if constexpr (bytesOf<D> == 64) { // blocks a0 a1 b0 b1: the middle ones change places
            const hn::Repartition<std::uint64_t, D> d64;
            alignas(64) static constexpr std::uint64_t order[8] = {0, 1, 4, 5, 2, 3, 6, 7};
            const auto places = hn::SetTableIndices(d64, order);
            low = hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(d64, low), places));
            high = hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(d64, high), places));
        }
        hn::StoreU(low, d, out);
        hn::StoreU(high, d, out + lanes);
    }
}

/// Sums for one vector of components, in four: the first quarters of all blocks of 16, the second ones, and so on.
template <class D8>
struct QuarterSums {
    using D16 = hn::Repartition<std::int16_t, D8>;
    using D32 = hn::Repartition<std::int32_t, D8>;
    using V32 = hn::Vec<D32>;

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

template <class D8>
HWY_INLINE QuarterSums<D8> sumRows(D8 d8, const Components& in, std::size_t x)
{
    QuarterSums<D8> sums;
    const std::uint8_t* const* row = in.rows;
    const std::int32_t* const end = in.pairs + in.pairCount();
    x += in.first;
    for (const std::int32_t* pair = in.pairs; pair != end; ++pair, row += 2)
        sums.add(hn::LoadU(d8, row[0] + x), hn::LoadU(d8, row[1] + x), *pair);
    return sums;
}

template <class D8, class V32 = typename QuarterSums<D8>::V32>
HWY_INLINE void storeRounded(D8, V32 quarter0, V32 quarter1, V32 quarter2, V32 quarter3, std::int16_t* out)
{
    constexpr int shift = Reference::shiftIn;
    const hn::Repartition<std::int16_t, D8> d16;
    const hn::Repartition<std::int32_t, D8> d32;
    const auto low = hn::ReorderDemote2To(d16, rounded<shift>(d32, quarter0), rounded<shift>(d32, quarter1));
    const auto high = hn::ReorderDemote2To(d16, rounded<shift>(d32, quarter2), rounded<shift>(d32, quarter3));
    storeBlocksInTurn(d16, low, high, out);
}

template <class D8>
HWY_INLINE void verticalInAt(D8 d8, const Components& in, std::size_t x, std::int16_t* out)
{
    const auto sums = sumRows(d8, in, x);
    storeRounded(d8, sums.quarter0.sum(), sums.quarter1.sum(), sums.quarter2.sum(), sums.quarter3.sum(), out + x);
}

template <class D8>
HWY_INLINE void verticalAddAt(D8 d8, const Components& in, std::size_t x, std::int32_t* sums)
{
    const hn::Repartition<std::int32_t, D8> d32;
    const std::size_t quarter = hn::Lanes(d32);
    const auto more = sumRows(d8, in, x);
    sums += x;
    hn::StoreU(hn::Add(hn::LoadU(d32, sums), more.quarter0.sum()), d32, sums);
    sums += quarter;
    hn::StoreU(hn::Add(hn::LoadU(d32, sums), more.quarter1.sum()), d32, sums);
    sums += quarter;
    hn::StoreU(hn::Add(hn::LoadU(d32, sums), more.quarter2.sum()), d32, sums);
    sums += quarter;
    hn::StoreU(hn::Add(hn::LoadU(d32, sums), more.quarter3.sum()), d32, sums);
}

template <class D8>
HWY_INLINE void verticalRoundAt(D8 d8, const std::int32_t* sums, std::size_t x, std::int16_t* out)
{
    const hn::Repartition<std::int32_t, D8> d32;
    const std::size_t quarter = hn::Lanes(d32);
    sums += x;
    storeRounded(d8, hn::LoadU(d32, sums), hn::LoadU(d32, sums + quarter), hn::LoadU(d32, sums + 2 * quarter),
                 hn::LoadU(d32, sums + 3 * quarter), out + x);
}

// At the end of a row, less than a block.
template <class Value>
std::int32_t sumAt(const WeightedRows<Value>& in, std::size_t x)
{
    std::int32_t sum = 0;
    for (int k = 0; k < in.count; ++k)
        sum += in.weights[k] * in.rows[k][in.first + x];
    return sum;
}

std::int16_t roundedIn(std::int32_t sum)
{
    return static_cast<std::int16_t>((sum + (1 << (Reference::shiftIn - 1))) >> Reference::shiftIn);
}

void verticalIn(const Components& in, std::int16_t* out, std::size_t count)
{
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide8()) <= count; x += hn::Lanes(Wide8()))
        verticalInAt(Wide8(), in, x, out);
    for (; x + hn::Lanes(Block8()) <= count; x += hn::Lanes(Block8()))
        verticalInAt(Block8(), in, x, out);
    for (; x < count; ++x)
        out[x] = roundedIn(sumAt(in, x));
}

void verticalAdd(const Components& in, std::int32_t* sums, std::size_t count)
{
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide8()) <= count; x += hn::Lanes(Wide8()))
        verticalAddAt(Wide8(), in, x, sums);
    for (; x + hn::Lanes(Block8()) <= count; x += hn::Lanes(Block8()))
        verticalAddAt(Block8(), in, x, sums);
    for (; x < count; ++x)
        sums[x] += sumAt(in, x);
}

void verticalRound(const std::int32_t* sums, std::int16_t* out, std::size_t count)
{
    std::size_t x = 0;
    for (; x + hn::Lanes(Wide8()) <= count; x += hn::Lanes(Wide8()))
        verticalRoundAt(Wide8(), sums, x, out);
    for (; x + hn::Lanes(Block8()) <= count; x += hn::Lanes(Block8()))
        verticalRoundAt(Block8(), sums, x, out);
    for (; x < count; ++x)
        out[x] = roundedIn(sums[x]);
}

/// Components of one vector of middle values. The number of pairs where it is known, else 0.
template <int knownPairs, class D16>
HWY_INLINE hn::Vec<hn::Rebind<std::uint8_t, D16>> sumMiddles(D16 d16, const Middles& in, Hold hold, std::size_t x)
{
    constexpr int shift = Reference::shiftOut;
    const hn::Repartition<std::int32_t, D16> d32;
    PairSum<decltype(d32)> low, high;
    const int pairs = knownPairs > 0 ? knownPairs : in.pairCount();
    x += in.first;
    for (int pair = 0; pair < pairs; ++pair) {
        const auto a = hn::LoadU(d16, in.rows[2 * pair] + x);
        const auto b = hn::LoadU(d16, in.rows[2 * pair + 1] + x);
        const auto weights = hn::BitCast(d16, hn::Set(d32, in.pairs[pair]));
        low.add(hn::InterleaveLower(d16, a, b), weights);
        high.add(hn::InterleaveUpper(d16, a, b), weights);
    }
    const auto middles = hn::ReorderDemote2To(d16, rounded<shift>(d32, low.sum()), rounded<shift>(d32, high.sum()));
    const auto components = hn::DemoteTo(hn::Rebind<std::uint8_t, D16>(), middles);
    return hold == Hold::alpha ? heldToAlpha(components) : components;
}

constexpr std::int32_t largestOut = 255 << Reference::shiftOut;

std::uint8_t componentOut(std::int32_t sum, std::int32_t most)
{
    const std::int32_t held = std::clamp(std::min(sum, most), 0, largestOut);
    return static_cast<std::uint8_t>((held + (1 << (Reference::shiftOut - 1))) >> Reference::shiftOut);
}

template <int knownPairs>
HWY_INLINE void verticalOutRow(const Middles& in, Hold hold, std::uint8_t* out, std::size_t count, bool streams)
{
    const hn::Rebind<std::uint8_t, Wide16> wide8;
    const hn::Rebind<std::uint8_t, Block16> block8;
    std::size_t x = 0;
    if (streams)
        for (; x + hn::Lanes(Wide16()) <= count; x += hn::Lanes(Wide16()))
            hn::Stream(sumMiddles<knownPairs>(Wide16(), in, hold, x), wide8, out + x);
    for (; x + hn::Lanes(Wide16()) <= count; x += hn::Lanes(Wide16()))
        hn::StoreU(sumMiddles<knownPairs>(Wide16(), in, hold, x), wide8, out + x);
    for (; x + hn::Lanes(Block16()) <= count; x += hn::Lanes(Block16()))
        hn::StoreU(sumMiddles<knownPairs>(Block16(), in, hold, x), block8, out + x);
    for (const std::size_t pixel = x; x < count; ++x) // at most one
        out[x] = componentOut(sumAt(in, x), hold == Hold::alpha ? sumAt(in, pixel + 3) : largestOut);
}

void verticalOut(const Middles& in, Hold hold, std::uint8_t* out, std::size_t count, Store store)
{
    const bool aligned = reinterpret_cast<std::uintptr_t>(out) % HWY_MAX_BYTES == 0;
    const bool streams = store == Store::streamed && aligned;
    switch (in.pairCount()) { // what enlarging takes: triangle, Lanczos
    case 1:
        return verticalOutRow<1>(in, hold, out, count, streams);
    case 3:
        return verticalOutRow<3>(in, hold, out, count, streams);
    default:
        return verticalOutRow<0>(in, hold, out, count, streams);
    }
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

} // namespace

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

void Kernels<Depth8>::verticalOut(const WeightedRows<Middle>& in, Hold hold, Component* out, std::size_t count,
                                  Store store)
{
    HWY_DYNAMIC_DISPATCH(verticalOut)(in, hold, out, count, store);
}

} // namespace zel::engine
#endif
