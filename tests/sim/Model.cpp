#include "tests/sim/Model.h"

#include <algorithm>

#include "tests/sim/ModelOutcome.h"
#include "tests/sim/ModelRows.h"
#include "tests/sim/Words.h"

namespace Sim {

namespace {

using Expected::Candidate;
using Expected::Outcome;
using Expected::WeightedList;
using SrTePolicy::PolicyKey;
using Wirex::MplsLabel;

std::string listsInWords(std::vector<WeightedList> const& lists) {
    std::string text;
    for (auto const& [list, weight] : lists) {
        text += words("", list->content, weight);
    }
    return text;
}

void addInputRows(Rows& rows, Outcome const& outcome) {
    for (auto const& candidate : outcome.candidates) {
        auto const& entry = *candidate.entry;
        auto const id = words(candidate.id());
        rows.push_back(words("verdict", id, candidate.reason, entry.bindingSid));
        if (!candidate.valid()) continue;
        rows.push_back(words("valid", id, entry.preference.value(), entry.originator,
                             entry.bindingSid, entry.enlp.value(), listsInWords(candidate.lists)));
    }
}

/// A policy's list is used by its own candidate alone.
void addListRows(Rows& rows, Agent::Inputs const& inputs, Outcome const& outcome) {
    for (auto const& [content, list] : outcome.lists) {
        auto const name = words(content);
        rows.push_back(words("list", name));
        if (content.isOfPolicy()) {
            rows.push_back(words("user of", name, "is", content.policyId));
            addSbfdRows(rows, inputs, list);
        }
        if (list.resolution) rows.push_back(words("status of", name, list.resolution->error));
        if (!list.usable()) continue;
        rows.push_back(words("tunnel of", name));
        for (auto const& via : list.resolution->tunnelVias) rows.back() += words("", via);
    }
}

void addSegmentRows(Rows& rows, Agent::Inputs const& inputs, Outcome const& outcome) {
    std::set<MplsLabel> labels;
    for (auto const& [content, list] : outcome.lists) {
        labels.insert(content.labels.begin(), content.labels.end());
    }
    for (auto const label : labels) {
        auto const record = Expected::segment(inputs, outcome, label);
        if (!record) continue;
        auto const& fec = record->extFecVia;
        rows.push_back(words("segment", label, record->viaType, record->overTiLfa ? "TI-LFA" : "-",
                             fec.fecId.value(), fec.labelAction));
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
            rows.push_back(words("candidate of", key, ++rank, id, entry.preference.value(),
                                 id.candidate.protocol, entry.originator,
                                 id.candidate.discriminator, entry.bindingSid, entry.enlp.value(),
                                 listsInWords(candidate->usable)));
        }
    }
}

/// A FEC by its policy and its traffic. That without explicit null serves what has none of its own.
struct FecNames {
    std::string label, v4, v6;

    FecNames(PolicyKey const& key, Expected::ExplicitNull apart) {
        auto const owner = words("FEC of", key, "for ");
        label = owner + "label" + (apart.v4 ? "" : "+v4") + (apart.v6 ? "" : "+v6");
        if (apart.v4) v4 = owner + "v4";
        if (apart.v6) v6 = owner + "v6";
    }
};

void addFecRows(Rows& rows, std::string const& name, Candidate const& active, MplsLabel label) {
    if (name.empty()) return;
    rows.push_back(words("index of", name, "is", active.id().key));
    rows.push_back(name);
    for (auto const& [list, weight] : active.usable) {
        rows.back() += words("", list->content, weight, label);
    }
}

/// The route of a binding SID and the colored RIB lead to the FEC without explicit null.
void addPublishedRows(Rows& rows, Agent::Inputs const& inputs, Candidate const& active) {
    auto const& key = active.id().key;
    auto const& entry = *active.entry;
    auto const& config = *inputs.config;
    FecNames const fecs(key, Expected::explicitNull(key, entry.enlp));

    rows.push_back(words("published", key, active.id().candidate, entry.bindingSid));
    addFecRows(rows, fecs.label, active, {});
    addFecRows(rows, fecs.v4, active, MplsLabel(0));
    addFecRows(rows, fecs.v6, active, MplsLabel(2));
    if (config.coloredRib()) {
        auto const length = key.endpoint.isV4() ? 32u : key.endpoint.isV6() ? 128u : 0u;
        rows.push_back(
            words("colored RIB", key, length, config.coloredRibPreference(), fecs.label));
    }
    if (entry.bindingSid.isNull()) return;
    // Source 24, metric 1, via type 10; the label is taken off (1) whatever lies below (5).
    rows.push_back(words("route of", entry.bindingSid, "24 1 10 1 5", fecs.label));
}

/// A route of another application wins over one of gRIBI's, and that over a policy's.
void addMergedRows(Rows& rows, Agent::Inputs const& inputs, Outcome const& outcome) {
    for (auto row = inputs.otherLfib->rows().begin(); row; row.next()) {
        rows.push_back(words("merged", row.key().topLabel(), "theirs"));
    }
    for (auto const& [label, group] : outcome.gribiRoutes) {
        if (!Expected::otherRoute(inputs, label)) rows.push_back(words("merged", label, "gRIBI's"));
    }
    for (auto const& [label, holder] : outcome.bindingSidHolder) {
        bool const beaten =
            Expected::otherRoute(inputs, label) || outcome.gribiRoutes.contains(label);
        if (!beaten) rows.push_back(words("merged", label, "ours"));
    }
}

}  // namespace

Rows expectedRows(Agent::Inputs const& inputs, Witnesses const& witnesses) {
    auto const outcome = Expected::outcome(inputs, witnesses);
    auto rows = outcome.unwarranted;
    addInputRows(rows, outcome);
    addListRows(rows, inputs, outcome);
    addTunnelMapRows(rows, inputs, outcome, witnesses);
    addGribiRows(rows, outcome);
    addSegmentRows(rows, inputs, outcome);
    addSelectionRows(rows, outcome);
    for (auto const& [key, policy] : outcome.policies) {
        if (policy.published) addPublishedRows(rows, inputs, policy.active());
    }
    addMergedRows(rows, inputs, outcome);
    std::sort(rows.begin(), rows.end());
    return rows;
}

}  // namespace Sim
