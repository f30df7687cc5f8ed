#pragma once

#include <utility>

#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Reactor.h"

namespace Quor {

enum class WriteRule {
    notifyOnChange,  ///< an equal write is no write
    notifyAlways     ///< for tables whose readers need every write
};

/// The rows of one table, watched by key. Every mutator compares, changes the index, notifies and
/// destroys the old value last, so a reactor always reads the new state and a dying value may wake
/// others.
///
/// Only membership tells an addition from a removal: with nested writes a reactor may see a newer
/// state than the one that woke it.
template <class Index, WriteRule rule = WriteRule::notifyOnChange>
class NotifyingTable : public Subject<typename Index::Key> {
public:
    using Key = typename Index::Key;
    using Value = typename Index::Value;
    using Position = typename Index::Position;

    /// Valid until the next change or call-out.
    Value const* find(Key const& key) const { return rows_.find(key); }
    /// The value, or a default one.
    Value get(Key const& key) const {
        auto const* const row = rows_.find(key);
        return row ? *row : Value{};
    }
    bool has(Key const& key) const { return rows_.has(key); }
    std::size_t size() const { return rows_.size(); }
    bool empty() const { return rows_.empty(); }
    Position begin() const { return rows_.begin(); }
    Position lowerBound(Key const& key) const { return rows_.lowerBound(key); }
    Position upperBound(Key const& key) const { return rows_.upperBound(key); }

    /// Inserts or replaces. False when nothing was written.
    bool entryIs(Key const& key, Value value) {
        Key const written(key);  // `key` may lie in a row that a reactor removes
        auto const [row, inserted] = rows_.tryEmplace(written, std::move(value));
        if (!inserted) {
            // An emplace that found the row left `value` alone.
            if constexpr (rule == WriteRule::notifyOnChange) {
                if (*row == value) return false;  // NOLINT(bugprone-use-after-move)
            }
            using std::swap;
            swap(*row, value);
        }
        this->notify(written);
        return true;
    }

    /// False, and nobody is told, when the key was absent.
    bool entryDel(Key const& key) {
        auto* const row = rows_.find(key);
        if (!row) return false;
        Key const unlinked(key);  // `key` may lie in the row
        [[maybe_unused]] Value const last(std::move(*row));
        rows_.erase(unlinked);
        this->notify(unlinked);
        return true;
    }

    /// One ascending pass; a row that a reactor adds behind the pass stays.
    void entryDelAll() {
        for (auto row = rows_.begin(); row; row.next()) entryDel(row.key());
    }

private:
    Index rows_;
};

template <class K, class V, WriteRule rule = WriteRule::notifyOnChange>
using NotifyingMap = NotifyingTable<OrderedMap<K, V>, rule>;
template <class K, class V, WriteRule rule = WriteRule::notifyOnChange>
using NotifyingDenseMap = NotifyingTable<DenseMap<K, V>, rule>;

}  // namespace Quor
