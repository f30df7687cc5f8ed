#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "Platform/Quor/OrderedMap.h"

namespace Quor {

/// Keys in order: up to `inlineCapacity` of them lie inside the object, more in a tree. For sets of
/// which nearly all hold a few keys, and some a million.
template <class K, std::uint32_t inlineCapacity>
class SmallSet {
public:
    std::size_t size() const { return many_ ? many_->size() : count_; }
    bool empty() const { return size() == 0; }
    bool has(K const& key) const {
        if (many_) return many_->has(key);
        return std::binary_search(few_.begin(), few_.begin() + count_, key);
    }
    /// False when it was there.
    bool insert(K const& key) {
        if (many_) return many_->tryEmplace(key).second;
        auto* const end = few_.data() + count_;
        auto* const place = std::lower_bound(few_.data(), end, key);
        if (place != end && !(key < *place)) return false;
        if (count_ == inlineCapacity) {
            spill();
            return many_->tryEmplace(key).second;
        }
        std::copy_backward(place, end, end + 1);
        *place = key;
        ++count_;
        return true;
    }
    /// False when it was not there.
    bool erase(K const& key) {
        if (many_) {
            bool const erased = many_->erase(key);
            if (many_->empty()) many_ = nullptr;
            return erased;
        }
        auto* const end = few_.data() + count_;
        auto* const place = std::lower_bound(few_.data(), end, key);
        if (place == end || key < *place) return false;
        std::copy(place + 1, end, place);
        --count_;
        return true;
    }
    void clear() {
        many_ = nullptr;
        count_ = 0;
    }

    /// In order. The set must not change meanwhile.
    template <class F>
    void forEach(F const& visit) const {
        for (std::uint32_t i = 0; i < count_; ++i) visit(few_[i]);
        if (!many_) return;
        for (auto key = many_->begin(); key; key.next()) visit(key.key());
    }

private:
    void spill() {
        many_ = std::make_unique<OrderedSet<K>>();
        for (auto const& key : few_) many_->tryEmplace(key);
        count_ = 0;
    }

    std::array<K, inlineCapacity> few_{};
    std::uint32_t count_ = 0;
    std::unique_ptr<OrderedSet<K>> many_;  // all of them, while there is one
};

}  // namespace Quor
