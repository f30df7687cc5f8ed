#include "SrTePolicy/SrTePolicyFecWriter.h"

#include <algorithm>
#include <utility>

#include "Platform/Fastlog/Trace.h"

namespace SrTePolicy {
namespace {

using Pooltab::Fib::Fec;
using Pooltab::Fib::FecId;
using Pooltab::Fib::Via;
using Pooltab::Fib::ViaIndex;
using Wirex::MplsLabel;

Fastlog::Facility traceFacility("SrTePolicyFecWriter");

// Not given: a packet of the endpoint's own family is taken for granted at the far end; one of the
// other family has to say what it is.
bool needsV4ExpNullLabel(Wirex::IpGenAddr const& endpoint, Enlp enlp) {
    if (enlp == Enlp::notGiven()) return !endpoint.isV4();
    return enlp == Enlp::ipv4() || enlp == Enlp::both();
}

bool needsV6ExpNullLabel(Wirex::IpGenAddr const& endpoint, Enlp enlp) {
    if (enlp == Enlp::notGiven()) return !endpoint.isV6();
    return enlp == Enlp::ipv6() || enlp == Enlp::both();
}

}  // namespace

PolicyFecWriter::PolicyFecWriter(FecIdRange fecIdRange,
                                 Quor::Ptr<Pooltab::Fib::ForwardingStatus> const& fwdStatus)
    : fwdStatus_(fwdStatus), numAllocator_(NumAllocatorForFecIdIs(fecIdRange)) {}

bool PolicyFecWriter::inRange(FecId fecId) const {
    return numAllocator_->fecIdRange().has(fecId);
}

void PolicyFecWriter::reserveFecIds(PolicyStatus::FecIdToPolicyKey const& rows) {
    for (auto fec = fwdStatus_->fec().begin(); fec; fec.next()) {
        if (inRange(fec.key()) && !rows.has(fec.key())) fwdStatus_->fecDel(fec.key());
    }
    for (auto row = rows.begin(); row; row.next()) numAllocator_->reserveFecId(row.key());
}

void PolicyFecWriter::viasAre(std::span<WeightedTunnelId const> wTunnelId) {
    vias_.clear();
    for (auto const& [tunnelId, weight] : wTunnelId) {
        static_cast<void>(ViaIndex(vias_.size()));
        vias_.emplace_back(tunnelId, weight);
    }
}

FecId PolicyFecWriter::labelFecId(PolicyStatusEntry const& old) {
    auto const fecId = old.labelFecId.isNone() ? numAllocator_->allocateFecId() : old.labelFecId;
    createSrTePolicyFecEntry(fecId, MplsLabel());
    return fecId;
}

FecId PolicyFecWriter::v4FecId(Wirex::IpGenAddr const& endpoint, Enlp enlp,
                               PolicyStatusEntry const& old, FecId labelFecId) {
    if (!needsV4ExpNullLabel(endpoint, enlp)) return labelFecId;
    return getFecId(old.v4FecId, MplsLabel::explicitNullV4());
}

FecId PolicyFecWriter::v6FecId(Wirex::IpGenAddr const& endpoint, Enlp enlp,
                               PolicyStatusEntry const& old, FecId labelFecId) {
    if (!needsV6ExpNullLabel(endpoint, enlp)) return labelFecId;
    return getFecId(old.v6FecId, MplsLabel::explicitNullV6());
}

FecId PolicyFecWriter::getFecId(FecId oldFecId, MplsLabel expNullLabel) {
    auto const fecId =
        hasFecViaLabel(oldFecId, expNullLabel) ? oldFecId : numAllocator_->allocateFecId();
    createSrTePolicyFecEntry(fecId, expNullLabel);
    return fecId;
}

void PolicyFecWriter::createSrTePolicyFecEntry(FecId fecId, MplsLabel expNullLabel) {
    SRTE_TRACE(7, "Creating policy fecId: " << fecId);
    Fec fec(fecId);
    std::uint64_t index = 0;
    for (auto via : vias_) {
        SRTE_TRACE(7, "Adding tunnelId: " << via.tunnelId());
        via.labelIs(expNullLabel);
        fec.viaIs(ViaIndex(index++), via);
    }
    fwdStatus_->fecCommit(std::move(fec));
}

// A FEC without explicit null has no via of such a label, so that the shared identifier of a policy
// never passes for a variant.
bool PolicyFecWriter::hasFecViaLabel(FecId fecId, MplsLabel label) const {
    auto const* const fec = fwdStatus_->fec(fecId);
    return fec && std::ranges::any_of(fec->vias(),
                                      [label](Via const& via) { return via.label() == label; });
}

void PolicyFecWriter::deleteSrTePolicyFec(FecId fecId) {
    SRTE_TRACE(7, "Delete policy fecId: " << fecId);
    fwdStatus_->fecDel(fecId);
    numAllocator_->releaseFecId(fecId);
}

}  // namespace SrTePolicy
