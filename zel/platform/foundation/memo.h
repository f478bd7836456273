#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <any>
#include <functional>
#include <map>
#include <mutex>

namespace zel {

/// A bounded memo table: values by text key, the least recently used out first. May be used from several threads;
/// copies are the same table.
class ZEL_API ZelPrecalc {
public:
    struct Options {
        int listBound = 256;             ///< values kept; below 1 nothing is
        std::string cacheSubfolder = {}; ///< kept with the table and not used: values live in memory alone
    };
    explicit ZelPrecalc(Options options);
    struct Lookup {
        bool deferred = false; ///< accepted and without effect: a value is stored before the call returns
    };
    /// The value stored under the key, else what the closure computes, which is then stored. The closure runs without a
    /// lock, so it may use the table; of threads that compute the same key at once, the first result is stored and
    /// given to all. What the closure throws passes through, and nothing is stored.
    std::any getValueOrCalc(const std::string& key, Lookup lookup, const std::function<std::any()>& closure);

private:
    struct State;
    Ref<State> state_;
};

/// A dictionary that any number of threads may use at once.
template <class K, class V>
class ZelThreadSafeDictionary {
public:
    explicit ZelThreadSafeDictionary(std::map<K, V> initial = {}) : values_(std::move(initial)) {}
    struct ValueFor {
        const K& for_;
    };
    /// A copy of the value; absent when there is none.
    std::optional<V> value(ValueFor key) const
    {
        const std::scoped_lock lock(mutex_);
        const auto found = values_.find(key.for_);
        return found == values_.end() ? std::nullopt : std::optional<V>(found->second);
    }
    struct SetValue {
        K key;
        V value;
        bool deferred = false; ///< accepted and without effect: the value is there when the call returns
    };
    void set(SetValue entry)
    {
        // Swapped rather than assigned, so that what is replaced is destroyed after the lock is given back.
        const std::scoped_lock lock(mutex_);
        const auto [at, added] = values_.try_emplace(std::move(entry.key), entry.value);
        if (!added)
            std::swap(at->second, entry.value);
    }

private:
    mutable std::mutex mutex_;
    std::map<K, V> values_;
};

} // namespace zel
