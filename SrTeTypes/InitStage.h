#pragma once

#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/Ptr.h"

namespace SrTePolicy {

/// How far the start of the agent has come; new in every run.
class SRTE_EXPORT InitStage final : public Quor::PtrInterface {
public:
    /// The S-BFD configuration of every policy has been processed.
    Quor::Attribute<bool> const& sbfdReady() const { return sbfdReady_; }
    void sbfdReadyIs(bool ready) { sbfdReady_.valueIs(ready); }

private:
    Quor::Attribute<bool> sbfdReady_{false};
};

SRTE_EXPORT Quor::Ptr<InitStage> initStageFactory();

}  // namespace SrTePolicy
