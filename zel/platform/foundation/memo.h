#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <any>
#include <functional>
#include <map>
#include <mutex>

namespace zel {

/// A bounded memo table.
class ZelPrecalc {
public:
    struct Options {
        int listBound = 256;
        std::string cacheSubfolder = {};
    };
    explicit ZelPrecalc(Options options);
    struct Lookup {
        bool deferred = false;
    };
    std::any getValueOrCalc(const std::string& key, Lookup lookup, const std::function<std::any()>& closure);

private:
    struct State;
    Ref<State> state_;
};

template <class K, class V>
class ZelThreadSafeDictionary {
public:
    explicit ZelThreadSafeDictionary(std::map<K, V> initial = {}) : values_(std::move(initial)) {}
    struct ValueFor {
        const K& for_;
    };
    std::optional<V> value(ValueFor key) const
    {
        const std::scoped_lock lock(mutex_);
        const auto found = values_.find(key.for_);
        return found == values_.end() ? std::nullopt : std::optional<V>(found->second);
    }
    struct SetValue {
        K key;
        V value;
        bool deferred = false;
    };
    void set(SetValue entry)
    {
        const std::scoped_lock lock(mutex_);
        values_.insert_or_assign(std::move(entry.key), std::move(entry.value));
    }

private:
    mutable std::mutex mutex_;
    std::map<K, V> values_;
};

} // namespace zel
