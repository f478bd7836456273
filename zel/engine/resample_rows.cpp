#include <zel/engine/parallel.h>
#include <zel/engine/resample.h>
#include <zel/engine/resample_sums.h>

#include <atomic>
#include <new>

// The same passes as `resample`, over a source that comes in bands. Result rows whose taps lie in one band are made
// from it directly. What reaches over a border is kept in the form that is smallest: sums of the rows so far where rows
// are reduced (as many as result rows meet at a border, whatever the reduction), filtered rows where rows are added.
namespace zel::engine {

class RowResamplerState {
public:
    using Consumer = RowResampler::Consumer;

    RowResamplerState(Plan plan, const RowResamplerSizes& sizes, Consumer consumer)
        : plan_(std::move(plan)),
          sizes_(sizes),
          consumer_(std::move(consumer)),
          nextFrom_(plan_.rows.first),
          strip_(sizes.toWidth, std::min(sizes.toHeight, stripRows(sizes)), sizes.bytesPerPixel)
    {
    }
    virtual ~RowResamplerState() = default;
    RowResamplerState(const RowResamplerState&) = delete;
    RowResamplerState& operator=(const RowResamplerState&) = delete;

    [[nodiscard]] virtual bool valid() const { return !strip_.empty(); }
    [[nodiscard]] const Plan& plan() const { return plan_; }
    [[nodiscard]] bool finished() const { return nextTo_ == plan_.toHeight(); }

    bool push(int first, const ConstPixels& rows)
    {
        if (failed_ || rows.width != sizes_.fromWidth || rows.bytesPerPixel != sizes_.bytesPerPixel || first < 0 ||
            rows.height > sizes_.fromHeight - first)
            return false;
        const int end = std::min(first + rows.height, plan_.rows.end);
        if (end <= nextFrom_)
            return true; // above the rows that count, below them, or known already
        if (first > nextFrom_)
            return false;
        const ConstPixels news = rows.rows(nextFrom_ - first, end - nextFrom_);
        failed_ = !take(nextFrom_, news);
        nextFrom_ = end;
        return !failed_;
    }

protected:
    /// Takes rows [first, first + rows.height), which are the next that count.
    virtual bool take(int first, const ConstPixels& rows) = 0;

    /// Makes all result rows that need nothing from source row `end` on, `makeRow(y, out, scratch)` each, and hands
    /// them to the consumer by strips. `makeScratch` is called once a thread and strip.
    template <class MakeScratch, class MakeRow>
    bool finishRows(int end, const MakeScratch& makeScratch, const MakeRow& makeRow)
    {
        int stop = nextTo_;
        while (stop < plan_.toHeight() && plan_.row(stop).end() <= end)
            ++stop;
        while (nextTo_ < stop) {
            const int count = std::min(stop - nextTo_, strip_.pixels().height);
            if (!forRows(nextTo_, count, makeScratch,
                         [&](int y, auto& scratch) { makeRow(y, strip_.pixels().row(y - nextTo_), scratch); }))
                return false;
            const ConstPixels strip = strip_.pixels();
            nextTo_ += count;
            if (!consumer_(nextTo_ - count, strip.rows(0, count)))
                return false;
        }
        return true;
    }

    /// `body(y, scratch)` for y in [first, first + count), on several threads where that pays.
    template <class MakeScratch, class Body>
    bool forRows(int first, int count, const MakeScratch& makeScratch, const Body& body)
    {
        std::atomic<bool> done{true};
        parallelFor(count, plan_.pixelsPerRow(), [&](int from, int to) {
            if (!forBand(first + from, first + to, makeScratch, body))
                done = false;
        });
        return done;
    }

    [[nodiscard]] int nextTo() const { return nextTo_; }

private:
    template <class MakeScratch, class Body>
    static bool forBand(int first, int last, const MakeScratch& makeScratch, const Body& body)
    try {
        auto scratch = makeScratch();
        if (!scratch.valid())
            return false;
        for (int y = first; y < last; ++y)
            body(y, scratch);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }

    /// About a mebibyte of the result at a time.
    static int stripRows(const RowResamplerSizes& sizes)
    {
        const long long rowBytes = 1LL * sizes.toWidth * sizes.bytesPerPixel;
        return static_cast<int>(std::clamp((1LL << 20) / rowBytes, 1LL, 256LL));
    }

    Plan plan_;
    RowResamplerSizes sizes_;
    Consumer consumer_;
    int nextFrom_;   ///< source row that counts and has not come
    int nextTo_ = 0; ///< result row that has not been handed on
    bool failed_ = false;
    PixelBuffer strip_;
};

namespace {

struct NoScratch {
    [[nodiscard]] static bool valid() { return true; }
};

class CopyingState final : public RowResamplerState {
public:
    using RowResamplerState::RowResamplerState;

private:
    bool take(int first, const ConstPixels& rows) override
    {
        return finishRows(
            first + rows.height, [] { return NoScratch(); },
            [&](int y, std::uint8_t* out, NoScratch&) {
                copyRow(plan(), rows.row(plan().row(y).first - first), out, rows.bytesPerPixel);
            });
    }
};

template <class Depth>
class ReducingState final : public RowResamplerState {
    using Component = typename Depth::Component;
    using Middle = typename Depth::Middle;

public:
    ReducingState(Plan plan, const RowResamplerSizes& sizes, Consumer consumer)
        : RowResamplerState(std::move(plan), sizes, std::move(consumer)), sums_(this->plan())
    {
    }

    [[nodiscard]] bool valid() const override { return RowResamplerState::valid() && sums_.valid(); }

private:
    struct Scratch {
        explicit Scratch(const Plan& plan)
            : middle(plan.columnCount, 1, plan.columns.padded), rows(plan.rows.mostTaps())
        {
        }
        [[nodiscard]] bool valid() const { return middle.valid(); }

        ScratchRows<Middle> middle;
        TapRows<Component> rows;
    };

    bool take(int first, const ConstPixels& band) override
    {
        const int end = first + band.height;
        const auto makeScratch = [&] { return Scratch(plan()); };
        const auto rowAt = [&](int row) { return componentsAt<Component>(band.row(row - first), plan().firstColumn); };
        if (!finishRows(end, makeScratch, [&](int y, std::uint8_t* out, Scratch& scratch) {
                sums_.add(y, first, end, rowAt, scratch.rows, scratch.middle.row(0));
                Kernels<Depth>::horizontalOut(scratch.middle.row(0), plan().columns, plan().hold,
                                              reinterpret_cast<Component*>(out));
            }))
            return false;
        int open = nextTo();
        while (open < plan().toHeight() && plan().row(open).first < end)
            ++open;
        return forRows(nextTo(), open - nextTo(), makeScratch, [&](int y, Scratch& scratch) {
            sums_.add(y, first, end, rowAt, scratch.rows, scratch.middle.row(0));
        });
    }

    RowSums<Depth> sums_;
};

template <class Depth>
class EnlargingState final : public RowResamplerState {
    using Component = typename Depth::Component;
    using Middle = typename Depth::Middle;

public:
    EnlargingState(Plan plan, const RowResamplerSizes& sizes, Consumer consumer)
        : RowResamplerState(std::move(plan), sizes, std::move(consumer)),
          slots_(this->plan().rows.mostTaps() + rowsAtATime),
          filtered_(this->plan().toWidth(), slots_)
    {
    }

    [[nodiscard]] bool valid() const override { return RowResamplerState::valid() && filtered_.valid(); }

private:
    static constexpr int rowsAtATime = 16; // filtered before the result rows that they complete: they stay in the cache

    struct Scratch {
        explicit Scratch(int most) : rows(most) {}
        [[nodiscard]] static bool valid() { return true; }
        TapRows<Middle> rows;
    };

    bool take(int first, const ConstPixels& band) override
    {
        for (int done = 0; done < band.height; done += rowsAtATime) {
            const ConstPixels rows = band.rows(done, std::min(rowsAtATime, band.height - done));
            if (!takeFew(first + done, rows))
                return false;
        }
        return true;
    }

    bool takeFew(int first, const ConstPixels& rows)
    {
        const auto makeWide = [&] { return ScratchRows<Middle>(plan().columnCount, 1, plan().columns.padded); };
        if (!forRows(first, rows.height, makeWide, [&](int y, ScratchRows<Middle>& wide) {
                const auto* in = componentsAt<Component>(rows.row(y - first), plan().firstColumn);
                Kernels<Depth>::widen(in, wide.row(0), plan().fromComponents());
                Kernels<Depth>::horizontalIn(wide.row(0), plan().columns, filtered_.row(y % slots_));
            }))
            return false;
        const auto makeScratch = [&] { return Scratch(plan().rows.mostTaps()); };
        return finishRows(first + rows.height, makeScratch, [&](int y, std::uint8_t* out, Scratch& scratch) {
            const Taps& taps = plan().row(y);
            const WeightedRows<Middle> in = scratch.rows.gather(plan().rows.weightsOf(taps), taps.count, [&](int k) {
                return filtered_.row((taps.first + k) % slots_);
            });
            Kernels<Depth>::verticalOut(in, plan().hold, reinterpret_cast<Component*>(out), plan().toComponents());
        });
    }

    int slots_;
    ScratchRows<Middle> filtered_; ///< the source row y in row y % slots_
};

template <class Depth>
std::unique_ptr<RowResamplerState> makeState(Plan plan, const RowResamplerSizes& sizes, RowResampler::Consumer consumer)
{
    switch (plan.order) {
    case Plan::Order::copy:
        return std::make_unique<CopyingState>(std::move(plan), sizes, std::move(consumer));
    case Plan::Order::verticalFirst:
        return std::make_unique<ReducingState<Depth>>(std::move(plan), sizes, std::move(consumer));
    case Plan::Order::horizontalFirst:
        return std::make_unique<EnlargingState<Depth>>(std::move(plan), sizes, std::move(consumer));
    }
    return nullptr;
}

} // namespace

RowResampler::RowResampler(const RowResamplerSizes& sizes, Kernel kernel, const Window& window, Alpha alpha,
                           Consumer consumer)
{
    try {
        std::optional<Plan> plan = makePlan(sizes, kernel, window, alpha);
        if (!plan)
            return;
        const auto make = sizes.bytesPerPixel == 4 ? makeState<Depth8> : makeState<Depth16>;
        state_ = make(std::move(*plan), sizes, std::move(consumer));
        if (!state_->valid())
            state_ = nullptr;
    } catch (const std::bad_alloc&) {
        state_ = nullptr;
    }
}

RowResampler::~RowResampler() = default;
RowResampler::RowResampler(RowResampler&&) noexcept = default;
RowResampler& RowResampler::operator=(RowResampler&&) noexcept = default;

bool RowResampler::valid() const
{
    return state_ != nullptr;
}

int RowResampler::firstRow() const
{
    return state_ ? state_->plan().rows.first : 0;
}

int RowResampler::endRow() const
{
    return state_ ? state_->plan().rows.end : 0;
}

bool RowResampler::push(int first, const ConstPixels& rows)
try {
    return state_ && state_->push(first, rows);
} catch (const std::bad_alloc&) {
    return false;
}

bool RowResampler::finished() const
{
    return state_ && state_->finished();
}

} // namespace zel::engine
