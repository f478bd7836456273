#include <zel/engine/affine_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/affine_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <zel/engine/blend-inl.h>

#include <algorithm>
#include <cstring>

// A lane of 64 bits a pixel: it holds the position along one axis, and later the two neighbours of a row side by side,
// which one gather brings. Rows are mixed first, for both neighbours at once, then the neighbours.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void drawInside(const AffineRun& run, std::uint8_t* to, std::size_t count)
{
    drawAffineAnywhere(run, to, count);
}

#else

HWY_ALIGN constexpr std::uint8_t fractionFourTimes[16] = {2, 3, 2, 3, 2, 3, 2, 3, 10, 11, 10, 11, 10, 11, 10, 11};

template <class D64>
struct Positions {
    hn::VFromD<D64> u, v;
};

/// Red and blue of each pixel in the lower half of its lane, green and alpha in the upper, each × 257.
template <class D64>
HWY_INLINE hn::VFromD<D64> sample(D64 d64, const std::uint8_t* from, std::int32_t stride, const Positions<D64>& at)
{
    const hn::Repartition<std::uint32_t, D64> d32;
    const Words<D64> d16;
    const Bytes<D64> d8;
    const hn::RebindToSigned<D64> di64;
    const hn::RebindToSigned<decltype(d32)> di32;
    const auto column = hn::BitCast(di64, hn::ShiftLeft<2>(hn::ShiftRight<32>(at.u)));
    const auto row = hn::MulEven(hn::BitCast(di32, hn::ShiftRight<32>(at.v)), hn::Set(di32, stride));
    const auto offset = hn::Add(row, column);
    const auto pairsAt = [&](std::ptrdiff_t below) {
        // The base is an address in bytes; the type of the pointer only tells what each lane takes.
        const auto* base = reinterpret_cast<const std::uint64_t*>(from + below);
        return widened(d32, hn::BitCast(d32, hn::GatherOffset(d64, base, offset)));
    };
    const auto upper = pairsAt(0);
    const auto lower = pairsAt(stride);
    const auto table = hn::LoadDup128(d8, fractionFourTimes);
    const auto fraction = [&](hn::VFromD<D64> position) {
        return hn::BitCast(d16, hn::TableLookupBytes(hn::BitCast(d8, position), table));
    };
    const auto down = fraction(at.v);
    const auto up = hn::Not(down);
    const auto mixRows = [&](auto a, auto b) { return hn::Add(hn::MulHigh(a, up), hn::MulHigh(b, down)); };
    const auto left = hn::BitCast(d16, hn::Set(d64, 0x00000000FFFFFFFFu));
    const auto across = hn::Xor(fraction(at.u), left);
    const auto mixColumns = [&](auto pair) {
        const auto parts = hn::BitCast(d32, hn::MulHigh(pair, across));
        return hn::BitCast(d32, hn::Add(hn::BitCast(d16, parts), hn::BitCast(d16, hn::Shuffle2301(parts))));
    };
    const auto redBlue = mixColumns(mixRows(upper.redBlue, lower.redBlue));
    const auto greenAlpha = mixColumns(mixRows(upper.greenAlpha, lower.greenAlpha));
    return hn::BitCast(d64, hn::OddEven(greenAlpha, redBlue));
}

template <Onto onto, class D64>
HWY_INLINE void drawBlock(D64 d64, const AffineRun& run, const Positions<D64>& first, const Positions<D64>& second,
                          std::uint8_t* to)
{
    const hn::Repartition<std::uint32_t, D64> d32;
    const Words<D64> d16;
    const auto stride = static_cast<std::int32_t>(run.from.stride);
    const auto low = hn::BitCast(d32, sample(d64, run.from.data, stride, first));
    const auto high = hn::BitCast(d32, sample(d64, run.from.data, stride, second));
    const WidePixels<hn::Repartition<std::uint32_t, D64>> mixed{hn::BitCast(d16, hn::ConcatEven(d32, high, low)),
                                                                hn::BitCast(d16, hn::ConcatOdd(d32, high, low))};
    const auto shown = shownOf(d32, mixed, hn::Set(d16, static_cast<std::uint16_t>(run.opacity)));
    if (onto == Onto::replace)
        storePixels(d32, rounded(d32, shown), to);
    else
        storePixels(d32, shownOver(d32, shown, loadPixels(d32, to)), to);
}

/// `count` × step, a product of 64 bits: what wraps does so as in ordinary arithmetic.
template <class D64>
HWY_INLINE hn::VFromD<D64> times(D64 d64, hn::VFromD<D64> count, std::int64_t step)
{
    const hn::Repartition<std::uint32_t, D64> d32;
    const auto by = [&](std::uint64_t half) {
        return hn::MulEven(hn::BitCast(d32, count), hn::BitCast(d32, hn::Set(d64, half)));
    };
    const auto bits = static_cast<std::uint64_t>(step);
    return hn::Add(by(bits & 0xFFFFFFFFu), hn::ShiftLeft<32>(by(bits >> 32)));
}

/// Distances of pixels from the first of a block; pixels that there are not stay at the last one.
template <class D64>
HWY_INLINE Positions<D64> distances(D64 d64, const AffineRun& run, std::size_t from, std::size_t pixels)
{
    // Small numbers, so the order of 32-bit lanes, which every target has, serves.
    const hn::Repartition<std::uint32_t, D64> d32;
    const auto index = hn::Iota(d64, from);
    const auto last = hn::Set(d64, static_cast<std::uint64_t>(pixels - 1));
    const auto held = hn::BitCast(d64, hn::Min(hn::BitCast(d32, index), hn::BitCast(d32, last)));
    return {times(d64, held, run.du), times(d64, held, run.dv)};
}

template <Onto onto>
void drawRun(const AffineRun& run, std::uint8_t* to, std::size_t count)
{
    using D64 = hn::ScalableTag<std::uint64_t>;
    const D64 d64;
    const std::size_t lanes = hn::Lanes(d64);
    const std::size_t block = 2 * lanes;
    using Lanes = Positions<D64>;
    const auto drawAt = [&](std::size_t x, const Lanes& near, const Lanes& far, std::uint8_t* at) {
        const auto u = hn::Set(d64, static_cast<std::uint64_t>(run.u) + x * static_cast<std::uint64_t>(run.du));
        const auto v = hn::Set(d64, static_cast<std::uint64_t>(run.v) + x * static_cast<std::uint64_t>(run.dv));
        drawBlock<onto>(d64, run, Lanes{hn::Add(u, near.u), hn::Add(v, near.v)},
                        Lanes{hn::Add(u, far.u), hn::Add(v, far.v)}, at);
    };
    const Lanes near = distances(d64, run, 0, block);
    const Lanes far = distances(d64, run, lanes, block);
    std::size_t x = 0;
    for (; x + block <= count; x += block)
        drawAt(x, near, far, to + 4 * x);
    if (x < count) {
        HWY_ALIGN std::uint8_t last[8 * hn::MaxLanes(d64)] = {};
        const std::size_t left = count - x;
        std::memcpy(last, to + 4 * x, 4 * left);
        drawAt(x, distances(d64, run, 0, left), distances(d64, run, lanes, left), last);
        std::memcpy(to + 4 * x, last, 4 * left);
    }
}

void drawInside(const AffineRun& run, std::uint8_t* to, std::size_t count)
{
    if (run.from.stride != static_cast<std::int32_t>(run.from.stride)) // offsets are products of 32 bits
        drawAffineAnywhere(run, to, count);
    else if (run.onto == Onto::replace)
        drawRun<Onto::replace>(run, to, count);
    else
        drawRun<Onto::over>(run, to, count);
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(drawInside);
} // namespace

void drawAffineInside(const AffineRun& run, std::uint8_t* to, std::size_t count)
{
    HWY_DYNAMIC_DISPATCH(drawInside)(run, to, count);
}

} // namespace zel::engine
#endif // HWY_ONCE
