#include <zel/platform/foundation/perf.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace zel {
namespace {

using Observer = std::function<void(std::string_view, double)>;
using Clock = std::chrono::steady_clock;

struct Standing {
    std::atomic<bool> measuring = false;
    std::mutex mutex;
    std::shared_ptr<const Observer> observer;
};

// Never destroyed: threads may still work while the process ends.
Standing& standing()
{
    static Standing& instance = *new Standing;
    return instance;
}

struct Bracket {
    int depth;
    std::string name;
    Clock::time_point begin;
};

// The depth is counted always, so that a bracket begun before the measuring is not taken for one begun since.
thread_local int depth = 0;
thread_local std::vector<Bracket> open;

} // namespace

void PerfAn::start(std::string_view name)
{
    ++depth;
    if (standing().measuring.load(std::memory_order_relaxed))
        open.push_back({depth, std::string(name), Clock::now()});
}

void PerfAn::end()
{
    if (depth == 0)
        return;
    const int ended = depth--;
    if (open.empty() || open.back().depth != ended)
        return;
    const Bracket bracket = std::move(open.back());
    open.pop_back();
    const std::chrono::duration<double> taken = Clock::now() - bracket.begin;
    std::shared_ptr<const Observer> observer;
    {
        const std::scoped_lock lock(standing().mutex);
        observer = standing().observer;
    }
    if (observer)
        (*observer)(bracket.name, taken.count());
}

void PerfAn::setObserver(Observer observer)
{
    std::shared_ptr<const Observer> next;
    if (observer)
        next = std::make_shared<const Observer>(std::move(observer));
    const std::scoped_lock lock(standing().mutex);
    standing().measuring = next != nullptr;
    standing().observer.swap(next);
}

} // namespace zel
