#include "tests/sim/ModelOutcome.h"
#include "tests/sim/ModelRows.h"
#include "tests/sim/Words.h"

namespace Sim {

namespace {

using SrTePolicy::PolicySbfdConfig;
using SrTePolicy::SegmentListResolveError;

/// The S-BFD settings of a policy, or null. A list is that of one policy, and so is its session.
PolicySbfdConfig const* settingsOf(Agent::Inputs const& inputs, SrTePolicy::PolicyKey const& key) {
    auto const* const policy = inputs.config->policy(key);
    return policy && policy->sbfd ? &*policy->sbfd : nullptr;
}

/// What a session runs with.
Bfd::Timers timersOf(Agent::Inputs const& inputs, PolicySbfdConfig const& settings) {
    auto const global = inputs.bfdGlobal->timers();
    if (settings.interval.value() == 0) return global;
    bool const own = settings.multiplier.value() != 0;
    return {settings.interval, own ? settings.multiplier : global.multiplier};
}

}  // namespace

bool Expected::sessionDown(Agent::Inputs const& inputs, Witnesses const& witnesses,
                           ListContent const& content) {
    auto const* const settings = settingsOf(inputs, content.policyId.key);
    auto const id = witnesses.listId.find(content);
    if (!settings || id == witnesses.listId.end()) return false;
    auto const* const state = inputs.bfdPeers->operState(
        {L3::VrfName("default"), id->second.getTunnelId(), settings->remoteDiscriminator});
    return state && *state == Bfd::OperState::down;
}

void addSbfdRows(Rows& rows, Agent::Inputs const& inputs, Expected::List const& list) {
    auto const& key = list.content.policyId.key;
    auto const name = words(list.content);
    if (list.resolution) {
        bool const down = list.usable() && list.sessionDown;
        rows.push_back(words("status for", key, "of", name,
                             down ? SegmentListResolveError::sbfdDown : list.resolution->error));
    }
    auto const* const settings = settingsOf(inputs, key);
    if (!settings) return;
    auto const timers = timersOf(inputs, *settings);
    auto const discriminator = settings->remoteDiscriminator.value();
    rows.push_back(words("S-BFD for", key, "of", name, settings->interval.value(),
                         settings->multiplier.value(), discriminator));
    rows.push_back(words("session default SrTePolicy", name, discriminator, timers.interval.value(),
                         timers.multiplier.value()));
}

}  // namespace Sim
