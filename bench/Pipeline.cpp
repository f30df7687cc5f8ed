#include "bench/Pipeline.h"

#include <algorithm>

#include "Platform/Mpls/LfibWriter.h"
#include "bench/Measure.h"
#include "bench/Observer.h"

namespace Bench {
namespace {

using namespace SrTePolicy;
using Tunnel::TunnelTable::TunnelId;

}  // namespace

struct Pipeline::Observers {
    Observers(Agent::Tables const& tables, Agent::RunTables const& run)
        : segmentStatus(run.segmentStatus->status()),
          users(run.segmentListUsers->segmentListUserSubject()),
          keyMap(run.policyKeyToIdMap->candidate()),
          listStatus(tables.segmentListStatus->status()),
          exported(tables.exportedLists->segmentList()),
          listTunnels(tables.segmentListTunnels->entry()),
          selectionInput(tables.selectionInput->entrySubject()),
          policy(tables.ecPolicy->policySubject()),
          active(tables.ecPolicy->activeSubject()),
          activeEntry(tables.ecPolicy->activeEntrySubject()),
          status(tables.policyStatus->policyStatusEntry()),
          fecIndex(tables.policyStatus->fecIdToPolicyKey()),
          fecs(tables.forwarding->fec()),
          policyTunnels(tables.policyTunnels->entry()),
          bsidRoutes(tables.bindingSidLfib->rows()) {}

    std::uint64_t take() {
        return segmentStatus.take() + users.take() + keyMap.take() + listStatus.take() +
               exported.take() + listTunnels.take() + selectionInput.take() + policy.take() +
               active.take() + activeEntry.take() + status.take() + fecIndex.take() + fecs.take() +
               policyTunnels.take() + bsidRoutes.take();
    }

    Observer<SegmentId> segmentStatus;
    Observer<SegmentListId> users;
    Observer<PolicyId> keyMap;
    Observer<SegmentListId> listStatus;
    Observer<SegmentListId> exported;
    Observer<TunnelId> listTunnels;
    Observer<PolicyId> selectionInput;
    Observer<PolicyKey> policy;
    Observer<PolicyKey> active;
    Observer<PolicyKey> activeEntry;
    Observer<PolicyKey> status;
    Observer<Pooltab::Fib::FecId> fecIndex;
    Observer<Pooltab::Fib::FecId> fecs;
    Observer<TunnelId> policyTunnels;
    Observer<Mpls::RouteKey> bsidRoutes;
};

Pipeline::Pipeline(Load const& load) : load_(load) {
    scheduler_->timeSliceIs(0.001);
}

Pipeline::~Pipeline() = default;

void Pipeline::fillSources() {
    tables_.config->coloredRib.valueIs(true);
    tables_.hardware->maxLabelPushDepth.valueIs(std::uint8_t{10});
    tables_.mplsConfig->labelRangeIs("srlb", Mpls::LabelRange(Load::srlbBase, Load::srlbSize));
    for (std::uint32_t top = 0; top < Load::topLabels; ++top) topRouteIs(top, 0);
    for (std::uint32_t policy = 0; policy < load_.policies; ++policy) {
        for (std::uint32_t candidate = 0; candidate < Load::candidates; ++candidate) {
            entryIs(Load::entry(policy, candidate));
        }
    }
    tables_.sources->policyInputIs(input_);
}

void Pipeline::topRouteIs(std::uint32_t top, std::uint32_t variant) {
    otherRouteIs(Load::topRoute(top, variant));
}

void Pipeline::otherRouteIs(Mpls::ConsolidatedLfibRoute const& route) {
    Mpls::LfibWriter(tables_.otherLfib).lfibRouteIs(route);
}

void Pipeline::converge() {
    machines_ = std::make_unique<Agent::Machines>(tables_, scheduler_);
    observers_ = std::make_unique<Observers>(tables_, machines_->tables());
    while (!machines_->started()) {
        while (machines_->startFurther()) {
        }
        drain();
    }
    drain();
}

double Pipeline::drain() {
    double longest = 0;
    for (;;) {
        auto const start = threadSeconds();
        if (!scheduler_->runOne()) return longest;
        longest = std::max(longest, threadSeconds() - start);
    }
}

std::uint64_t Pipeline::takeChanges() {
    return observers_->take();
}

}  // namespace Bench
