#include <array>
#include <memory>
#include <set>

#include "agent/Machines.h"
#include "tests/support/Routes.h"
#include "tests/support/SurvivingWrites.h"

namespace {

using namespace SrTePolicy;

/// A router with policies of every kind: published with and without explicit nulls, without a
/// binding SID, refused one, invalid, unresolved, too deep, and over a protected label.
class Router {
public:
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
        }
    }
    ~Router() { Keel::activityClockIs(nullptr); }
    Router(Router const&) = delete;
    Router& operator=(Router const&) = delete;

    void start() {
        machines_ = std::make_unique<Agent::Machines>(tables, scheduler_);
        do {
            scheduler_->runReady();
        } while (machines_->startFurther());
        ASSERT_TRUE(machines_->started());
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
        return changed;
    }

    Agent::Tables const tables;

private:
    static constexpr std::uint32_t firstLabel = 16000;
    static constexpr std::uint32_t labels = 1000;
    static constexpr std::uint32_t protectedLabel = 18000;
    static constexpr std::uint32_t unknownLabel = 19000;
    static constexpr std::uint32_t firstBsid = 20000;

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
}

// The sanitizers make it a hundred times slower.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
constexpr std::uint32_t many = __has_feature(address_sanitizer) ? 3'000 : 100'000;

INSTANTIATE_TEST_SUITE_P(Sizes, RestartBar, testing::Values(10, 1'000, many));

}  // namespace
