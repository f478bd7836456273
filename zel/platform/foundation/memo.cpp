#include <zel/platform/foundation/memo.h>

#include <list>
#include <unordered_map>

namespace zel {

struct ZelPrecalc::State {
    struct Entry {
        std::string key;
        std::any value;
    };

    /// Absent when there is none; else it becomes the most recently used one.
    std::optional<std::any> find(const std::string& key)
    {
        const auto found = byKey.find(key);
        if (found == byKey.end())
            return std::nullopt;
        byUse.splice(byUse.begin(), byUse, found->second);
        return found->second->value;
    }

    const Options options;
    std::mutex mutex;
    std::list<Entry> byUse;                                                 ///< the most recently used first
    std::unordered_map<std::string_view, std::list<Entry>::iterator> byKey; ///< keys lie in `byUse`
};

ZelPrecalc::ZelPrecalc(Options options) : state_(new State{std::move(options), {}, {}, {}}) {}

std::any ZelPrecalc::getValueOrCalc(const std::string& key, Lookup, const std::function<std::any()>& closure)
{
    {
        const std::scoped_lock lock(state_->mutex);
        if (std::optional<std::any> known = state_->find(key))
            return *std::move(known);
    }
    std::any value = closure();
    if (state_->options.listBound < 1)
        return value;
    std::list<State::Entry> dropped; // destroyed after the lock is given back
    const std::scoped_lock lock(state_->mutex);
    if (std::optional<std::any> known = state_->find(key))
        return *std::move(known);
    state_->byUse.push_front({key, value});
    state_->byKey.emplace(state_->byUse.front().key, state_->byUse.begin());
    if (state_->byUse.size() > static_cast<std::size_t>(state_->options.listBound)) {
        state_->byKey.erase(state_->byUse.back().key);
        dropped.splice(dropped.begin(), state_->byUse, std::prev(state_->byUse.end()));
    }
    return value;
}

} // namespace zel
