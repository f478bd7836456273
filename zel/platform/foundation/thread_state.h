#pragma once
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/limits.h>

#include <atomic>
#include <mutex>

// What each thread of the library knows about the work it does: where notes go, how far to report, what is allowed,
// what it is about. Notes, progress, limits and tasks share it; nothing else includes this.
namespace zel {

/// A place where notes arrive, chained to the one that was there before it. A report keeps notes and hands them on; a
/// trial holds them back until it is decided.
class Collector {
public:
    enum class Kind { report, trial };
    Collector(Kind kind, Ref<Collector> outer) : kind_(kind), outer_(std::move(outer)) {}
    /// Chains grow long where reports are left open: taken apart one by one, not by recursion.
    ~Collector();
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    /// Hands a note to `innermost` and outwards, as far as a trial lets it through.
    static void deliver(const Ref<Collector>& innermost, const ZelNote& note);

    [[nodiscard]] std::vector<ZelNote> notes() const;
    /// A trial's: from now on notes pass; those held back are given.
    std::vector<ZelNote> open();
    /// Nobody will ask again: what arrives is dropped, or passes where the collector lets notes through.
    void close();
    [[nodiscard]] bool closed() const { return closed_.load(std::memory_order_acquire); }
    [[nodiscard]] const Ref<Collector>& outer() const { return outer_; }

private:
    /// True when the note goes on outwards.
    bool take(const ZelNote& note);

    const Kind kind_;
    Ref<Collector> outer_;
    mutable std::mutex mutex_;
    std::vector<ZelNote> notes_;
    bool passing_ = false;
    std::atomic<bool> closed_ = false;
};

/// A ZelProgress, chained to the one around it.
struct ProgressState {
    std::function<void(double)> report;
    std::stop_token stop;
    Ref<ProgressState> outer;
    std::atomic<bool> closed = false;
    std::mutex mutex; ///< of `report` and `reported`
    double reported = -1;
};

/// What a thread has now, and a task takes along.
struct ThreadContext {
    Ref<Collector> collector;
    Ref<ProgressState> progress;
    Ref<const ZelLimits> limits; ///< null: the default holds
    std::string subject;
};

struct ThreadState {
    ThreadContext context;
    ZelNote last;
    bool failed = false; ///< a failure was noted since the running task began
};

ThreadState& threadState();

} // namespace zel
