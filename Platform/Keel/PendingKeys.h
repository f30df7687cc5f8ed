#pragma once

#include <cstddef>

#include "Platform/Quor/OrderedMap.h"

namespace Keel {

/// The keys that wait for a task, in order, each with a flag that only ever turns on.
template <class K>
class PendingKeys {
public:
    using Key = K;

    std::size_t size() const { return keys_.size(); }
    bool empty() const { return keys_.empty(); }
    bool has(K const& key) const { return keys_.has(key); }
    void insert(K const& key, bool flag) {
        auto const [waiting, inserted] = keys_.tryEmplace(key, flag);
        if (!inserted) *waiting = *waiting || flag;
    }
    /// Removes the key, which must be there, and returns its flag.
    bool take(K const& key) {
        bool const flag = *keys_.find(key);
        keys_.erase(key);
        return flag;
    }
    void erase(K const& key) { keys_.erase(key); }
    void clear() { keys_.clear(); }

    /// The first key not below, or above, `key`; false when there is none.
    bool first(K& found) const { return give(keys_.begin(), found); }
    bool atOrAfter(K const& key, K& found) const { return give(keys_.lowerBound(key), found); }
    bool after(K const& key, K& found) const { return give(keys_.upperBound(key), found); }

private:
    static bool give(typename Quor::OrderedMap<K, bool>::Position const& row, K& found) {
        if (row) found = row.key();
        return static_cast<bool>(row);
    }
    Quor::OrderedMap<K, bool> keys_;
};

}  // namespace Keel
