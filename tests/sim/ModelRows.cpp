#include <algorithm>

#include "tests/sim/Model.h"
#include "tests/sim/TableWalk.h"
#include "tests/sim/Words.h"

namespace Sim::Expected {

namespace {

using SrTePolicy::PolicyKey;
using Wirex::MplsLabel;

std::string listsInWords(std::vector<WeightedList> const& lists) {
    std::string text;
    for (auto const& [list, weight] : lists) text += words("", list->content, weight);
    return text;
}

void addInputRows(Rows& rows, Outcome const& outcome) {
    for (auto const& candidate : outcome.candidates) {
        auto const& entry = *candidate.entry;
        auto const id = words(candidate.id());
        rows.push_back(words("verdict", id, candidate.reason, entry.bindingSid));
        if (!candidate.valid()) continue;
        rows.push_back(words("valid", id, entry.preference, entry.originator, entry.bindingSid,
                             entry.enlp, listsInWords(candidate.lists)));
    }
}

/// A list has a combined status while it has one at all: S-BFD only takes away what is usable.
void addSbfdRows(Rows& rows, List const& list, std::string const& name, Agent::Inputs const& in) {
    using SrTePolicy::SegmentListResolveError;
    auto const& key = list.content.policyId.key;
    if (list.resolution) {
        bool const down = list.usable() && list.sessionDown;
        auto const error = down ? SegmentListResolveError::sbfdDown : list.resolution->error;
        rows.push_back(words("status for", key, "of", name, error));
    }
    auto const* const settings = sbfdSettings(in, key);
    if (!settings) return;
    auto const discriminator = settings->remoteDiscriminator;
    auto const timers = sbfdTimers(in, *settings);
    rows.push_back(words("S-BFD for", key, "of", name, *settings));
    rows.push_back(words("session default SrTePolicy", name, discriminator, timers));
}

/// A policy's list is used by its own candidate alone, and its tunnel is the policy's.
void addListRows(Rows& rows, Outcome const& outcome) {
    for (auto const& [content, list] : outcome.lists) {
        auto const name = words(content);
        rows.push_back(words("list", name));
        if (content.isOfPolicy()) {
            rows.push_back(words("user of", name, "is", content.policyId));
            rows.push_back(words("owner of", name, "is", content.policyId.key));
            addSbfdRows(rows, list, name, outcome.inputs);
        }
        if (list.resolution) rows.push_back(words("status of", name, list.resolution->error));
        if (!list.usable()) continue;
        rows.push_back(words("tunnel of", name));
        for (auto const& via : list.resolution->tunnelVias) rows.back() += words("", via);
    }
}

/// A tunnel that has been a policy's is so while it has a counter.
void addFormerOwnerRows(Rows& rows, Outcome const& outcome) {
    for (auto const& [tunnelId, key] : outcome.witnesses.formerOwner) {
        bool const counted = outcome.inputs.tunnelCounters->tunnelCounter(tunnelId);
        if (!counted && !outcome.witnesses.countersArePolled) continue;
        rows.push_back(words("former owner of", tunnelId, "was", key));
    }
}

void addSegmentRows(Rows& rows, Outcome const& outcome) {
    std::set<MplsLabel> labels;
    for (auto const& [content, list] : outcome.lists) {
        auto const& stack = content.labels;
        for (std::size_t i = 0; i < stack.size(); ++i) labels.insert(stack.label(i));
    }
    for (auto const label : labels) {
        auto const record = segment(outcome, label);
        if (!record) continue;
        auto const& fec = record->extFecVia;
        rows.push_back(words("segment", label, record->viaType, record->overTiLfa ? "TI-LFA" : "-",
                             fec.fecId, fec.labelAction));
        for (auto const& via : record->vias) rows.back() += words("", via);
    }
}

void addSelectionRows(Rows& rows, Outcome const& outcome) {
    for (auto const& [key, policy] : outcome.policies) {
        rows.push_back(words("active of", key, policy.active().id()));
        std::uint32_t rank = 0;
        for (auto const* const candidate : policy.candidates) {
            auto const& entry = *candidate->entry;
            auto const& id = entry.policyId;
            rows.push_back(words("candidate of", key, ++rank, id, entry.preference,
                                 id.candidate.protocol, entry.originator,
                                 id.candidate.discriminator, entry.bindingSid, entry.enlp,
                                 listsInWords(candidate->usable)));
        }
    }
}

/// Which unlabelled traffic gets an explicit null, and so a FEC of its own (RFC 9830, 2.4.5).
struct ExplicitNull {
    ExplicitNull(PolicyKey const& key, std::uint32_t enlp)
        : v4(enlp == 0 ? !key.endpoint.isV4() : enlp == 1 || enlp == 3),
          v6(enlp == 0 ? !key.endpoint.isV6() : enlp == 2 || enlp == 3) {}
    bool v4, v6;
};

void addFecRows(Rows& rows, std::string const& name, Candidate const& active, MplsLabel label) {
    rows.push_back(words("index of", name, "is", active.id().key));
    rows.push_back(name);
    for (auto const& [list, weight] : active.usable) {
        rows.back() += words("", list->content, weight, label);
    }
}

/// The FEC without explicit null serves what traffic has none of its own; the route of a binding
/// SID and the colored RIB lead to it.
void addPublishedRows(Rows& rows, Agent::Inputs const& inputs, Candidate const& active) {
    auto const& key = active.id().key;
    auto const& entry = *active.entry;
    auto const owner = words("FEC of", key, "for ");
    ExplicitNull const apart(key, entry.enlp.value());
    auto const fec = owner + "label" + (apart.v4 ? "" : "+v4") + (apart.v6 ? "" : "+v6");

    rows.push_back(words("published", key, active.id().candidate, entry.bindingSid));
    addFecRows(rows, fec, active, {});
    if (apart.v4) addFecRows(rows, owner + "v4", active, MplsLabel(0));
    if (apart.v6) addFecRows(rows, owner + "v6", active, MplsLabel(2));
    if (inputs.config->coloredRib()) {
        auto const length = key.endpoint.isV4() ? 32u : key.endpoint.isV6() ? 128u : 0u;
        auto const preference = inputs.config->coloredRibPreference();
        rows.push_back(words("colored RIB", key, length, preference, fec));
    }
    if (entry.bindingSid.isNull()) return;
    // Source 24, metric 1, via type 10; the label is taken off (1) whatever lies below (5).
    rows.push_back(words("route of", entry.bindingSid, "24 1 10 1 5", fec));
}

void addGribiRows(Rows& rows, Outcome const& outcome) {
    for (auto const& [id, list] : outcome.nextHops) {
        if (list->resolution) rows.push_back(words("next hop", id, "in", list->content));
    }
    for (auto const& [id, members] : outcome.groups) {
        rows.push_back(words("group", id));
        std::set<std::string> vias;
        for (auto const& [nextHop, weight] : members) {
            vias.insert(words("", outcome.nextHops.at(nextHop)->content, weight, "-"));
        }
        rows.push_back(words("FEC of group", id));
        for (auto const& via : vias) rows.back() += via;
    }
    // Source 1, metric 1, via type 10; the label is taken off (1) whatever lies below (5).
    for (auto const& [label, group] : outcome.gribiRoutes) {
        rows.push_back(words("route of gRIBI's", label, "1 1 10 1 5 FEC of group", group));
    }
}

/// A route of another application wins over one of gRIBI's, and that over a policy's.
void addMergedRows(Rows& rows, Outcome const& outcome) {
    std::map<MplsLabel, char const*> winner;
    for (auto const& [label, holder] : outcome.bindingSidHolder) winner[label] = "ours";
    for (auto const& [label, group] : outcome.gribiRoutes) winner[label] = "gRIBI's";
    for (auto const& [key, row] : each(outcome.inputs.otherLfib->rows())) {
        winner[key.topLabel()] = "theirs";
    }
    for (auto const& [label, whose] : winner) rows.push_back(words("merged", label, whose));
}

}  // namespace

Rows rows(Outcome const& outcome) {
    auto rows = outcome.unwarranted;
    addInputRows(rows, outcome);
    addListRows(rows, outcome);
    addFormerOwnerRows(rows, outcome);
    addGribiRows(rows, outcome);
    addSegmentRows(rows, outcome);
    addSelectionRows(rows, outcome);
    for (auto const& [key, policy] : outcome.policies) {
        if (policy.published) addPublishedRows(rows, outcome.inputs, policy.active());
    }
    addMergedRows(rows, outcome);
    std::ranges::sort(rows);
    return rows;
}

}  // namespace Sim::Expected
