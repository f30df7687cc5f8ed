#include "agent/ShowGribi.h"

#include <algorithm>

#include "agent/ShowForwarding.h"
#include "agent/ShowSegments.h"

namespace Agent {

namespace {

using Gribi::NextHopId;
using Tunnel::TunnelTable::TunnelId;

/// The state of an entry, and the reason when there is one (null: there is none).
Json stateJson(char const* good, char const* bad, char const* reason) {
    if (!reason) return {{"state", good}};
    return {{"state", bad}, {"reason", reason}};
}

/// What became of the entries. Their states are what is published, also while a restart has to wait
/// and gRIBI does not run yet; the reasons are the first that apply.
class GribiView {
public:
    explicit GribiView(Host const& host)
        : tables_(host.tables()),
          running_(host.machines() && host.machines()->gribiRoot() &&
                   host.machines()->gribiRoot()->running()) {}

    bool running() const { return running_; }

    Json nextHops() const {
        auto rows = Json::object();
        for (auto row = tables_.gribiAfts->nhAft->nhAftEntry().begin(); row; row.next()) {
            auto nextHop = stateJson("usable", "unusable", unusableReason(row.value()));
            if (auto const* const tunnelId = tunnelOf(row.key())) {
                nextHop["list"] = segmentListOf(*tunnelId).value();
            }
            nextHop["labels"] = labelsJson(row.value().labelOperation.stack);
            rows[row.key().stringValue()] = nextHop;
        }
        return rows;
    }

    Json groups() const {
        auto rows = Json::object();
        for (auto row = tables_.gribiAfts->nhgAft->nhgAftEntry().begin(); row; row.next()) {
            auto const* const fecId = tables_.gribiStatus->nhgToFecEntry(row.key());
            auto const* const fec = fecId ? tables_.forwarding->fec(*fecId) : nullptr;
            auto group = stateJson("installed", "not-installed",
                                   fecId ? nullptr : missingFecReason(row.value()));
            if (fecId) group["fec"] = fecId->stringValue();
            group["next-hops"] = members(row.value(), fec);
            rows[row.key().stringValue()] = group;
        }
        return rows;
    }

    Json labels() const {
        auto rows = Json::object();
        for (auto row = tables_.gribiAfts->mplsAft->mplsAftEntry().begin(); row; row.next()) {
            auto label = stateJson("installed", "not-installed", missingRouteReason(row.value()));
            label["group"] = row.value().nextHopGroupId.stringValue();
            rows[row.key().stringValue()] = label;
        }
        return rows;
    }

private:
    /// Null while the list of the next hop has no status.
    TunnelId const* tunnelOf(NextHopId id) const {
        return tables_.nextHopTunnels->nhToTunnelMap().find(id);
    }
    std::optional<SrTePolicy::SegmentListResolveError> statusOf(NextHopId id) const {
        auto const* const tunnelId = tunnelOf(id);
        return tunnelId ? tables_.segmentListStatus->status(segmentListOf(*tunnelId))
                        : std::nullopt;
    }

    char const* unusableReason(Gribi::NhAftEntry const& nextHop) const {
        auto const status = statusOf(nextHop.nextHopId);
        if (status == SrTePolicy::SegmentListResolveError::noError) return nullptr;
        auto const& stack = nextHop.labelOperation.stack;
        if (!running_) return "not-running";
        if (nextHop.nextHopId.isInvalid()) return "invalid-id";
        if (!fitsList(stack)) return "bad-labels";
        if (stack.empty()) return "no-labels";
        return listStateText(status);
    }
    static bool fitsList(Wirex::BoundedMplsLabelStack const& stack) {
        for (std::size_t i = 0; i < stack.size(); ++i) {
            if (!stack.label(i).isReal()) return false;
        }
        return stack.size() <= SrTePolicy::SegmentList::maxSize;
    }

    char const* missingFecReason(Gribi::NhgAftEntry const& group) const {
        if (!running_) return "not-running";
        return group.nextHop().empty() ? "no-next-hops" : "no-usable-next-hop";
    }

    /// `fec` is the group's, or null.
    Json members(Gribi::NhgAftEntry const& group, Pooltab::Fib::Fec const* fec) const {
        std::vector<TunnelId> used;
        if (fec) {
            for (auto const& via : fec->vias()) used.push_back(via.tunnelId());
        }
        std::sort(used.begin(), used.end());
        auto rows = Json::object();
        for (auto const& member : group.nextHop()) {
            auto const* const tunnelId = tunnelOf(member.nextHopId);
            bool const isUsed = tunnelId && std::binary_search(used.begin(), used.end(), *tunnelId);
            auto row = stateJson("used", "unused", isUsed ? nullptr : unusedReason(member));
            row["weight"] = member.weight;
            rows[member.nextHopId.stringValue()] = row;
        }
        return rows;
    }
    char const* unusedReason(Gribi::NextHopWeight const& member) const {
        auto const* const nextHop = tables_.gribiAfts->nhAft->nhAftEntry().find(member.nextHopId);
        if (!running_) return "not-running";
        if (!nextHop) return "no-next-hop";
        if (unusableReason(*nextHop)) return "unusable";
        return member.weight == 0 ? "weight-0" : "over-600";
    }

    char const* missingRouteReason(Gribi::MplsAftEntry const& entry) const {
        bool const real = entry.label.isReal();
        auto const key = Mpls::RouteKey::fromLabel(entry.label);
        if (real && tables_.gribiLfib->rows().has(key)) return nullptr;
        if (!running_) return "not-running";
        if (!real) return "bad-label";
        bool const hasGroup = tables_.gribiAfts->nhgAft->nhgAftEntry().has(entry.nextHopGroupId);
        return hasGroup ? "no-fec" : "no-group";
    }

    Tables const& tables_;
    bool const running_;
};

}  // namespace

void showGribi(Host const& host, Rows& rows) {
    GribiView const view(host);
    if (rows.wants("running")) rows.add("running", view.running());
    if (rows.wants("nh")) rows.add("nh", view.nextHops());
    if (rows.wants("nhg")) rows.add("nhg", view.groups());
    if (rows.wants("mpls")) rows.add("mpls", view.labels());
}

}  // namespace Agent
