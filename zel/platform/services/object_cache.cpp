#include <zel/platform/services/services.h>

#include <list>
#include <map>
#include <mutex>
#include <utility>

namespace zel {
namespace {

constexpr std::size_t mostBytes = std::size_t{256} << 20U;

} // namespace

struct ZelCache::State {
    struct Entry {
        std::string key;
        Object object;
    };
    std::mutex mutex;
    std::list<Entry> entries; ///< the one used last in front
    std::map<std::string, std::list<Entry>::iterator, std::less<>> places;
    std::size_t bytes = 0;

    void remove(std::list<Entry>::iterator entry)
    {
        bytes -= entry->object.bytes;
        places.erase(entry->key);
        entries.erase(entry);
    }
};

ZelCache::ZelCache()
{
    static const Ref<State>& shared = *new Ref<State>(std::make_shared<State>());
    state_ = shared;
}

std::any ZelCache::getCached(const std::string& key) const
{
    const std::scoped_lock lock(state_->mutex);
    const auto found = state_->places.find(key);
    if (found == state_->places.end())
        return {};
    state_->entries.splice(state_->entries.begin(), state_->entries, found->second);
    return found->second->object.object;
}

void ZelCache::setCached(const std::string& key, Object object)
{
    std::list<State::Entry> gone; // destroyed after the lock is given back: an object may use the cache as it goes
    const std::scoped_lock lock(state_->mutex);
    const auto retire = [&](std::list<State::Entry>::iterator entry) {
        gone.push_back(std::exchange(*entry, State::Entry{entry->key, {{}, entry->object.bytes}}));
        state_->remove(entry);
    };
    if (const auto found = state_->places.find(key); found != state_->places.end())
        retire(found->second);
    if (object.bytes > mostBytes)
        return;
    state_->bytes += object.bytes;
    state_->entries.push_front({key, std::move(object)});
    state_->places[key] = state_->entries.begin();
    while (state_->bytes > mostBytes)
        retire(std::prev(state_->entries.end()));
}

} // namespace zel
