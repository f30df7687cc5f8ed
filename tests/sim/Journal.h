#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/sim/World.h"
#include "tests/support/Watch.h"

namespace Sim {

/// Watches that live and die together.
class Watches {
public:
    /// `told(key)` is called inside every notification of `subject`.
    template <class Key, class Told>
    void add(Quor::Subject<Key> const& subject, Told told) {
        all_.push_back(std::make_shared<Watch<Key>>(subject, std::move(told)));
    }
    /// `told(key, before, now)` is called with what `content` gives of the row, and with what it
    /// gave when this was told of the row before; null while there is no row. The table is empty.
    template <class Table, class Key, class Content, class Told>
    void addRows(Table const& table, Quor::Subject<Key> const& subject, Content content,
                 Told told) {
        using Row = std::decay_t<decltype(content(std::declval<typename Table::Value const&>()))>;
        add(subject, [&table, content, told, rows = std::map<Key, Row>()](Key const& key) mutable {
            auto const* const row = table.find(key);
            auto const known = rows.find(key);
            auto* const before = known == rows.end() ? nullptr : &known->second;
            if (!row) {
                told(key, before, static_cast<Row const*>(nullptr));
                rows.erase(key);
                return;
            }
            Row const now = content(*row);
            told(key, before, &now);
            rows.insert_or_assign(key, now);
        });
    }
    void clear() { all_.clear(); }

private:
    std::vector<std::shared_ptr<void>> all_;
};

/// Everything that the machines of a world write, as it happens: counted, and hashed into the trace
/// of the run. Tables go by the names that `forEachSurvivingTable` has for them; the agent's own
/// are "verdict" and "list-users".
class Journal {
public:
    explicit Journal(World const& world);

    /// The tables of a run of the agent come and go with it.
    void agentBegan();
    void agentGone() { runWatches_.clear(); }

    std::uint64_t writes() const { return writes_; }
    std::uint64_t survivingWrites() const { return survivingWrites_; }
    /// Whether one of the tables was written since `stepDone`.
    bool wrote(std::initializer_list<char const*> tables) const;
    void stepDone();
    /// The first notification that told of no change: its table and key, or nothing.
    std::string const& idleWrite() const { return idleWrite_; }
    /// A row that was there when the stretch began, went, and is there again, or nothing.
    std::string goneForAMoment() const;
    void stretchBegins() { rows_.clear(); }
    /// Of everything written and logged so far.
    std::uint64_t hash();

private:
    template <class Table, class Key>
    void note(Watches& watches, std::string const& name, Table const& table,
              Quor::Subject<Key> const& subject);
    void wrote(std::string const& table, std::string const& key, bool was, bool present,
               bool changed);

    struct Written {
        bool was, gone = false, present = false;
    };

    World const& world_;
    std::map<std::pair<std::string, std::string>, Written> rows_;  // written in this stretch
    std::uint64_t writes_ = 0, survivingWrites_ = 0;
    std::map<std::string, bool, std::less<>> wrote_;  // by table, since the last step
    std::uint64_t hash_ = 0;
    std::size_t messages_ = 0;
    std::string idleWrite_;
    Watches watches_, runWatches_;
};

}  // namespace Sim
