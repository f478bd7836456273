#include <zel/engine/resample_plan.h>

#include <algorithm>
#include <cstring>

namespace zel::engine {
namespace {

template <class Unit>
void copyPixels(const Axis& columns, const std::uint8_t* in, std::uint8_t* out)
{
    for (const Taps& taps : columns.taps) {
        std::memcpy(out, in + static_cast<std::ptrdiff_t>(taps.first) * static_cast<int>(sizeof(Unit)), sizeof(Unit));
        out += sizeof(Unit);
    }
}

bool takesOnePixel(const Axis& axis)
{
    return std::all_of(axis.taps.begin(), axis.taps.end(), [](const Taps& taps) { return taps.count == 1; });
}

Axis countedFrom(Axis axis, int first)
{
    for (Taps& taps : axis.taps)
        taps.first -= first;
    return axis;
}

} // namespace

long long Plan::pixelsPerRow() const
{
    const long long sourceRows = std::max(1, (rows.end - rows.first) / toHeight());
    return std::max<long long>(columnCount, toWidth()) * sourceRows;
}

std::optional<Plan> makePlan(const RowResamplerSizes& sizes, Kernel kernel, const Window& window, Alpha alpha)
{
    if (sizes.bytesPerPixel != 4 && sizes.bytesPerPixel != 8)
        return {};
    const int weightBits = sizes.bytesPerPixel == 4 ? Depth8::weightBits : Depth16::weightBits;
    std::optional<Axis> columns = makeAxis(sizes.fromWidth, sizes.toWidth, window.x, window.width, kernel, weightBits);
    std::optional<Axis> rows = makeAxis(sizes.fromHeight, sizes.toHeight, window.y, window.height, kernel, weightBits);
    if (!columns || !rows)
        return {};
    const int first = columns->first;
    const int count = columns->end - first;
    Plan plan{std::move(*rows),
              RowTaps(countedFrom(std::move(*columns), first), 2 * sizes.bytesPerPixel),
              Plan::Order::copy,
              Hold::range,
              first,
              count};
    // Triangle weights are never negative: colours that were within their alpha stay within it by themselves.
    if (alpha == Alpha::premultiplied && kernel == Kernel::lanczos3)
        plan.hold = Hold::alpha;
    if (!takesOnePixel(plan.rows) || !takesOnePixel(plan.columns.axis)) {
        const bool reduces = plan.rows.end - plan.rows.first > plan.toHeight();
        plan.order = reduces ? Plan::Order::verticalFirst : Plan::Order::horizontalFirst;
    }
    return plan;
}

void copyRow(const Plan& plan, const std::uint8_t* in, std::uint8_t* out, int bytesPerPixel)
{
    in += static_cast<std::ptrdiff_t>(plan.firstColumn) * bytesPerPixel;
    if (plan.columns.axis.copies)
        std::memcpy(out, in, static_cast<std::size_t>(plan.toWidth()) * static_cast<std::size_t>(bytesPerPixel));
    else if (bytesPerPixel == 4)
        copyPixels<std::uint32_t>(plan.columns.axis, in, out);
    else
        copyPixels<std::uint64_t>(plan.columns.axis, in, out);
}

} // namespace zel::engine
