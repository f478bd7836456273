#pragma once
#include <zel/engine/resample_plan.h>

namespace zel::engine {

/// The vertical pass of a reduction over a source that comes in stretches of rows: result rows that reach over an end
/// of a stretch wait as sums. As many of those are held as result rows meet at a border, whatever the reduction.
template <class Depth>
class RowSums {
public:
    using Component = typename Depth::Component;
    using Middle = typename Depth::Middle;

    explicit RowSums(const Plan& plan) : plan_(plan), slots_(rowsAcrossBorder(plan)), sums_(plan.columnCount, slots_) {}

    [[nodiscard]] bool valid() const { return sums_.valid(); }

    /// Takes what lies of result row y in source rows [first, end), which `rowAt(row)` gives from their first component
    /// that counts. True when that was the last of it: `middle` has then been filled. Rows may go to several threads.
    template <class RowAt>
    bool add(int y, int first, int end, const RowAt& rowAt, TapRows<Component>& rows, Middle* middle)
    {
        const Taps& taps = plan_.row(y);
        const int begin = std::max(taps.first, first);
        const int stop = std::min(taps.end(), end);
        const std::int32_t* weights = plan_.rows.weightsOf(taps) + (begin - taps.first);
        const auto in = rows.gather(weights, stop - begin, [&](int k) { return rowAt(begin + k); });
        if (begin == taps.first && stop == taps.end()) {
            Kernels<Depth>::verticalIn(in, middle, plan_.fromComponents());
            return true;
        }
        auto* sums = sums_.row(y % slots_);
        if (begin == taps.first)
            std::fill_n(sums, plan_.fromComponents(), typename Depth::Sum{0});
        Kernels<Depth>::verticalAdd(in, sums, plan_.fromComponents());
        if (stop < taps.end())
            return false;
        Kernels<Depth>::verticalRound(sums, middle, plan_.fromComponents());
        return true;
    }

private:
    /// The most result rows that take from both sides of any border between source rows.
    static int rowsAcrossBorder(const Plan& plan)
    {
        int most = 1;
        int first = 0;
        for (int y = 0; y < plan.toHeight(); ++y) {
            while (plan.row(first).end() <= plan.row(y).first + 1)
                ++first;
            most = std::max(most, y - first + 1);
        }
        return most;
    }

    const Plan& plan_;
    int slots_;
    ScratchRows<typename Depth::Sum> sums_; ///< of the result row y in row y % slots_
};

} // namespace zel::engine
