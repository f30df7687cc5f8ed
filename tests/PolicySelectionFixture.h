#pragma once

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Keel/Clock.h"
#include "SrTePolicy/SrTePolicySelectionSm.h"

namespace SrTePolicy::Test {

using Wirex::MplsLabel;

inline Wirex::IpGenAddr address(char const* text) {
    return Wirex::IpGenAddr::parse(text).value_or(Wirex::IpGenAddr());
}
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
class PolicySelectionFixture : public testing::Test, Duallog::Sink {
protected:
    PolicySelectionFixture()
        : policyReactor(ecPolicy->policySubject(), this,
                        [](PolicySelectionFixture& self, PolicyKey const& key) {
                            bool const there = self.ecPolicy->policy(key);
                            self.log.push_back((there ? "new " : "withdrawn ") + name(key));
                        }),
          activeReactor(ecPolicy->activeSubject(), this,
                        [](PolicySelectionFixture& self, PolicyKey const& key) {
                            auto const* const active = self.ecPolicy->policy(key)->active();
                            self.log.push_back("active of " + name(key) + ": " +
                                               (active ? self.name(*active) : "none"));
                        }),
          entryReactor(ecPolicy->activeEntrySubject(), this,
                       [](PolicySelectionFixture& self, PolicyKey const& key) {
                           self.log.push_back("rewritten " + name(key));
                       }) {
        Duallog::primarySinkIs(this);
        start();
    }

    // A restart with unchanged inputs writes nothing.
    void TearDown() override {
        if (restartsHitless) {
            run();
            auto const before = selected();
            restart();
            EXPECT_EQ(run(), "");
            EXPECT_EQ(selected(), before);
        }
        Duallog::reset();
    }

    void start() {
        sm = policySelectionSmFactory(config, input, users, status, ecPolicy, scheduler, fieldlog);
        sm->handleInitialized();
    }
    void crash() { sm = nullptr; }  // nothing is withdrawn
    void restart() {
        crash();
        users->segmentListUserDelAll();
        for (auto const& [id, path] : paths) registerLists(path);
        start();
    }
    // Returns what EcPolicy told since the last call.
    std::string run() {
        scheduler->runReady();
        EXPECT_TRUE(sm->drained());
        std::string told;
        for (auto const& event : std::exchange(log, {})) told += (told.empty() ? "" : "; ") + event;
        return told;
    }

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
        config->policyIs({key, configured ? std::optional(SbfdSettings()) : std::nullopt});
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
    std::string selected() const {
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
    void traceIs(int level) {
        Fastlog::levelMaskIs("SrTePolicySelectionSm", 1u << level);
        traces.clear();
    }
    void line(Fastlog::Facility const&, int, double, std::string_view text) override {
        traces.emplace_back(text);
    }

    Keel::VirtualClock clock;
    Quor::Ptr<Keel::TaskScheduler> scheduler = Quor::makePtr<Keel::TaskScheduler>(clock);
    Quor::Ptr<Keel::FieldlogSm> fieldlog = Quor::makePtr<Keel::FieldlogSm>();
    Quor::Ptr<Config> config = configFactory();
    Quor::Ptr<PolicySelectionInput> input = policySelectionInputFactory();
    Quor::Ptr<SegmentListIdToPolicyMap> users = segmentListIdToPolicyMapFactory();
    Quor::Ptr<SegmentListStatus> status = segmentListStatusFactory();
    Quor::Ptr<EcPolicy> ecPolicy = ecPolicyFactory();
    Quor::Ptr<PolicySelectionSm> sm;

    std::map<PolicyId, Path> paths;
    std::uint32_t version = 0;
    bool restartsHitless = true;
    std::vector<std::string> log;
    std::vector<std::string> traces;

    Quor::Reactor<PolicyKey> policyReactor;
    Quor::Reactor<PolicyKey> activeReactor;
    Quor::Reactor<PolicyKey> entryReactor;
};

}  // namespace SrTePolicy::Test
