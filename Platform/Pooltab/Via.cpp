#include "Platform/Pooltab/Via.h"

#include "Platform/Quor/RangeError.h"

namespace Pooltab::Fib {

void ViaIndex::outOfRange() {
    throw Quor::RangeError("ViaIndex::value < ViaIndex::min or > ViaIndex::max not allowed");
}

void Via::weightTooLow() {
    throw Quor::RangeError("Via::weight < Via::minWeight not allowed");
}

std::string Via::stringValue() const {
    auto const text = "tunnel " + tunnelId_.stringValue() + " weight " + std::to_string(weight_);
    return label_.isNull() ? text : text + " label " + label_.stringValue();
}

}  // namespace Pooltab::Fib
