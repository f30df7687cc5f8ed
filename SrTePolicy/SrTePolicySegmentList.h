#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/InlineVector.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/SmallSet.h"
#include "Platform/Wirex/MplsLabelStack.h"
#include "SrTePolicy/SrTePolicySegment.h"
#include "SrTeTypes/PolicyKey.h"
#include "SrTeTypes/SegmentListId.h"

namespace SrTePolicy {

class SegmentListLifeTimeNotifier;
class SegmentListDedupTable;

/// An ordered stack of at most eight segments that one candidate path asks for, interned: equal
/// content of one owner is one object. The segments are interned too, so that content is compared
/// by address.
class SRTE_EXPORT SegmentList final : public Keel::DedupHandle {
public:
    static constexpr std::uint32_t maxSize = Wirex::MplsStackEntryIndex::max + 1;

    SegmentList(PolicyId const& policyId, DistinguisherId distinguisherId)
        : policyId_(policyId), distinguisherId_(distinguisherId) {}

    /// The interned list of `labels`, top first, for `policyId`. Throws RangeError for more than
    /// eight labels; then nothing was interned.
    static Quor::Ptr<SegmentList const> createDedup(
        Quor::Ptr<SegmentListDedupTable const> const& listTable,
        Quor::Ptr<SegmentDedupTable const> const& segmentTable,
        Wirex::MplsLabelOperation const& labels, PolicyId const& policyId,
        DistinguisherId distinguisherId);
    /// Likewise, for any stack of labels.
    static Quor::Ptr<SegmentList const> createDedup(
        Quor::Ptr<SegmentListDedupTable const> const& listTable,
        Quor::Ptr<SegmentDedupTable const> const& segmentTable,
        std::span<Wirex::MplsLabel const> labels, PolicyId const& policyId,
        DistinguisherId distinguisherId);

    SegmentListId segmentListId() const { return segmentListId_; }
    void segmentListIdIs(SegmentListId id) { segmentListId_ = id; }
    std::uint32_t size() const { return size_; }
    PolicyId const& policyId() const { return policyId_; }
    DistinguisherId distinguisherId() const { return distinguisherId_; }
    /// Null until interned, and again once removed.
    SegmentListLifeTimeNotifier const* segmentListLifeTimeNotifier() const { return notifier_; }
    void segmentListLifeTimeNotifierIs(SegmentListLifeTimeNotifier const* notifier) {
        notifier_ = notifier;
    }

    /// The segment at `index`, 0 the top; null beyond `size`. Throws RangeError above 7.
    Quor::Ptr<SegmentBase const> const& segment(std::uint32_t index) const;
    /// The label of a segment that must be there. Throws RangeError above 7.
    Wirex::MplsLabel segmentLabel(std::uint32_t index) const;
    /// Setters, of a list that is not interned. They throw RangeError above 7.
    void segmentIs(std::uint32_t index, Quor::Ptr<SegmentBase const> segment);
    void segmentDel(std::uint32_t index);
    void segmentDelAll();

    std::uint32_t hash() const override;
    bool compare(Keel::DedupHandle const* other) const override;
    bool segmentListCompare(SegmentList const* other) const;
    /// "segmentListId: N, size: N, segmentIds: a b c".
    std::string stringValue() const;
    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    using Segments = std::array<Quor::Ptr<SegmentBase const>, maxSize>;

    static std::uint32_t hashOf(Segments const& segments, PolicyId const& policyId,
                                DistinguisherId distinguisherId);
    bool holds(Segments const& segments, PolicyId const& policyId,
               DistinguisherId distinguisherId) const;

    SegmentListId segmentListId_;
    std::uint32_t size_ = 0;
    Segments segment_;
    PolicyId policyId_;
    DistinguisherId distinguisherId_;
    SegmentListLifeTimeNotifier const* notifier_ = nullptr;
};

/// Stands for one live list in the notifying collection.
class SRTE_EXPORT SegmentListLifeTimeNotifier final : public Keel::DedupHandleLifeTimeNotifier {
public:
    using DedupHandleLifeTimeNotifier::DedupHandleLifeTimeNotifier;
    /// Not owning.
    SegmentList* segmentListRawPtr() const { return static_cast<SegmentList*>(handle()); }
    std::string toStrep() const;
};

/// The live segment lists. Written by the lifetime notifiee alone.
class SRTE_EXPORT NotifyingSegmentListCollection final
    : public NotifyingHandleCollection<SegmentListId, SegmentListLifeTimeNotifier> {
public:
    Notifiers const& segmentListNotifier() const { return notifiers(); }
    /// Whether it stands for a live list.
    bool segmentListNotifier(NotifierPtr const& notifier) const;
    void segmentListNotifierIs(NotifierPtr const& notifier);
    void segmentListNotifierDel(NotifierPtr const& notifier);
    void segmentListNotifierDelAll() { notifierDelAll(); }

    /// The live list with this identity, not owning, or null.
    SegmentList const* segmentList(SegmentListId id) const;

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;
};

/// Gives each new list its identity and keeps the collection equal to the table's content.
class SRTE_EXPORT SegmentListLifeTimeNotifiee final : public Keel::DedupHashTableLifeTimeNotifiee {
public:
    explicit SegmentListLifeTimeNotifiee(Quor::Ptr<NotifyingSegmentListCollection> collection)
        : notifyingSegmentListCollection_(std::move(collection)) {}

    void handleInsert(Quor::Ptr<Keel::DedupHandle> const& handle) const override;
    void handleRemove(Keel::DedupHandle* handle) const override;
    void handleNotificationStop(Quor::Ptr<Keel::DedupHashTable const> const& table) const override;

private:
    Quor::Ptr<NotifyingSegmentListCollection> const notifyingSegmentListCollection_;
};

/// The interned segment lists.
class SRTE_EXPORT SegmentListDedupTable final : public Quor::PtrInterface {
public:
    explicit SegmentListDedupTable(Quor::Ptr<SegmentListLifeTimeNotifiee const> notifiee)
        : lifeTimeNotifiee_(std::move(notifiee)) {}
    /// What is still interned leaves the notifying collection.
    ~SegmentListDedupTable() override;

    void handleInitialized();

    Quor::Ptr<Keel::DedupHashTable> const& dedupHashTable() const { return table_; }
    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Quor::Ptr<SegmentListLifeTimeNotifiee const> const lifeTimeNotifiee_;
    Quor::Ptr<Keel::DedupHashTable> table_;
};

/// The candidates that use one list; it keeps the list alive. Nearly every list has exactly one.
class SRTE_EXPORT SegmentListUser {
public:
    using PolicyIds = Quor::SmallSet<PolicyId, 1>;

    SegmentListUser(SegmentListId id, Quor::Ptr<SegmentList const> list)
        : segmentListId_(id), segmentList_(std::move(list)) {}

    SegmentListId segmentListId() const { return segmentListId_; }
    Quor::Ptr<SegmentList const> const& segmentList() const { return segmentList_; }
    PolicyIds const& policyId() const { return policyIds_; }
    /// Whether one of them is a candidate of the policy.
    bool hasPolicy(PolicyKey const& key) const;
    /// False when nothing changed.
    bool policyIdIs(PolicyId const& id) { return policyIds_.insert(id); }
    bool policyIdDel(PolicyId const& id) { return policyIds_.erase(id); }
    void policyIdDelAll() { policyIds_.clear(); }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    SegmentListId segmentListId_;
    Quor::Ptr<SegmentList const> segmentList_;
    PolicyIds policyIds_;
};

/// One candidate's use of one list.
struct SRTE_EXPORT SegmentListUse {
    SegmentListId segmentListId;
    PolicyId policyId;
};

/// Which candidates use each list. A list stays interned while it has a row here. Written by
/// `PolicyInputSm` alone; new in every run of the agent.
class SRTE_EXPORT SegmentListIdToPolicyMap final : public Quor::PtrInterface {
public:
    using Users = Quor::DenseMap<SegmentListId, SegmentListUser>;

    Users const& segmentListUser() const { return users_; }
    /// Null when absent; valid until the row goes.
    SegmentListUser const* segmentListUser(SegmentListId id) const { return users_.find(id); }
    /// Whether a candidate of the policy uses the list.
    bool hasPolicy(SegmentListId id, PolicyKey const& key) const;
    /// The policies whose candidates use the list, each once and in order.
    Quor::InlineVector<PolicyKey, 1> policies(SegmentListId id) const;
    /// The list of every row that came or went, or whose users changed.
    Quor::Subject<SegmentListId> const& segmentListUserSubject() const { return subject_; }
    /// Every candidate that came to a list or left it, also together with the row.
    Quor::Subject<SegmentListUse> const& useSubject() const { return useSubject_; }

    /// Creates the row when it is missing. Another list under the same identity is a programming
    /// error.
    void segmentListUserIs(SegmentListId id, Quor::Ptr<SegmentList const> const& list);
    void segmentListUserDel(SegmentListId id);
    void segmentListUserDelAll();
    /// Of a row that must exist; false when nothing changed.
    bool policyIdIs(SegmentListId id, PolicyId const& policyId);
    /// False when the row or the candidate in it is absent.
    bool policyIdDel(SegmentListId id, PolicyId const& policyId);

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    void notify(SegmentListUse const& use);

    Users users_;
    Quor::Subject<SegmentListId> subject_;
    Quor::Subject<SegmentListUse> useSubject_;
};

SRTE_EXPORT Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMapFactory();

}  // namespace SrTePolicy
