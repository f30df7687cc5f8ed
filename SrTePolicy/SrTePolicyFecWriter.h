#pragma once

#include <span>
#include <vector>

#include "Platform/Pooltab/ForwardingStatus.h"
#include "Platform/Quor/Ptr.h"
#include "SrTePolicy/SrTePolicyFecIdRange.h"
#include "SrTeTypes/EcPolicy.h"
#include "SrTeTypes/PolicyStatus.h"

namespace SrTePolicy {

/// Writes the FECs of one policy after the other, and owns their identifiers.
///
/// A policy has a FEC whose vias are the tunnels of its segment lists, and for a family whose
/// unlabelled traffic needs an explicit null (RFC 9830, 2.4.5) one more whose vias carry that
/// label.
class SRTE_EXPORT PolicyFecWriter {
public:
    PolicyFecWriter(FecIdRange fecIdRange,
                    Quor::Ptr<Pooltab::Fib::ForwardingStatus> const& fwdStatus);

    /// Before anything below.
    void initializeNumAllocator() { numAllocator_->initializeNumAllocator(); }
    /// Deletes the FECs of the range that have no row, and keeps those that have one from being
    /// allocated again.
    void reserveFecIds(PolicyStatus::FecIdToPolicyKey const& rows);

    /// What the FECs written next lead to. Throws RangeError for more tunnels than a FEC can have
    /// and for a weight of 0; nothing else here fails, so that a policy is refused before anything
    /// of it is written.
    void viasAre(std::span<WeightedTunnelId const> wTunnelId);

    /// Write one FEC each and return its identifier, which is the one in `old` where that still
    /// serves. The family ones return `labelFecId` where no explicit null is needed. What `old`
    /// names besides is the caller's to delete, once nothing names it any more.
    Pooltab::Fib::FecId labelFecId(PolicyStatusEntry const& old);
    Pooltab::Fib::FecId v4FecId(Wirex::IpGenAddr const& endpoint, Enlp enlp,
                                PolicyStatusEntry const& old, Pooltab::Fib::FecId labelFecId);
    Pooltab::Fib::FecId v6FecId(Wirex::IpGenAddr const& endpoint, Enlp enlp,
                                PolicyStatusEntry const& old, Pooltab::Fib::FecId labelFecId);

    /// Also gives the identifier back.
    void deleteSrTePolicyFec(Pooltab::Fib::FecId fecId);

private:
    bool inRange(Pooltab::Fib::FecId fecId) const;
    Pooltab::Fib::FecId getFecId(Pooltab::Fib::FecId oldFecId, Wirex::MplsLabel expNullLabel);
    void createSrTePolicyFecEntry(Pooltab::Fib::FecId fecId, Wirex::MplsLabel expNullLabel);
    bool hasFecViaLabel(Pooltab::Fib::FecId fecId, Wirex::MplsLabel label) const;

    Quor::Ptr<Pooltab::Fib::ForwardingStatus> const fwdStatus_;
    Quor::Ptr<NumAllocatorForFecId> const numAllocator_;
    std::vector<Pooltab::Fib::Via> vias_;
};

}  // namespace SrTePolicy
