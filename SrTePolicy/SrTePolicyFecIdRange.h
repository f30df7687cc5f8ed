#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Keel/NumAllocator.h"
#include "Platform/Pooltab/FecId.h"
#include "Platform/Quor/Ptr.h"

namespace SrTePolicy {

/// The FEC identifiers that the agent set aside for one publisher, from `min` to `max`. An index is
/// OR-ed into `min`, so two indexes make two identifiers only if the low 32 bits of `min` are zero;
/// what lies above them tells publishers apart and fits 44 bits.
struct SRTE_EXPORT FecIdRange {
    Pooltab::Fib::FecId min;
    Pooltab::Fib::FecId max;

    /// `min | index` with the adjacency type of policy FECs. A negative index is a programming
    /// error; `max` is not looked at.
    Pooltab::Fib::FecId indexToFecId(std::int64_t index) const;
    /// Adjacency types do not count.
    bool has(Pooltab::Fib::FecId fecId) const {
        return fecId.masked() >= min.masked() && fecId.masked() <= max.masked();
    }

    std::string stringValue() const;
    /// The reverse of `stringValue`; throws RangeError for any other text.
    static FecIdRange fromString(std::string_view text);

    friend bool operator==(FecIdRange const&, FecIdRange const&) = default;
};

class NumAllocatorForFecId;

/// The only way to make an allocator; its notification is on.
SRTE_EXPORT Quor::Ptr<NumAllocatorForFecId> NumAllocatorForFecIdIs(FecIdRange fecIdRange);

/// Hands out the identifiers of one range to one publisher. An identifier that was released is held
/// back for 300 seconds: readers of the forwarding tables may still name it.
///
/// Until `initializeNumAllocator` nothing can be allocated, reserved or released.
class SRTE_EXPORT NumAllocatorForFecId final : public Quor::PtrInterface {
public:
    FecIdRange const& fecIdRange() const { return fecIdRange_; }

    /// Makes the three objects below for the whole 32-bit number space, timed by the activity
    /// clock.
    void initializeNumAllocator();

    /// The lowest identifier that is free. That none is left is a programming error.
    Pooltab::Fib::FecId allocateFecId();
    /// Takes an identifier that a table names already; its type and the bits of `min` in its low
    /// word do not matter.
    void reserveFecId(Pooltab::Fib::FecId fecId);
    void releaseFecId(Pooltab::Fib::FecId fecId);

    /// The number allocator, its configuration and its state; null before they are made. Each `Is`
    /// returns the existing object if that was made of the same things, else makes a new one.
    Quor::Ptr<Keel::NumAllocator> const& numAllocator() const { return numAllocator_; }
    Quor::Ptr<Keel::NumAllocator> numAllocatorIs(Quor::Ptr<Keel::NumAllocatorConfig const> config,
                                                 Quor::Ptr<Keel::NumAllocatorStatus> status,
                                                 Quor::Ptr<Keel::TimerWheel const> clock);
    void numAllocatorDel();

    Quor::Ptr<Keel::NumAllocatorConfig> const& numAllocatorConfig() const {
        return numAllocatorConfig_;
    }
    Quor::Ptr<Keel::NumAllocatorConfig> numAllocatorConfigIs(Keel::Range range);
    void numAllocatorConfigDel() { numAllocatorConfig_ = nullptr; }

    Quor::Ptr<Keel::NumAllocatorStatus> const& numAllocatorStatus() const {
        return numAllocatorStatus_;
    }
    Quor::Ptr<Keel::NumAllocatorStatus> numAllocatorStatusIs();
    void numAllocatorStatusDel() { numAllocatorStatus_ = nullptr; }

    /// Off at construction; given to every number allocator made here, whose hold-backs end only
    /// while it is on.
    void notificationIs(bool on);

private:
    friend Quor::Ptr<NumAllocatorForFecId> NumAllocatorForFecIdIs(FecIdRange);
    explicit NumAllocatorForFecId(FecIdRange fecIdRange) : fecIdRange_(fecIdRange) {}

    std::uint64_t number(Pooltab::Fib::FecId fecId) const;

    FecIdRange const fecIdRange_;
    Quor::Ptr<Keel::NumAllocator> numAllocator_;
    Quor::Ptr<Keel::NumAllocatorConfig> numAllocatorConfig_;
    Quor::Ptr<Keel::NumAllocatorStatus> numAllocatorStatus_;
    bool notification_ = false;
};

}  // namespace SrTePolicy
