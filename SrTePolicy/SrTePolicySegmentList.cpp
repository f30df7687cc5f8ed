#include "SrTePolicy/SrTePolicySegmentList.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Quor/RangeError.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicySegmentList");

std::uint32_t checkedIndex(std::uint32_t index) {
    return Wirex::MplsStackEntryIndex(index).value();
}

// Checked before anything is interned, so that a list too long leaves no trace.
std::uint32_t checkedSize(std::size_t size) {
    if (size > SegmentList::maxSize) checkedIndex(SegmentList::maxSize);
    return static_cast<std::uint32_t>(size);
}

Quor::Ptr<SegmentBase const> internSegment(SegmentDedupTable const& table, Wirex::MplsLabel label) {
    if (auto interned = table.lookupByLabel(label)) return interned;
    return segmentMplsLabelFactory(SegmentType::mplsLabel, label)->dedup(&table);
}

}  // namespace

Quor::Ptr<SegmentList const> SegmentList::createDedup(
    Quor::Ptr<SegmentListDedupTable const> const& listTable,
    Quor::Ptr<SegmentDedupTable const> const& segmentTable, Wirex::MplsLabelOperation const& labels,
    PolicyId const& policyId, DistinguisherId distinguisherId) {
    std::array<Wirex::MplsLabel, Wirex::BoundedMplsLabelStack::capacity> copy;
    for (std::size_t i = 0; i < labels.stack.size(); ++i) copy[i] = labels.stack.label(i);
    return createDedup(listTable, segmentTable, std::span(copy.data(), labels.stack.size()),
                       policyId, distinguisherId);
}

Quor::Ptr<SegmentList const> SegmentList::createDedup(
    Quor::Ptr<SegmentListDedupTable const> const& listTable,
    Quor::Ptr<SegmentDedupTable const> const& segmentTable,
    std::span<Wirex::MplsLabel const> labels, PolicyId const& policyId,
    DistinguisherId distinguisherId) {
    auto const size = checkedSize(labels.size());
    Segments segments;
    for (std::uint32_t i = 0; i < size; ++i) segments[i] = internSegment(*segmentTable, labels[i]);

    // Most calls of a restart or a rewrite find the list: probed before anything is allocated.
    auto const hash = hashOf(segments, policyId, distinguisherId);
    auto* const equal = listTable->dedupHashTable()->lookup(hash, [&](auto const& handle) {
        return static_cast<SegmentList const&>(handle).holds(segments, policyId, distinguisherId);
    });
    if (equal) return static_cast<SegmentList const*>(equal);

    auto const list = Quor::makePtr<SegmentList>(policyId, distinguisherId);
    list->segment_ = std::move(segments);
    list->size_ = size;
    return static_cast<SegmentList const*>(listTable->dedupHashTable()->dedup(list.get()).get());
}

Quor::Ptr<SegmentBase const> const& SegmentList::segment(std::uint32_t index) const {
    return segment_[checkedIndex(index)];
}

Wirex::MplsLabel SegmentList::segmentLabel(std::uint32_t index) const {
    auto const& found = segment(index);
    QUOR_ASSERT(found, "segment(index)");
    return static_cast<SegmentMplsLabel const*>(found.get())->label();
}

void SegmentList::segmentIs(std::uint32_t index, Quor::Ptr<SegmentBase const> segment) {
    QUOR_ASSERT(!isDeduped(), "!isDeduped()");
    auto& place = segment_[checkedIndex(index)];
    if (!place) ++size_;
    place = std::move(segment);
}

void SegmentList::segmentDel(std::uint32_t index) {
    QUOR_ASSERT(!isDeduped(), "!isDeduped()");
    auto& place = segment_[checkedIndex(index)];
    if (place) --size_;
    place = nullptr;
}

void SegmentList::segmentDelAll() {
    for (std::uint32_t i = 0; i < maxSize; ++i) segmentDel(i);
}

std::uint32_t SegmentList::hash() const {
    return hashOf(segment_, policyId_, distinguisherId_);
}

// The distinguisher takes part: a million next hops with one stack have one owner between them.
std::uint32_t SegmentList::hashOf(Segments const& segments, PolicyId const& policyId,
                                  DistinguisherId distinguisherId) {
    constexpr std::uint64_t odd = 0x9E3779B97F4A7C15u;
    std::uint64_t mixed = distinguisherId.value() * odd;
    for (auto const& segment : segments) {
        if (!segment) break;
        mixed = (mixed ^ segment->segmentId().value()) * odd;
        mixed ^= mixed >> 29;
    }
    mixed = policyId.hash(mixed);
    return static_cast<std::uint32_t>(mixed ^ mixed >> 32);
}

bool SegmentList::compare(Keel::DedupHandle const* other) const {
    return segmentListCompare(static_cast<SegmentList const*>(other));
}

bool SegmentList::segmentListCompare(SegmentList const* other) const {
    return other->holds(segment_, policyId_, distinguisherId_);
}

bool SegmentList::holds(Segments const& segments, PolicyId const& policyId,
                        DistinguisherId distinguisherId) const {
    return segment_ == segments && distinguisherId_ == distinguisherId && policyId_ == policyId;
}

std::string SegmentList::stringValue() const {
    auto text = "segmentListId: " + segmentListId_.stringValue() +
                ", size: " + std::to_string(size_) + ", segmentIds:";
    for (auto const& segment : segment_) {
        if (segment) text += " " + segment->segmentId().stringValue();
    }
    return text;
}

void SegmentList::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*csegments #%u [", indentCount, ' ', size_);
    for (auto const& segment : segment_) {
        if (segment) ctx.print("%*c%u", indentCount, ' ', segment->segmentId().value());
    }
    ctx.print("%*c]", indentCount, ' ');
    ctx.print("segmentListId: %u size: %u \n", segmentListId_.value(), size_);
}

std::string SegmentListLifeTimeNotifier::toStrep() const {
    return handle() ? segmentListRawPtr()->stringValue() : "";
}

bool NotifyingSegmentListCollection::segmentListNotifier(NotifierPtr const& notifier) const {
    auto const* const list = notifier->segmentListRawPtr();
    auto const* const row = list ? notifiers().find(list->segmentListId()) : nullptr;
    return row && *row == notifier;
}

void NotifyingSegmentListCollection::segmentListNotifierIs(NotifierPtr const& notifier) {
    notifierIs(notifier->segmentListRawPtr()->segmentListId(), notifier);
}

void NotifyingSegmentListCollection::segmentListNotifierDel(NotifierPtr const& notifier) {
    notifierDel(notifier->segmentListRawPtr()->segmentListId());
}

SegmentList const* NotifyingSegmentListCollection::segmentList(SegmentListId id) const {
    auto const* const row = notifiers().find(id);
    return row ? (*row)->segmentListRawPtr() : nullptr;
}

void NotifyingSegmentListCollection::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cNotifyingSegmentListCollection: uniqueIds:%d\n", indentCount, ' ',
              static_cast<int>(uniqueId()().value()));
}

void SegmentListLifeTimeNotifiee::handleInsert(Quor::Ptr<Keel::DedupHandle> const& handle) const {
    auto* const segmentList = static_cast<SegmentList*>(handle.get());
    QUOR_ASSERT(!segmentList->segmentListLifeTimeNotifier(),
                "__null == segmentList->segmentListLifeTimeNotifier()");
    segmentList->segmentListIdIs(notifyingSegmentListCollection_->uniqueIdInc(1));
    SRTE_TRACE(7, "Next SL ID: " << segmentList->segmentListId());
    auto const notifier = Quor::makePtr<SegmentListLifeTimeNotifier const>(segmentList);
    segmentList->segmentListLifeTimeNotifierIs(notifier.get());
    try {
        notifyingSegmentListCollection_->segmentListNotifierIs(notifier);
    } catch (...) {
        // One that the collection has no memory for goes now: nothing may name it any more.
        if (!notifyingSegmentListCollection_->segmentListNotifier(notifier))
            segmentList->segmentListLifeTimeNotifierIs(nullptr);
        throw;
    }
}

void SegmentListLifeTimeNotifiee::handleRemove(Keel::DedupHandle* handle) const {
    auto* const segmentList = static_cast<SegmentList*>(handle);
    Quor::Ptr<SegmentListLifeTimeNotifier const> const lifeTimeNotifier(
        segmentList->segmentListLifeTimeNotifier());
    QUOR_ASSERT(lifeTimeNotifier, "__null != lifeTimeNotifier");
    notifyingSegmentListCollection_->segmentListNotifierDel(lifeTimeNotifier);
    segmentList->segmentListLifeTimeNotifierIs(nullptr);
    lifeTimeNotifier->handleDel();
}

void SegmentListLifeTimeNotifiee::handleNotificationStop(
    Quor::Ptr<Keel::DedupHashTable const> const&) const {
    auto const& notifiers = notifyingSegmentListCollection_->segmentListNotifier();
    for (auto row = notifiers.begin(); row; row.next()) {
        handleRemove(row.value()->segmentListRawPtr());
    }
}

SegmentListDedupTable::~SegmentListDedupTable() {
    if (table_) table_->notificationStop();
}

void SegmentListDedupTable::handleInitialized() {
    if (table_) return;
    table_ = CoreDedupTables::createDedupHashTable();
    table_->lifeTimeNotifieeIs(lifeTimeNotifiee_);
}

void SegmentListDedupTable::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cSegmentListDedupTable: segmentLists:%zu\n", indentCount, ' ',
              table_ ? table_->size() : 0);
}

bool SegmentListUser::hasPolicy(PolicyKey const& key) const {
    PolicyId found;
    return policyIds_.atOrAfter(PolicyId::lowest(key), found) && found.key == key;
}

void SegmentListUser::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cPolicyIds #%u \n", indentCount, ' ', static_cast<unsigned>(policyId().size()));
    policyId().forEach([&ctx, indentCount](PolicyId const& id) {
        ctx.print("%*c%s\n", indentCount + 2, ' ', id.stringValue().c_str());
    });
}

bool SegmentListIdToPolicyMap::hasPolicy(SegmentListId id, PolicyKey const& key) const {
    auto const* const user = users_.find(id);
    return user && user->hasPolicy(key);
}

Quor::InlineVector<PolicyKey, 1> SegmentListIdToPolicyMap::policies(SegmentListId id) const {
    Quor::InlineVector<PolicyKey, 1> keys;
    auto const* const user = users_.find(id);
    if (!user) return keys;
    user->policyId().forEach([&keys](PolicyId const& policyId) {
        if (keys.empty() || *(keys.end() - 1) != policyId.key) keys.push_back(policyId.key);
    });
    return keys;
}

void SegmentListIdToPolicyMap::segmentListUserIs(SegmentListId id,
                                                 Quor::Ptr<SegmentList const> const& list) {
    auto const [user, inserted] = users_.tryEmplace(id, id, list);
    QUOR_ASSERT(user->segmentList() == list, "user->segmentList() == list");
    if (inserted) subject_.notify(id);
}

void SegmentListIdToPolicyMap::segmentListUserDel(SegmentListId id) {
    auto* const user = users_.find(id);
    if (!user) return;
    // The last reference may fall here: machines that hear of the list's death find no row any
    // more.
    SegmentListUser const last(std::move(*user));
    users_.erase(id);
    subject_.notify(id);
    last.policyId().forEach([this, id](PolicyId const& policyId) {
        useSubject_.notify({id, policyId});
    });
}

void SegmentListIdToPolicyMap::segmentListUserDelAll() {
    for (auto row = users_.begin(); row; row.next()) segmentListUserDel(row.key());
}

bool SegmentListIdToPolicyMap::policyIdIs(SegmentListId id, PolicyId const& policyId) {
    auto* const user = users_.find(id);
    QUOR_ASSERT(user, "user");
    if (!user->policyIdIs(policyId)) return false;
    notify({id, policyId});
    return true;
}

bool SegmentListIdToPolicyMap::policyIdDel(SegmentListId id, PolicyId const& policyId) {
    auto* const user = users_.find(id);
    if (!user || !user->policyIdDel(policyId)) return false;
    notify({id, policyId});
    return true;
}

void SegmentListIdToPolicyMap::notify(SegmentListUse const& use) {
    subject_.notify(use.segmentListId);
    useSubject_.notify(use);
}

void SegmentListIdToPolicyMap::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*csegmentListUsers #%u \n", indentCount, ' ', static_cast<unsigned>(users_.size()));
    for (auto row = users_.begin(); row; row.next()) {
        std::string ids;
        row.value().policyId().forEach(
            [&ids](PolicyId const& id) { ids += (ids.empty() ? "" : " ") + id.stringValue(); });
        ctx.print("%*cSegmentListId: %u size: %u policyId: %s\n", indentCount + 2, ' ',
                  row.key().value(), static_cast<unsigned>(row.value().policyId().size()),
                  ids.c_str());
    }
}

Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMapFactory() {
    return Quor::makePtr<SegmentListIdToPolicyMap>();
}

}  // namespace SrTePolicy
