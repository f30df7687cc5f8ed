#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "Platform/Quor/DenseMap.h"

namespace Keel {

/// A set of dense identifiers in order, a bit each: what a backlog of a million lists is kept in.
template <class Id>
class IdSet {
    static constexpr std::uint64_t wordBits = 64;

public:
    using Key = Id;

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    bool has(Id const& id) const {
        auto const number = Quor::DenseKey<Id>::toNumber(id);
        auto const* const word = words_.find(Word(number / wordBits));
        return word && (*word >> (number % wordBits) & 1);
    }
    void insert(Id const& id, bool /*flag*/ = false) {
        auto const number = Quor::DenseKey<Id>::toNumber(id);
        auto& word = *words_.tryEmplace(Word(number / wordBits), std::uint64_t{0}).first;
        auto const bit = std::uint64_t{1} << (number % wordBits);
        if (!(word & bit)) ++size_;
        word |= bit;
    }
    void erase(Id const& id) {
        auto const number = Quor::DenseKey<Id>::toNumber(id);
        auto* const word = words_.find(Word(number / wordBits));
        auto const bit = std::uint64_t{1} << (number % wordBits);
        if (!word || !(*word & bit)) return;
        *word &= ~bit;
        --size_;
        if (*word == 0) words_.erase(Word(number / wordBits));
    }
    /// As `PendingKeys`; the flag of an id is always off.
    bool take(Id const& id) {
        erase(id);
        return false;
    }
    void clear() {
        words_.clear();
        size_ = 0;
    }

    /// The first element not below, or above, `id`; false when there is none.
    bool first(Id& found) const { return from(0, found); }
    bool atOrAfter(Id const& id, Id& found) const {
        return from(Quor::DenseKey<Id>::toNumber(id), found);
    }
    bool after(Id const& id, Id& found) const {
        auto const number = Quor::DenseKey<Id>::toNumber(id);
        return number != ~std::uint64_t{0} && from(number + 1, found);
    }

private:
    class Word {
    public:
        Word() = default;
        explicit Word(std::uint64_t number) : number_(number) {}
        std::uint64_t value() const { return number_; }

    private:
        std::uint64_t number_ = 0;
    };
    bool from(std::uint64_t number, Id& found) const {
        auto word = words_.lowerBound(Word(number / wordBits));
        if (!word) return false;
        auto bits = word.value();
        if (word.key().value() == number / wordBits) {
            bits &= ~std::uint64_t{0} << (number % wordBits);
        }
        if (!bits) {
            word.next();
            if (!word) return false;
            bits = word.value();
        }
        auto const offset = static_cast<std::uint64_t>(std::countr_zero(bits));
        found = Quor::DenseKey<Id>::fromNumber(word.key().value() * wordBits + offset);
        return true;
    }

    Quor::DenseMap<Word, std::uint64_t> words_;
    std::size_t size_ = 0;
};

}  // namespace Keel
