#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/threads.h>

#include <future>
#include <mutex>

namespace zel {
namespace {

struct Runner {
    std::function<void(std::function<void()>)> run;
    std::function<bool()> isMainThread;
};

struct Standing {
    std::mutex mutex;
    Ref<const Runner> runner;
};

// Never destroyed: threads may still announce something while the process ends.
Standing& standing()
{
    static Standing& instance = *new Standing;
    return instance;
}

Ref<const Runner> currentRunner()
{
    const std::scoped_lock lock(standing().mutex);
    return standing().runner;
}

} // namespace

void XMain::setRunner(std::function<void(std::function<void()>)> runner, std::function<bool()> isMainThread)
{
    Ref<const Runner> next;
    if (runner && isMainThread)
        next = std::make_shared<const Runner>(Runner{std::move(runner), std::move(isMainThread)});
    const std::scoped_lock lock(standing().mutex);
    standing().runner.swap(next);
}

void XMain::execute(std::function<void()> task)
{
    if (!task)
        return;
    const Ref<const Runner> runner = currentRunner();
    if (!runner)
        return task();
    runner->run([task = std::move(task), context = TaskContext::capture()] {
        const TaskContext::Adopt adopted(context);
        task();
    });
}

void XMain::sync(std::function<void()> task)
{
    if (!task)
        return;
    const Ref<const Runner> runner = currentRunner();
    if (!runner || runner->isMainThread())
        return task();
    const TaskContext context = TaskContext::capture();
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> result = done->get_future();
    runner->run([task = std::move(task), context, done = std::move(done)] {
        try {
            {
                const TaskContext::Adopt adopted(context);
                task();
            }
            done->set_value();
        } catch (...) {
            done->set_exception(std::current_exception());
        }
    });
    try {
        result.get();
    } catch (const std::future_error&) {
        // The runner let go of the task without running it, as main loops do when they end.
        fail(ZelFailureCode::cancelled, "sync", "the main thread takes no more tasks");
    }
    context.settle();
}

} // namespace zel
