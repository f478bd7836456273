#pragma once
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/threads.h>

#include <exception>
#include <future>
#include <type_traits>
#include <utility>

namespace zel {

/// True on a thread of the background pool while all its threads are busy: a task that waits there for another one
/// could wait for ever.
bool poolIsExhausted();

/// Runs `work` on the background pool and gives its result, or what it threw, to a future. Notes, progress and limits
/// are those of the calling thread; they have arrived before the future is ready. (The last failure of the thread that
/// asks for the result stays its own: reports are the way to the notes of asynchronous work.)
template <class F>
auto async(F work) -> std::future<std::invoke_result_t<F&>>
{
    using Result = std::invoke_result_t<F&>;
    // Shared, because a std::function must be copyable and a promise is not.
    auto promise = std::make_shared<std::promise<Result>>();
    auto task = std::make_shared<F>(std::move(work));
    std::future<Result> result = promise->get_future();
    auto run = [promise, task]() mutable {
        try {
            if constexpr (std::is_void_v<Result>) {
                (*task)();
                task.reset();
                promise->set_value();
            } else {
                Result value = (*task)();
                // What the work holds is let go before anybody hears of the result.
                task.reset();
                promise->set_value(std::move(value));
            }
        } catch (...) {
            promise->set_exception(std::current_exception());
        }
    };
    task.reset();
    if (poolIsExhausted())
        run();
    else
        Queue::execute({.fast = true}, std::move(run));
    return result;
}

} // namespace zel
