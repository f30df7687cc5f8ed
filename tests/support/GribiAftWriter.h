#pragma once

#include <cstdint>
#include <initializer_list>
#include <utility>

#include "SrTeTypes/GribiAfts.h"

namespace Gribi {

/// A gRIBI client, as tests speak of it.
struct GribiAftWriter {
    void nextHop(std::uint64_t id, std::initializer_list<std::uint32_t> labels) const {
        afts->nhAft->nhAftEntryIs({NextHopId(id), Wirex::pushOperation(labels)});
    }
    void nextHopDel(std::uint64_t id) const { afts->nhAft->nhAftEntryDel(NextHopId(id)); }
    /// `members` are pairs of a next hop and its weight.
    template <class Members = std::initializer_list<std::pair<std::uint64_t, std::uint64_t>>>
    void group(std::uint64_t id, Members const& members) const {
        NhgAftEntry entry{NextHopGroupId(id)};
        for (auto const& [nextHopId, weight] : members) {
            entry.nextHopIs(NextHopId(nextHopId), weight);
        }
        afts->nhgAft->nhgAftEntryIs(entry);
    }
    void groupDel(std::uint64_t id) const { afts->nhgAft->nhgAftEntryDel(NextHopGroupId(id)); }
    void label(std::uint32_t value, std::uint64_t groupId) const {
        afts->mplsAft->mplsAftEntryIs({Wirex::MplsLabel(value), NextHopGroupId(groupId)});
    }
    void labelDel(std::uint32_t value) const {
        afts->mplsAft->mplsAftEntryDel(Wirex::MplsLabel(value));
    }

    Quor::Ptr<GribiAfts> afts = gribiAftsFactory();
};

}  // namespace Gribi
