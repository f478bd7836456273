#include <zel/engine/resample.h>
#include <zel/engine/parallel.h>
#include <zel/engine/resample_sums.h>

#include <hwy/cache_control.h>

#include <atomic>
#include <cstring>
#include <new>

// Two separable passes. Where rows are reduced the vertical one goes first, straight over the source's components, and
// the horizontal one, which is the dearer, runs over the few rows that are left; where rows are added the horizontal
// one goes first, over the few rows that there are. Bands of result rows go to the threads; each keeps its own rows
// between the passes, so those stay in its cache.
namespace zel::engine {
namespace {

constexpr std::size_t streamedFrom = std::size_t{16} << 20; // bytes of a result that no cache would keep anyway

void copyBand(const Plan& plan, const ConstPixels& from, const Pixels& to, int first, int last)
{
    for (int y = first; y < last; ++y) {
        if (y > first && plan.row(y).first == plan.row(y - 1).first)
            std::memcpy(to.row(y), to.row(y - 1), to.rowBytes());
        else
            copyRow(plan, from.row(plan.row(y).first), to.row(y), from.bytesPerPixel);
    }
}

template <class Depth>
bool reduceBand(const Plan& plan, const ConstPixels& from, const Pixels& to, int first, int last)
{
    using Component = typename Depth::Component;
    ScratchRows<typename Depth::Middle> middle(plan.columnCount, 1, plan.columns.padded);
    TapRows<Component> rows(plan.rows.mostTaps());
    RowSums<Depth> sums(plan);
    if (!middle.valid() || !sums.valid())
        return false;
    const auto rowAt = [&](int row) { return componentsAt<Component>(from.row(row), plan.firstColumn); };
    // Source rows that stay in the cache from one result row to the next are summed at once, more of them by stretches:
    // reading a source once and the sums several times then costs less than reading the source six times.
    const int end = plan.row(last - 1).end();
    const int stretch = plan.rows.mostTaps() > 48 ? 16 : end;
    for (int begin = plan.row(first).first; begin < end; begin += stretch) {
        const int stop = std::min(end, begin + stretch);
        for (int y = first; y < last && plan.row(y).first < stop; ++y) {
            if (!sums.add(y, begin, stop, rowAt, rows, middle.row(0)))
                continue;
            auto* out = reinterpret_cast<Component*>(to.row(y));
            Kernels<Depth>::horizontalOut(middle.row(0), plan.columns, plan.hold, out);
            first = y + 1;
        }
    }
    return true;
}

template <class Depth>
bool enlargeBand(const Plan& plan, const ConstPixels& from, const Pixels& to, int first, int last)
{
    using Component = typename Depth::Component;
    using Middle = typename Depth::Middle;
    const int kept = plan.rows.mostTaps();
    ScratchRows<Middle> wide(plan.columnCount, 1, plan.columns.padded);
    ScratchRows<Middle> filtered(plan.toWidth(), kept); // source row y in row y % kept
    if (!wide.valid() || !filtered.valid())
        return false;
    TapRows<Middle> rows(kept);
    const std::size_t bytes = to.rowBytes() * static_cast<std::size_t>(to.height);
    const Store store = bytes < streamedFrom ? Store::cached : Store::streamed;
    int next = plan.row(first).first;
    for (int y = first; y < last; ++y) {
        const Taps& taps = plan.row(y);
        for (next = std::max(next, taps.first); next < taps.end(); ++next) {
            const auto* in = componentsAt<Component>(from.row(next), plan.firstColumn);
            Kernels<Depth>::widen(in, wide.row(0), plan.fromComponents());
            Kernels<Depth>::horizontalIn(wide.row(0), plan.columns, filtered.row(next % kept));
        }
        const WeightedRows<Middle> in = rows.gather(plan.rows.weightsOf(taps), taps.count,
                                                    [&](int k) { return filtered.row((taps.first + k) % kept); });
        auto* out = reinterpret_cast<Component*>(to.row(y));
        Kernels<Depth>::verticalOut(in, plan.hold, out, plan.toComponents(), store);
    }
    if (store == Store::streamed)
        hwy::FlushStream();
    return true;
}

template <class Depth>
bool fillBand(const Plan& plan, const ConstPixels& from, const Pixels& to, int first, int last)
try {
    switch (plan.order) {
    case Plan::Order::copy:
        copyBand(plan, from, to, first, last);
        return true;
    case Plan::Order::verticalFirst:
        return reduceBand<Depth>(plan, from, to, first, last);
    case Plan::Order::horizontalFirst:
        return enlargeBand<Depth>(plan, from, to, first, last);
    }
    return false;
} catch (const std::bad_alloc&) {
    return false;
}

} // namespace

bool resample(const ConstPixels& from, const Pixels& to, Kernel kernel, const Window& window, Alpha alpha)
try {
    if (from.empty() || to.empty() || from.bytesPerPixel != to.bytesPerPixel)
        return false;
    const RowResamplerSizes sizes{from.width, from.height, to.width, to.height, from.bytesPerPixel};
    const std::optional<Plan> plan = makePlan(sizes, kernel, window, alpha);
    if (!plan)
        return false;
    const auto fill = from.bytesPerPixel == 4 ? fillBand<Depth8> : fillBand<Depth16>;
    std::atomic<bool> filled{true};
    parallelFor(to.height, plan->pixelsPerRow(), [&](int first, int last) {
        if (!fill(*plan, from, to, first, last))
            filled = false;
    });
    return filled;
} catch (const std::bad_alloc&) {
    return false;
}

} // namespace zel::engine
