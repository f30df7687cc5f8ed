#pragma once

#include "Platform/Mpls/Config.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"

namespace SrTePolicy {

/// Tells the operator why a candidate is unusable; `srlb` is the range that its binding SID was
/// held against. A configured candidate without segment lists is one that is still being typed, and
/// is not told.
SRTE_EXPORT void emitInvalidPolicySyslog(PolicyInputEntry const& entry, PolicyInvalidReason reason,
                                         Mpls::LabelRange const& srlb);

}  // namespace SrTePolicy
