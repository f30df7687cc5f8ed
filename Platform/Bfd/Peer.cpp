#include "Platform/Bfd/Peer.h"

namespace Bfd {

std::string Peer::stringValue() const {
    return std::string("vrf ")
        .append(vrf.stringValue())
        .append(" tunnel ")
        .append(tunnelId.stringValue())
        .append(" discriminator ")
        .append(remoteDiscriminator.stringValue());
}

}  // namespace Bfd
