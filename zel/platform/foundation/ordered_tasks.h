#pragma once
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace zel {

/// Tasks on the background pool: those under one key one after the other, in the order in which they came.
class OrderedTasks : public std::enable_shared_from_this<OrderedTasks> {
public:
    void add(const std::string& key, std::function<void()> task);
    /// Until all that were added so far have ended.
    void wait();

private:
    struct Task {
        std::uint64_t number;
        std::function<void()> work;
    };
    void run(const std::string& key);
    void end(std::uint64_t number);

    std::mutex mutex_;
    std::condition_variable ended_;
    std::map<std::string, std::deque<Task>> waiting_; ///< a key is here while its tasks run
    std::set<std::uint64_t> open_;
    std::uint64_t next_ = 0;
};

} // namespace zel
