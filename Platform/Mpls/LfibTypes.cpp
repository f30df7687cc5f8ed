#include "Platform/Mpls/LfibTypes.h"

#include "Platform/Quor/RangeError.h"

namespace Mpls {

void LfibViaIndexRange::outOfRange() {
    throw Quor::RangeError(
        "LfibViaIndexRange::value < LfibViaIndexRange::min or > LfibViaIndexRange::max not "
        "allowed");
}

}  // namespace Mpls
