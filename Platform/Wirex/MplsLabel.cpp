#include "Platform/Wirex/MplsLabel.h"

#include "Platform/Quor/RangeError.h"

namespace Wirex {

void MplsLabel::outOfRange() {
    throw Quor::RangeError(
        "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed");
}

}  // namespace Wirex
