#include <zel/platform/foundation/async.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/threads.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

namespace zel {
namespace {

constexpr int fewestThreads = 4, mostThreads = 16;
// What a process that ends grants to tasks under way, such as the writing of a cached picture.
constexpr std::chrono::seconds patienceAtEnd{2};

struct Task {
    std::function<void()> work;
    TaskContext context;
};

void run(Task& task)
{
    const TaskContext::Adopt adopted(task.context);
    try {
        task.work();
    } catch (const std::bad_alloc&) {
        fail(ZelFailureCode::outOfMemory, "execute", "no memory for a background task");
    } catch (const std::exception& error) {
        fail(ZelFailureCode::unreadable, "execute", std::string("a background task ended early: ") + error.what());
    } catch (...) {
        fail(ZelFailureCode::unreadable, "execute", "a background task ended early");
    }
    // What the task refers to belongs to its context, too.
    task.work = nullptr;
}

// The pool is never destroyed and its threads are never joined: a host may end the process from any thread, also from a
// task. When static objects are destroyed, waiting tasks are dropped and those under way get a moment to finish.
class Pool {
public:
    static Pool& instance()
    {
        static Pool& pool = *new Pool;
        static const AtEnd atEnd{pool};
        return pool;
    }

    void add(bool fast, Task task)
    {
        const std::scoped_lock lock(mutex_);
        if (ending_)
            return;
        (fast ? fast_ : slow_).push_back(std::move(task));
        // Tasks may wait for one another, so more threads come while more tasks wait than threads do.
        const std::size_t waiting = fast_.size() + slow_.size();
        if (threads_ < mostThreads && waiting > static_cast<std::size_t>(threads_ - running_) && !start() &&
            threads_ == 0)
            inPlace_ = true;
        wake_.notify_one();
    }

    bool isExhausted()
    {
        if (!isPoolThread_)
            return false;
        const std::scoped_lock lock(mutex_);
        return threads_ == mostThreads && fast_.size() + slow_.size() >= static_cast<std::size_t>(threads_ - running_);
    }

    /// Where the system grants no thread at all, tasks run on the thread that hands them out.
    void runWaitingInPlace()
    {
        std::unique_lock lock(mutex_);
        while (inPlace_ && threads_ == 0 && !(fast_.empty() && slow_.empty())) {
            Task task = next();
            lock.unlock();
            run(task);
            lock.lock();
        }
    }

private:
    struct AtEnd {
        Pool& pool;
        ~AtEnd() { pool.end(); }
    };

    bool start()
    {
        // The first task brings all of the fewest: a second start of threads would only delay the next tasks.
        const int wanted = threads_ == 0 ? fewestThreads : 1;
        for (int i = 0; i < wanted; ++i) {
            try {
                std::thread([this] { work(); }).detach();
            } catch (const std::system_error&) {
                return i > 0;
            }
            ++threads_;
        }
        return true;
    }

    Task next()
    {
        std::deque<Task>& from = fast_.empty() ? slow_ : fast_;
        Task task = std::move(from.front());
        from.pop_front();
        return task;
    }

    void work()
    {
        std::unique_lock lock(mutex_);
        isPoolThread_ = true;
        for (;;) {
            wake_.wait(lock, [this] { return !fast_.empty() || !slow_.empty(); });
            ++running_;
            {
                Task task = next();
                lock.unlock();
                run(task);
            }
            lock.lock();
            --running_;
            if (running_ == 0)
                quiet_.notify_all();
        }
    }

    void end()
    {
        std::unique_lock lock(mutex_);
        ending_ = true;
        fast_.clear();
        slow_.clear();
        const int own = isPoolThread_ ? 1 : 0;
        quiet_.wait_for(lock, patienceAtEnd, [this, own] { return running_ <= own; });
    }

    std::mutex mutex_;
    std::condition_variable wake_, quiet_;
    std::deque<Task> fast_, slow_;
    int threads_ = 0, running_ = 0;
    bool ending_ = false, inPlace_ = false;
    static thread_local bool isPoolThread_;
};

thread_local bool Pool::isPoolThread_ = false;

} // namespace

bool poolIsExhausted()
{
    return Pool::instance().isExhausted();
}

void Queue::execute(ExecuteFast options, std::function<void()> task)
{
    if (!task)
        return;
    Pool::instance().add(options.fast, {std::move(task), TaskContext::capture()});
    Pool::instance().runWaitingInPlace();
}

} // namespace zel
