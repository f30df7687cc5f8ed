#include "SrTePolicy/SrTePolicyTunnelMapExportSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace {

using namespace SrTePolicy;
using testing::ElementsAre;

PolicyId candidate(std::uint32_t color, std::uint32_t discriminator = 1) {
    return {{address("10.0.0.1"), color}, {Protocol::config, {}, 0, discriminator}};
}
std::string const keyText = "endpoint 10.0.0.1 color ";

// Policies are told by their colors, tunnels by their lists.
class TunnelMapExportSmTest : public MachineTest {
protected:
    TunnelMapExportSmTest() { start(); }
    void start() {
        sm = tunnelMapExportSmFactory(input, policyKeyToIdMapFactory(), map, counters, scheduler);
        sm->handleInitialized();
    }
    std::size_t poll(double seconds = 1.0) {
        clock.advance(seconds);
        return scheduler->runReady();
    }
    void uses(PolicyId const& id, std::initializer_list<std::uint32_t> lists) {
        PolicyIdEntry entry(id, Preference(100), {});
        for (auto const list : lists) entry.wSegmentList.push_back({SegmentListId(list), 1});
        entry.version = ++version;
        input->policyIdEntryIs(entry);
    }
    void leaves(PolicyId const& id) { input->policyIdEntryDel(id); }
    static Tunnel::TunnelTable::TunnelId tunnel(std::uint32_t list) {
        return SegmentListId(list).getTunnelId();
    }
    void counted(std::initializer_list<std::uint32_t> lists) {
        for (auto const list : lists) counters->tunnelCounterIs(tunnel(list), {1, 100});
    }
    void uncounted(std::uint32_t list) { counters->tunnelCounterDel(tunnel(list)); }

    std::string outputs() const {
        std::string text;
        for (auto row = map->entry().begin(); row; row.next()) {
            text += " " + std::to_string(row.key().index()) + ":" +
                    std::to_string(row.value().policyKey.color);
        }
        return text;
    }

    Quor::Ptr<PolicySelectionInput> input = policySelectionInputFactory();
    Quor::Ptr<TunnelIdToPolicyKey> map = tunnelIdToPolicyKeyFactory();
    Quor::Ptr<Tunnel::CounterTable> counters = Quor::makePtr<Tunnel::CounterTable>();
    Quor::Ptr<TunnelMapExportSm> sm;
    std::uint32_t version = 0;
    Watch<Tunnel::TunnelTable::TunnelId> watch{
        map->entry(),
        [this](auto const& key) { wrote(map->entry().has(key), "", std::to_string(key.index())); }};
};

TEST_F(TunnelMapExportSmTest, NewTunnelsAreMappedBeforeOldOnesGo) {
    uses(candidate(1), {5, 5, 4});
    TraceLines traces("SrTePolicyTunnelMapExportSm");
    log.clear();
    counted({5});
    uses(candidate(1), {6, 4});
    uses(candidate(1), {7});
    EXPECT_THAT(log, ElementsAre("+6", "+7", "-4", "-6"));
    EXPECT_EQ(outputs(), " 5:1 7:1");
    uncounted(5);
    EXPECT_EQ(poll(0.9), 0u);
    EXPECT_EQ(poll(0.1), 1u);
    EXPECT_EQ(outputs(), " 7:1");
    EXPECT_EQ(poll(10), 0u);  // nothing waits
    leaves(candidate(1));
    auto const updated = "Policy Id: " + candidate(1).stringValue() + " has been updated";
    EXPECT_THAT(traces.take(),
                ElementsAre("Mapping tunnel 13-6 to policy " + keyText + "1",
                            "Queueing tunnel 13-5 for deletion as it is still in use", updated,
                            "Mapping tunnel 13-7 to policy " + keyText + "1",
                            "Tunnel: 13-4 is no longer in use", "Tunnel: 13-6 is no longer in use",
                            updated, "Processed 1 pending tunnel entries and removed 1 entries",
                            "Tunnel: 13-7 is no longer in use",
                            "Policy Id: " + candidate(1).stringValue() + " has been removed"));
}

TEST_F(TunnelMapExportSmTest, ASharedTunnelPassesToTheLowestPolicyThatStillUsesIt) {
    uses(candidate(3, 1), {5});
    uses(candidate(3, 2), {5});
    uses(candidate(1), {5});  // lower, but the row holds true
    uses(candidate(2), {5});
    counted({5});
    leaves(candidate(3, 1));
    EXPECT_THAT(log, ElementsAre("+5"));
    EXPECT_EQ(outputs(), " 5:3");
    leaves(candidate(3, 2));
    EXPECT_EQ(outputs(), " 5:1");
    leaves(candidate(2));
    uses(candidate(1), {6});
    EXPECT_EQ(outputs(), " 5:1 6:1");  // for its counter

    uses(candidate(2), {5});  // which is then of no account
    EXPECT_EQ(outputs(), " 5:2 6:1");
    uncounted(5);
    EXPECT_EQ(poll(), 0u);
    EXPECT_EQ(outputs(), " 5:2 6:1");
}

TEST_F(TunnelMapExportSmTest, ThePollGoesOnWhereItYielded) {
    counted({1, 2, 3, 4});
    uses(candidate(1), {1, 2, 3, 4});
    scheduler->yieldAfterWorkIs(1);
    uses(candidate(1), {4});
    poll(0.7);
    leaves(candidate(1));  // does not put the poll off
    for (auto const list : {1u, 2u, 3u}) uncounted(list);
    std::string const steps[] = {" 2:1 3:1 4:1", " 3:1 4:1", " 4:1", " 4:1"};
    double seconds = 0.3;
    for (auto const& left : steps) {
        EXPECT_EQ(poll(seconds), 1u);
        EXPECT_EQ(outputs(), left);
        seconds = 1.0;
    }
    counted({1});
    uses(candidate(1), {1});
    leaves(candidate(1));
    uncounted(4);  // the last run ended here: the next one begins anew
    poll();
    EXPECT_EQ(outputs(), " 1:1 4:1");
    poll();
    EXPECT_EQ(outputs(), " 1:1");

    counted({2});
    uses(candidate(1), {2});
    leaves(candidate(1));
    poll();                      // has looked at 1
    uses(candidate(1), {1, 2});  // nothing waits now
    leaves(candidate(1));
    uncounted(1);
    poll();
    EXPECT_EQ(outputs(), " 2:1");
}

TEST_F(TunnelMapExportSmTest, TheEndEmptiesTheTableAlsoOfWhatWaits) {
    counted({5});
    uses(candidate(1), {5, 6});
    uses(candidate(1), {6});
    EXPECT_EQ(dumpOf(*sm),
              "  Task Dump\n"
              "  taskName: TunnelExportSmTask, taskPriority: 2, currentExpirationTime: 1.000000\n"
              "  pendingTunnels #1 \n"
              "  228698418577413\n");
    sm->handleDel();
    EXPECT_EQ(outputs(), "");
    uses(candidate(1), {7});
    EXPECT_EQ(poll(), 0u);
    EXPECT_EQ(outputs(), "");
}

}  // namespace
