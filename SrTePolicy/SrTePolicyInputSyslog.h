#pragma once

#include "Platform/Mpls/Config.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"

namespace SrTePolicy {

/// The last label of the range; 0 for an empty one.
SRTE_EXPORT std::uint32_t lastLabel(Mpls::LabelRange const& range);

/// Tells the operator why a candidate is unusable. A configured candidate without segment lists is one that
/// is still being typed, and says nothing.
SRTE_EXPORT void emitInvalidPolicySyslog(PolicyInputEntry const& entry, PolicyInvalidReason reason,
                                         Mpls::LabelRange const& srlb);

}  // namespace SrTePolicy
