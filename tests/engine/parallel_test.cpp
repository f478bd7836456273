#include <zel/engine/parallel.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace zel::engine {
namespace {

/// Sets the number of threads for one test.
class Threads {
public:
    explicit Threads(int threads) { setConcurrency(threads); }
    ~Threads() { setConcurrency(0); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;
};

using Bands = std::vector<std::pair<int, int>>;

Bands bandsOf(int rows, long long pixelsPerRow, int rowsPerStep)
{
    Bands bands;
    std::mutex mutex;
    parallelFor(
        rows, pixelsPerRow,
        [&](int first, int last) {
            const std::lock_guard lock(mutex);
            bands.emplace_back(first, last);
        },
        rowsPerStep);
    std::sort(bands.begin(), bands.end());
    return bands;
}

TEST(ParallelFor, CoversEveryRowOnceInBandsThatPay)
{
    const struct {
        const char* name;
        int rows;
        long long pixelsPerRow;
        int rowsPerStep;
    } cases[] = {
        {"one row", 1, 1, 1},
        {"small picture", 100, 100, 1},
        {"24 million pixels", 4000, 6000, 1},
        {"a prime number of rows", 4001, 6007, 1},
        {"rows in steps of 16", 4001, 6007, 16},
        {"a step larger than the picture", 50, 1000000, 64},
        {"few very long rows", 3, 1000000000, 1},
        {"many rows without pixels", 1000000, 0, 1},
        {"step of 0 counts as 1", 4000, 6000, 0},
        {"the most rows there can be", 2147483647, 1000, 1024},
    };
    for (const int threads : {1, 2, 3, 8}) {
        const Threads used(threads);
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", threads " << threads);
            const Bands bands = bandsOf(c.rows, c.pixelsPerRow, c.rowsPerStep);
            ASSERT_FALSE(bands.empty());
            EXPECT_EQ(bands.front().first, 0);
            EXPECT_EQ(bands.back().second, c.rows);
            for (std::size_t i = 0; i < bands.size(); ++i) {
                const auto [first, last] = bands[i];
                EXPECT_LT(first, last);
                EXPECT_EQ(first % std::max(1, c.rowsPerStep), 0);
                if (i + 1 < bands.size()) {
                    EXPECT_EQ(last, bands[i + 1].first);
                    EXPECT_GE((last - first) * std::max(1LL, c.pixelsPerRow), parallelGrain);
                }
            }
        }
    }
}

TEST(ParallelFor, DoesNothingWithoutRows)
{
    EXPECT_TRUE(bandsOf(0, 1000, 1).empty());
    EXPECT_TRUE(bandsOf(-5, 1000, 1).empty());
}

TEST(ParallelFor, StaysOnTheCallingThreadBelowTheGrain)
{
    const Threads used(4);
    std::thread::id where;
    int calls = 0;
    parallelFor(511, 512, [&](int, int) {
        where = std::this_thread::get_id();
        ++calls;
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(where, std::this_thread::get_id());
}

TEST(ParallelFor, CutsLargeLoopsForSeveralThreads)
{
    const Threads used(2);
    EXPECT_GE(bandsOf(4000, 6000, 1).size(), 2U);
}

TEST(ParallelFor, RunsInsideItselfAndFromManyThreads)
{
    const Threads used(3);
    std::atomic<long long> sum{0};
    const auto work = [&sum] {
        parallelFor(8, parallelGrain, [&sum](int first, int last) {
            for (int y = first; y < last; ++y)
                parallelFor(8, parallelGrain, [&sum](int from, int to) { sum += to - from; });
        });
    };
    std::vector<std::thread> callers;
    for (int i = 0; i < 8; ++i)
        callers.emplace_back(work);
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(sum, 8 * 8 * 8);
}

TEST(Concurrency, IsWhatWasSetWithinBounds)
{
    const Threads back(0);
    const int cores = concurrency();
    EXPECT_GE(cores, 1);
    setConcurrency(7);
    EXPECT_EQ(concurrency(), 7);
    setConcurrency(1000000);
    EXPECT_EQ(concurrency(), mostThreads);
    setConcurrency(-3);
    EXPECT_EQ(concurrency(), cores);
}

TEST(Concurrency, MayChangeWhileLoopsRun)
{
    const Threads back(2);
    std::atomic<bool> done{false};
    std::thread changer([&] {
        for (int i = 0; !done; ++i)
            setConcurrency(1 + i % 4);
    });
    for (int i = 0; i < 200; ++i) {
        std::atomic<int> rows{0};
        parallelFor(64, parallelGrain, [&](int first, int last) { rows += last - first; });
        EXPECT_EQ(rows, 64);
    }
    done = true;
    changer.join();
}

} // namespace
} // namespace zel::engine
