#include <algorithm>
#include <numeric>

#include "tests/PolicySelectionFixture.h"

namespace SrTePolicy::Test {
namespace {

using testing::ElementsAre;

using PolicySelectionSmTest = PolicySelectionFixture;

constexpr auto unit = "SrTePolicySelectionSm";

// RFC 9256, 2.9, and what this system adds: whatever the order of arrival, one order, and every
// candidate that is not active knows why.
TEST_F(PolicySelectionSmTest, TheBestCandidateIsDecidedFieldByField) {
    Originator const low{address("192.0.2.9"), 65001};
    Originator const high{address("192.0.2.1"), 65002};
    Originator const v4{address("192.0.2.1"), 65001};
    Originator const v6{address("2001:db8::1"), 65001};
    using enum Protocol;
    struct Case {
        std::vector<Path> bestFirst;
        std::vector<std::string_view> lostBy;
    };
    Case const cases[] = {
        {{{.name = "config"},
          {.name = "bgp", .protocol = bgp, .discriminator = 9},
          {.name = "pcep", .protocol = pcep, .discriminator = 9}},
         {"lower-protocol", "lower-protocol"}},
        {{{.name = "v4", .originator = v4}, {.name = "v6", .originator = v6, .discriminator = 9}},
         {"higher-originator"}},
        {{{.name = "twin", .named = low}, {.name = "other twin", .named = high}}, {"tie-break"}},
        {{{.name = "a", .preference = 300, .originator = low, .discriminator = 2},
          {.name = "b", .preference = 300, .originator = low},
          {.name = "c", .preference = 300, .originator = high, .discriminator = 5},
          {.name = "d", .preference = 300, .protocol = bgp, .discriminator = 5},
          {.name = "e", .discriminator = 7}},
         {"lower-discriminator", "higher-originator", "lower-protocol", "lower-preference"}},
    };
    usable({1});
    for (auto const& [bestFirst, lostBy] : cases) {
        std::string expected = "P:";
        char const* mark = "*";
        for (auto const& path : bestFirst) {
            expected += " " + path.name + std::exchange(mark, "") + " 1x1,";
        }
        std::vector<std::size_t> arrival(bestFirst.size());
        std::iota(arrival.begin(), arrival.end(), 0u);
        do {
            for (auto const i : arrival) {
                auto path = bestFirst[i];
                path.lists = {{1}};
                offer({path});
                run();
            }
            EXPECT_EQ(outputs(), expected + "\n");
            EXPECT_EQ(reasons(), lostBy);
            for (auto const& path : bestFirst) withdraw(path);
            run();
            EXPECT_EQ(outputs(), "");
        } while (std::next_permutation(arrival.begin(), arrival.end()));
    }
}

TEST_F(PolicySelectionSmTest, ACandidateIsAsGoodAsItsUsableLists) {
    offer({{.name = "cp1", .preference = 200, .lists = {{2, 3}, {1}}},
           {.name = "cp2", .discriminator = 2, .lists = {{3}, {4}}}});
    run();
    EXPECT_EQ(outputs(), "");  // nothing is resolved yet
    usable({1, 2, 3, 4});
    EXPECT_EQ(run(), "new P; active of P: cp1");
    EXPECT_EQ(outputs(), "P: cp1* 2x3 1x1, cp2 3x1 4x1,\n");  // in the source's order
    unusable({2});
    EXPECT_EQ(run(), "rewritten P");
    status->statusDel(SegmentListId(1));
    EXPECT_EQ(run(), "active of P: cp2");
    listsAre(SegmentListResolveError::exceedsMsd, {3});
    listsAre(SegmentListResolveError::backupExceedsMsd, {4});
    EXPECT_EQ(run(), "withdrawn P");
    usable({4});
    EXPECT_EQ(run(), "new P; active of P: cp2");
    sbfdConfigured(P, true);  // whose combined status is not there yet
    EXPECT_EQ(run(), "withdrawn P");
}

TEST_F(PolicySelectionSmTest, ABindingSidIsCopiedAtOnce) {
    Path active{.name = "a", .preference = 200, .lists = {{1}}, .bsid = 1000};
    Path spare{.name = "b", .discriminator = 2, .lists = {{1}}, .bsid = 1000};
    Path unusable{.name = "c", .discriminator = 3, .lists = {{7}}};
    usable({1});
    offer({active, spare, unusable});
    run();
    TraceLines traces(unit, 1u << 8);

    active.bsid = spare.bsid = unusable.bsid = 1001;
    offer({active, spare, unusable});
    EXPECT_EQ(outputs(), "P: a* 1x1 bsid 1001, b 1x1 bsid 1001,\n");  // no task has run
    EXPECT_EQ(traces.take()[0], "Updating Binding SID for policy Id: " + active.id().stringValue());
    EXPECT_EQ(run(), "rewritten P");
}

TEST_F(PolicySelectionSmTest, ABurstOfChangesWithdrawsNothingThatStays) {
    // In the order of the task: `first` leaves slices before its successor comes.
    Path first{.name = "first", .preference = 300, .protocol = Protocol::pcep, .lists = {{1}}};
    Path const middle{.name = "middle", .protocol = Protocol::bgp, .lists = {{2}}};
    usable({1});
    offer({first, middle, {.name = "successor", .preference = 200, .lists = {{3}}}});
    run();
    TraceLines traces(unit, 1u << 9);
    scheduler->yieldAfterWorkIs(1);

    unusable({1});
    usable({2, 3});
    EXPECT_EQ(run(), "active of P: successor");
    EXPECT_EQ(outputs(), "P: successor* 3x1, middle 2x1,\n");
    EXPECT_THAT(traces.take(), ElementsAre("Processed 3 selection entries, delay task: 0"));

    // The best one comes back while the others leave.
    usable({1});
    unusable({2, 3});
    EXPECT_EQ(run(), "active of P: first");

    // A rank falls below that of a candidate that leaves.
    usable({2});
    run();
    first.preference = 10;
    offer({first});
    unusable({2});
    EXPECT_EQ(run(), "active of P: first");

    unusable({1});
    withdraw(middle);
    EXPECT_EQ(run(), "withdrawn P");
}

TEST_F(PolicySelectionSmTest, AnUnchangedBestCandidateIsRetained) {
    Path const a{.name = "a", .originator = {address("192.0.2.9"), 65001}, .lists = {{1}, {2}}};
    std::string const policy = "Policy: endpoint 192.0.2.5 color 100, Pri";
    std::string const priority = ": [config-100-192.0.2.9(AS65001) - 1] ";
    usable({1});
    offer({a});
    TraceLines traces(unit, 1u << 7);
    run();
    usable({2});
    EXPECT_EQ(run(), "rewritten P");
    EXPECT_THAT(traces.take(), ElementsAre(policy + " " + priority + "is the new active",
                                           policy + priority + "retained as active"));
    Fastlog::levelMaskIs(unit, 1u << 8);
    config->tieBreaking.valueIs(1);
    EXPECT_EQ(run(), "");
    EXPECT_THAT(traces.take(),
                ElementsAre("Handling tie-breaking logic change", processed(a, "updated")));
    Fastlog::levelMaskIs(unit, 1u << 7);
    ecPolicy->policyIs({address("192.0.2.7"), 100});
    config->tieBreaking.valueIs(2);
    EXPECT_THAT(traces.take(), ElementsAre("Policy: endpoint 192.0.2.7 color 100 has no candidates "
                                           "and should not exist"));
}

TEST_F(PolicySelectionSmTest, OnlyTheUsersOfAListWhoseUsabilityChangedAreLookedAt) {
    std::string const change = "Applying segmentList status change of SegmentList key: ";
    Path const a{.name = "a", .lists = {{1}}};
    offer({a, {.name = "c", .lists = {{2}}, .key = Q}});
    run();
    TraceLines traces(unit, 1u << 8);
    usable({1});
    usable({1});                                                // written again
    sessionIs(2, SegmentListResolveError::zeroResolvedLabels);  // of P, which does not use it
    usable({77});                                               // a list of another application
    run();
    EXPECT_THAT(traces.take(),
                ElementsAre(change + "1",
                            change + "Value('SrTePolicy::Sbfd::SbfdKey', ** {'endpoint': 192.0.2.5,"
                                     " 'color': 100, 'segmentListId': 2})",
                            change + "77", processed(a, "added")));
}

TEST_F(PolicySelectionSmTest, AYieldLeavesABookmark) {
    Path const a{.name = "a", .lists = {{1}}};
    Path const b{.name = "b", .discriminator = 2, .lists = {{1}}};
    usable({1});
    TraceLines traces(unit, 1u << 8 | 1u << 9);
    offer({a, b});
    scheduler->yieldAfterWorkIs(1);
    scheduler->runOne();
    EXPECT_THAT(traces.take(),
                ElementsAre("handlePolicyIdEntry: " + a.id().stringValue(),
                            "handlePolicyIdEntry: " + b.id().stringValue(), processed(a, "added"),
                            "PS sm Bookmark placed at Id: " + b.id().stringValue(),
                            "Processed 1 selection entries, delay task: 0"));
}

TEST_F(PolicySelectionSmTest, ItWorksBetweenStartAndDeletionOnly) {
    Path const a{.name = "a", .lists = {{1}}};
    usable({1});
    offer({a});
    run();
    sm->handleDel();
    EXPECT_EQ(outputs(), "");
    auto const idle =
        policySelectionSmFactory(config, input, users, status, ecPolicy, scheduler, fieldlog);
    withdraw(a);
    offer({a});
    config->tieBreaking.valueIs(1);
    EXPECT_FALSE(scheduler->runOne());
    EXPECT_EQ(run(), "withdrawn P");
}

TEST_F(PolicySelectionSmTest, ItsDumpShowsTaskBacklogAndChoices) {
    Path const a{.name = "a", .preference = 200, .lists = {{1}}};
    usable({1});
    offer({a, {.name = "b", .discriminator = 2, .lists = {{1}}}});
    run();
    offer({a});
    EXPECT_EQ(dumpOf(*sm),
              "  Task Dump:\n"
              "    taskName: SelectionSmTask, taskPriority: 2, currentExpirationTime: 0.000000\n"
              "  pendingPolicyId #1 \n"
              "    Policy Id: endpoint 192.0.2.5 color 100 protocol config originator (AS0) "
              "discriminator 1\n"
              "  pendingBookmark:  \n"
              "  ecPolicy #1 \n"
              "    Policy: endpoint 192.0.2.5 color 100\n"
              "      Pri: [config-100-(AS0) - 2]\n"
              "      Pri: [config-200-(AS0) - 1] active\n");
}

}  // namespace
}  // namespace SrTePolicy::Test
