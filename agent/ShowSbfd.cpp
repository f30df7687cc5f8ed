#include "agent/ShowSbfd.h"

#include "agent/ScenarioValues.h"

namespace Agent {

namespace {

using SrTePolicy::PolicyKey;
using SrTePolicy::SegmentListId;

char const* stateText(Bfd::OperState state) {
    switch (state) {
        case Bfd::OperState::down: return "down";
        case Bfd::OperState::init: return "init";
        case Bfd::OperState::up: return "up";
        case Bfd::OperState::adminDown: break;
    }
    return "admin-down";
}

/// Null when the list has no session.
Json sessionJson(Tables const& tables, PolicyKey const& key, SegmentListId id) {
    auto const asked = tables.sbfdInputConfig->config(SrTePolicy::Sbfd::SbfdKey::of(key, id));
    if (!asked) return nullptr;
    auto const session = sbfdSession(id, asked->remoteDiscriminator);
    auto const* const timers = tables.bfdSessions->session(session);
    if (!timers) return nullptr;
    Json row = Json::object();
    if (auto const* const state = tables.bfdPeers->operState(session.peer)) {
        row["state"] = stateText(*state);
    }
    row["interval"] = timers->interval.stringValue() + "ms";
    row["multiplier"] = timers->multiplier.value();
    row["discriminator"] = asked->remoteDiscriminator.value();
    return row;
}

void addPolicy(Host const& host, PolicyKey const& key, Rows& rows) {
    for (auto const* const candidate : host.filePolicies().seenCandidates(key)) {
        for (std::size_t i = 0; i < candidate->listNames.size(); ++i) {
            auto const name = ListName{key, candidate->name, candidate->listNames[i]}.text();
            if (!rows.wants(name)) continue;
            auto const id = segmentListId(host.tables(), candidate->id(), candidate->labels(i));
            auto row = id ? sessionJson(host.tables(), key, *id) : nullptr;
            if (!row.is_null()) rows.add(name, std::move(row));
        }
    }
}

}  // namespace

void showSbfd(Host const& host, Rows& rows) {
    if (rows.key()) return addPolicy(host, parseListName(*rows.key()).value().policy, rows);
    for (auto const& key : host.filePolicies().everNamed()) addPolicy(host, key, rows);
}

}  // namespace Agent
