#include "SrTePolicy/SrTePolicySegment.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicySegment");

Quor::Ptr<SegmentMplsLabel> asMplsLabel(Keel::DedupHandle* handle) {
    return static_cast<SegmentMplsLabel*>(handle);
}

}  // namespace

std::string segmentTypeToString(SegmentType type) {
    return type == SegmentType::mplsLabel ? "mplsLabel"
                                          : std::to_string(static_cast<std::uint32_t>(type));
}

bool SegmentBase::compare(Keel::DedupHandle const* other) const {
    return segmentCompare(static_cast<SegmentBase const*>(other));
}

Quor::Ptr<SegmentResolveResult const> SegmentBase::resolveSegment(
    Quor::Ptr<SegmentResolver const> const&) const {
    QUOR_ASSERT(false, "0");
}

bool SegmentBase::segmentCompare(SegmentBase const*) const {
    QUOR_ASSERT(false, "0");
}

std::string SegmentBase::stringValue() const {
    return "Id: " + segmentId_.stringValue() + ", Type: " + segmentTypeToString(type_);
}

std::uint32_t SegmentMplsLabel::hashOf(SegmentType type, Wirex::MplsLabel label) {
    std::uint32_t h = 0;
    for (auto const word : {static_cast<std::uint32_t>(type), label.value()}) {
        for (int shift = 0; shift < 32; shift += 8) {
            h += word >> shift & 0xFF;
            h += h << 10;
            h ^= h >> 6;
        }
    }
    h += h << 3;
    h ^= h >> 11;
    return h + (h << 15);
}

bool SegmentMplsLabel::segmentCompare(SegmentBase const* other) const {
    return type() == other->type() && label_ == static_cast<SegmentMplsLabel const*>(other)->label_;
}

Quor::Ptr<SegmentResolveResult const> SegmentMplsLabel::resolveSegment(
    Quor::Ptr<SegmentResolver const> const& resolver) const {
    return resolver->resolveSegmentMpls(label_);
}

std::string SegmentMplsLabel::stringValue() const {
    return SegmentBase::stringValue() + ", Label: " + label_.stringValue();
}

Quor::Ptr<SegmentMplsLabel> SegmentMplsLabel::dedup(SegmentDedupTable const* table) {
    return asMplsLabel(table->dedupHashTable()->dedup(this).get());
}

Quor::Ptr<SegmentMplsLabel> SegmentMplsLabel::lookup(SegmentDedupTable const* table) const {
    return asMplsLabel(table->dedupHashTable()->lookup(*this));
}

Quor::Ptr<SegmentMplsLabel> segmentMplsLabelFactory(SegmentType type, Wirex::MplsLabel label) {
    return Quor::makePtr<SegmentMplsLabel>(type, label);
}

std::string SegmentLifeTimeNotifier::toStrep() const {
    return handle() ? segmentRawPtr()->stringValue() : "";
}

bool NotifyingSegmentCollection::segmentNotifier(NotifierPtr const& notifier) const {
    auto const* const segment = notifier->segmentRawPtr();
    auto const* const row = segment ? notifiers().find(segment->segmentId()) : nullptr;
    return row && *row == notifier;
}

void NotifyingSegmentCollection::segmentNotifierIs(NotifierPtr const& notifier) {
    notifierIs(notifier->segmentRawPtr()->segmentId(), notifier);
}

void NotifyingSegmentCollection::segmentNotifierDel(NotifierPtr const& notifier) {
    notifierDel(notifier->segmentRawPtr()->segmentId());
}

void NotifyingSegmentCollection::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cNotifyingSegmentCollection: uniqueIds:%d\n", indentCount, ' ',
              static_cast<int>(uniqueId()().value()));
}

void SegmentLifeTimeNotifiee::handleInsert(Quor::Ptr<Keel::DedupHandle> const& handle) const {
    auto* const segment = static_cast<SegmentBase*>(handle.get());
    QUOR_ASSERT(!segment->segmentLifeTimeNotifier(),
                "__null == segment->segmentLifeTimeNotifier()");
    segment->segmentIdIs(notifyingSegmentCollection_->uniqueIdInc(1));
    auto const notifier = Quor::makePtr<SegmentLifeTimeNotifier const>(segment);
    segment->segmentLifeTimeNotifierIs(notifier.get());
    try {
        notifyingSegmentCollection_->segmentNotifierIs(notifier);
    } catch (...) {
        // One that the collection has no memory for goes now: nothing may name it any more.
        if (!notifyingSegmentCollection_->segmentNotifier(notifier))
            segment->segmentLifeTimeNotifierIs(nullptr);
        throw;
    }
    SRTE_TRACE(7, "Insert Segment: " << segment->stringValue());
}

void SegmentLifeTimeNotifiee::handleRemove(Keel::DedupHandle* handle) const {
    auto* const segment = static_cast<SegmentBase*>(handle);
    Quor::Ptr<SegmentLifeTimeNotifier const> const lifeTimeNotifier(
        segment->segmentLifeTimeNotifier());
    QUOR_ASSERT(lifeTimeNotifier, "__null != lifeTimeNotifier");
    notifyingSegmentCollection_->segmentNotifierDel(lifeTimeNotifier);
    segment->segmentLifeTimeNotifierIs(nullptr);
    lifeTimeNotifier->handleDel();
}

void SegmentLifeTimeNotifiee::handleNotificationStop(
    Quor::Ptr<Keel::DedupHashTable const> const&) const {
    auto const& notifiers = notifyingSegmentCollection_->segmentNotifier();
    for (auto row = notifiers.begin(); row; row.next()) {
        handleRemove(row.value()->segmentRawPtr());
    }
}

SegmentDedupTable::~SegmentDedupTable() {
    if (table_) table_->notificationStop();
}

void SegmentDedupTable::handleInitialized() {
    if (table_) return;
    table_ = CoreDedupTables::createDedupHashTable();
    table_->lifeTimeNotifieeIs(lifeTimeNotifiee_);
}

Quor::Ptr<SegmentMplsLabel> SegmentDedupTable::lookupByLabel(Wirex::MplsLabel label) const {
    auto const hash = SegmentMplsLabel::hashOf(SegmentType::mplsLabel, label);
    return asMplsLabel(table_->lookup(hash, [label](Keel::DedupHandle const& handle) {
        auto const& segment = static_cast<SegmentMplsLabel const&>(handle);
        return segment.type() == SegmentType::mplsLabel && segment.label() == label;
    }));
}

void SegmentDedupTable::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cSegmentDedupTable: segments:%zu\n", indentCount, ' ',
              table_ ? table_->size() : 0);
}

std::string SegmentResolve::stringValue() const {
    auto const text = "segmentId: " + segmentId_.stringValue();
    return viaInfo_ ? text + ", viaInfo: " + viaInfo_->stringValue() : text;
}

void SegmentStatus::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cstatuses #%u \n", indentCount, ' ', static_cast<unsigned>(status_.size()));
    for (auto row = status_.begin(); row; row.next()) {
        ctx.print("%*c%s\n", indentCount + 2, ' ', row.value()->stringValue().c_str());
    }
}

Quor::Ptr<SegmentStatus> segmentStatusFactory() {
    return Quor::makePtr<SegmentStatus>();
}

}  // namespace SrTePolicy
