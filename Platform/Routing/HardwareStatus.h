#pragma once

#include <cstdint>
#include <optional>

#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/Ptr.h"

namespace Routing::Hardware {

/// What the forwarding hardware can do.
class Status final : public Quor::PtrInterface {
public:
    using MaxLabelPushDepth = std::optional<std::uint8_t>;

    /// The most labels that one lookup can push (the base MPLS imposition MSD of RFC 8491, 4);
    /// without a value nothing is known, and depths go unchecked.
    Quor::Attribute<MaxLabelPushDepth> maxLabelPushDepth;
};

}  // namespace Routing::Hardware
