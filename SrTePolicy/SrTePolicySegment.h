#pragma once

#include <compare>
#include <cstdint>
#include <ostream>
#include <string>

#include "Platform/Keel/Dedup.h"
#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTePolicy/LifeTimeNotifying.h"
#include "SrTePolicy/SrTePolicySegmentResolver.h"

namespace SrTePolicy {

/// The identity of an interned segment: handed out from 1 upward, never reused; 0 is not assigned.
class SRTE_EXPORT SegmentId {
public:
    constexpr SegmentId() = default;
    explicit constexpr SegmentId(std::uint32_t value) : value_(value) {}
    constexpr std::uint32_t value() const { return value_; }
    std::string stringValue() const { return std::to_string(value_); }

    friend constexpr auto operator<=>(SegmentId, SegmentId) = default;
    friend std::ostream& operator<<(std::ostream& out, SegmentId id) { return out << id.value_; }

private:
    std::uint32_t value_ = 0;
};

/// The kinds of segment (RFC 9256, 4): type A, an MPLS label, is the only one here.
enum class SegmentType : std::uint32_t { unset = 0, mplsLabel = 1 };

/// "mplsLabel", or the number.
SRTE_EXPORT std::string segmentTypeToString(SegmentType type);

class SegmentLifeTimeNotifier;
class SegmentDedupTable;

/// One SID of segment lists, interned: equal segments are one object.
class SRTE_EXPORT SegmentBase : public Keel::DedupHandle {
public:
    explicit SegmentBase(SegmentType type) : type_(type) {}

    SegmentId segmentId() const { return segmentId_; }
    void segmentIdIs(SegmentId id) { segmentId_ = id; }
    SegmentType type() const { return type_; }
    /// Null until interned, and again once removed.
    SegmentLifeTimeNotifier const* segmentLifeTimeNotifier() const { return notifier_; }
    void segmentLifeTimeNotifierIs(SegmentLifeTimeNotifier const* notifier) {
        notifier_ = notifier;
    }

    bool compare(Keel::DedupHandle const* other) const override;
    virtual Quor::Ptr<SegmentResolveResult const> resolveSegment(
        Quor::Ptr<SegmentResolver const> const& resolver) const;
    virtual bool segmentCompare(SegmentBase const* other) const;
    /// "Id: N, Type: T".
    virtual std::string stringValue() const;

private:
    SegmentId segmentId_;
    SegmentType const type_;
    SegmentLifeTimeNotifier const* notifier_ = nullptr;
};

class SRTE_EXPORT SegmentMplsLabel final : public SegmentBase {
public:
    SegmentMplsLabel(SegmentType type, Wirex::MplsLabel label) : SegmentBase(type), label_(label) {}

    Wirex::MplsLabel label() const { return label_; }

    std::uint32_t hash() const override { return hashOf(type(), label_); }
    bool segmentCompare(SegmentBase const* other) const override;
    Quor::Ptr<SegmentResolveResult const> resolveSegment(
        Quor::Ptr<SegmentResolver const> const& resolver) const override;
    std::string stringValue() const override;

    /// The interned segment with this content: this one when the table has no equal one.
    Quor::Ptr<SegmentMplsLabel> dedup(SegmentDedupTable const* table);
    /// Likewise, or null; never inserts.
    Quor::Ptr<SegmentMplsLabel> lookup(SegmentDedupTable const* table) const;

    /// Jenkins' one-at-a-time hash over type and label, little-endian.
    static std::uint32_t hashOf(SegmentType type, Wirex::MplsLabel label);

private:
    Wirex::MplsLabel const label_;
};

/// A new segment that is not interned yet.
SRTE_EXPORT Quor::Ptr<SegmentMplsLabel> segmentMplsLabelFactory(SegmentType type,
                                                                Wirex::MplsLabel label);

/// Stands for one live segment in the notifying collection.
class SRTE_EXPORT SegmentLifeTimeNotifier final : public Keel::DedupHandleLifeTimeNotifier {
public:
    using DedupHandleLifeTimeNotifier::DedupHandleLifeTimeNotifier;
    /// Not owning.
    SegmentBase* segmentRawPtr() const { return static_cast<SegmentBase*>(handle()); }
    std::string toStrep() const;
};

/// The live segments. Written by the lifetime notifiee alone.
class SRTE_EXPORT NotifyingSegmentCollection final
    : public NotifyingHandleCollection<SegmentId, SegmentLifeTimeNotifier> {
public:
    Notifiers const& segmentNotifier() const { return notifiers(); }
    /// Whether it stands for a live segment.
    bool segmentNotifier(NotifierPtr const& notifier) const;
    void segmentNotifierIs(NotifierPtr const& notifier);
    void segmentNotifierDel(NotifierPtr const& notifier);
    void segmentNotifierDelAll() { notifierDelAll(); }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;
};

/// Gives each new segment its identity and keeps the collection equal to the table's content.
class SRTE_EXPORT SegmentLifeTimeNotifiee final : public Keel::DedupHashTableLifeTimeNotifiee {
public:
    explicit SegmentLifeTimeNotifiee(Quor::Ptr<NotifyingSegmentCollection> collection)
        : notifyingSegmentCollection_(std::move(collection)) {}

    void handleInsert(Quor::Ptr<Keel::DedupHandle> const& handle) const override;
    void handleRemove(Keel::DedupHandle* handle) const override;
    void handleNotificationStop(Quor::Ptr<Keel::DedupHashTable const> const& table) const override;

private:
    Quor::Ptr<NotifyingSegmentCollection> const notifyingSegmentCollection_;
};

/// The interned segments.
class SRTE_EXPORT SegmentDedupTable final : public Quor::PtrInterface {
public:
    explicit SegmentDedupTable(Quor::Ptr<SegmentLifeTimeNotifiee const> notifiee)
        : lifeTimeNotifiee_(std::move(notifiee)) {}
    /// What is still interned leaves the notifying collection.
    ~SegmentDedupTable() override;

    void handleInitialized();

    /// The interned segment of type `mplsLabel` with `label`, or null. Neither inserts nor
    /// allocates: it is asked about every route change.
    Quor::Ptr<SegmentMplsLabel> lookupByLabel(Wirex::MplsLabel label) const;

    Quor::Ptr<Keel::DedupHashTable> const& dedupHashTable() const { return table_; }
    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Quor::Ptr<SegmentLifeTimeNotifiee const> const lifeTimeNotifiee_;
    Quor::Ptr<Keel::DedupHashTable> table_;
};

/// How one segment resolves.
class SRTE_EXPORT SegmentResolve final : public Quor::PtrInterface {
public:
    SegmentResolve(SegmentId id, Quor::Ptr<SegmentViaInfo const> viaInfo)
        : segmentId_(id), viaInfo_(std::move(viaInfo)) {}

    SegmentId segmentId() const { return segmentId_; }
    /// Null when the segment has no usable via.
    Quor::Ptr<SegmentViaInfo const> const& viaInfo() const { return viaInfo_; }
    bool resolvedOverTiLfa() const { return resolvedOverTiLfa_; }
    void resolvedOverTiLfaIs(bool overTiLfa) { resolvedOverTiLfa_ = overTiLfa; }

    std::string stringValue() const;

private:
    SegmentId const segmentId_;
    Quor::Ptr<SegmentViaInfo const> const viaInfo_;
    bool resolvedOverTiLfa_ = false;
};

/// The resolution of every live segment, by `SegmentId`. Every write is told, also of an equal
/// record: it is the only sign by which readers learn that a TI-LFA tunnel below the route changed.
/// Written by `SegmentSm` alone; new in every run of the agent.
class SRTE_EXPORT SegmentStatus final : public Quor::PtrInterface {
public:
    using Status = Quor::NotifyingDenseMap<SegmentId, Quor::Ptr<SegmentResolve const>,
                                           Quor::WriteRule::notifyAlways>;

    Status const& status() const { return status_; }
    /// The record, or null.
    Quor::Ptr<SegmentResolve const> status(SegmentId id) const { return status_.get(id); }
    void statusIs(Quor::Ptr<SegmentResolve const> const& record) {
        status_.entryIs(record->segmentId(), record);
    }
    void statusDel(SegmentId id) { status_.entryDel(id); }
    void statusDelAll() { status_.entryDelAll(); }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Status status_;
};

SRTE_EXPORT Quor::Ptr<SegmentStatus> segmentStatusFactory();

}  // namespace SrTePolicy
