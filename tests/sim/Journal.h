#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tests/sim/Watches.h"
#include "tests/sim/World.h"

namespace Sim {

/// The tables that machines write. Those up to `lastSurviving` outlive an agent.
enum class Written : std::uint8_t {
    exportedList,
    listStatus,
    listTunnel,
    selectionInput,
    ecPolicy,
    policyStatus,
    fecIndex,
    fec,
    policyTunnel,
    route,
    combinedStatus,
    sbfdConfig,
    session,
    tunnelMap,
    nextHopTunnel,
    group,
    gribiRoute,
    lastSurviving = gribiRoute,
    verdict,
    listUsers,
    segmentStatus
};
inline constexpr std::size_t writtenCount = 20;

/// Everything that the machines of a world write, as it happens: counted, and hashed into the trace
/// of the run.
class Journal {
public:
    explicit Journal(World const& world);

    /// The tables of a run of the agent come and go with it.
    void agentBegan();
    void agentGone() { runWatches_.clear(); }

    std::uint64_t writes(Written table) const { return counts_[static_cast<std::size_t>(table)]; }
    std::uint64_t survivingWrites() const;
    /// Of everything written and logged so far.
    std::uint64_t hash();
    /// The first notification that told of no change: its table and key, or nothing.
    std::string const& idleWrite() const { return idleWrite_; }
    /// Whether a row has gone and come back since `noReturnsUntilNow`.
    bool returned(Written table) const { return returned_[static_cast<std::size_t>(table)]; }
    void noReturnsUntilNow();

private:
    template <class Table, class Key>
    void note(Watches& watches, Written name, Table const& table,
              Quor::Subject<Key> const& subject);
    void wrote(Written name, std::uint64_t key, std::uint64_t value, bool mayBeEqual);

    World const& world_;
    std::array<std::uint64_t, writtenCount> counts_{};
    std::uint64_t hash_ = 0;
    std::size_t messages_ = 0;
    std::string idleWrite_;
    std::array<std::unordered_set<std::uint64_t>, writtenCount> gone_;  // by key
    std::array<bool, writtenCount> returned_{};
    std::array<std::unordered_map<std::uint64_t, std::uint64_t>, writtenCount> last_;  // by key
    Watches watches_, runWatches_;
};

}  // namespace Sim
