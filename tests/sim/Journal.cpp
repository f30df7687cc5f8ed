#include "tests/sim/Journal.h"

#include <algorithm>

#include "SrTeTypes/SeededHash.h"
#include "tests/sim/TableWalk.h"
#include "tests/support/SurvivingWrites.h"

namespace Sim {

namespace {

std::uint64_t digest(std::string_view text) {
    return std::hash<std::string_view>()(text);
}

// What a notification of a row tells of.

auto const& contentOf(auto const& row) {
    return row;
}
Mpls::ConsolidatedLfibRoute const& contentOf(Quor::Ptr<Mpls::LfibRow const> const& row) {
    return row->route;
}
/// Not the user itself, which keeps its list alive.
std::string contentOf(SrTePolicy::SegmentListUser const& user) {
    std::string text;
    user.policyId().forEach([&text](auto const& id) { text += id.stringValue() + '\n'; });
    return text;
}

}  // namespace

Journal::Journal(World const& world) : world_(world) {
    forEachSurvivingTable(world.tables(),
                          [this](char const* name, auto const& table, auto const& subject) {
                              note(watches_, name, table, subject);
                              watches_.add(subject, [this](auto const&) { ++survivingWrites_; });
                          });
}

void Journal::agentBegan() {
    auto const& run = world_.machines()->tables();
    auto const& verdicts = run.policyKeyToIdMap->candidate();
    auto const& users = *run.segmentListUsers;
    runWatches_.clear();
    note(runWatches_, "verdict", verdicts, verdicts);
    note(runWatches_, "list-users", users.segmentListUser(), users.segmentListUserSubject());
}

template <class Table, class Key>
void Journal::note(Watches& watches, std::string const& name, Table const& table,
                   Quor::Subject<Key> const& subject) {
    wrote_[name] = false;
    auto const content = [](auto const& row) -> decltype(auto) { return contentOf(row); };
    watches.addRows(table, subject, content,
                    [this, name](Key const& key, auto const* before, auto const* now) {
                        using Row = std::decay_t<decltype(*now)>;
                        bool changed = true;
                        // A policy's rank and forwarding are told one after the other.
                        if constexpr (std::equality_comparable<Row>) {
                            changed = before && now ? !(*before == *now) : before != now;
                        }
                        this->wrote(name, textOf(key), before, now, changed);
                    });
}

void Journal::wrote(std::string const& table, std::string const& key, bool was, bool present,
                    bool changed) {
    ++writes_;
    wrote_.find(table)->second = true;
    auto const now = static_cast<std::uint64_t>(world_.now().count());
    hash_ = SrTePolicy::seededHash(hash_, now, digest(table), digest(key), std::uint64_t{present});
    if (!changed && idleWrite_.empty()) idleWrite_ = table + ' ' + key;
    auto& row = rows_.try_emplace({table, key}, Written{was}).first->second;
    row.present = present;
    if (!present) row.gone = true;
}

std::string Journal::goneForAMoment() const {
    std::string found;
    for (auto const& [name, row] : rows_) {
        auto const& [table, key] = name;
        // A next hop that is written again gets another list by way of none, policies may contend
        // for a route, and lists may rest on one: whatever rests on them follows.
        bool const othersFollow =
            table == "next-hop" || table == "status" || table.ends_with("route");
        if (othersFollow && (row.gone || !row.was)) return {};
        if (row.was && row.gone && row.present) found = table + ' ' + key;
    }
    return found;
}

bool Journal::wrote(std::initializer_list<char const*> tables) const {
    return std::ranges::any_of(tables, [this](auto* table) { return wrote_.find(table)->second; });
}

void Journal::stepDone() {
    for (auto& [table, wrote] : wrote_) wrote = false;
}

std::uint64_t Journal::hash() {
    auto const& records = world_.syslog().records();
    for (; messages_ < records.size(); ++messages_) {
        auto const& [at, message, text] = records[messages_];
        hash_ = SrTePolicy::seededHash(hash_, static_cast<std::uint64_t>(at.count()),
                                       digest(message->identifier()), digest(text));
    }
    return hash_;
}

}  // namespace Sim
