#include "Platform/Mpls/Config.h"

#include "Platform/Quor/RangeError.h"

namespace Mpls {

void LabelRange::outOfRange() {
    throw Quor::RangeError("LabelRange::base > Wirex::MplsLabel::max not allowed");
}

}  // namespace Mpls
