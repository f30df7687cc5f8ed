#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <unordered_map>

#include "Platform/Mpls/LfibMerge.h"
#include "Platform/Mpls/LfibWriter.h"
#include "SrTePolicy/GribiRootSm.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "SrTePolicy/SrTePolicySegmentListSm.h"
#include "SrTePolicy/SrTePolicySegmentSm.h"
#include "agent/Tables.h"
#include "bench/Benches.h"
#include "bench/Load.h"
#include "bench/Measure.h"

namespace Bench {
namespace {

using namespace SrTePolicy;
using Gribi::NextHopGroupId;
using Gribi::NextHopId;
using Tunnel::TunnelTable::TunnelId;
using Wirex::MplsLabel;

constexpr std::uint32_t membersOfGroup = 4;
constexpr std::uint32_t firstIncomingLabel = 48576;

/// Next hops of two labels, the top one of a thousand; groups of four of them, half as many as next
/// hops; as many labels as next hops.
struct GribiLoad {
    std::uint32_t nextHops = 0;
    bool oneStack = false;

    std::uint32_t groups() const { return nextHops / 2; }
    Gribi::NhAftEntry nextHop(std::uint32_t i) const {
        auto const top = Load::firstSegmentLabel + (oneStack ? 0 : i * 7 % Load::topLabels);
        auto const below = Load::firstSegmentLabel + Load::topLabels + (oneStack ? 0 : i % 10'000);
        return {NextHopId(i), Wirex::pushOperation({top, below})};
    }
    Gribi::NhgAftEntry group(std::uint32_t i) const {
        Gribi::NhgAftEntry entry{NextHopGroupId(i)};
        for (std::uint32_t member = 0; member < membersOfGroup; ++member) {
            entry.nextHopIs(NextHopId((2 * i + member) % nextHops), member + 1);
        }
        return entry;
    }
    Gribi::MplsAftEntry label(std::uint32_t i) const {
        return {MplsLabel(firstIncomingLabel + i), NextHopGroupId(i % groups())};
    }
};

/// gRIBI's root over the machines of segments and lists.
class GribiAgent {
public:
    explicit GribiAgent(GribiLoad const& load) : load_(load) {
        for (std::uint32_t top = 0; top < Load::topLabels; ++top) {
            Mpls::LfibWriter(otherLfib_).lfibRouteIs(Load::topRoute(top));
        }
        auto const lfib = merge_->lfibStatus();
        segmentSm_ = segmentSmFactory(dedup_->notifyingSegmentCollection(), lfib,
                                      merge_->lfibTrackingStatus(), segmentStatus_, dedup_,
                                      segmentResolverFactory(lfib));
        segmentListSm_ = segmentListSmFactory(
            dedup_->notifyingSegmentListCollection(), segmentStatus_, listStatus_, exported_,
            Quor::makePtr<Tunnel::TunnelTable::TiLfaTunnelTable>(), listTunnels_, scheduler_,
            dedup_, hardware_, nullptr);
        segmentSm_->handleInitialized();
        segmentListSm_->handleInitialized();
        root_ = Gribi::rootSmFactory(statusFactory(), config_, afts_, gribiStatus_,
                                     Gribi::nhToTunnelMapFactory(), dedup_, listStatus_, exported_,
                                     listTunnels_, gribiLfib_, policyStatusFactory(), fecs_,
                                     Agent::gribiFecIds);
        scheduler_->runReady();
    }

    void nextHopsAre() {
        for (std::uint32_t i = 0; i < load_.nextHops; ++i) {
            afts_->nhAft->nhAftEntryIs(load_.nextHop(i));
        }
    }
    void groupsAre() {
        for (std::uint32_t i = 0; i < load_.groups(); ++i) {
            afts_->nhgAft->nhgAftEntryIs(load_.group(i));
        }
    }
    void labelsAre() {
        for (std::uint32_t i = 0; i < load_.nextHops; ++i) {
            afts_->mplsAft->mplsAftEntryIs(load_.label(i));
        }
    }
    void enabledIs(bool enabled) { config_->enabled.valueIs(enabled); }

    /// Stops the program unless everything is installed.
    void check() const {
        if (gribiStatus_->nhgToFecEntry().size() == load_.groups() &&
            gribiLfib_->rows().size() == load_.nextHops) {
            return;
        }
        std::fputs("not every group and label was installed\n", stderr);
        std::exit(1);
    }

private:
    GribiLoad const load_;
    Keel::RealClock clock_;
    Quor::Ptr<Keel::TaskScheduler> const scheduler_ = Quor::makePtr<Keel::TaskScheduler>(clock_);
    Quor::Ptr<CoreDedupTables> const dedup_ = coreDedupTablesFactory();
    Quor::Ptr<Mpls::LfibStatus> const otherLfib_ =
        Quor::makePtr<Mpls::LfibStatus>(Mpls::EqualWrites::notify);
    // What gRIBI writes is not merged: the merge is the router's, not the machines'.
    Quor::Ptr<Mpls::LfibStatus> const gribiLfib_ = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<Mpls::LfibMerge> const merge_ = Quor::makePtr<Mpls::LfibMerge>(
        otherLfib_, Quor::makePtr<Mpls::LfibStatus>(), Quor::makePtr<Mpls::LfibStatus>());
    Quor::Ptr<SegmentStatus> const segmentStatus_ = segmentStatusFactory();
    Quor::Ptr<SegmentListStatus> const listStatus_ = segmentListStatusFactory();
    Quor::Ptr<Export::SegmentListCollection> const exported_ =
        Export::segmentListCollectionFactory();
    Quor::Ptr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable> const listTunnels_ =
        Quor::makePtr<Tunnel::TunnelTable::SrTeSegmentListTunnelTable>();
    Quor::Ptr<Routing::Hardware::Status> const hardware_ =
        Quor::makePtr<Routing::Hardware::Status>();
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> const fecs_ =
        Quor::makePtr<Pooltab::Fib::ForwardingStatus>();
    Quor::Ptr<Gribi::Config> const config_ = Gribi::configFactory();
    Quor::Ptr<Gribi::GribiAfts> const afts_ = Gribi::gribiAftsFactory();
    Quor::Ptr<Gribi::GribiStatus> const gribiStatus_ = Gribi::gribiStatusFactory();
    Quor::Ptr<SegmentSm> segmentSm_;
    Quor::Ptr<SegmentListSm> segmentListSm_;
    Quor::Ptr<Gribi::RootSm> root_;
};

/// B1: the finished rows, stored bare.
class BareGribi {
public:
    explicit BareGribi(GribiLoad const& load) : load_(load) {}

    void fill() {
        for (std::uint32_t i = 0; i < load_.nextHops; ++i) fillNextHop(i);
        for (std::uint32_t i = 0; i < load_.groups(); ++i) fillGroup(i);
        for (std::uint32_t i = 0; i < load_.nextHops; ++i) fillLabel(i);
    }

private:
    struct IdHash {
        std::size_t operator()(auto const& id) const {
            return std::hash<std::uint64_t>()(id.value());
        }
    };
    template <class Id, class Row>
    using ById = std::unordered_map<Id, Row, IdHash>;

    void fillNextHop(std::uint32_t i) {
        auto const entry = load_.nextHop(i);
        SegmentListId const list(i + 1);
        nhAft_[entry.nextHopId] = entry;
        Export::SegmentList exported;
        exported.segmentListId = list;
        exported.distinguisherId = DistinguisherId(i);
        exported.size = 2;
        exported.segment = {entry.labelOperation.stack.label(0),
                            entry.labelOperation.stack.label(1)};
        exported_[list] = exported;
        status_[list] = SegmentListResolveError::noError;
        auto const route = Load::topRoute(i * 7 % Load::topLabels);
        std::array<Tunnel::TunnelTable::MplsVia, 2> vias;
        for (std::size_t via = 0; via < vias.size(); ++via) {
            auto const& egress = route.mplsVias[via];
            vias[via] = {egress.nextHop, egress.intf, egress.operation};
            vias[via].operation.stack.append(
                Wirex::BoundedMplsLabelStack{exported.segment[1].value()});
        }
        tunnels_.insert_or_assign(
            list.getTunnelId(),
            Tunnel::TunnelTable::SrTeSegmentListTunnelTableEntry(list.getTunnelId(), vias));
        nhToSl_[entry.nextHopId] = list;
        slToNh_[list] = entry.nextHopId;
        for (std::uint32_t group = 0; group < 2; ++group) {
            nhToNhg_[entry.nextHopId].nextHopGroupIs(NextHopGroupId(i / 2 - group));
        }
        tunnelMap_[entry.nextHopId] = list.getTunnelId();
    }
    void fillGroup(std::uint32_t i) {
        NextHopGroupId const id(i);
        Pooltab::Fib::FecId const fecId(Agent::gribiFecIds.min.value() | i);
        Pooltab::Fib::Fec fec(fecId);
        for (std::uint32_t member = 0; member < membersOfGroup; ++member) {
            SegmentListId const list((2 * i + member) % load_.nextHops + 1);
            fec.viaIs(Pooltab::Fib::ViaIndex(member),
                      Pooltab::Fib::Via(list.getTunnelId(), member + 1));
        }
        nhgAft_[id] = load_.group(i);
        fecs_.insert_or_assign(fecId, std::move(fec));
        gribiStatus_[id] = fecId;
    }
    void fillLabel(std::uint32_t i) {
        auto const entry = load_.label(i);
        mplsAft_[entry.label] = entry;
        Mpls::ConsolidatedLfibRoute route;
        route.key = Mpls::RouteKey::fromLabel(entry.label);
        route.viaType = Mpls::LfibViaType::extFec;
        route.extFecVia.fecId = gribiStatus_[entry.nextHopGroupId];
        routes_[entry.label] = Quor::makePtr<Mpls::LfibRow const>(std::move(route));
        labels_[entry.nextHopGroupId].labelSetIs(entry.label);
        labelToNhg_[entry.label] = entry.nextHopGroupId;
    }

    GribiLoad const load_;
    ById<NextHopId, Gribi::NhAftEntry> nhAft_;
    std::unordered_map<SegmentListId, Export::SegmentList> exported_;
    std::unordered_map<SegmentListId, SegmentListResolveError> status_;
    std::unordered_map<TunnelId, Tunnel::TunnelTable::SrTeSegmentListTunnelTableEntry> tunnels_;
    ById<NextHopId, SegmentListId> nhToSl_;
    std::unordered_map<SegmentListId, NextHopId> slToNh_;
    ById<NextHopId, Gribi::NexthopToNexthopGroupEntry> nhToNhg_;
    ById<NextHopId, TunnelId> tunnelMap_;
    ById<NextHopGroupId, Gribi::NhgAftEntry> nhgAft_;
    std::unordered_map<Pooltab::Fib::FecId, Pooltab::Fib::Fec> fecs_;
    ById<NextHopGroupId, Pooltab::Fib::FecId> gribiStatus_;
    ById<NextHopGroupId, Gribi::NhgIdToMplsLabelsEntry> labels_;
    ById<MplsLabel, Gribi::MplsAftEntry> mplsAft_;
    ById<MplsLabel, Quor::Ptr<Mpls::LfibRow const>> routes_;
    ById<MplsLabel, NextHopGroupId> labelToNhg_;
};

double timed(std::function<void()> const& work) {
    auto const start = threadSeconds();
    work();
    return threadSeconds() - start;
}

enum class Order { nextHopsFirst, groupsFirst };

double timeArrival(GribiLoad const& load, Order order) {
    GribiAgent agent(load);
    auto const seconds = timed([&] {
        if (order == Order::groupsFirst) agent.groupsAre();
        agent.nextHopsAre();
        if (order == Order::nextHopsFirst) agent.groupsAre();
        agent.labelsAre();
    });
    agent.check();
    return seconds;
}

double timeBare(GribiLoad const& load) {
    BareGribi bare(load);
    return timed([&] { bare.fill(); });
}

/// What the machines and their outputs hold, per next hop: gRIBI comes to AFTs that are there.
double heapPerNextHop(GribiLoad const& load) {
    GribiAgent agent(load);
    agent.enabledIs(false);
    agent.nextHopsAre();
    agent.groupsAre();
    agent.labelsAre();
    HeapCount const heap;
    agent.enabledIs(true);
    return static_cast<double>(heap.bytes()) / load.nextHops;
}

void printArrival(std::vector<std::uint32_t> const& sizes) {
    std::printf("gRIBI, per next hop: machines / B1 (medians); aims 3, 1.2, 1.0; heap 1.6 KB\n");
    std::printf("%10s %12s %12s %8s %20s %18s\n", "next hops", "arrival us", "B1 us", "ratio",
                "groups first us", "heap B/next hop");
    double first = 0;
    double last = 0;
    for (auto const size : sizes) {
        GribiLoad const load{size};
        std::vector<double> arrival, bare, groupsFirst;
        for (int i = 0; i < (size >= 1'000'000 ? 3 : 5); ++i) {
            bare.push_back(timeBare(load));
            arrival.push_back(timeArrival(load, Order::nextHopsFirst));
            groupsFirst.push_back(timeArrival(load, Order::groupsFirst));
        }
        last = 1e6 * median(arrival) / size;
        if (first == 0) first = last;
        std::printf("%10u %12.3f %12.3f %8.2f %20.3f %18.0f\n", size, last,
                    1e6 * median(bare) / size, median(arrival) / median(bare),
                    1e6 * median(groupsFirst) / size, heapPerNextHop(load));
    }
    std::printf("per-next-hop cost, largest to smallest size: %.2f, aim 4\n", last / first);
}

void printOneStack(std::uint32_t nextHops) {
    std::vector<double> one, distinct;
    for (int i = 0; i < 5; ++i) {
        distinct.push_back(timeArrival({nextHops}, Order::nextHopsFirst));
        one.push_back(timeArrival({nextHops, true}, Order::nextHopsFirst));
    }
    std::printf("%u next hops with one stack / with distinct ones: %.2f, aim 1.5\n", nextHops,
                median(one) / median(distinct));
}

void printSwitch(std::uint32_t few, std::uint32_t many) {
    std::array<std::array<double, 2>, 2> seconds{};
    std::array const sizes{few, many};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        GribiAgent agent({sizes[i]});
        agent.nextHopsAre();
        agent.groupsAre();
        agent.labelsAre();
        std::vector<double> off, on;
        for (int repetition = 0; repetition < 5; ++repetition) {
            off.push_back(timed([&] { agent.enabledIs(false); }));
            on.push_back(timed([&] { agent.enabledIs(true); }));
        }
        agent.check();
        seconds[i] = {median(off), median(on)};
    }
    std::printf("of %u next hops / of %u: disable %.1f, enable %.1f, aims 15\n\n", many, few,
                seconds[1][0] / seconds[0][0], seconds[1][1] / seconds[0][1]);
}

}  // namespace

void benchGribi(std::vector<std::uint32_t> const& sizes) {
    printArrival(sizes);
    printOneStack(100'000);
    printSwitch(10'000, 100'000);
}

}  // namespace Bench
