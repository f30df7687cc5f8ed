#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Keel/Clock.h"
#include "Platform/Mpls/LfibMerge.h"
#include "Platform/Mpls/LfibWriter.h"
#include "SrTePolicy/SrTePolicySegmentListSm.h"
#include "SrTePolicy/SrTePolicySegmentSm.h"

namespace SrTePolicy {

inline Tunnel::TunnelTable::TunnelId tiLfa(std::uint64_t index) {
    return Tunnel::TunnelTable::TunnelId::make(Tunnel::TunnelTable::TunnelType::tiLfa, index);
}
inline Mpls::LfibMplsVia push(char const* intf, Wirex::BoundedMplsLabelStack const& labels) {
    return {Wirex::IpGenAddr::ipv4(0x0A000001),
            Wirex::IntfId::physical(intf),
            {Wirex::MplsLabelAction::push, labels}};
}
inline Mpls::LfibMplsVia pushOver(Tunnel::TunnelTable::TunnelId tunnel,
                                  Wirex::BoundedMplsLabelStack const& labels) {
    return {
        {}, Wirex::IntfId::dynamicTunnel(tunnel.value()), {Wirex::MplsLabelAction::push, labels}};
}
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
/// machine and the segment-list machine over an LFIB. Every test is left to a restart that must not
/// write a single row.
class SegmentListFixture : public testing::Test {
protected:
    using Action = Wirex::MplsLabelAction;
    using Labels = std::vector<std::uint32_t>;
    using Stack = Wirex::BoundedMplsLabelStack;
    using TunnelId = Tunnel::TunnelTable::TunnelId;
    using Vias = std::vector<Mpls::LfibMplsVia>;
    struct ListKey {
        Labels labels;
        std::uint64_t distinguisher = DistinguisherId::policyList;
        friend auto operator<=>(ListKey const&, ListKey const&) = default;
    };

    SegmentListFixture() { Keel::activityClockIs(&clock); }
    void SetUp() override { start(); }
    void TearDown() override {
        if (!restartsHitless) return;
        drain();
        auto const before = outputs();
        log.clear();
        restart();
        drain();
        EXPECT_THAT(log, testing::ElementsAre());
        EXPECT_EQ(outputs(), before);
    }

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
    void route(std::uint32_t label, Vias vias) {
        Mpls::ConsolidatedLfibRoute written;
        written.key = keyOf(label);
        written.viaType = Mpls::LfibViaType::mpls;
        written.mplsVias = std::move(vias);
        writer.lfibRouteIs(std::move(written));
    }
    void routeToFec(std::uint32_t label, std::uint64_t fecId, Action action) {
        Mpls::ConsolidatedLfibRoute written;
        written.key = keyOf(label);
        written.viaType = Mpls::LfibViaType::extFec;
        written.extFecVia = {{}, Pooltab::Fib::FecId(fecId), action, {}};
        writer.lfibRouteIs(std::move(written));
    }
    void routeDel(std::uint32_t label) { writer.lfibRouteDel(keyOf(label)); }
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
    static Mpls::RouteKey keyOf(std::uint32_t label) {
        return Mpls::RouteKey::fromLabel(Wirex::MplsLabel(label));
    }
    static PolicyId policy() { return {{Wirex::IpGenAddr::ipv4(9), 100}, {}}; }

    Keel::VirtualClock clock;
    Quor::Ptr<Keel::TaskScheduler> scheduler = Quor::makePtr<Keel::TaskScheduler>(clock);
    Quor::Ptr<Keel::FieldlogSm> fieldlog = Quor::makePtr<Keel::FieldlogSm>();
    Quor::Ptr<Mpls::LfibStatus> lfib = Quor::makePtr<Mpls::LfibStatus>(Mpls::EqualWrites::notify);
    Quor::Ptr<Mpls::LfibStatus> ours = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<Mpls::LfibMerge> merge = Quor::makePtr<Mpls::LfibMerge>(lfib, ours, ours);
    Mpls::LfibWriter writer{lfib};
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

    bool restartsHitless = true;
    std::vector<std::string> log;  // every write of an output, in order

private:
    Quor::Ptr<SegmentList const> intern(ListKey const& key) {
        Wirex::MplsLabelOperation operation;
        for (auto const label : key.labels) operation.stack.append(Wirex::MplsLabel(label));
        return tables->segmentList(operation, policy(), DistinguisherId(key.distinguisher));
    }
    void wrote(bool present, char const* table, std::uint64_t id) {
        log.push_back(std::string(present ? "+" : "-") + table + " " + std::to_string(id));
    }

    Quor::Reactor<SegmentListId> exportReactor_{
        exported->segmentList(), this, [](auto& self, auto const& id) {
            self.wrote(self.exported->segmentList(id), "export", id.value());
        }};
    Quor::Reactor<SegmentListId> statusReactor_{
        status->status(), this, [](auto& self, auto const& id) {
            self.wrote(self.status->status(id).has_value(), "status", id.value());
        }};
    Quor::Reactor<TunnelId> tunnelReactor_{tunnels->entry(), this, [](auto& self, auto const& id) {
                                               self.wrote(self.tunnels->entry(id), "tunnel",
                                                          id.index());
                                           }};
};

}  // namespace SrTePolicy
