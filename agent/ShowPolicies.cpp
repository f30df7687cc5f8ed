#include "agent/ShowPolicies.h"

#include <algorithm>
#include <map>

#include "agent/ScenarioValues.h"
#include "agent/ShowForwarding.h"
#include "agent/ShowSegments.h"

namespace Agent {

namespace {

using namespace SrTePolicy;

/// Whether a FEC can hold the candidate's tunnels.
bool publishable(PolicyEntry const& entry) {
    using Pooltab::Fib::Via;
    using Pooltab::Fib::ViaIndex;
    auto const& tunnels = entry.wTunnelId;
    return tunnels.size() <= ViaIndex::max + 1 &&
           std::all_of(tunnels.begin(), tunnels.end(),
                       [](auto const& tunnel) { return tunnel.weight >= Via::minWeight; });
}

char const* invalidReasonText(PolicyInvalidReason reason) {
    switch (reason) {
        case PolicyInvalidReason::bsidOutOfRange: return "bsid-out-of-range";
        case PolicyInvalidReason::bsidMissing: return "bsid-missing";
        case PolicyInvalidReason::bsidInUse: return "bsid-in-use";
        case PolicyInvalidReason::noSegmentLists: return "no-segment-lists";
        case PolicyInvalidReason::usable: break;
    }
    return "usable";
}

/// As files write it: "bgp 65001 192.0.2.9 7".
std::string fromText(CandidateId const& id) {
    std::string protocol;
    switch (id.protocol) {
        case Protocol::pcep: protocol = "pcep"; break;
        case Protocol::bgp: protocol = "bgp"; break;
        case Protocol::config: protocol = "config"; break;
        default: protocol = std::to_string(static_cast<std::uint32_t>(id.protocol));
    }
    return protocol + " " + std::to_string(id.originatorAs) + " " + id.originator.stringValue() +
           " " + std::to_string(id.discriminator);
}

/// One policy, as what is published and what the machines last made of its candidates.
class PolicyView {
public:
    PolicyView(Host const& host, PolicyKey const& key)
        : host_(host),
          key_(key),
          published_(host.tables().policyStatus->policyStatusEntry().find(key)) {
        auto const* const policy = host.tables().ecPolicy->policy(key);
        selected_ = policy ? policy->active() : nullptr;
    }

    Json row() const {
        Json row{{"state", published_ ? "up" : "down"}};
        if (published_) {
            row["active"] = host_.filePolicies().candidateName({key_, published_->candidate});
            if (!published_->bindingSid.isNull()) row["bsid"] = published_->bindingSid.value();
        } else if (auto const* const reason = downReason()) {
            row["reason"] = reason;
        }
        if (seen() || published_ || hasNoCandidate()) row["candidates"] = candidates();
        return row;
    }

private:
    bool seen() const { return machines().tables().policyKeyToIdMap->hasPolicy(key_); }
    bool hasNoCandidate() const {
        auto const* const record = host_.filePolicies().policy(key_);
        return !seen() && record && record->candidates.empty();
    }

    /// Null when the machines have not come to it yet.
    char const* downReason() const {
        if (hasNoCandidate()) return "no-candidate";
        if (!seen()) return nullptr;
        if (!selected_) return "no-usable-candidate";
        return publishable(*selected_) ? "bsid-conflict" : "not-publishable";
    }

    Json candidates() const {
        auto rows = Json::object();
        for (auto const* const record : host_.filePolicies().seenCandidates(key_)) {
            auto const* const info = machines().tables().policyKeyToIdMap->candidate(record->id());
            if (info) rows[record->name] = candidate(*record, info->reason);
        }
        return rows;
    }

    Json candidate(CandidateRecord const& record, PolicyInvalidReason invalid) const {
        bool const valid = invalid == PolicyInvalidReason::usable;
        Json row;
        if (!valid) {
            row = {{"state", "unusable"}, {"reason", invalidReasonText(invalid)}};
        } else if (published_ && published_->candidate == record.id().candidate) {
            row = {{"state", "active"}};
        } else {
            row = unpublished(record.id().candidate);
        }
        row["preference"] = record.entry.preference.value();
        row["from"] = fromText(record.id().candidate);
        if (!record.entry.bindingSid.isNull()) row["bsid"] = record.entry.bindingSid.value();
        row["lists"] = lists(record, valid);
        return row;
    }

    /// A valid candidate that is not the published one.
    Json unpublished(CandidateId const& id) const {
        auto const* const policy = host_.tables().ecPolicy->policy(key_);
        auto const* const entry = policy ? policy->candidate(id) : nullptr;
        if (!entry) return {{"state", "unusable"}, {"reason", "no-usable-list"}};
        Json row{{"state", "usable"}};
        if (entry == selected_) {
            if (auto const* const reason = published_ ? nullptr : downReason()) {
                row["reason"] = reason;
            }
        } else if (auto const lost = selected_ ? losingField(*entry, *selected_) : std::nullopt) {
            row["reason"] = losingFieldToString(*lost);
        }
        return row;
    }

    /// The lists of a valid candidate are in the selection input, in the source's order; those of
    /// any other are not interned.
    Json lists(CandidateRecord const& record, bool valid) const {
        auto const* const entry =
            valid ? host_.tables().selectionInput->policyIdEntry(record.id()) : nullptr;
        auto rows = Json::object();
        for (std::size_t i = 0; i < record.listNames.size(); ++i) {
            auto const& [labels, weight] = record.entry.segmentList[i];
            Json row{{"state", "idle"}};
            if (entry && i < entry->wSegmentList.size()) {
                auto const id = entry->wSegmentList[i].segmentListId;
                row = {{"state", listStateText(listStatus(host_.tables(), key_, id))},
                       {"id", id.value()}};
            }
            row["labels"] = labelsJson(labels.stack);
            row["weight"] = weight;
            rows[record.listNames[i]] = row;
        }
        return rows;
    }

    Machines const& machines() const { return *host_.machines(); }

    Host const& host_;
    PolicyKey const key_;
    PolicyStatusEntry const* const published_;
    PolicyEntry const* selected_ = nullptr;
};

void addPolicy(Host const& host, PolicyKey const& key, Rows& rows) {
    rows.add(policyKeyText(key), PolicyView(host, key).row());
}

}  // namespace

void showPolicies(Host const& host, Rows& rows) {
    if (!host.machines()) return;
    auto const& published = host.tables().policyStatus->policyStatusEntry();
    auto const& file = host.filePolicies();
    if (rows.key()) {
        auto const key = parsePolicyKey(*rows.key()).value();
        if (file.policy(key) || published.has(key)) addPolicy(host, key, rows);
        return;
    }
    for (auto const* const record : file.present()) addPolicy(host, record->key(), rows);
    for (auto row = published.begin(); row; row.next()) {
        if (!file.policy(row.key())) addPolicy(host, row.key(), rows);
    }
}

void showBindingSids(Host const& host, Rows& rows) {
    if (!host.machines()) return;
    std::map<Wirex::MplsLabel, PolicyKey> holders;
    std::map<Wirex::MplsLabel, std::vector<PolicyKey>> waiting;
    auto const& published = host.tables().policyStatus->policyStatusEntry();
    for (auto row = published.begin(); row; row.next()) {
        auto const bsid = row.value().bindingSid;
        if (!bsid.isNull()) holders[bsid] = row.key();
    }
    auto const& selected = host.tables().ecPolicy->policy();
    for (auto row = selected.begin(); row; row.next()) {
        auto const* const active = row.value().active();
        bool const refused = active && !active->bindingSid.isNull() && !published.has(row.key());
        if (refused && publishable(*active)) waiting[active->bindingSid].push_back(row.key());
    }
    for (auto const& [bsid, holder] : holders) {
        auto const label = bsid.stringValue();
        if (!rows.wants(label)) continue;
        Json row{{"policy", policyKeyText(holder)}, {"waiting", Json::array()}};
        for (auto const& key : waiting[bsid]) row["waiting"].push_back(policyKeyText(key));
        rows.add(label, row);
    }
}

}  // namespace Agent
