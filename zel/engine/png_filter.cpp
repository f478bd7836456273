#include <zel/engine/png_filter.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/png_filter.cpp"
#include <hwy/foreach_target.h> // must precede highway.h

#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

// Filtering knows all bytes of both rows, so it works on whole vectors. Unfiltering needs the pixel to the left first:
// it goes pixel by pixel, and what counts is the number of dependent steps from one pixel to the next.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

void unfilter(PngFilter filter, std::size_t distance, const std::uint8_t* filtered, const std::uint8_t* above,
              std::uint8_t* row, std::size_t bytes)
{
    pngUnfilterReference(filter, distance, filtered, above, row, bytes);
}

void filterRow(PngFilter filter, std::size_t distance, const std::uint8_t* row, const std::uint8_t* above,
               std::uint8_t* filtered, std::size_t bytes)
{
    pngFilterReference(filter, distance, row, above, filtered, bytes);
}

void measureRow(std::size_t distance, const std::uint8_t* row, const std::uint8_t* above, std::size_t bytes,
                PngRowMeasure& measure)
{
    measure = pngMeasureReference(distance, row, above, bytes);
}

#else

/// The bytes around the ones at hand: to the left, above, above to the left.
template <class V>
struct Neighbours {
    V a, b, c;
};

template <class V>
V absoluteDifference(V x, V y)
{
    return hn::Sub(hn::Max(x, y), hn::Min(x, y));
}

/// floor((a + b) / 2); the instruction rounds up.
template <class D, class V = hn::Vec<D>>
V average(D d, V a, V b)
{
    return hn::Sub(hn::AverageRound(a, b), hn::And(hn::Xor(a, b), hn::Set(d, 1)));
}

/// Whichever is nearest to a + b - c, in unsigned bytes: the distances to a and b are |b - c| and |a - c|; that to c is
/// their sum where both differences have one sign (saturation changes no comparison), else their difference.
template <class V>
V nearest(V a, V b, V c)
{
    const V toA = absoluteDifference(b, c), toB = absoluteDifference(a, c);
    const auto differ = hn::Xor(hn::Eq(hn::Max(a, c), a), hn::Eq(hn::Max(b, c), b));
    const V toC = hn::IfThenElse(differ, absoluteDifference(toA, toB), hn::SaturatedAdd(toA, toB));
    const V bOrC = hn::IfThenElse(hn::Eq(hn::Min(toB, toC), toB), b, c);
    return hn::IfThenElse(hn::Eq(hn::Min(toA, hn::Min(toB, toC)), toA), a, bOrC);
}

template <PngFilter filter, class D, class V = hn::Vec<D>>
V prediction(D d, const Neighbours<V>& near)
{
    switch (filter) {
    case PngFilter::sub:
        return near.a;
    case PngFilter::up:
        return near.b;
    case PngFilter::average:
        return average(d, near.a, near.b);
    case PngFilter::paeth:
        return nearest(near.a, near.b, near.c);
    default:
        return hn::Zero(d);
    }
}

/// Calls `body(vector of the row, neighbours, position, bytes that count)` for all of a row. The first and the last
/// vector come from copies that continue the rows with zeros.
template <class D, class Body>
void forEachVector(D d, std::size_t distance, const std::uint8_t* row, const std::uint8_t* above, std::size_t bytes,
                   const Body& body)
{
    const std::size_t lanes = hn::Lanes(d);
    const auto atEdge = [&](std::size_t i, std::size_t count) {
        HWY_ALIGN std::uint8_t x[HWY_MAX_BYTES] = {}, a[HWY_MAX_BYTES] = {}, b[HWY_MAX_BYTES] = {},
                               c[HWY_MAX_BYTES] = {};
        const std::size_t outside = i < distance ? distance - i : 0;
        std::memcpy(x, row + i, count);
        std::memcpy(b, above + i, count);
        if (count > outside) {
            std::memcpy(a + outside, row + i + outside - distance, count - outside);
            std::memcpy(c + outside, above + i + outside - distance, count - outside);
        }
        body(hn::Load(d, x), Neighbours<hn::Vec<D>>{hn::Load(d, a), hn::Load(d, b), hn::Load(d, c)}, i, count);
    };
    std::size_t i = std::min(lanes, bytes);
    atEdge(0, i);
    for (; i + lanes <= bytes; i += lanes)
        body(hn::LoadU(d, row + i),
             Neighbours<hn::Vec<D>>{hn::LoadU(d, row + i - distance), hn::LoadU(d, above + i),
                                    hn::LoadU(d, above + i - distance)},
             i, lanes);
    if (i < bytes)
        atEdge(i, bytes - i);
}

template <PngFilter filter>
void filterBy(std::size_t distance, const std::uint8_t* row, const std::uint8_t* above, std::uint8_t* filtered,
              std::size_t bytes)
{
    const hn::ScalableTag<std::uint8_t> d;
    using V = hn::Vec<decltype(d)>;
    forEachVector(d, distance, row, above, bytes,
                  [&](V x, const Neighbours<V>& near, std::size_t i, std::size_t count) {
                      const V difference = hn::Sub(x, prediction<filter>(d, near));
                      if (count == hn::Lanes(d)) {
                          hn::StoreU(difference, d, filtered + i);
                      } else {
                          HWY_ALIGN std::uint8_t last[HWY_MAX_BYTES];
                          hn::Store(difference, d, last);
                          std::memcpy(filtered + i, last, count);
                      }
                  });
}

void filterRow(PngFilter filter, std::size_t distance, const std::uint8_t* row, const std::uint8_t* above,
               std::uint8_t* filtered, std::size_t bytes)
{
    switch (filter) {
    case PngFilter::none:
        std::memcpy(filtered, row, bytes);
        break;
    case PngFilter::sub:
        filterBy<PngFilter::sub>(distance, row, above, filtered, bytes);
        break;
    case PngFilter::up:
        filterBy<PngFilter::up>(distance, row, above, filtered, bytes);
        break;
    case PngFilter::average:
        filterBy<PngFilter::average>(distance, row, above, filtered, bytes);
        break;
    case PngFilter::paeth:
        filterBy<PngFilter::paeth>(distance, row, above, filtered, bytes);
        break;
    }
}

void measureRow(std::size_t distance, const std::uint8_t* row, const std::uint8_t* above, std::size_t bytes,
                PngRowMeasure& measure)
{
    const hn::ScalableTag<std::uint8_t> d;
    const hn::Repartition<std::uint64_t, decltype(d)> dSum;
    using V = hn::Vec<decltype(d)>;
    using VSum = hn::Vec<decltype(dSum)>;
    const V zero = hn::Zero(d), one = hn::Set(d, 1);
    VSum none = hn::Zero(dSum), sub = none, up = none, avg = none, paeth = none, repeated = none;
    std::size_t padding = 0;
    const auto add = [&](VSum& sum, V difference) {
        sum = hn::Add(sum, hn::SumsOf8(hn::Min(difference, hn::Sub(zero, difference))));
    };
    forEachVector(d, distance, row, above, bytes, [&](V x, const Neighbours<V>& near, std::size_t, std::size_t count) {
        const V fromLeft = hn::Sub(x, near.a), fromAbove = hn::Sub(x, near.b);
        add(none, x);
        add(sub, fromLeft);
        add(up, fromAbove);
        add(avg, hn::Sub(x, average(d, near.a, near.b)));
        add(paeth, hn::Sub(x, nearest(near.a, near.b, near.c)));
        // 1 where the smaller of the two is 0.
        repeated = hn::Add(repeated, hn::SumsOf8(hn::Sub(one, hn::Min(one, hn::Min(fromLeft, fromAbove)))));
        padding += hn::Lanes(d) - count;
    });
    const auto total = [&](VSum sum) { return hn::GetLane(hn::SumOfLanes(dSum, sum)); };
    measure.costs = {total(none), total(sub), total(up), total(avg), total(paeth)};
    measure.repeated = total(repeated) - padding;
}

/// `bytes` of a pixel at `from` and zeros behind them.
template <class D8>
hn::Vec<D8> loadPart(D8 d8, const std::uint8_t* from, std::size_t bytes)
{
    HWY_ALIGN std::uint8_t padded[HWY_MAX_BYTES] = {};
    std::memcpy(padded, from, bytes);
    return hn::Load(d8, padded);
}

/// Calls `step(filtered, above)`, which gives the restored pixel, for each pixel of a row. A step sees as many bytes as
/// its vector has, those of the next pixels among them; what it writes beyond its pixel, the next one overwrites.
template <std::size_t distance, class D8, class Step>
void forEachPixel(D8 d8, const std::uint8_t* filtered, const std::uint8_t* above, std::uint8_t* row, std::size_t bytes,
                  const Step& step)
{
    std::size_t i = 0;
    for (; i + hn::Lanes(d8) <= bytes; i += distance)
        hn::StoreU(step(hn::LoadU(d8, filtered + i), hn::LoadU(d8, above + i)), d8, row + i);
    for (; i < bytes; i += distance) {
        const std::size_t count = std::min(distance, bytes - i);
        HWY_ALIGN std::uint8_t last[HWY_MAX_BYTES];
        hn::Store(step(loadPart(d8, filtered + i, count), loadPart(d8, above + i, count)), d8, last);
        std::memcpy(row + i, last, count);
    }
}

template <std::size_t distance>
using PixelTag = hn::CappedTag<std::uint8_t, (distance <= 4 ? 4 : 8)>;

template <std::size_t distance>
void unfilterSub(const std::uint8_t* filtered, const std::uint8_t* above, std::uint8_t* row, std::size_t bytes)
{
    const PixelTag<distance> d8;
    using V = hn::Vec<decltype(d8)>;
    V a = hn::Zero(d8);
    forEachPixel<distance>(d8, filtered, above, row, bytes, [&](V x, V) { return a = hn::Add(a, x); });
}

void unfilterUp(const std::uint8_t* filtered, const std::uint8_t* above, std::uint8_t* row, std::size_t bytes)
{
    const hn::ScalableTag<std::uint8_t> d;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= bytes; i += hn::Lanes(d))
        hn::StoreU(hn::Add(hn::LoadU(d, filtered + i), hn::LoadU(d, above + i)), d, row + i);
    for (; i < bytes; ++i)
        row[i] = static_cast<std::uint8_t>(filtered[i] + above[i]);
}

// The rounding down costs nothing on the complement: with n = 255 - a and m = 255 - b, rounding up the mean of n and m
// is the complement of the mean rounded down. So n' = mean(n, m) - x: two steps a pixel.
template <std::size_t distance>
void unfilterAverage(const std::uint8_t* filtered, const std::uint8_t* above, std::uint8_t* row, std::size_t bytes)
{
    const PixelTag<distance> d8;
    using V = hn::Vec<decltype(d8)>;
    V complement = hn::Set(d8, 255);
    forEachPixel<distance>(d8, filtered, above, row, bytes, [&](V x, V b) {
        complement = hn::Sub(hn::AverageRound(complement, hn::Not(b)), x);
        return hn::Not(complement);
    });
}

// With lo and hi the smaller and larger of a and b, and t = 3 c - a - b: where t >= hi, c lies so far up that the
// estimate is nearest to lo; where t <= lo, so far down that it is nearest to hi; else c itself is nearest. The two
// comparisons do not wait for each other. They are made by subtracting and spreading the sign, because masks of their
// own kind take longer.
template <std::size_t distance>
void unfilterPaeth(const std::uint8_t* filtered, const std::uint8_t* above, std::uint8_t* row, std::size_t bytes)
{
    const PixelTag<distance> d8;
    const hn::Rebind<std::int16_t, decltype(d8)> d16;
    const hn::Repartition<std::uint8_t, decltype(d16)> dBytes;
    using V = hn::Vec<decltype(d8)>;
    auto a = hn::Zero(d16), c = a;
    forEachPixel<distance>(d8, filtered, above, row, bytes, [&](V x8, V b8) {
        const auto b = hn::PromoteTo(d16, b8), x = hn::PromoteTo(d16, x8);
        const auto t = hn::Sub(hn::Sub(hn::Add(hn::Add(c, c), c), b), a);
        const auto lo = hn::Min(a, b), hi = hn::Max(a, b);
        const auto belowHi = hn::ShiftRight<15>(hn::Sub(t, hi)), aboveLo = hn::ShiftRight<15>(hn::Sub(lo, t));
        const auto cOrLo = hn::Or(hn::And(belowHi, c), hn::AndNot(belowHi, lo));
        const auto chosen = hn::Or(hn::And(aboveLo, cOrLo), hn::AndNot(aboveLo, hi));
        // Bytes are added in place: the high ones are 0 in both and stay so.
        a = hn::BitCast(d16, hn::Add(hn::BitCast(dBytes, chosen), hn::BitCast(dBytes, x)));
        c = b;
        return hn::DemoteTo(d8, a);
    });
}

template <std::size_t distance>
void unfilterAt(PngFilter filter, const std::uint8_t* filtered, const std::uint8_t* above, std::uint8_t* row,
                std::size_t bytes)
{
    switch (filter) {
    case PngFilter::none:
        std::memcpy(row, filtered, bytes);
        break;
    case PngFilter::sub:
        unfilterSub<distance>(filtered, above, row, bytes);
        break;
    case PngFilter::up:
        unfilterUp(filtered, above, row, bytes);
        break;
    case PngFilter::average:
        unfilterAverage<distance>(filtered, above, row, bytes);
        break;
    case PngFilter::paeth:
        unfilterPaeth<distance>(filtered, above, row, bytes);
        break;
    }
}

void unfilter(PngFilter filter, std::size_t distance, const std::uint8_t* filtered, const std::uint8_t* above,
              std::uint8_t* row, std::size_t bytes)
{
    switch (distance) {
    case 2:
        unfilterAt<2>(filter, filtered, above, row, bytes);
        break;
    case 3:
        unfilterAt<3>(filter, filtered, above, row, bytes);
        break;
    case 4:
        unfilterAt<4>(filter, filtered, above, row, bytes);
        break;
    case 6:
        unfilterAt<6>(filter, filtered, above, row, bytes);
        break;
    case 8:
        unfilterAt<8>(filter, filtered, above, row, bytes);
        break;
    default:
        unfilterAt<1>(filter, filtered, above, row, bytes);
        break;
    }
}

#endif

} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {

HWY_EXPORT(unfilter);
HWY_EXPORT(filterRow);
HWY_EXPORT(measureRow);

void pngUnfilter(PngFilter filter, std::size_t distance, const std::uint8_t* filtered, const std::uint8_t* above,
                 std::uint8_t* row, std::size_t bytes)
{
    HWY_DYNAMIC_DISPATCH(unfilter)(filter, distance, filtered, above, row, bytes);
}

void pngFilter(PngFilter filter, std::size_t distance, const std::uint8_t* row, const std::uint8_t* above,
               std::uint8_t* filtered, std::size_t bytes)
{
    HWY_DYNAMIC_DISPATCH(filterRow)(filter, distance, row, above, filtered, bytes);
}

PngRowMeasure pngMeasure(std::size_t distance, const std::uint8_t* row, const std::uint8_t* above, std::size_t bytes)
{
    PngRowMeasure measure;
    HWY_DYNAMIC_DISPATCH(measureRow)(distance, row, above, bytes, measure);
    return measure;
}

} // namespace zel::engine
#endif
