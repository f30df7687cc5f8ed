#pragma once

#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Pooltab/ForwardingStatus.h"
#include "Platform/Quor/Ptr.h"
#include "SrTePolicy/SrTePolicyFecIdRange.h"
#include "SrTeTypes/GribiStatus.h"

namespace Gribi {

/// Everything that gRIBI's machines write, and that outlives the agent.
struct SRTE_EXPORT GribiOutputs {
    Quor::Ptr<GribiStatus> gribiStatus;
    Quor::Ptr<NhToTunnelMap> gribiNhToTunnelMap;
    Quor::Ptr<Mpls::LfibStatus> gribiProtocolInputLfib;
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus;
    SrTePolicy::FecIdRange fecIdRange;
};

/// Withdraws what an earlier run left, while no machine of gRIBI runs: routes, FECs, their rows,
/// the tunnel map, in this order.
SRTE_EXPORT void withdrawLeftovers(GribiOutputs const& outputs);

}  // namespace Gribi
