#include <zel/platform/foundation/async.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/threads.h>

#include <foundation/child_process.h>

#include <condition_variable>
#include <deque>
#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <thread>
#include <unistd.h>

namespace zel {
namespace {

using namespace std::chrono_literals;

/// Holds tasks back until all that are expected have come, or a while has passed.
class Gathering {
public:
    explicit Gathering(int expected) : expected_(expected) {}
    /// True when all came.
    bool meet()
    {
        std::unique_lock lock(mutex_);
        if (++here_ == expected_)
            all_.notify_all();
        return all_.wait_for(lock, 10s, [this] { return here_ >= expected_; });
    }

private:
    const int expected_;
    int here_ = 0;
    std::mutex mutex_;
    std::condition_variable all_;
};

TEST(Queue, RunsTasksOnThreadsOfItsOwn)
{
    std::promise<std::thread::id> ran;
    Queue::execute({.fast = true}, [&] { ran.set_value(std::this_thread::get_id()); });
    EXPECT_NE(ran.get_future().get(), std::this_thread::get_id());
    Queue::execute({}, {});
}

TEST(Queue, RunsSixteenThatWaitForOneAnother)
{
    // Fewer threads, and the tasks would wait in vain.
    Gathering all(16);
    std::vector<std::future<bool>> met;
    for (int i = 0; i < 16; ++i)
        met.push_back(async([&] { return all.meet(); }));
    for (auto& one : met)
        EXPECT_TRUE(one.get());
}

TEST(Queue, TasksMayWaitForWhatTheyHandOut)
{
    // Sixteen are under way at once, each waiting for a task that needs a thread, and that one for another.
    Gathering all(16);
    std::vector<std::future<int>> outer;
    for (int i = 0; i < 48; ++i)
        outer.push_back(async([&, i] {
            if (i < 16)
                all.meet();
            return async([i] { return async([i] { return i; }).get() + 1; }).get() + 1;
        }));
    for (int i = 0; i < 48; ++i)
        EXPECT_EQ(outer[static_cast<std::size_t>(i)].get(), i + 2);
    // What runs in place fails as it does elsewhere, and its notes arrive.
    const ZelReport report;
    std::vector<std::future<int>> failing;
    for (int i = 0; i < 32; ++i)
        failing.push_back(async([]() -> int {
            return async([]() -> int {
                       warn(ZelFailureCode::limit, "inner", "noted");
                       throw std::invalid_argument("x");
                   })
                .get();
        }));
    for (auto& one : failing)
        EXPECT_THROW(one.get(), std::invalid_argument);
    EXPECT_EQ(report.notes().size(), 32U);
}

TEST(Queue, NeverRunsMoreThanSixteen)
{
    std::atomic<int> running = 0, most = 0;
    std::vector<std::future<void>> tasks;
    for (int i = 0; i < 200; ++i)
        tasks.push_back(async([&] {
            const int now = ++running;
            for (int known = most; known < now && !most.compare_exchange_weak(known, now);) {}
            std::this_thread::sleep_for(1ms);
            --running;
        }));
    for (auto& task : tasks)
        task.get();
    EXPECT_GE(most, 4);
    EXPECT_LE(most, 16);
}

TEST(Queue, TakesFastTasksFirst)
{
    std::mutex mutex;
    std::condition_variable changed;
    int busy = 0;
    bool open = false;
    std::vector<char> order;
    std::vector<std::future<void>> holding;
    for (int i = 0; i < 16; ++i)
        holding.push_back(async([&, i] {
            std::unique_lock lock(mutex);
            ++busy;
            changed.notify_all();
            // One thread alone goes on, so that the order is that of the queue.
            changed.wait(lock, [&] { return open && (i == 0 || order.size() == 20); });
        }));
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, 10s, [&] { return busy == 16; }));
    }
    for (int i = 0; i < 20; ++i)
        Queue::execute({.fast = i % 2 == 1}, [&, i] {
            const std::scoped_lock lock(mutex);
            order.push_back(i % 2 == 1 ? 'f' : 's');
            changed.notify_all();
        });
    {
        const std::scoped_lock lock(mutex);
        open = true;
        changed.notify_all();
    }
    for (auto& one : holding)
        one.get();
    EXPECT_EQ(std::string(order.begin(), order.end()), std::string(10, 'f') + std::string(10, 's'));
}

TEST(Queue, TasksTakeTheContextAlong)
{
    ZelLimits limits;
    limits.pixels = 99;
    const ZelLimits::Scope scope(limits);
    const SubjectScope subject("a.png");
    const ZelReport report;
    ZelFailure::clear();
    const std::uint64_t pixels = async([] {
                                     warn(ZelFailureCode::truncated, "task", "noted");
                                     fail(ZelFailureCode::limit, "task", "failed");
                                     return ZelLimits::current().pixels;
                                 }).get();
    EXPECT_EQ(pixels, 99U);
    ASSERT_EQ(report.notes().size(), 2U);
    EXPECT_EQ(report.notes()[0].subject, "a.png");
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
    // Another task on the same thread knows nothing of it.
    std::vector<std::future<ZelFailureCode>> others;
    for (int i = 0; i < 32; ++i)
        others.push_back(async([] { return ZelFailure::last().code; }));
    for (auto& other : others)
        EXPECT_EQ(other.get(), ZelFailureCode::none);
}

TEST(Queue, SurvivesTasksThatThrow)
{
    const ZelReport report;
    EXPECT_THROW(async([]() -> int { throw std::invalid_argument("x"); }).get(), std::invalid_argument);
    EXPECT_EQ(report.notes().size(), 0U);
    Queue::execute({}, [] { throw std::runtime_error("trouble"); });
    Queue::execute({}, [] { throw std::bad_alloc(); });
    Queue::execute({}, [] { throw 5; });
    while (report.notes().size() < 3)
        std::this_thread::yield();
    std::set<ZelFailureCode> codes;
    for (const ZelNote& note : report.notes())
        codes.insert(note.code);
    EXPECT_TRUE(codes.contains(ZelFailureCode::outOfMemory));
    EXPECT_EQ(async([] { return 7; }).get(), 7);
}

TEST(Queue, LetsGoOfTasksBeforeTheirResultIsKnown)
{
    auto held = std::make_shared<int>(5);
    const std::weak_ptr<int> watched = held;
    auto result = async([held = std::move(held)] { return *held; });
    EXPECT_EQ(result.get(), 5);
    EXPECT_TRUE(watched.expired());
}

#ifndef ZEL_TEST_THREAD_SANITIZER

// Each in a program that is started anew, since a process that was split off has none of the pool's threads.
TEST(QueueDeathTest, LetsTheProcessEnd)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto endWith = [](const std::function<void()>& before) {
        alarm(20);
        before();
        std::exit(0);
    };
    const ::testing::ExitedWithCode clean(0);
    EXPECT_EXIT(endWith([] { async([] {}).get(); }), clean, "");
    EXPECT_EXIT(endWith([] {
                    for (int i = 0; i < 1'000; ++i)
                        Queue::execute({}, [] { std::this_thread::sleep_for(50ms); });
                }),
                clean, "");
    EXPECT_EXIT(endWith([] {
                    Queue::execute({}, [] { std::exit(0); });
                    std::this_thread::sleep_for(10s);
                }),
                clean, "");
    EXPECT_EXIT(endWith([] { Queue::execute({}, [] { std::this_thread::sleep_for(1h); }); }), clean, "");
}

#endif

/// A main loop on a thread of its own.
class MainLoop {
public:
    MainLoop() : thread_([this] { run(); })
    {
        XMain::setRunner(
            [this](std::function<void()> task) {
                const std::scoped_lock lock(mutex_);
                tasks_.push_back(std::move(task));
                wake_.notify_one();
            },
            [this] { return std::this_thread::get_id() == thread_.get_id(); });
    }
    ~MainLoop()
    {
        XMain::setRunner({}, {});
        {
            const std::scoped_lock lock(mutex_);
            ending_ = true;
            wake_.notify_one();
        }
        thread_.join();
    }
    [[nodiscard]] std::thread::id id() const { return thread_.get_id(); }

private:
    void run()
    {
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
            if (tasks_.empty())
                return;
            const std::function<void()> task = std::move(tasks_.front());
            tasks_.pop_front();
            lock.unlock();
            task();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> tasks_;
    bool ending_ = false;
    std::thread thread_;
};

TEST(XMain, RunsAtOnceWithoutARunner)
{
    std::thread::id where;
    XMain::execute([&] { where = std::this_thread::get_id(); });
    EXPECT_EQ(where, std::this_thread::get_id());
    where = {};
    XMain::sync([&] { where = std::this_thread::get_id(); });
    EXPECT_EQ(where, std::this_thread::get_id());
    // Half a runner is none.
    XMain::setRunner([](const std::function<void()>&) { FAIL(); }, {});
    int ran = 0;
    XMain::execute([&] { ++ran; });
    XMain::setRunner({}, [] { return false; });
    XMain::sync([&] { ++ran; });
    XMain::setRunner({}, {});
    EXPECT_EQ(ran, 2);
    XMain::execute({});
    XMain::sync({});
}

TEST(XMain, RunsOnTheMainThread)
{
    MainLoop loop;
    std::thread::id where;
    XMain::sync([&] { where = std::this_thread::get_id(); });
    EXPECT_EQ(where, loop.id());
    std::promise<std::thread::id> later;
    XMain::execute([&] { later.set_value(std::this_thread::get_id()); });
    EXPECT_EQ(later.get_future().get(), loop.id());
    // In place on the main thread itself, where waiting would never end; and while a task is under way there.
    int depth = 0;
    XMain::sync([&] { XMain::sync([&] { XMain::sync([&] { depth = 3; }); }); });
    EXPECT_EQ(depth, 3);
    // A task of the pool announces something while the main thread waits for that task.
    std::atomic<bool> announced = false;
    XMain::sync([&] { async([&] { XMain::execute([&] { announced = true; }); }).get(); });
    XMain::sync([] {});
    EXPECT_TRUE(announced);
}

TEST(XMain, CarriesNotesAndErrors)
{
    const MainLoop loop;
    const ZelReport report;
    ZelFailure::clear();
    XMain::sync([] { fail(ZelFailureCode::limit, "main", "noted there"); });
    EXPECT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(ZelFailure::last().message, "noted there");
    EXPECT_THROW(XMain::sync([] { throw std::runtime_error("x"); }), std::runtime_error);
    XMain::execute([] { warn(ZelFailureCode::limit, "main", "noted later"); });
    XMain::sync([] {});
    EXPECT_EQ(report.notes().size(), 2U);
}

TEST(XMain, DoesNotWaitForARunnerThatLetsGo)
{
    XMain::setRunner([](const std::function<void()>&) {}, [] { return false; });
    ZelFailure::clear();
    XMain::sync([] { FAIL(); });
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::cancelled);
    XMain::execute([] { FAIL(); });
    XMain::setRunner({}, {});
}

} // namespace
} // namespace zel
