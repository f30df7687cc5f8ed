#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Wirex/MplsLabelStack.h"
#include "SrTeTypes/PolicyKey.h"

namespace SrTePolicy {

/// A segment list as a source asks for it: the labels to push, top first, and its share of the
/// traffic.
struct SRTE_EXPORT WeightedLabels {
    Wirex::MplsLabelOperation labels;
    std::uint32_t weight = 1;

    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend bool operator==(WeightedLabels const&, WeightedLabels const&) = default;
};

/// One candidate path as a source delivers it. An entry equal to `PolicyInputEntry(policyId)` says
/// that the source holds no such candidate.
struct SRTE_EXPORT PolicyInputEntry {
    PolicyInputEntry() = default;
    explicit PolicyInputEntry(PolicyId const& id) : policyId(id) {}

    PolicyId policyId;
    Wirex::MplsLabel bindingSid;  ///< the null label asks for none
    std::vector<WeightedLabels> segmentList;
    Enlp enlp;
    Preference preference;
    Originator originator;  ///< ranks the candidate; its identity has an originator of its own

    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend bool operator==(PolicyInputEntry const&, PolicyInputEntry const&) = default;
};

/// What one protocol's source offers. Written by the source.
class SRTE_EXPORT PolicyInput final : public Quor::PtrInterface {
public:
    using Entries = Quor::NotifyingMap<PolicyId, PolicyInputEntry>;

    explicit PolicyInput(Protocol protocol) : protocol_(protocol) {}

    Protocol protocol() const { return protocol_; }
    Entries const& policyInputEntry() const { return entries_; }
    /// The entry of `id`, or null.
    PolicyInputEntry const* policyInputEntry(PolicyId const& id) const { return entries_.find(id); }
    void policyInputEntryIs(PolicyInputEntry const& entry) {
        entries_.entryIs(entry.policyId, entry);
    }
    void policyInputEntryDel(PolicyId const& id) { entries_.entryDel(id); }
    void policyInputEntryDelAll() { entries_.entryDelAll(); }

private:
    Protocol const protocol_;
    Entries entries_;
};

/// The input of each protocol. A protocol without a row has no source.
class SRTE_EXPORT PolicyInputSource final : public Quor::PtrInterface {
public:
    using Inputs = Quor::NotifyingMap<Protocol, Quor::Ptr<PolicyInput>>;

    Inputs const& policyInput() const { return inputs_; }
    /// The input of `protocol`, or null.
    Quor::Ptr<PolicyInput> policyInput(Protocol protocol) const { return inputs_.get(protocol); }
    void policyInputIs(Quor::Ptr<PolicyInput> const& input) {
        inputs_.entryIs(input->protocol(), input);
    }
    void policyInputDel(Protocol protocol) { inputs_.entryDel(protocol); }

private:
    Inputs inputs_;
};

SRTE_EXPORT Quor::Ptr<PolicyInput> policyInputFactory(Protocol protocol);
SRTE_EXPORT Quor::Ptr<PolicyInputSource> policyInputSourceFactory();

}  // namespace SrTePolicy
