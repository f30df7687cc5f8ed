#pragma once

#include <cstdint>
#include <vector>

namespace Bench {

// Each prints its table; `sizes` ascend.

/// The policy path, by policies.
void benchPolicies(std::vector<std::uint32_t> const& sizes);
/// The two S-BFD machines, by policies with settings.
void benchSbfd(std::vector<std::uint32_t> const& sizes);
/// gRIBI, by next hops.
void benchGribi(std::vector<std::uint32_t> const& sizes);

}  // namespace Bench
