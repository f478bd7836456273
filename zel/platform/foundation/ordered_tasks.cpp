#include <zel/platform/foundation/ordered_tasks.h>

#include <zel/platform/foundation/threads.h>

#include <utility>

namespace zel {

void OrderedTasks::add(const std::string& key, std::function<void()> task)
{
    {
        const std::scoped_lock lock(mutex_);
        const auto [place, isFirst] = waiting_.try_emplace(key);
        open_.insert(next_);
        place->second.push_back({next_++, std::move(task)});
        if (!isFirst)
            return;
    }
    Queue::execute({.fast = true}, [self = shared_from_this(), key] { self->run(key); });
}

void OrderedTasks::run(const std::string& key)
{
    while (true) {
        Task task;
        {
            const std::scoped_lock lock(mutex_);
            const auto place = waiting_.find(key);
            if (place->second.empty()) {
                waiting_.erase(place);
                return;
            }
            task = std::move(place->second.front());
            place->second.pop_front();
        }
        try {
            task.work();
            task.work = nullptr; // what it holds is let go before anybody hears of its end
        } catch (...) {
            end(task.number); // a write that fails is silent, and the next one has its turn
            continue;
        }
        end(task.number);
    }
}

void OrderedTasks::end(std::uint64_t number)
{
    const std::scoped_lock lock(mutex_);
    open_.erase(number);
    ended_.notify_all();
}

void OrderedTasks::wait()
{
    std::unique_lock lock(mutex_);
    const std::uint64_t mark = next_;
    ended_.wait(lock, [&] { return open_.empty() || *open_.begin() >= mark; });
}

} // namespace zel
