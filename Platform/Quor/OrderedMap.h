#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "Platform/Quor/Assert.h"

namespace Quor {
namespace OrderedMapDetail {

/// `size` elements at the front of raw storage, so that no element exists before it is written.
template <class T, std::size_t capacity>
class Slots {
public:
    T* at(std::size_t i) { return std::launder(reinterpret_cast<T*>(storage_) + i); }
    T const* at(std::size_t i) const {
        return std::launder(reinterpret_cast<T const*>(storage_) + i);
    }
    template <class... Args>
    void insert(std::size_t size, std::size_t i, Args&&... args) {
        if constexpr (std::is_trivially_copyable_v<T>) {
            T const value(std::forward<Args>(args)...);
            std::move_backward(at(0) + i, at(0) + size, at(0) + size + 1);
            std::construct_at(at(i), value);
        } else if constexpr (std::is_nothrow_constructible_v<T, Args...>) {
            openGap(size, i);
            std::construct_at(at(i), std::forward<Args>(args)...);
        } else {
            T value(std::forward<Args>(args)...);  // may throw: nothing has moved yet
            openGap(size, i);
            std::construct_at(at(i), std::move(value));
        }
    }
    void erase(std::size_t size, std::size_t i) {
        std::destroy_at(at(i));
        if constexpr (std::is_trivially_copyable_v<T>) {
            std::move(at(0) + i + 1, at(0) + size, at(0) + i);
        } else {
            for (auto k = i + 1; k < size; ++k) relocate(at(k), at(k - 1));
        }
    }
    void moveTo(std::size_t from, std::size_t count, Slots& other, std::size_t to) {
        for (std::size_t k = 0; k < count; ++k) relocate(at(from + k), other.at(to + k));
    }
    void clear(std::size_t size) { std::destroy_n(at(0), size); }

private:
    void openGap(std::size_t size, std::size_t i) {
        for (auto k = size; k > i; --k) relocate(at(k - 1), at(k));
    }
    static void relocate(T* from, T* to) {
        std::construct_at(to, std::move(*from));
        std::destroy_at(from);
    }
    alignas(T) std::byte storage_[capacity * sizeof(T)];
};

// The values of a set need no room.
template <class T, std::size_t capacity>
requires std::is_empty_v<T>
class Slots<T, capacity> {
public:
    T* at(std::size_t) { return &only_; }
    T const* at(std::size_t) const { return &only_; }
    template <class... Args>
    void insert(std::size_t, std::size_t, Args&&...) {}
    void erase(std::size_t, std::size_t) {}
    void moveTo(std::size_t, std::size_t, Slots&, std::size_t) {}
    void clear(std::size_t) {}

private:
    T only_;
};

}  // namespace OrderedMapDetail

/// A map in key order: a B+ tree whose leaves hold keys and values side by side. It is built for
/// tables of a million rows that are mostly met in key order: the leaf of the last access is tried
/// first, rows that arrive in order fill their leaves, and no insertion ever moves more than one
/// path of nodes.
///
/// Pointers to values hold until the next insertion or removal. A `Position` survives any change:
/// it steps from its key when the map has changed since. Removal destroys the value last, so that
/// its end may reach back into the map.
template <class K, class V>
class OrderedMap {
    struct Leaf;
    struct Inner;
    static constexpr std::size_t rowBytes = sizeof(K) + sizeof(V);
    static constexpr std::size_t leafCapacity = std::clamp<std::size_t>(3072 / rowBytes, 8, 64);
    static constexpr std::size_t fanOut = 32;
    static constexpr std::size_t maxHeight = 16;

public:
    using Key = K;
    using Value = V;

    OrderedMap() = default;
    OrderedMap(OrderedMap&& other) noexcept { swap(other); }
    OrderedMap& operator=(OrderedMap&& other) noexcept {
        OrderedMap moved(std::move(other));
        swap(moved);
        return *this;
    }
    OrderedMap(OrderedMap const& other) { copyFrom(other); }
    OrderedMap& operator=(OrderedMap const& other) {
        OrderedMap copy(other);
        swap(copy);
        return *this;
    }
    ~OrderedMap() { clear(); }

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    bool has(K const& key) const { return find(key) != nullptr; }
    V const* find(K const& key) const { return const_cast<OrderedMap*>(this)->find(key); }
    V* find(K const& key) {
        // Most rows are met again at once, or are followed by the next one.
        if (auto* const near = valueNearFinger(key)) return near;
        auto* const leaf = leafOf(key);
        if (!leaf) return nullptr;
        auto const i = fingerRow_ = leaf->lowerBound(key);
        return i < leaf->count && !(key < *leaf->keys.at(i)) ? leaf->values.at(i) : nullptr;
    }

    /// The value at `key`, made from `args` when it was absent (then `second` is true). `args` must
    /// not refer to a value of this map.
    template <class... Args>
    std::pair<V*, bool> tryEmplace(K const& key, Args&&... args) {
        if (auto* const leaf = roomyLeafOf(key)) {
            auto const i = leaf->lowerBound(key);
            if (i < leaf->count && !(key < *leaf->keys.at(i))) return {met(*leaf, i), false};
            if (leaf->count < leafCapacity) {
                return {place(*leaf, i, key, std::forward<Args>(args)...), true};
            }
        }
        return insertFromRoot(key, std::forward<Args>(args)...);
    }

    /// False when the key was absent.
    bool erase(K const& key) {
        // A leaf that stays well filled needs no path to it.
        constexpr auto sparse = leafCapacity / 4;
        if (finger_ && finger_->count > sparse + 1 && finger_->spans(key)) {
            return eraseIn(*finger_, key).has_value();
        }
        Path path;
        auto* const leaf = descend(key, path);
        auto const last = leaf ? eraseIn(*leaf, key) : std::nullopt;
        if (!last) return false;
        if (leaf->count == 0) {
            removeLeaf(leaf, path);
        } else if (leaf->count <= sparse) {
            absorbNext(leaf, path);
        }
        return true;
    }

    void clear() {
        auto* const root = std::exchange(root_, nullptr);
        auto const height = std::exchange(height_, 0);
        first_ = finger_ = nullptr;
        size_ = 0;
        ++stamp_;
        if (root) destroyNode(root, height);
    }

    /// A place in the walk from low to high keys.
    class Position {
    public:
        explicit operator bool() const { return leaf_ != nullptr; }
        /// The key stays readable when its row has gone.
        K const& key() const { return key_; }
        /// Only before the next change of the map.
        V const& value() const { return *leaf_->values.at(index_); }
        void next() {
            if (stamp_ != map_->stamp_) {
                *this = map_->upperBound(K(key_));
                return;
            }
            ++index_;
            settle();
        }

    private:
        friend class OrderedMap;
        Position(OrderedMap const* map, Leaf const* leaf, std::size_t index)
            : map_(map), leaf_(leaf), index_(index), stamp_(map->stamp_) {
            if (leaf_) settle();
        }
        void settle() {
            if (index_ >= leaf_->count) {
                leaf_ = leaf_->next;
                index_ = 0;
            }
            if (leaf_) key_ = *leaf_->keys.at(index_);
        }
        OrderedMap const* map_;
        Leaf const* leaf_;
        std::size_t index_;
        std::uint64_t stamp_;
        K key_{};
    };

    Position begin() const { return Position(this, first_, 0); }
    /// The first row at or after `key`.
    Position lowerBound(K const& key) const {
        auto const* const leaf = leafOf(key);
        return Position(this, leaf, leaf ? leaf->lowerBound(key) : 0);
    }
    /// The first row after `key`.
    Position upperBound(K const& key) const {
        auto const* const leaf = leafOf(key);
        return Position(this, leaf, leaf ? leaf->upperBound(key) : 0);
    }

    void swap(OrderedMap& other) noexcept {
        std::swap(root_, other.root_);
        std::swap(first_, other.first_);
        std::swap(finger_, other.finger_);
        std::swap(fingerRow_, other.fingerRow_);
        std::swap(height_, other.height_);
        std::swap(size_, other.size_);
        ++stamp_;
        ++other.stamp_;
    }

private:
    struct Leaf {
        std::size_t lowerBound(K const& key) const {
            return static_cast<std::size_t>(std::lower_bound(keys.at(0), keys.at(0) + count, key) -
                                            keys.at(0));
        }
        std::size_t upperBound(K const& key) const {
            return static_cast<std::size_t>(std::upper_bound(keys.at(0), keys.at(0) + count, key) -
                                            keys.at(0));
        }
        bool spans(K const& key) const {
            return count > 0 && !(key < *keys.at(0)) && !(*keys.at(count - 1) < key);
        }
        Leaf* next = nullptr;
        Leaf* previous = nullptr;
        std::size_t count = 0;
        OrderedMapDetail::Slots<K, leafCapacity> keys;
        OrderedMapDetail::Slots<V, leafCapacity> values;
    };
    // Child i holds keys below keys[i] and not below keys[i - 1]; there is one key less than
    // children.
    struct Inner {
        std::size_t childOf(K const& key) const {
            return static_cast<std::size_t>(
                std::upper_bound(keys.at(0), keys.at(0) + (count - 1), key) - keys.at(0));
        }
        std::size_t count = 0;
        void* child[fanOut];
        OrderedMapDetail::Slots<K, fanOut> keys;
    };
    struct Path {
        struct Step {
            Inner* node;
            std::size_t index;
        };
        Step steps[maxHeight];
    };

    // The row of the last access or the one after it, when that is the one.
    V* valueNearFinger(K const& key) const {
        if (!finger_) return nullptr;
        for (auto const row : {fingerRow_, fingerRow_ + 1}) {
            if (row < finger_->count && *finger_->keys.at(row) == key) {
                fingerRow_ = row;
                return finger_->values.at(row);
            }
        }
        return nullptr;
    }
    Leaf* leafOf(K const& key) const {
        if (finger_ && finger_->spans(key)) return finger_;
        Path path;
        return finger_ = descend(key, path);
    }
    // A leaf into which `key` may be written without looking at the tree above it, or null.
    Leaf* roomyLeafOf(K const& key) const {
        if (!finger_ || finger_->count == 0 || key < *finger_->keys.at(0)) return nullptr;
        return !finger_->next || !(*finger_->keys.at(finger_->count - 1) < key) ? finger_ : nullptr;
    }
    Leaf* descend(K const& key, Path& path) const {
        void* node = root_;
        for (std::size_t level = height_; level > 0; --level) {
            auto* const inner = static_cast<Inner*>(node);
            auto const index = inner->childOf(key);
            path.steps[level] = {inner, index};
            node = inner->child[index];
        }
        return static_cast<Leaf*>(node);
    }

    template <class... Args>
    V* place(Leaf& leaf, std::size_t i, K const& key, Args&&... args) {
        K copy(key);  // `key` may lie in the leaf
        leaf.values.insert(leaf.count, i, std::forward<Args>(args)...);
        leaf.keys.insert(leaf.count, i, std::move(copy));
        ++leaf.count;
        ++size_;
        ++stamp_;
        return met(leaf, i);
    }
    V* met(Leaf& leaf, std::size_t i) const {
        finger_ = &leaf;
        fingerRow_ = i;
        return leaf.values.at(i);
    }

    template <class... Args>
    std::pair<V*, bool> insertFromRoot(K const& key, Args&&... args) {
        if (!root_) root_ = first_ = new Leaf;
        Path path;
        auto* leaf = descend(key, path);
        auto i = leaf->lowerBound(key);
        if (i < leaf->count && !(key < *leaf->keys.at(i))) return {met(*leaf, i), false};
        if (leaf->count == leafCapacity) {
            K const copy(key);
            auto* const right = splitLeaf(*leaf, i, copy, path);
            if (right->count == 0 || !(copy < *right->keys.at(0))) {
                leaf = right;
                i = right->lowerBound(copy);
            }
            return {place(*leaf, i, copy, std::forward<Args>(args)...), true};
        }
        return {place(*leaf, i, key, std::forward<Args>(args)...), true};
    }

    // Rows that arrive in order leave full leaves behind; any other split halves.
    Leaf* splitLeaf(Leaf& leaf, std::size_t i, K const& key, Path& path) {
        auto const keep = !leaf.next && i == leaf.count ? leaf.count : leaf.count / 2;
        auto* const right = new Leaf;
        right->count = leaf.count - keep;
        leaf.keys.moveTo(keep, right->count, right->keys, 0);
        leaf.values.moveTo(keep, right->count, right->values, 0);
        leaf.count = keep;
        right->next = leaf.next;
        right->previous = &leaf;
        if (right->next) right->next->previous = right;
        leaf.next = right;
        addChild(path, 1, right->count ? *right->keys.at(0) : key, right);
        return right;
    }

    // Takes the row out and gives its value, or nothing.
    std::optional<V> eraseIn(Leaf& leaf, K const& key) {
        auto const i = leaf.lowerBound(key);
        if (i == leaf.count || key < *leaf.keys.at(i)) return std::nullopt;
        std::optional<V> taken(std::move(*leaf.values.at(i)));
        leaf.keys.erase(leaf.count, i);
        leaf.values.erase(leaf.count, i);
        --leaf.count;
        --size_;
        ++stamp_;
        return taken;
    }

    void addChild(Path& path, std::size_t level, K const& separator, void* node) {
        if (level > height_) {
            QUOR_ASSERT(level < maxHeight, "level < maxHeight");
            auto* const root = new Inner;
            root->count = 2;
            root->child[0] = root_;
            root->child[1] = node;
            root->keys.insert(0, 0, separator);
            root_ = root;
            ++height_;
            return;
        }
        auto* inner = path.steps[level].node;
        auto at = path.steps[level].index + 1;
        if (inner->count == fanOut) {
            bool const last = at == inner->count;
            auto const keep = last ? fanOut - 1 : fanOut / 2;
            auto* const right = new Inner;
            right->count = fanOut - keep;
            std::copy(inner->child + keep, inner->child + fanOut, right->child);
            K const middle = *inner->keys.at(keep - 1);
            inner->keys.moveTo(keep, right->count - 1, right->keys, 0);
            std::destroy_at(inner->keys.at(keep - 1));
            inner->count = keep;
            addChild(path, level + 1, middle, right);
            if (at > keep) {
                inner = right;
                at -= keep;
            }
        }
        std::copy_backward(inner->child + at, inner->child + inner->count,
                           inner->child + inner->count + 1);
        inner->child[at] = node;
        inner->keys.insert(inner->count - 1, at - 1, separator);
        ++inner->count;
    }

    void removeLeaf(Leaf* leaf, Path& path) {
        if (leaf->previous) leaf->previous->next = leaf->next;
        if (leaf->next) leaf->next->previous = leaf->previous;
        if (first_ == leaf) first_ = leaf->next;
        if (finger_ == leaf) finger_ = nullptr;
        delete leaf;
        removeChild(path, 1);
    }
    void removeChild(Path& path, std::size_t level) {
        if (level > height_) {
            root_ = nullptr;
            height_ = 0;
            return;
        }
        auto* const inner = path.steps[level].node;
        auto const index = path.steps[level].index;
        if (inner->count == 1) {
            delete inner;
            removeChild(path, level + 1);
            return;
        }
        std::copy(inner->child + index + 1, inner->child + inner->count, inner->child + index);
        inner->keys.erase(inner->count - 1, index == 0 ? 0 : index - 1);
        --inner->count;
        if (level == height_ && inner->count == 1) {
            root_ = inner->child[0];
            --height_;
            delete inner;
        }
    }
    // A sparse leaf takes over its right neighbour under the same parent when both fill half a
    // leaf.
    void absorbNext(Leaf* leaf, Path& path) {
        if (height_ == 0) return;
        auto& step = path.steps[1];
        auto* const right = leaf->next;
        if (step.index + 1 >= step.node->count) return;
        if (leaf->count + right->count > leafCapacity / 2) return;
        right->keys.moveTo(0, right->count, leaf->keys, leaf->count);
        right->values.moveTo(0, right->count, leaf->values, leaf->count);
        leaf->count += right->count;
        right->count = 0;
        ++step.index;
        removeLeaf(right, path);
    }

    static void destroyNode(void* node, std::size_t level) {
        if (level == 0) {
            auto* const leaf = static_cast<Leaf*>(node);
            leaf->keys.clear(leaf->count);
            leaf->values.clear(leaf->count);
            delete leaf;
            return;
        }
        auto* const inner = static_cast<Inner*>(node);
        for (std::size_t i = 0; i < inner->count; ++i) destroyNode(inner->child[i], level - 1);
        inner->keys.clear(inner->count - 1);
        delete inner;
    }
    void copyFrom(OrderedMap const& other) {
        for (auto row = other.begin(); row; row.next()) tryEmplace(row.key(), row.value());
    }

    void* root_ = nullptr;
    Leaf* first_ = nullptr;
    mutable Leaf* finger_ = nullptr;
    mutable std::size_t fingerRow_ = 0;
    std::size_t height_ = 0;
    std::size_t size_ = 0;
    std::uint64_t stamp_ = 0;
};

struct Nothing {
    friend bool operator==(Nothing, Nothing) = default;
};
template <class K>
using OrderedSet = OrderedMap<K, Nothing>;

}  // namespace Quor
