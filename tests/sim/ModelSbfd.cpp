#include "tests/sim/Model.h"

namespace Sim::Expected {

SrTePolicy::PolicySbfdConfig const* sbfdSettings(Agent::Inputs const& inputs,
                                                 SrTePolicy::PolicyKey const& key) {
    auto const* const policy = inputs.config->policy(key);
    return policy && policy->sbfd ? &*policy->sbfd : nullptr;
}

Bfd::Timers sbfdTimers(Agent::Inputs const& inputs, SrTePolicy::PolicySbfdConfig const& settings) {
    auto const global = inputs.bfdGlobal->timers();
    if (settings.interval.value() == 0) return global;
    bool const own = settings.multiplier.value() != 0;
    return {settings.interval, own ? settings.multiplier : global.multiplier};
}

bool sessionDown(Outcome const& outcome, ListContent const& list) {
    auto const* const settings = sbfdSettings(outcome.inputs, list.policyId.key);
    auto const id = outcome.witnesses.listId.find(list);
    if (!settings || id == outcome.witnesses.listId.end()) return false;
    auto const* const state = outcome.inputs.bfdPeers->operState(
        {L3::VrfName("default"), id->second.getTunnelId(), settings->remoteDiscriminator});
    return state && *state == Bfd::OperState::down;
}

}  // namespace Sim::Expected
