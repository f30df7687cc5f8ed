#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "Platform/Quor/OrderedMap.h"

namespace Quor {

/// How a wrapped number becomes the index of a dense table and back. The default serves any type
/// with `value()` and a constructor from the same number.
template <class K>
struct DenseKey {
    static std::uint64_t toNumber(K const& key) { return key.value(); }
    static K fromNumber(std::uint64_t number) {
        return K(static_cast<decltype(std::declval<K>().value())>(number));
    }
};

/// A map in key order for keys that are handed out in runs (identifiers, labels): pages of
/// consecutive keys, found through the page that was used last. Same operations and guarantees as
/// `OrderedMap`, and pointers to values hold until their own row goes.
template <class K, class V>
class DenseMap {
    static constexpr std::uint64_t pageBits = 9;
    static constexpr std::uint64_t pageSize = std::uint64_t{1} << pageBits;
    static constexpr std::size_t wordCount = pageSize / 64;
    struct Page;

public:
    using Key = K;
    using Value = V;

    DenseMap() = default;
    DenseMap(DenseMap const&) = delete;
    DenseMap& operator=(DenseMap const&) = delete;
    ~DenseMap() { clear(); }

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    bool has(K const& key) const { return find(key) != nullptr; }
    V const* find(K const& key) const { return const_cast<DenseMap*>(this)->find(key); }
    V* find(K const& key) {
        auto const number = DenseKey<K>::toNumber(key);
        auto* const page = pageOf(number >> pageBits);
        return page && page->has(number % pageSize) ? page->at(number % pageSize) : nullptr;
    }

    template <class... Args>
    std::pair<V*, bool> tryEmplace(K const& key, Args&&... args) {
        auto const number = DenseKey<K>::toNumber(key);
        auto* page = pageOf(number >> pageBits);
        if (!page) page = newPage(number >> pageBits);
        auto const slot = number % pageSize;
        if (page->has(slot)) return {page->at(slot), false};
        auto* const value = std::construct_at(page->at(slot), std::forward<Args>(args)...);
        page->used[slot / 64] |= std::uint64_t{1} << (slot % 64);
        ++page->count;
        ++size_;
        return {value, true};
    }

    bool erase(K const& key) {
        auto const number = DenseKey<K>::toNumber(key);
        auto* const page = pageOf(number >> pageBits);
        auto const slot = number % pageSize;
        if (!page || !page->has(slot)) return false;
        [[maybe_unused]] V const last(std::move(*page->at(slot)));
        std::destroy_at(page->at(slot));
        page->used[slot / 64] &= ~(std::uint64_t{1} << (slot % 64));
        --size_;
        if (--page->count == 0) {
            lastPage_ = nullptr;
            pages_.erase(number >> pageBits);
        }
        return true;
    }

    void clear() {
        lastPage_ = nullptr;
        size_ = 0;
        pages_.clear();
    }

    class Position {
    public:
        explicit operator bool() const { return found_; }
        K const& key() const { return key_; }
        /// Only while the row is there.
        V const& value() const { return *map_->find(key_); }
        void next() {
            auto const number = DenseKey<K>::toNumber(key_);
            *this = number == ~std::uint64_t{0} ? Position(map_) : map_->from(number + 1);
        }

    private:
        friend class DenseMap;
        explicit Position(DenseMap const* map) : map_(map), found_(false) {}
        Position(DenseMap const* map, K key) : map_(map), found_(true), key_(key) {}
        DenseMap const* map_;
        bool found_;
        K key_{};
    };

    Position begin() const { return from(0); }
    Position lowerBound(K const& key) const { return from(DenseKey<K>::toNumber(key)); }
    Position upperBound(K const& key) const {
        auto const number = DenseKey<K>::toNumber(key);
        return number == ~std::uint64_t{0} ? Position(this) : from(number + 1);
    }

private:
    struct Page {
        Page() = default;
        Page(Page const&) = delete;
        Page& operator=(Page const&) = delete;
        ~Page() {
            for (auto slot = next(0); slot < pageSize; slot = next(slot + 1)) {
                std::destroy_at(at(slot));
            }
        }
        bool has(std::uint64_t slot) const { return used[slot / 64] >> (slot % 64) & 1; }
        V* at(std::uint64_t slot) { return std::launder(reinterpret_cast<V*>(storage) + slot); }
        // The first used slot at or after `slot`, or pageSize.
        std::uint64_t next(std::uint64_t slot) const {
            for (auto word = slot / 64; word < wordCount; ++word) {
                auto const bits = word == slot / 64
                                      ? used[word] & (~std::uint64_t{0} << (slot % 64))
                                      : used[word];
                if (bits) {
                    return word * 64 + static_cast<std::uint64_t>(std::countr_zero(bits));
                }
            }
            return pageSize;
        }
        std::uint64_t used[wordCount] = {};
        std::size_t count = 0;
        alignas(V) std::byte storage[pageSize * sizeof(V)];
    };

    Page* pageOf(std::uint64_t pageNumber) const {
        if (lastPage_ && lastNumber_ == pageNumber) return lastPage_;
        auto const* const found = pages_.find(pageNumber);
        if (!found) return nullptr;
        lastNumber_ = pageNumber;
        return lastPage_ = found->get();
    }
    Page* newPage(std::uint64_t pageNumber) {
        auto* const page = pages_.tryEmplace(pageNumber, new Page).first->get();
        lastNumber_ = pageNumber;
        return lastPage_ = page;
    }
    Position from(std::uint64_t number) const {
        if (auto* const page = pageOf(number >> pageBits)) {
            auto const slot = page->next(number % pageSize);
            if (slot < pageSize) return position(number >> pageBits, slot);
        }
        auto const after = pages_.upperBound(number >> pageBits);
        return after ? position(after.key(), after.value()->next(0)) : Position(this);
    }
    Position position(std::uint64_t pageNumber, std::uint64_t slot) const {
        return Position(this, DenseKey<K>::fromNumber((pageNumber << pageBits) + slot));
    }

    OrderedMap<std::uint64_t, std::unique_ptr<Page>> pages_;
    mutable Page* lastPage_ = nullptr;
    mutable std::uint64_t lastNumber_ = 0;
    std::size_t size_ = 0;
};

}  // namespace Quor
