#include <zel/engine/resample_kernels.h>

#include <algorithm>

#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/resample_horizontal.cpp"
#include <hwy/foreach_target.h> // must precede highway.h
#include <zel/engine/resample_kernels-inl.h>

// Two neighbouring pixels are interleaved component by component within their 16 bytes, so that one multiply-add takes
// both with their two weights. Many taps: a vector holds several pairs of one position, whose sums are added up at the
// end. Two taps: a vector holds the pairs of several positions.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {

using Reference = ReferenceKernels<Depth8>;

#if ZEL_RESAMPLE_PLAIN

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

#else

/// Component c of the first and of the second of two pixels beside one another.
template <class D16>
HWY_INLINE hn::Vec<D16> pairedUp(D16 d16, hn::Vec<D16> pixels)
{
    alignas(16) static constexpr std::uint8_t order[16] = {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15};
    const hn::Repartition<std::uint8_t, D16> d8;
    return hn::TableLookupBytes(pixels, hn::BitCast(d16, hn::LoadDup128(d8, order)));
}

/// The sum of the blocks of a vector.
template <class D, class V = hn::Vec<D>>
HWY_INLINE hn::Vec<Block32> sumOfBlocks(D d, V v)
{
    if constexpr (hn::MaxLanes(d) == 4) {
        return v;
    } else {
        const hn::Half<D> half;
        return sumOfBlocks(half, hn::Add(hn::LowerHalf(half, v), hn::UpperHalf(half, v)));
    }
}

/// `load(i)` gives block i of the vector.
template <class D16, class Load>
HWY_INLINE hn::Vec<D16> gatheredBlocks(D16 d16, const Load& load, std::size_t first = 0)
{
    if constexpr (bytesOf<D16> == 16) {
        return load(first);
    } else {
        const hn::Half<D16> half;
        const auto low = gatheredBlocks(half, load, first);
        return hn::Combine(d16, gatheredBlocks(half, load, first + bytesOf<D16> / 32), low);
    }
}

class Positions {
public:
    HWY_INLINE Positions(const std::int16_t* in, const RowTaps& taps)
        : in_(in),
          taps_(taps.axis.taps.data()),
          pairs_(taps.pairs.data()),
          arrangedAt_(taps.arrangedAt.data()),
          padded_(static_cast<std::size_t>(taps.padded))
    {
    }

    /// Components of a position of any number of taps.
    HWY_INLINE hn::Vec<Block32> sumOf(std::size_t position) const
    {
        const Wide16 d16;
        const std::int16_t* at = pixelsOf(position);
        const std::int16_t* weights = pairs_ + arrangedAt_[position];
        if (padded_ == 2) {
            PairSum<Block32> sum;
            sum.add(pairedUp(Block16(), hn::LoadU(Block16(), at)), hn::LoadU(Block16(), weights));
            return sum.sum();
        }
        PairSum<Wide32> sum;
        for (std::size_t k = 0; k < 4 * padded_; k += hn::Lanes(d16))
            sum.add(pairedUp(d16, hn::LoadU(d16, at + k)), hn::LoadU(d16, weights + k));
        return sumOfBlocks(Wide32(), sum.sum());
    }

    /// Components of as many positions as a vector has blocks, of two taps each.
    HWY_INLINE hn::Vec<Wide32> sumsOfTwo(std::size_t position) const
    {
        const Wide16 d16;
        const auto pixels =
            gatheredBlocks(d16, [&](std::size_t i) HWY_ATTR { return hn::LoadU(Block16(), pixelsOf(position + i)); });
        PairSum<Wide32> sum;
        sum.add(pairedUp(d16, pixels), hn::LoadU(d16, pairs_ + arrangedAt_[position]));
        return sum.sum();
    }

    [[nodiscard]] bool haveTwoTaps() const { return padded_ == 2; }

private:
    HWY_INLINE const std::int16_t* pixelsOf(std::size_t position) const
    {
        return in_ + 4 * static_cast<std::ptrdiff_t>(taps_[position].first);
    }

    const std::int16_t* in_;
    const Taps* taps_;
    const std::int16_t* pairs_;
    const std::size_t* arrangedAt_;
    std::size_t padded_;
};

/// Two positions, rounded and saturated.
template <int shift>
HWY_INLINE hn::Vec<Block16> twoPositions(const Positions& positions, std::size_t position)
{
    const Block32 d32;
    return hn::ReorderDemote2To(Block16(), rounded<shift>(d32, positions.sumOf(position)),
                                rounded<shift>(d32, positions.sumOf(position + 1)));
}

void horizontalOut(const std::int16_t* in, const RowTaps& taps, Hold hold, std::uint8_t* out)
{
    constexpr int shift = Reference::shiftOut;
    const hn::CappedTag<std::uint8_t, 8> two8;
    const hn::CappedTag<std::uint8_t, 4> one8;
    const Block8 four8;
    const Positions positions(in, taps);
    const std::size_t count = taps.axis.taps.size();
    std::size_t p = 0;
    for (; p + 4 <= count; p += 4) {
        const auto low = hn::DemoteTo(two8, twoPositions<shift>(positions, p));
        const auto high = hn::DemoteTo(two8, twoPositions<shift>(positions, p + 2));
        const auto pixels = hn::Combine(four8, high, low);
        hn::StoreU(hold == Hold::alpha ? heldToAlpha(pixels) : pixels, four8, out + 4 * p);
    }
    for (; p < count; ++p) {
        const auto pixel = hn::DemoteTo(one8, rounded<shift>(Block32(), positions.sumOf(p)));
        hn::StoreU(hold == Hold::alpha ? heldToAlpha(pixel) : pixel, one8, out + 4 * p);
    }
}

void widen(const std::uint8_t* in, std::int16_t* out, std::size_t count)
{
    const Wide16 d16;
    const hn::Rebind<std::uint8_t, Wide16> d8;
    std::size_t x = 0;
    for (; x + hn::Lanes(d16) <= count; x += hn::Lanes(d16))
        hn::StoreU(hn::PromoteTo(d16, hn::LoadU(d8, in + x)), d16, out + x);
    for (; x < count; ++x)
        out[x] = in[x];
}

void horizontalIn(const std::int16_t* in, const RowTaps& taps, std::int16_t* out)
{
    constexpr int shift = Reference::shiftIn;
    const Positions positions(in, taps);
    const std::size_t count = taps.axis.taps.size();
    std::size_t p = 0;
    if (positions.haveTwoTaps()) {
        const Wide32 d32;
        const hn::Rebind<std::int16_t, Wide32> half16;
        const std::size_t step = hn::Lanes(d32) / 4;
        for (; p + step <= count; p += step)
            hn::StoreU(hn::DemoteTo(half16, rounded<shift>(d32, positions.sumsOfTwo(p))), half16, out + 4 * p);
    }
    for (; p + 2 <= count; p += 2)
        hn::StoreU(twoPositions<shift>(positions, p), Block16(), out + 4 * p);
    if (p < count) {
        const hn::CappedTag<std::int16_t, 4> one16;
        hn::StoreU(hn::DemoteTo(one16, rounded<shift>(Block32(), positions.sumOf(p))), one16, out + 4 * p);
    }
}

#endif

} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {

HWY_EXPORT(horizontalOut);
HWY_EXPORT(widen);
HWY_EXPORT(horizontalIn);

} // namespace

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

} // namespace zel::engine
#endif
