#include "SrTePolicy/SrTePolicySegmentSm.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicySegmentSm");

}  // namespace

SegmentSm::SegmentSm(Quor::Ptr<NotifyingSegmentCollection const> notifyingSegment,
                     Quor::Ptr<Mpls::LfibStatus const> lfib,
                     Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
                     Quor::Ptr<SegmentStatus> segmentStatus,
                     Quor::Ptr<CoreDedupTables const> coreDedupTables,
                     Quor::Ptr<SegmentResolver const> segmentResolver)
    : notifyingSegment_(std::move(notifyingSegment)),
      lfib_(std::move(lfib)),
      lfibTrackingStatus_(std::move(lfibTrackingStatus)),
      segmentStatus_(std::move(segmentStatus)),
      coreDedupTables_(std::move(coreDedupTables)),
      segmentResolver_(std::move(segmentResolver)),
      segmentReactor_(
          notifyingSegment_->notifierSubject(), this,
          [](SegmentSm& self, Notifier const& notifier) { self.handleSegment(notifier); }),
      routeReactor_(lfibTrackingStatus_->changed(), this,
                    [](SegmentSm& self, Mpls::RouteKey const& key) { self.handleLFibRoute(key); }) {
}

void SegmentSm::handleInitialized() {
    QUOR_ASSERT(lfib_, "lfib()");
    if (std::exchange(initialized_, true)) return;

    segmentStatus_->statusDelAll();
    handleSegment();
}

void SegmentSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;
    segmentReactor_.off();
    routeReactor_.off();
    segmentStatus_->statusDelAll();
}

void SegmentSm::handleSegment() {
    auto const& notifiers = notifyingSegment_->segmentNotifier();
    for (auto row = notifiers.begin(); row; row.next()) {
        processSegment(row.value()->segmentRawPtr());
    }
}

void SegmentSm::handleSegment(Notifier const& notifier) {
    if (!initialized_) return;

    auto const* const segment = notifier->segmentRawPtr();
    SRTE_TRACE(8, "handleSegment: " << segment->stringValue());
    if (notifyingSegment_->segmentNotifier(notifier)) {
        processSegment(segment);
    } else {
        SRTE_TRACE(8, "Deleting segment Status: " << segment->segmentId());
        segmentStatus_->statusDel(segment->segmentId());
    }
}

void SegmentSm::handleLFibRoute(Mpls::RouteKey const& routeKey) {
    if (!initialized_) return;

    auto const label = routeKey.topLabel();
    SRTE_TRACE(8, "handleLFibRoute: label: " << label);
    // Most routes belong to no segment list; those are not ours to follow.
    if (auto const segment = coreDedupTables_->segDedupTablePtr()->lookupByLabel(label)) {
        processSegment(segment);
    }
}

void SegmentSm::processSegment(Quor::Ptr<SegmentBase const> const& segment) {
    auto const result = segment->resolveSegment(segmentResolver_);
    updateSegmentStatus(segment, result->viaInfo, result->state);
}

void SegmentSm::updateSegmentStatus(Quor::Ptr<SegmentBase const> const& segment,
                                    Quor::Ptr<SegmentViaInfo const> const& viaInfo,
                                    SegmentResolveState state) {
    if (!viaInfo) {
        segmentStatus_->statusDel(segment->segmentId());
        return;
    }
    auto const record = Quor::makePtr<SegmentResolve>(segment->segmentId(), viaInfo);
    if (state == SegmentResolveState::resolvedOverTiLfa) record->resolvedOverTiLfaIs(true);
    segmentStatus_->statusIs(record);
}

void SegmentSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    segmentStatus_->dumpState(ctx, indentCount);
}

Quor::Ptr<SegmentSm> segmentSmFactory(Quor::Ptr<NotifyingSegmentCollection const> notifyingSegment,
                                      Quor::Ptr<Mpls::LfibStatus const> lfib,
                                      Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
                                      Quor::Ptr<SegmentStatus> segmentStatus,
                                      Quor::Ptr<CoreDedupTables const> coreDedupTables,
                                      Quor::Ptr<SegmentResolver const> segmentResolver) {
    return Quor::makePtr<SegmentSm>(std::move(notifyingSegment), std::move(lfib),
                                    std::move(lfibTrackingStatus), std::move(segmentStatus),
                                    std::move(coreDedupTables), std::move(segmentResolver));
}

}  // namespace SrTePolicy
