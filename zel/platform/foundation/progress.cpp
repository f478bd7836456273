#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/thread_state.h>

#include <cmath>
#include <utility>

namespace zel {
namespace {

// A thousandth of the work is the smallest step that a person or a progress bar can tell.
constexpr double smallestStep = 0.001;

void reportTo(ProgressState& progress, double fraction)
{
    // A thread that finds another one reporting goes on working; only the end is worth a wait.
    std::unique_lock lock(progress.mutex, std::defer_lock);
    if (fraction >= 1)
        lock.lock();
    else if (!lock.try_lock())
        return;
    const bool ends = fraction <= 0 || fraction >= 1;
    if (!progress.report || progress.reported == fraction ||
        (!ends && std::fabs(fraction - progress.reported) < smallestStep))
        return;
    progress.reported = fraction;
    // What the callback itself calls must not report into it again.
    const Ref<ProgressState> here = std::exchange(threadState().context.progress, nullptr);
    try {
        progress.report(fraction);
    } catch (...) { // NOLINT(bugprone-empty-catch): a callback's trouble must not unwind through a decoder
    }
    threadState().context.progress = here;
}

} // namespace

struct ZelProgress::State : ProgressState {};

ZelProgress::ZelProgress(std::function<void(double)> report, std::stop_token stop) : state_(std::make_shared<State>())
{
    state_->report = std::move(report);
    state_->stop = std::move(stop);
    state_->outer = threadState().context.progress;
    threadState().context.progress = state_;
}

ZelProgress::~ZelProgress()
{
    {
        // Waits for a helping thread that is reporting: the callback may refer to what ends with this scope.
        const std::scoped_lock lock(state_->mutex);
        state_->report = nullptr;
        state_->closed = true;
    }
    Ref<ProgressState>& innermost = threadState().context.progress;
    while (innermost && innermost->closed)
        innermost = Ref<ProgressState>(innermost->outer);
}

bool keepGoing(double fraction, std::string_view operation)
{
    const Ref<ProgressState> innermost = threadState().context.progress;
    if (!innermost)
        return true;
    for (const ProgressState* at = innermost.get(); at != nullptr; at = at->outer.get())
        if (at->stop.stop_requested())
            return fail(ZelFailureCode::cancelled, operation, std::string(operation) + " was stopped");
    // Written so that a fraction that is not a number counts as 0.
    reportTo(*innermost, fraction > 0 ? std::fmin(fraction, 1.0) : 0.0);
    return true;
}

} // namespace zel
