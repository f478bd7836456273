#include <zel/engine/composite_kernels.h>

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/composite_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/cache_control.h>
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

/// The rows that one row of the result is mixed from. Those that the row after it needs are asked for from memory
/// meanwhile: the processor does not see the step from row to row coming, and waiting for it takes a third of the time.
struct MixedRows {
    const std::uint8_t* rows[mostTaps];
    std::uint16_t weights[mostTaps];
    int count = 0;
    const std::uint8_t* next[2]; ///< rows that the row after it needs anew, or some that are there already
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
    const std::size_t after = std::min(static_cast<std::size_t>(y) + 1, rows.first.size() - 1);
    const int last = std::min(rows.first[after] + rows.taps, from.height) - 1;
    mixed.next[0] = from.row(last);
    mixed.next[1] = from.row(std::max(0, last - 1));
    return mixed;
}

template <int count, class D32>
HWY_INLINE void mixAt(D32 d32, const MixedRows& mixed, std::size_t x, LayerScratch to)
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
void mixRows(const MixedRows& rows, std::size_t width, LayerScratch to)
{
    const hn::ScalableTag<std::uint32_t> d32;
    const MixedRows mixed = rows; // its own, so that it can stay in registers while bytes are written
    std::size_t x = 0;
    for (; x + hn::Lanes(d32) <= width; x += hn::Lanes(d32)) {
        hwy::Prefetch(mixed.next[0] + 4 * x);
        hwy::Prefetch(mixed.next[1] + 4 * x);
        mixAt<count>(d32, mixed, x, to);
    }
    for (; x < width; ++x)
        mixAt<count>(hn::CappedTag<std::uint32_t, 1>(), mixed, x, to);
}

void mixAnyRows(const MixedRows& mixed, std::size_t width, LayerScratch to)
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

/// What a row of the result is drawn from: `LayerColumns` and the scratch as bare pointers.
struct RowOfLayer {
    const std::uint32_t* redBlue;
    const std::uint32_t* greenAlpha;
    const std::uint32_t* first;
    const std::uint32_t* weights;
    std::size_t width;
    int taps;
};

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
HWY_INLINE void drawAt(D32 d32, RowOfLayer row, std::size_t x, std::uint8_t* to)
{
    const Words<D32> d16;
    const hn::RebindToSigned<D32> di32;
    const std::uint32_t base = row.first[x];
    const auto offsets = hn::BitCast(di32, hn::Sub(hn::LoadU(d32, row.first + x), hn::Set(d32, base)));
    const auto last = hn::Set(di32, static_cast<std::int32_t>(hn::Lanes(d32)) - 1);
    const auto inSecond = hn::RebindMask(d32, hn::Gt(offsets, last));
    const auto indices = hn::IndicesFromVec(d32, hn::And(offsets, last));
    WidePixels<D32> shown{hn::Zero(d16), hn::Zero(d16)};
    const int taps = count > 0 ? count : row.taps;
    for (int k = 0; k < taps; ++k) {
        const auto tap = static_cast<std::size_t>(k);
        const auto weight = hn::BitCast(d16, hn::LoadU(d32, row.weights + tap * row.width + x));
        const auto redBlue = pick<two>(d32, row.redBlue + base + tap, indices, inSecond);
        const auto greenAlpha = pick<two>(d32, row.greenAlpha + base + tap, indices, inSecond);
        shown.redBlue = hn::Add(shown.redBlue, hn::MulHigh(redBlue, weight));
        shown.greenAlpha = hn::Add(shown.greenAlpha, hn::MulHigh(greenAlpha, weight));
    }
    storePixels(d32, shownOver(d32, shown, loadPixels(d32, to)), to);
}

/// `next` is the row that will be drawn after this one.
template <bool two, int count>
void drawRow(RowOfLayer row, std::uint8_t* to, const std::uint8_t* next)
{
    const hn::ScalableTag<std::uint32_t> d32;
    std::size_t x = 0;
    for (; x + hn::Lanes(d32) <= row.width; x += hn::Lanes(d32)) {
        hwy::Prefetch(next + 4 * x);
        drawAt<two, count>(d32, row, x, to + 4 * x);
    }
    for (; x < row.width; ++x)
        drawAt<false, count>(hn::CappedTag<std::uint32_t, 1>(), row, x, to + 4 * x);
}

template <bool two>
void drawAnyRow(RowOfLayer row, std::uint8_t* to, const std::uint8_t* next)
{
    switch (row.taps) {
    case 2:
        return drawRow<two, 2>(row, to, next);
    case 3:
        return drawRow<two, 3>(row, to, next);
    case 4:
        return drawRow<two, 4>(row, to, next);
    default:
        return drawRow<two, 0>(row, to, next);
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
    const RowOfLayer row{scratch.redBlue,        scratch.greenAlpha,   columns.first.data(),
                         columns.weights.data(), columns.first.size(), columns.taps};
    for (int y = first; y < last; ++y) {
        mixAnyRows(mixedRows(from, rows, y), static_cast<std::size_t>(from.width), scratch);
        const std::uint8_t* next = to.row(std::min(y + 1, last - 1));
        if (two)
            drawAnyRow<true>(row, to.row(y), next);
        else
            drawAnyRow<false>(row, to.row(y), next);
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
