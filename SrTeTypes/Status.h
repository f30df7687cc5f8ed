#pragma once

#include "Platform/Export.h"
#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/Ptr.h"

namespace SrTePolicy {

/// The status of the SR-TE agent itself. Written by the agent.
class SRTE_EXPORT Status final : public Quor::PtrInterface {
public:
    Quor::Attribute<bool> enabled{true};
};

SRTE_EXPORT Quor::Ptr<Status> statusFactory();

}  // namespace SrTePolicy
