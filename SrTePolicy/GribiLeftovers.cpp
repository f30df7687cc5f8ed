#include "SrTePolicy/GribiLeftovers.h"

#include "Platform/Mpls/LfibWriter.h"

namespace Gribi {

void withdrawLeftovers(GribiOutputs const& outputs) {
    Mpls::LfibWriter(outputs.gribiProtocolInputLfib).lfibRouteDelAll();
    auto& fwdStatus = *outputs.fwdStatus;
    auto const& rows = outputs.gribiStatus->nhgToFecEntry();
    for (auto row = rows.begin(); row; row.next()) fwdStatus.fecDel(row.value());
    // A crash may have hit between a FEC and its row.
    for (auto fec = fwdStatus.fec().begin(); fec; fec.next()) {
        if (outputs.fecIdRange.has(fec.key())) fwdStatus.fecDel(fec.key());
    }
    outputs.gribiStatus->nhgToFecEntryDelAll();
    outputs.gribiNhToTunnelMap->nhToTunnelMapDelAll();
}

}  // namespace Gribi
