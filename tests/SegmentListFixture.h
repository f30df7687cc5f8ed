#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "SrTePolicy/SrTePolicySegmentListSm.h"
#include "SrTePolicy/SrTePolicySegmentSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace SrTePolicy {

/// INTF(LABELS)
inline std::string viaText(Tunnel::TunnelTable::MplsVia const& via) {
    auto text = via.intf.stringValue() + "(";
    for (std::size_t i = 0; i < via.operation.stack.size(); ++i) {
        if (i > 0) text += ' ';
        text += via.operation.stack.label(i).stringValue();
    }
    return text + ")";
}

/// A router with label routes, and segment lists that somebody holds: the dedup tables, the segment
/// machine and the segment-list machine over an LFIB.
class SegmentListFixture : public MachineTest, protected RouterLfib {
protected:
    using Action = Wirex::MplsLabelAction;
    using Labels = std::vector<std::uint32_t>;
    using TunnelId = Tunnel::TunnelTable::TunnelId;
    struct ListKey {
        Labels labels;
        std::uint64_t distinguisher = DistinguisherId::policyList;
        friend auto operator<=>(ListKey const&, ListKey const&) = default;
    };

    void SetUp() override { start(); }

    // Life.
    void create() {
        segmentSm = segmentSmFactory(tables->notifyingSegmentCollection(), merge->lfibStatus(),
                                     merge->lfibTrackingStatus(), segmentStatus, tables,
                                     segmentResolverFactory(merge->lfibStatus()));
        sm = segmentListSmFactory(tables->notifyingSegmentListCollection(), segmentStatus, status,
                                  exported, tiLfaTunnels, tunnels, scheduler, tables, hardware,
                                  fieldlog);
    }
    void start() {
        create();
        segmentSm->handleInitialized();
        sm->handleInitialized();
    }
    // Nothing is withdrawn, and nobody hears of the lists' end.
    void crash() {
        sm = nullptr;
        segmentSm = nullptr;
        for (auto& [key, list] : held) list = nullptr;
        references.clear();
        tables = coreDedupTablesFactory();
        segmentStatus = segmentStatusFactory();
    }
    // The start after a crash. Lists that nobody holds again stay until the first `drain`.
    void startAgain() {
        references = reinternSurvivingLists(tables, exported);
        std::uint32_t largest = 0;
        for (auto const id : ids()) largest = std::max(largest, id);
        tables->notifyingSegmentListCollection()->uniqueIdIs(SegmentListId(largest));
        start();
        for (auto& [key, list] : held) list = intern(key);
    }
    void restart() {
        crash();
        startAgain();
    }
    void run() { scheduler->runReady(); }
    // Lets the clock go on until nothing is left to do; then the lists must have found their
    // holders.
    void drain() {
        fieldlog->outputCloggedIs(false);
        run();
        while (auto const expiration = scheduler->nextExpiration()) {
            clock.nowIs(std::max(clock.now(), *expiration));
            run();
        }
        EXPECT_TRUE(sm->drained());
        references.clear();
    }

    // Inputs.
    SegmentListId hold(Labels const& labels,
                       std::uint64_t distinguisher = DistinguisherId::policyList) {
        ListKey const key{labels, distinguisher};
        return (held[key] = intern(key))->segmentListId();
    }
    void release(Labels const& labels, std::uint64_t distinguisher = DistinguisherId::policyList) {
        held.erase({labels, distinguisher});
    }
    void routeToFec(std::uint32_t label, std::uint64_t fecId, Action action) {
        writer.lfibRouteIs(routeInto(label, fecId, action));
    }
    // A protected link whose paths push so many labels.
    void protect(std::uint64_t index, std::uint32_t primary, std::uint32_t backup) {
        auto const path = [](std::uint32_t count) {
            Tunnel::TunnelTable::MplsVia via;
            via.operation.action = Action::push;
            while (count-- > 0) via.operation.stack.append(Wirex::MplsLabel(900 + count));
            return via;
        };
        tiLfaTunnels->entryIs({tiLfa(index), path(primary), path(backup)});
    }
    void msd(std::optional<std::uint8_t> depth) { hardware->maxLabelPushDepth.valueIs(depth); }

    // ID [LABELS] STATUS: INTF(LABELS) ... with - for an output that is missing.
    std::string outputs() const {
        std::string text;
        for (auto const id : ids()) text += output(SegmentListId(id)) + "\n";
        return text;
    }
    std::string output(SegmentListId id) const {
        auto text = id.stringValue();
        if (auto const* const copy = exported->segmentList(id)) {
            text += " [";
            for (std::uint32_t i = 0; i < copy->size; ++i) {
                if (i > 0) text += ' ';
                text += copy->segment[i].stringValue();
            }
            text += "] ";
        } else {
            text += " - ";
        }
        auto const error = status->status(id);
        text += error ? std::to_string(static_cast<int>(*error)) : std::string("-");
        auto const* const entry = tunnels->entry(id.getTunnelId());
        if (!entry) return text;
        text += ":";
        for (auto const& via : entry->vias()) text.append(" ").append(viaText(via));
        return text;
    }
    // Of every list that an output names.
    std::set<std::uint32_t> ids() const {
        std::set<std::uint32_t> found;
        for (auto row = exported->segmentList().begin(); row; row.next()) {
            found.insert(row.key().value());
        }
        for (auto row = status->status().begin(); row; row.next()) found.insert(row.key().value());
        for (auto row = tunnels->entry().begin(); row; row.next()) {
            auto const id = row.key();
            if (id.type() != Tunnel::TunnelTable::TunnelType::srTeSegmentList) continue;
            found.insert(static_cast<std::uint32_t>(id.index()));
        }
        return found;
    }
    static PolicyId policy() { return {{Wirex::IpGenAddr::ipv4(9), 100}, {}}; }

    Quor::Ptr<Tunnel::TunnelTable::TiLfaTunnelTable> tiLfaTunnels =
        Quor::makePtr<Tunnel::TunnelTable::TiLfaTunnelTable>();
    Quor::Ptr<Routing::Hardware::Status> hardware = Quor::makePtr<Routing::Hardware::Status>();

    Quor::Ptr<SegmentListStatus> status = segmentListStatusFactory();
    Quor::Ptr<Export::SegmentListCollection> exported = Export::segmentListCollectionFactory();
    Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable> tunnels =
        Quor::makePtr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable>();

    Quor::Ptr<CoreDedupTables> tables = coreDedupTablesFactory();
    Quor::Ptr<SegmentStatus> segmentStatus = segmentStatusFactory();
    std::map<ListKey, Quor::Ptr<SegmentList const>> held;
    std::vector<Quor::Ptr<SegmentList const>> references;
    Quor::Ptr<SegmentSm> segmentSm;
    Quor::Ptr<SegmentListSm> sm;

private:
    Quor::Ptr<SegmentList const> intern(ListKey const& key) {
        Wirex::MplsLabelOperation operation;
        for (auto const label : key.labels) operation.stack.append(Wirex::MplsLabel(label));
        return tables->segmentList(operation, policy(), DistinguisherId(key.distinguisher));
    }
    Watch<SegmentListId> exportWatch_{
        exported->segmentList(),
        [this](auto const& id) { wrote(exported->segmentList(id), "export ", id.stringValue()); }};
    Watch<SegmentListId> statusWatch_{status->status(), [this](auto const& id) {
                                          wrote(status->status(id).has_value(), "status ",
                                                id.stringValue());
                                      }};
    Watch<TunnelId> tunnelWatch_{tunnels->entry(), [this](auto const& id) {
                                     wrote(tunnels->entry(id), "tunnel ",
                                           std::to_string(id.index()));
                                 }};
};

}  // namespace SrTePolicy
