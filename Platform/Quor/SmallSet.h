#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "Platform/Quor/InlineVector.h"
#include "Platform/Quor/OrderedMap.h"

namespace Quor {

/// Plain keys in order, for tables that have a set in every row: nearly all of them hold a few keys
/// (up to `inlineCapacity` lie inside the object), and some a million. A set of more than `few`
/// keys is a tree.
template <class K, std::uint32_t inlineCapacity, std::size_t few = 16>
class SmallSet {
public:
    std::size_t size() const { return many_ ? many_->size() : few_.size(); }
    bool empty() const { return size() == 0; }
    bool has(K const& key) const {
        return many_ ? many_->has(key) : std::binary_search(few_.begin(), few_.end(), key);
    }
    /// False when it was there.
    bool insert(K const& key) {
        if (many_) return many_->tryEmplace(key).second;
        auto const* const place = std::lower_bound(few_.begin(), few_.end(), key);
        if (place != few_.end() && !(key < *place)) return false;
        auto const index = place - few_.begin();
        few_.push_back(key);
        std::rotate(few_.begin() + index, few_.end() - 1, few_.end());
        if (few_.size() > few) spill();
        return true;
    }
    /// False when it was not there.
    bool erase(K const& key) {
        if (many_) {
            bool const erased = many_->erase(key);
            if (many_->empty()) many_ = nullptr;
            return erased;
        }
        auto* const place = std::lower_bound(few_.begin(), few_.end(), key);
        if (place == few_.end() || key < *place) return false;
        std::copy(place + 1, few_.end(), place);
        few_.pop_back();
        return true;
    }
    void clear() {
        many_ = nullptr;
        few_.clear();
    }

    /// The first key not below, or above, `key`; false when there is none.
    bool atOrAfter(K const& key, K& found) const {
        return many_ ? give(many_->lowerBound(key), found)
                     : give(std::lower_bound(few_.begin(), few_.end(), key), found);
    }
    bool after(K const& key, K& found) const {
        return many_ ? give(many_->upperBound(key), found)
                     : give(std::upper_bound(few_.begin(), few_.end(), key), found);
    }

    /// In order. The set must not change meanwhile.
    template <class F>
    void forEach(F const& visit) const {
        for (auto const& key : few_) visit(key);
        if (!many_) return;
        for (auto row = many_->begin(); row; row.next()) visit(row.key());
    }

private:
    bool give(K const* place, K& found) const {
        if (place == few_.end()) return false;
        found = *place;
        return true;
    }
    static bool give(typename OrderedSet<K>::Position const& row, K& found) {
        if (row) found = row.key();
        return static_cast<bool>(row);
    }
    void spill() {
        many_ = std::make_unique<OrderedSet<K>>();
        for (auto const& key : few_) many_->tryEmplace(key);
        few_ = {};
    }

    InlineVector<K, inlineCapacity> few_;
    std::unique_ptr<OrderedSet<K>> many_;  // all of them, while there is one
};

}  // namespace Quor
