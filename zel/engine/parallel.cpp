#include <zel/engine/parallel.h>

#include <algorithm>
#include <atomic>

#include <sched.h>

#ifdef ZEL_PLAIN_THREADS
#include <thread>
#include <vector>
#else
#include <memory>
#include <mutex>
#include <optional>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>
#endif

// A loop is cut into a few bands a thread, so that a thread that the system holds up leaves its bands to the others.
// Threads and arena come to life with the first loop that is worth them: programs that never run one never pay.
namespace zel::engine {
namespace {
constexpr int bandsPerThread = 4;

std::atomic<int> wantedThreads{0};

int cores()
{
    static const int count = [] {
        cpu_set_t set;
        CPU_ZERO(&set);
        return sched_getaffinity(0, sizeof set, &set) == 0 ? std::max(1, CPU_COUNT(&set)) : 1;
    }();
    return count;
}

/// Where bands begin: `count` of them over `steps` steps of `rowsPerStep` rows.
struct Bands {
    int rows, rowsPerStep, steps, count;

    [[nodiscard]] int start(int band) const
    {
        const long long step = static_cast<long long>(steps) * band / count;
        return static_cast<int>(std::min<long long>(rows, step * rowsPerStep));
    }
};

Bands makeBands(int rows, long long pixelsPerRow, int rowsPerStep, int threads)
{
    const int steps = (rows - 1) / rowsPerStep + 1;
    const long long pixelsPerStep = std::max(1LL, pixelsPerRow) * rowsPerStep;
    const long long stepsPerGrain = (parallelGrain - 1) / pixelsPerStep + 1;
    const long long most = std::max(1LL, steps / stepsPerGrain);
    return {rows, rowsPerStep, steps, static_cast<int>(std::min<long long>(most, 1LL * threads * bandsPerThread))};
}

#ifdef ZEL_PLAIN_THREADS
template <class Band>
void runBands(int count, int threads, const Band& band)
{
    std::atomic<int> next{0};
    const auto work = [&] {
        for (int i = next++; i < count; i = next++)
            band(i);
    };
    std::vector<std::thread> others;
    for (int i = 1; i < std::min(threads, count); ++i)
        others.emplace_back(work);
    work();
    for (std::thread& other : others)
        other.join();
}
#else
struct Arena {
    explicit Arena(int threads) : tasks(threads)
    {
        if (threads > cores()) // more than the scheduler would start by itself, and it would say so on standard error
            allowance.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    }

    std::optional<tbb::global_control> allowance;
    tbb::task_arena tasks;
};

/// The arena of this process; a loop that runs keeps the one it began in when the size changes meanwhile.
std::shared_ptr<Arena> arena(int threads)
{
    static std::mutex mutex;
    static auto& current = *new std::shared_ptr<Arena>; // never destroyed: static destructors of hosts may run loops
    const std::lock_guard lock(mutex);
    if (!current || current->tasks.max_concurrency() != threads)
        current = std::make_shared<Arena>(threads);
    return current;
}

template <class Band>
void runBands(int count, int threads, const Band& band)
{
    const auto loop = [&] {
        const auto run = [&](const tbb::blocked_range<int>& range) {
            for (int i = range.begin(); i != range.end(); ++i)
                band(i);
        };
        tbb::parallel_for(tbb::blocked_range<int>(0, count), run, tbb::simple_partitioner());
    };
    // Isolated: a thread that waits for the last band must not pick up somebody else's loop, whose caller may hold a
    // lock that this one holds too.
    const std::shared_ptr<Arena> used = arena(threads);
    used->tasks.execute([&] { tbb::this_task_arena::isolate(loop); });
}
#endif
} // namespace

void setConcurrency(int threads)
{
    wantedThreads = std::clamp(threads, 0, mostThreads);
}

int concurrency()
{
    const int wanted = wantedThreads;
    return wanted > 0 ? wanted : std::min(cores(), mostThreads);
}

void parallelFor(int rows, long long pixelsPerRow, const std::function<void(int first, int last)>& body,
                 int rowsPerStep)
{
    if (rows < 1)
        return;
    const int threads = concurrency();
    const Bands bands = makeBands(rows, pixelsPerRow, std::max(1, rowsPerStep), threads);
    if (threads == 1 || bands.count == 1) {
        body(0, rows);
        return;
    }
    runBands(bands.count, threads, [&](int band) { body(bands.start(band), bands.start(band + 1)); });
}

} // namespace zel::engine
