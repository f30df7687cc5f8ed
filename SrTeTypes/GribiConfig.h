#pragma once

#include "Platform/Export.h"
#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/Ptr.h"

namespace Gribi {

/// The configuration of gRIBI. Written by the agent.
class SRTE_EXPORT Config final : public Quor::PtrInterface {
public:
    Quor::Attribute<bool> enabled{true};
};

SRTE_EXPORT Quor::Ptr<Config> configFactory();

}  // namespace Gribi
