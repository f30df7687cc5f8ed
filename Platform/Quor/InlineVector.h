#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

namespace Quor {

/// A growing row of plain values, the first `inlineCapacity` of which live in the object: for
/// fields that nearly always hold one or two, in tables of a million rows.
template <class T, std::uint32_t inlineCapacity>
class InlineVector {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = T const*;

    InlineVector() = default;
    InlineVector(std::initializer_list<T> values) { append(values.begin(), values.size()); }
    explicit InlineVector(std::span<T const> values) { append(values.data(), values.size()); }
    InlineVector(InlineVector const& other) { append(other.data(), other.size()); }
    InlineVector(InlineVector&& other) noexcept { swap(*this, other); }
    InlineVector& operator=(InlineVector other) noexcept {
        swap(*this, other);
        return *this;
    }
    ~InlineVector() = default;

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T const* data() const { return more_ ? more_.get() : first_.data(); }
    T* data() { return more_ ? more_.get() : first_.data(); }
    T const* begin() const { return data(); }
    T const* end() const { return data() + size_; }
    T* begin() { return data(); }
    T* end() { return data() + size_; }
    T const& operator[](std::size_t i) const { return data()[i]; }
    T& operator[](std::size_t i) { return data()[i]; }

    void push_back(T const& value) {
        T const copy = value;  // `value` may lie in the old storage
        if (size_ == capacity_) grow(2 * capacity_);
        data()[size_++] = copy;
    }
    void pop_back() { --size_; }
    /// Keeps its storage.
    void clear() { size_ = 0; }

    friend void swap(InlineVector& a, InlineVector& b) noexcept {
        std::swap(a.size_, b.size_);
        std::swap(a.capacity_, b.capacity_);
        std::swap(a.first_, b.first_);
        std::swap(a.more_, b.more_);
    }
    friend bool operator==(InlineVector const& a, InlineVector const& b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

private:
    void append(T const* values, std::size_t count) {
        auto const all = size_ + static_cast<std::uint32_t>(count);
        if (all > capacity_) grow(all);
        std::copy_n(values, count, data() + size_);
        size_ = all;
    }
    void grow(std::uint32_t capacity) {
        auto larger = std::make_unique<T[]>(capacity);
        std::copy_n(data(), size_, larger.get());
        more_ = std::move(larger);
        capacity_ = capacity;
    }

    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = inlineCapacity;
    std::array<T, inlineCapacity> first_{};
    std::unique_ptr<T[]> more_;  // all of them, once they were too many for `first_`
};

}  // namespace Quor
