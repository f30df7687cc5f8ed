#include "tests/sim/ModelOutcome.h"
#include "tests/sim/ModelRows.h"
#include "tests/sim/Words.h"

namespace Sim {

void addTunnelMapRows(Rows& rows, Agent::Inputs const& inputs, Expected::Outcome const& outcome,
                      Witnesses const& witnesses) {
    for (auto const& [content, list] : outcome.lists) {
        if (!content.isOfPolicy()) continue;
        rows.push_back(words("owner of", content, "is", content.policyId.key));
    }
    for (auto const& [tunnelId, key] : witnesses.formerOwner) {
        bool const counted = inputs.tunnelCounters->tunnelCounter(tunnelId);
        if (!counted && !witnesses.countersArePolled) continue;
        rows.push_back(words("former owner of", tunnelId.stringValue(), "was", key));
    }
}

}  // namespace Sim
