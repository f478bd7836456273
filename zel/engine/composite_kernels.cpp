#include <zel/engine/composite_kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/composite_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <zel/engine/blend-inl.h>

// Rows first: a row of source columns is mixed into 16 bits and stays in the first cache. Then each vector of result
// pixels picks its neighbours out of one vector of columns, or of two where the layer is reduced, with a lookup of
// lanes: no gathers from memory. The sum is blended without having been rounded to 8 bits.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void drawRows(const ConstPixels& from, const LayerRows& rows, const LayerColumns& columns, const Pixels& to, int first,
              int last, const LayerScratch&)
{
    drawLayerReference(from, rows, columns, to, first, last);
}

#else

constexpr int mostTaps = 16;

/// The rows that one row of the result is mixed from.
struct MixedRows {
    const std::uint8_t* rows[mostTaps];
    std::uint16_t weights[mostTaps];
    int count = 0;
};

MixedRows mixedRows(const ConstPixels& from, const LayerRows& rows, int y)
{
    MixedRows mixed;
    for (int k = 0; k < rows.taps; ++k) {
        const std::uint16_t weight = rows.weights[static_cast<std::size_t>(y * rows.taps + k)];
        if (weight == 0)
            continue;
        mixed.rows[mixed.count] = from.row(rows.first[static_cast<std::size_t>(y)] + k);
        mixed.weights[mixed.count++] = weight;
    }
    return mixed;
}

template <int count, class D32>
HWY_INLINE void mixAt(D32 d32, const MixedRows& mixed, std::size_t x, const LayerScratch& to)
{
    const Words<D32> d16;
    auto redBlue = hn::Zero(d16);
    auto greenAlpha = redBlue;
    const int taps = count > 0 ? count : mixed.count;
    for (int k = 0; k < taps; ++k) {
        const auto words = hn::BitCast(d16, loadPixels(d32, mixed.rows[k] + 4 * x));
        const auto weight = hn::Set(d16, mixed.weights[k]);
        redBlue = hn::Add(redBlue, hn::MulHigh(hn::ShiftLeft<8>(words), weight));
        greenAlpha = hn::Add(greenAlpha, hn::MulHigh(hn::AndNot(hn::Set(d16, 255), words), weight));
    }
    hn::StoreU(hn::BitCast(d32, redBlue), d32, to.redBlue + x);
    hn::StoreU(hn::BitCast(d32, greenAlpha), d32, to.greenAlpha + x);
}

template <int count>
void mixRows(const MixedRows& mixed, std::size_t width, const LayerScratch& to)
{
    const hn::ScalableTag<std::uint32_t> d32;
    std::size_t x = 0;
    for (; x + hn::Lanes(d32) <= width; x += hn::Lanes(d32))
        mixAt<count>(d32, mixed, x, to);
    for (; x < width; ++x)
        mixAt<count>(hn::CappedTag<std::uint32_t, 1>(), mixed, x, to);
}

void mixAnyRows(const MixedRows& mixed, std::size_t width, const LayerScratch& to)
{
    switch (mixed.count) {
    case 1:
        return mixRows<1>(mixed, width, to);
    case 2:
        return mixRows<2>(mixed, width, to);
    case 3:
        return mixRows<3>(mixed, width, to);
    case 4:
        return mixRows<4>(mixed, width, to);
    default:
        return mixRows<0>(mixed, width, to);
    }
}

/// Columns `index` of those from `columns` on: lanes of one vector, or of two.
template <bool two, class D32, class Indices, class Mask>
HWY_INLINE hn::VFromD<Words<D32>> pick(D32 d32, const std::uint32_t* columns, Indices indices, Mask inSecond)
{
    auto picked = hn::TableLookupLanes(hn::LoadU(d32, columns), indices);
    if constexpr (two)
        picked =
            hn::IfThenElse(inSecond, hn::TableLookupLanes(hn::LoadU(d32, columns + hn::Lanes(d32)), indices), picked);
    return hn::BitCast(Words<D32>(), picked);
}

template <bool two, int count, class D32>
HWY_INLINE void drawAt(D32 d32, const LayerScratch& scratch, const LayerColumns& columns, std::size_t width,
                       std::size_t x, std::uint8_t* to)
{
    const Words<D32> d16;
    const hn::RebindToSigned<D32> di32;
    const std::uint32_t base = columns.first[x];
    const auto offsets = hn::BitCast(di32, hn::Sub(hn::LoadU(d32, columns.first.data() + x), hn::Set(d32, base)));
    const auto last = hn::Set(di32, static_cast<std::int32_t>(hn::Lanes(d32)) - 1);
    const auto inSecond = hn::RebindMask(d32, hn::Gt(offsets, last));
    const auto indices = hn::IndicesFromVec(d32, hn::And(offsets, last));
    WidePixels<D32> shown{hn::Zero(d16), hn::Zero(d16)};
    const int taps = count > 0 ? count : columns.taps;
    for (int k = 0; k < taps; ++k) {
        const auto tap = static_cast<std::size_t>(k);
        const auto weight = hn::BitCast(d16, hn::LoadU(d32, columns.weights.data() + tap * width + x));
        const auto redBlue = pick<two>(d32, scratch.redBlue + base + tap, indices, inSecond);
        const auto greenAlpha = pick<two>(d32, scratch.greenAlpha + base + tap, indices, inSecond);
        shown.redBlue = hn::Add(shown.redBlue, hn::MulHigh(redBlue, weight));
        shown.greenAlpha = hn::Add(shown.greenAlpha, hn::MulHigh(greenAlpha, weight));
    }
    storePixels(d32, shownOver(d32, shown, loadPixels(d32, to)), to);
}

template <bool two, int count>
void drawRow(const LayerScratch& scratch, const LayerColumns& columns, std::uint8_t* to)
{
    const hn::ScalableTag<std::uint32_t> d32;
    const std::size_t width = columns.first.size();
    std::size_t x = 0;
    for (; x + hn::Lanes(d32) <= width; x += hn::Lanes(d32))
        drawAt<two, count>(d32, scratch, columns, width, x, to + 4 * x);
    for (; x < width; ++x)
        drawAt<false, count>(hn::CappedTag<std::uint32_t, 1>(), scratch, columns, width, x, to + 4 * x);
}

template <bool two>
void drawAnyRow(const LayerScratch& scratch, const LayerColumns& columns, std::uint8_t* to)
{
    switch (columns.taps) {
    case 2:
        return drawRow<two, 2>(scratch, columns, to);
    case 3:
        return drawRow<two, 3>(scratch, columns, to);
    case 4:
        return drawRow<two, 4>(scratch, columns, to);
    default:
        return drawRow<two, 0>(scratch, columns, to);
    }
}

/// Whether some vector of result pixels reaches over more columns than a vector holds.
bool needsTwoVectors(const LayerColumns& columns)
{
    const std::size_t lanes = hn::Lanes(hn::ScalableTag<std::uint32_t>());
    for (std::size_t x = lanes - 1; x < columns.first.size(); ++x)
        if (columns.first[x] - columns.first[x - lanes + 1] >= lanes)
            return true;
    return false;
}

void drawRows(const ConstPixels& from, const LayerRows& rows, const LayerColumns& columns, const Pixels& to, int first,
              int last, const LayerScratch& scratch)
{
    const bool two = needsTwoVectors(columns);
    for (int y = first; y < last; ++y) {
        mixAnyRows(mixedRows(from, rows, y), static_cast<std::size_t>(from.width), scratch);
        if (two)
            drawAnyRow<true>(scratch, columns, to.row(y));
        else
            drawAnyRow<false>(scratch, columns, to.row(y));
    }
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(drawRows);
} // namespace

void drawLayer(const ConstPixels& from, const LayerRows& rows, const LayerColumns& columns, const Pixels& to, int first,
               int last, const LayerScratch& scratch)
{
    HWY_DYNAMIC_DISPATCH(drawRows)(from, rows, columns, to, first, last, scratch);
}

} // namespace zel::engine
#endif // HWY_ONCE
