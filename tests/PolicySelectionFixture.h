#pragma once

#include <algorithm>
#include <map>
#include <optional>

#include "SrTePolicy/SrTePolicySelectionSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace SrTePolicy::Test {

using Wirex::MplsLabel;

inline PolicyKey const P = {address("192.0.2.5"), 100};
inline PolicyKey const Q = {address("192.0.2.6"), 100};

struct List {
    std::uint32_t id;
    std::uint32_t weight = 1;
};

/// A valid candidate path, as policy input hands it on.
struct Path {
    std::string name;
    std::uint32_t preference = 100;
    Protocol protocol = Protocol::config;
    Originator originator = {};
    std::uint32_t discriminator = 1;
    std::vector<List> lists = {};
    std::uint32_t bsid = MplsLabel::null;
    std::uint32_t enlp = 0;
    PolicyKey key = P;
    std::optional<Originator> named = {};  ///< in its identity; else as `originator`

    PolicyId id() const {
        auto const& source = named.value_or(originator);
        return {key, {protocol, source.address, source.as, discriminator}};
    }
};

/// Selection between policy input and publishing, both of which the test plays.
class PolicySelectionFixture : public MachineTest {
protected:
    PolicySelectionFixture() { start(); }

    void start() {
        sm = policySelectionSmFactory(config, input, users, status, ecPolicy, scheduler, fieldlog);
        sm->handleInitialized();
    }
    void settle() override {
        scheduler->runReady();
        EXPECT_TRUE(sm->drained());
    }
    // Returns what EcPolicy told since the last call.
    std::string run() { return told(); }

    void offer(std::initializer_list<Path> offered) {
        for (auto const& path : offered) offerOne(path);
    }
    // What policy input does with a valid candidate: its lists' users first, the entry last.
    void offerOne(Path const& path) {
        auto const id = path.id();
        auto const before = std::exchange(paths[id], path);
        registerLists(path);
        PolicyIdEntry entry(id, Preference(path.preference), path.originator);
        entry.bindingSid = MplsLabel(path.bsid);
        entry.enlp = Enlp(path.enlp);
        for (auto const& list : path.lists) {
            entry.wSegmentList.push_back({SegmentListId(list.id), list.weight});
        }
        entry.version = ++version;
        input->policyIdEntryIs(entry);
        for (auto const& list : before.lists) {
            bool const kept = std::ranges::any_of(
                path.lists, [&list](List const& other) { return other.id == list.id; });
            if (!kept) users->policyIdDel(SegmentListId(list.id), id);
        }
    }
    void withdraw(Path const& path) {
        for (auto const& list : path.lists) users->policyIdDel(SegmentListId(list.id), path.id());
        input->policyIdEntryDel(path.id());
        paths.erase(path.id());
    }
    void registerLists(Path const& path) {
        for (auto const& [number, weight] : path.lists) {
            SegmentListId const id(number);
            auto const* const user = users->segmentListUser(id);
            users->segmentListUserIs(
                id, user ? user->segmentList()
                         : Quor::makePtr<SegmentList>(path.id(), DistinguisherId()));
            users->policyIdIs(id, path.id());
        }
    }

    void listsAre(SegmentListResolveError error, std::initializer_list<std::uint32_t> ids) {
        for (auto const id : ids) status->statusIs(SegmentListId(id), error);
    }
    void usable(std::initializer_list<std::uint32_t> ids) {
        listsAre(SegmentListResolveError::noError, ids);
    }
    void unusable(std::initializer_list<std::uint32_t> ids) {
        listsAre(SegmentListResolveError::zeroResolvedLabels, ids);
    }
    void sbfdConfigured(PolicyKey const& key, bool configured) {
        config->policyIs({key, configured ? std::optional(PolicySbfdConfig()) : std::nullopt});
    }
    void sessionIs(std::uint32_t list, SegmentListResolveError error) {
        status->statusWithSbfdIs(Sbfd::SbfdKey::of(P, SegmentListId(list)), error);
    }

    static std::string name(PolicyKey const& key) {
        return key == P ? "P" : key == Q ? "Q" : key.stringValue();
    }
    std::string name(PolicyEntry const& entry) const {
        auto const path = paths.find(entry.policyId);
        return path == paths.end() ? entry.policyId.stringValue() : path->second.name;
    }
    // POLICY: NAME[*] LISTxWEIGHT..., best first, the active one starred.
    std::string outputs() const {
        std::string text;
        for (auto row = ecPolicy->policy().begin(); row; row.next()) {
            auto const& policy = row.value();
            std::string line;
            for (auto const& entry : policy.candidates()) {
                line = " " + name(entry) + (&entry == policy.active() ? "*" : "") + shown(entry) +
                       line;
            }
            text += name(row.key()) + ":" + line + "\n";
        }
        return text;
    }
    static std::string shown(PolicyEntry const& entry) {
        std::string text;
        for (auto const& [tunnelId, weight] : entry.wTunnelId) {
            text += " " + std::to_string(tunnelId.index()) + "x" + std::to_string(weight);
        }
        if (!entry.bindingSid.isNull()) text += " bsid " + entry.bindingSid.stringValue();
        if (entry.enlp != Enlp()) text += " enlp " + std::to_string(entry.enlp.value());
        return text + ",";
    }

    std::vector<std::string_view> reasons() const {
        std::vector<std::string_view> bestFirst;
        auto const& policy = *ecPolicy->policy(P);
        for (auto const& entry : policy.candidates()) {
            if (auto const field = losingField(entry, *policy.active())) {
                bestFirst.insert(bestFirst.begin(), losingFieldToString(*field));
            }
        }
        return bestFirst;
    }

    static std::string processed(Path const& path, char const* how) {
        return "Process policy Id: " + path.id().stringValue() + " is " + how;
    }
    Quor::Ptr<Config> config = configFactory();
    Quor::Ptr<PolicySelectionInput> input = policySelectionInputFactory();
    Quor::Ptr<SegmentListIdToPolicyMap> users = segmentListIdToPolicyMapFactory();
    Quor::Ptr<SegmentListStatus> status = segmentListStatusFactory();
    Quor::Ptr<EcPolicy> ecPolicy = ecPolicyFactory();
    Quor::Ptr<PolicySelectionSm> sm;

    std::map<PolicyId, Path> paths;
    std::uint32_t version = 0;

    Watch<PolicyKey> policyWatch{
        ecPolicy->policySubject(), [this](PolicyKey const& key) {
            log.push_back((ecPolicy->policy(key) ? "new " : "withdrawn ") + name(key));
        }};
    Watch<PolicyKey> activeWatch{
        ecPolicy->activeSubject(), [this](PolicyKey const& key) {
            auto const* const active = ecPolicy->policy(key)->active();
            log.push_back("active of " + name(key) + ": " + (active ? name(*active) : "none"));
        }};
    Watch<PolicyKey> entryWatch{ecPolicy->activeEntrySubject(), [this](PolicyKey const& key) {
                                    log.push_back("rewritten " + name(key));
                                }};
};

}  // namespace SrTePolicy::Test
