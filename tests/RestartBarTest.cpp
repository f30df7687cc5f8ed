#include <memory>
#include <set>

#include "agent/Machines.h"
#include "tests/support/Routes.h"
#include "tests/support/SurvivingWrites.h"

namespace {

using namespace SrTePolicy;

/// A router with policies of every kind: published with and without explicit nulls, without a
/// binding SID, refused one, invalid, unresolved, too deep, over a protected label, and watched by
/// S-BFD with peers that are up and down. A tenth as many next hops, groups and labels of gRIBI,
/// and traffic counters on every third tunnel.
class Router {
public:
    using Order = std::vector<Agent::Machines::StartStep>;

    explicit Router(std::uint32_t policies) : policies_(policies) {
        Keel::activityClockIs(&clock_);
        tables.config->coloredRib.valueIs(true);
        tables.hardware->maxLabelPushDepth.valueIs(std::uint8_t{6});
        tables.mplsConfig->labelRangeIs("srlb", Mpls::LabelRange(firstBsid, 0x100000 - firstBsid));
        tables.tiLfa->entryIs({tiLfa(1), {{}, Wirex::IntfId::physical("Et3"), {}}, {}});
        for (std::uint32_t label = firstLabel; label < firstLabel + labels; ++label) {
            routeIs(routeOver(label, {push("Et1", {label}), push("Et2", {label})}));
        }
        routeIs(routeOver(protectedLabel, {pushOver(tiLfa(1), {protectedLabel})}));
        tables.sources->policyInputIs(source_);
        for (std::uint32_t policy = 0; policy < policies; ++policy) {
            for (auto const rank : {1U, 2U}) entryIs(entry(policy, rank));
            if (policy % 10 == watched) {
                tables.config->policyIs({entry(policy, 1).policyId.key, settings(policy)});
            }
        }
        for (std::uint32_t i = 0; i < policies / 10; ++i) {
            nextHopIs(i);
            Gribi::NhgAftEntry group{Gribi::NextHopGroupId(i)};
            for (auto const member : {i, i / 2}) group.nextHopIs(Gribi::NextHopId(member), i + 1);
            tables.gribiAfts->nhgAft->nhgAftEntryIs(group);
            tables.gribiAfts->mplsAft->mplsAftEntryIs(
                {Wirex::MplsLabel(100 + i), Gribi::NextHopGroupId(i)});
        }
    }
    ~Router() { Keel::activityClockIs(nullptr); }
    Router(Router const&) = delete;
    Router& operator=(Router const&) = delete;

    void start(Order const& order = Agent::Machines::startOrder()) {
        machines_ = std::make_unique<Agent::Machines>(tables, scheduler_, order);
        settle();
        ASSERT_TRUE(machines_->started());
    }
    /// Other agents see the tunnels and the sessions: they count, and half of the peers are down.
    void othersFollow() {
        auto const& tunnels = tables.segmentListTunnels->entry();
        for (auto row = tunnels.begin(); row; row.next()) {
            if (row.key().index() % 3 == 0) tables.tunnelCounters->tunnelCounterIs(row.key(), {});
        }
        auto const& sessions = tables.bfdSessions->session();
        for (auto row = sessions.begin(); row; row.next()) {
            bool const down = row.key().peer.tunnelId.index() % 2;
            tables.bfdPeers->operStateIs(row.key().peer,
                                         down ? Bfd::OperState::down : Bfd::OperState::up);
        }
        settle();
        clock_.advance(1000);
    }
    void crash() { machines_ = nullptr; }

    /// A tenth of the policies goes, a tenth changes each: its lists, its order, its binding SID; a
    /// tenth of another kind comes, and a route moves.
    std::uint32_t changeInputs() {
        std::uint32_t changed = 0;
        for (std::uint32_t policy = 0; policy < policies_ + policies_ / 10; ++policy) {
            auto const best = entry(policy, 2);
            auto next = best;
            switch (policy / 10 % 10) {
                case 1: source_->policyInputEntryDel(best.policyId); break;
                case 2: next.segmentList.erase(next.segmentList.begin()); break;
                case 3: next.preference = Preference(0); break;
                case 4: next.segmentList.back().weight = 7; break;
                default: continue;
            }
            ++changed;
            if (next != best) entryIs(next);
        }
        for (auto policy = policies_; policy < policies_ + policies_ / 10; ++policy) {
            entryIs(entry(policy, 1));
            ++changed;
        }
        routeIs(routeOver(firstLabel, {push("Et7", {firstLabel})}));
        for (std::uint32_t i = policies_ / 10; i < policies_ / 9; ++i) {
            nextHopIs(i);
            ++changed;
        }
        return changed;
    }

    Agent::Tables const tables;

private:
    static constexpr std::uint32_t firstLabel = 16000;
    static constexpr std::uint32_t labels = 1000;
    static constexpr std::uint32_t protectedLabel = 18000;
    static constexpr std::uint32_t unknownLabel = 19000;
    static constexpr std::uint32_t firstBsid = 20000;
    static constexpr std::uint32_t watched = 9;  ///< the kind of policies that S-BFD watches

    static PolicySbfdConfig settings(std::uint32_t policy) {
        return {Bfd::BfdInterval(policy % 3 * 50), Bfd::BfdMultiplier(3),
                Bfd::BfdDiscriminator(policy)};
    }
    void settle() {
        do {
            scheduler_->runReady();
        } while (machines_->startFurther());
    }
    void nextHopIs(std::uint32_t i) {
        tables.gribiAfts->nhAft->nhAftEntryIs(
            {Gribi::NextHopId(i),
             Wirex::pushOperation({firstLabel + i % labels, firstLabel + i * 7 % labels})});
    }

    /// Of the two candidates of a policy the one with the higher `rank` wins.
    static PolicyInputEntry entry(std::uint32_t policy, std::uint32_t rank) {
        auto const kind = policy % 10;
        auto const endpoint =
            kind == 1 ? ipv6Endpoint(policy) : Wirex::IpGenAddr::ipv4(0x0A000000 + policy);
        PolicyInputEntry entry(
            {{endpoint, 100}, {Protocol::config, Wirex::IpGenAddr::ipv4(1), 0, rank}});
        entry.preference = Preference(100 * rank);
        // Of kind 3 all ask for one label, which the first of them holds.
        if (kind != 2) {
            entry.bindingSid = Wirex::MplsLabel(kind == 3 ? firstBsid : firstBsid + 1 + policy);
        }
        if (kind == 4 && rank == 2) entry.bindingSid = Wirex::MplsLabel(firstLabel);
        entry.enlp = Enlp(kind == 5 ? 3 : 0);
        entry.originator = {entry.policyId.candidate.originator, 0};

        auto const top = firstLabel + (policy * 7 + rank) % labels;
        auto const below = firstLabel + policy % labels;
        entry.segmentList = {list({top, below}), list({below, top, below})};
        if (kind == 6) entry.segmentList[0] = list({unknownLabel, below});
        if (kind == 7) entry.segmentList[0] = list({top, 1, 2, 3, 4, 5, 6});
        if (kind == 8) entry.segmentList[0] = list({protectedLabel, below});
        return entry;
    }
    static Wirex::IpGenAddr ipv6Endpoint(std::uint32_t policy) {
        Wirex::IpGenAddr::Bytes bytes{0x20, 0x01, 0x0D, 0xB8};
        for (std::size_t i = 0; i < 4; ++i)
            bytes[15 - i] = static_cast<std::uint8_t>(policy >> 8 * i);
        return Wirex::IpGenAddr::ipv6(bytes);
    }
    static WeightedLabels list(Wirex::BoundedMplsLabelStack const& stack) {
        return {{Wirex::MplsLabelAction::push, stack}, 1};
    }

    void entryIs(PolicyInputEntry const& entry) { source_->policyInputEntryIs(entry); }
    void routeIs(Mpls::ConsolidatedLfibRoute route) {
        route.source = Mpls::LFib::Source{2};
        Mpls::LfibWriter(tables.otherLfib).lfibRouteIs(route);
    }

    std::uint32_t const policies_;
    Keel::VirtualClock clock_;
    Quor::Ptr<Keel::TaskScheduler> const scheduler_ = Quor::makePtr<Keel::TaskScheduler>(clock_);
    Quor::Ptr<PolicyInput> const source_ = policyInputFactory(Protocol::config);
    std::unique_ptr<Agent::Machines> machines_;
};

class RestartBar : public testing::TestWithParam<std::uint32_t> {};

TEST_P(RestartBar, UnchangedInputsWriteNothing) {
    Router router(GetParam());
    router.start();
    router.othersFollow();
    // All but those that are refused their binding SID.
    auto const published = router.tables.policyStatus->policyStatusEntry().size();
    EXPECT_EQ(published, GetParam() - (GetParam() / 10 - 1));

    SurvivingWrites writes(router.tables);
    for (int restart = 0; restart < 2; ++restart) {
        router.crash();
        router.start();
        EXPECT_THAT(writes.take(), testing::IsEmpty());
    }
}

TEST_P(RestartBar, ChangedInputsWithdrawNothingThatExists) {
    Router router(GetParam());
    router.start();
    router.othersFollow();
    router.crash();
    auto const changed = router.changeInputs();
    SurvivingWrites writes(router.tables);
    router.start();

    std::set<std::string> withdrawn;
    std::size_t rows = 0;
    for (auto const& write : writes.take()) {
        ++rows;
        if (write.starts_with('-')) withdrawn.insert(write.substr(1));
        EXPECT_FALSE(withdrawn.contains(write)) << write;
    }
    EXPECT_GT(rows, changed);
    // Two lists to a policy with three rows each, two rows of selection, six of publishing, and the
    // lists over the route that moved.
    EXPECT_LT(rows, 14 * (changed + 10) + GetParam() / 100);

    // And what should stand does: another restart changes nothing, once the tunnels that went with
    // a counter were looked at again.
    router.othersFollow();
    router.othersFollow();
    writes.take();
    router.crash();
    router.start();
    EXPECT_THAT(writes.take(), testing::IsEmpty());
}

/// The order of the host, but with the step at `from` taken before the one at `to`.
Router::Order moved(std::size_t from, std::size_t to) {
    auto order = Agent::Machines::startOrder();
    auto const step = order[from];
    order.erase(order.begin() + static_cast<std::ptrdiff_t>(from));
    order.insert(order.begin() + static_cast<std::ptrdiff_t>(to), step);
    return order;
}

/// The rows that went and came back.
std::size_t flapped(std::vector<std::string> const& writes) {
    std::set<std::string> withdrawn, back;
    for (auto const& write : writes) {
        if (write.starts_with('-')) {
            withdrawn.insert(write.substr(1));
        } else if (withdrawn.contains(write)) {
            back.insert(write);
        }
    }
    return back.size();
}

// What may not be moved: lists are adopted before anything interns new ones, S-BFD comes after the
// input whose lists it watches, and nobody lets go of adopted lists before their owners have them.
bool isHitless(Agent::Machines::StartStep moved, Agent::Machines::StartStep ahead) {
    using enum Agent::Machines::StartStep;
    return ahead > startInput || (moved != startSbfd && moved != dropUnclaimedLists);
}

TEST(StartOrder, WhatOtherOrdersCost) {
    constexpr std::uint32_t policies = 60;
    auto const& order = Agent::Machines::startOrder();
    for (std::size_t to = 1; to < order.size(); ++to) {
        for (std::size_t from = to + 1; from < order.size(); ++from) {
            std::vector<std::string> written[2];
            for (bool const changed : {false, true}) {
                Router router(policies);
                router.start();
                router.othersFollow();
                router.crash();
                if (changed) router.changeInputs();
                SurvivingWrites writes(router.tables);
                router.start(moved(from, to));
                written[changed] = writes.take();
            }
            bool const hitless = written[0].empty() && flapped(written[1]) == 0;
            EXPECT_EQ(hitless, isHitless(order[from], order[to])) << from << " before " << to;
        }
    }
}

// The sanitizers make it a hundred times slower.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
constexpr std::uint32_t many = __has_feature(address_sanitizer) ? 3'000 : 100'000;

INSTANTIATE_TEST_SUITE_P(Sizes, RestartBar, testing::Values(10, 1'000, many));

}  // namespace
