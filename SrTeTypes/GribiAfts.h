#pragma once

#include <cstdint>
#include <span>

#include "Platform/Quor/InlineVector.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Wirex/MplsLabelStack.h"
#include "SrTeTypes/GribiIds.h"

namespace Gribi {

/// What a next hop does to a packet: the labels it pushes, top first. A client can send any stack;
/// one that no segment list can hold leaves the next hop unused.
struct SRTE_EXPORT NhAftEntry {
    NextHopId nextHopId;
    Wirex::MplsLabelOperation labelOperation;
};

/// The next hops, by id.
class SRTE_EXPORT NhAft final : public Quor::PtrInterface {
public:
    using Entries = Quor::NotifyingMap<NextHopId, NhAftEntry, Quor::WriteRule::notifyAlways>;

    Entries const& nhAftEntry() const { return entries_; }
    void nhAftEntryIs(NhAftEntry const& entry) { entries_.entryIs(entry.nextHopId, entry); }
    void nhAftEntryDel(NextHopId id) { entries_.entryDel(id); }

private:
    Entries entries_;
};

/// A member of a group.
struct SRTE_EXPORT NextHopWeight {
    NextHopId nextHopId;
    std::uint64_t weight = 0;  ///< the share of the traffic; 0 is none

    friend bool operator==(NextHopWeight const&, NextHopWeight const&) = default;
};

/// The next hops that a group spreads its traffic over. They need not exist.
class SRTE_EXPORT NhgAftEntry {
public:
    NhgAftEntry() = default;
    explicit NhgAftEntry(NextHopGroupId id) : nextHopGroupId_(id) {}

    NextHopGroupId nextHopGroupId() const { return nextHopGroupId_; }
    /// By ascending id; valid until the entry changes.
    std::span<NextHopWeight const> nextHop() const { return nextHop_; }
    /// Inserts or replaces; cheap in ascending order.
    void nextHopIs(NextHopId id, std::uint64_t weight);

private:
    NextHopGroupId nextHopGroupId_;
    Quor::InlineVector<NextHopWeight, 4> nextHop_;
};

/// The next-hop groups, by id.
class SRTE_EXPORT NhgAft final : public Quor::PtrInterface {
public:
    using Entries = Quor::NotifyingMap<NextHopGroupId, NhgAftEntry, Quor::WriteRule::notifyAlways>;

    Entries const& nhgAftEntry() const { return entries_; }
    void nhgAftEntryIs(NhgAftEntry const& entry) {
        entries_.entryIs(entry.nextHopGroupId(), entry);
    }
    void nhgAftEntryDel(NextHopGroupId id) { entries_.entryDel(id); }

private:
    Entries entries_;
};

/// Where packets go that arrive with a label. The group need not exist.
struct SRTE_EXPORT MplsAftEntry {
    Wirex::MplsLabel label;
    NextHopGroupId nextHopGroupId;
};

/// The MPLS entries, by incoming label.
class SRTE_EXPORT MplsAft final : public Quor::PtrInterface {
public:
    using Entries =
        Quor::NotifyingDenseMap<Wirex::MplsLabel, MplsAftEntry, Quor::WriteRule::notifyAlways>;

    Entries const& mplsAftEntry() const { return entries_; }
    void mplsAftEntryIs(MplsAftEntry const& entry) { entries_.entryIs(entry.label, entry); }
    void mplsAftEntryDel(Wirex::MplsLabel label) { entries_.entryDel(label); }

private:
    Entries entries_;
};

/// The abstract forwarding tables that gRIBI clients program. Written by the gRIBI server, in any
/// order. A row that is written again tells the readers also when it is equal: it leaves forwarding
/// and comes back. What a client may repeat is the server's to decide.
class SRTE_EXPORT GribiAfts final : public Quor::PtrInterface {
public:
    Quor::Ptr<NhAft> const nhAft = Quor::makePtr<NhAft>();
    Quor::Ptr<NhgAft> const nhgAft = Quor::makePtr<NhgAft>();
    Quor::Ptr<MplsAft> const mplsAft = Quor::makePtr<MplsAft>();
};

SRTE_EXPORT Quor::Ptr<GribiAfts> gribiAftsFactory();

}  // namespace Gribi
