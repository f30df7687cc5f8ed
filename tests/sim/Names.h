#pragma once

#include <map>
#include <string>

#include "tests/sim/Model.h"

namespace Sim {

ListContent contentOf(SrTePolicy::Export::SegmentList const& list);

/// What identities stand for. One that stands for nothing keeps its number, and so matches nothing
/// that is expected.
class Names {
public:
    explicit Names(Agent::SurvivingTables const& tables);

    std::string list(SrTePolicy::SegmentListId id) const;
    std::string list(Tunnel::TunnelTable::TunnelId tunnelId) const;
    std::string fec(Pooltab::Fib::FecId id) const;
    /// The FEC that a tunnel of the colored RIB leads into.
    std::string fec(Tunnel::TunnelTable::TunnelId tunnelId) const;

private:
    void addFecs(SrTePolicy::PolicyStatusEntry const& entry);
    void addFec(Pooltab::Fib::FecId id, SrTePolicy::FecIdRange const& range,
                std::string const& owner, std::string const& role);

    std::map<SrTePolicy::SegmentListId, std::string> lists_;
    std::map<Pooltab::Fib::FecId, std::string> fecs_;
};

}  // namespace Sim
