#include "agent/PacketTrace.h"
#include "tests/SrteProgram.h"
#include "tests/support/Routes.h"

namespace {

/// The paths of `label` in a scenario, a line each: "SHARE IF NH LABELS".
std::string traceOf(std::string const& label, std::string const& scenario) {
    auto const ended = srte({"trace", "-", "--label", label}, scenario);
    EXPECT_EQ(ended.code, 0) << ended.err;
    if (ended.out.empty()) return "nowhere\n";
    return ended.out.substr(ended.out.find('\n') + 1);
}

std::string routeTrace(std::string const& route, std::string const& more = {}) {
    return traceOf("900", "lfib:\n  900: " + route + "\n" + more);
}

TEST(TraceCommand, FollowsARoute) {
    std::tuple<char const*, char const*, char const*> const cases[] = {
        {"a swap", "[{nh: 10.0.0.1, if: et1, out: [17]}]", "    100 %  et1  10.0.0.1  17\n"},
        {"a pop", "[{nh: 10.0.0.1, if: et1, out: pop}]", "    100 %  et1  10.0.0.1  no label\n"},
        {"a literal pop", "[{if: et1, action: pop}]", "    100 %  et1    no label\n"},
        {"implicit null above labels", "[{if: et1, out: [3, 17]}]", "    100 %  et1    17\n"},
        {"a next hop alone", "[{nh: \"2001:db8::1\", out: [17]}]",
         "    100 %    2001:db8::1  17\n"},
        {"vias count as often as they are written",
         "[{if: et1, out: [17]}, {if: et1, out: [17]}, {if: et2, out: [17]}]",
         "  66.67 %  et1    17\n  33.33 %  et2    17\n"},
        {"a pseudowire", "{kind: pseudowire}", "nowhere\n"},
        {"an unknown FEC", "{fec: {type: 0, id: 7}}", "nowhere\n"},
        {"a lost share", "[{nhg: 5}, {tunnel: 13-9}, {tunnel: 9-1}, {if: et1, out: [17]}]",
         "     25 %  et1    17\n"},
    };
    for (auto const& [name, route, expected] : cases)
        EXPECT_EQ(routeTrace(route), expected) << name;
}

TEST(TraceCommand, FollowsThePrimaryPathOfAProtectedRoute) {
    std::string const tunnels =
        "ti-lfa:\n"
        "  t1: {primary: {nh: 10.0.0.1, if: et1, out: [3, 40]}, backup: {if: et2, out: [41]}}\n"
        "  t2: {primary: {if: et3, out: pop}}\n"
        "events:\n"
        "  - {at: 1s, ti-lfa: {t1: {primary: {out: [42]}}}}\n"
        "  - {at: 2s, ti-lfa: {t1: null}}\n";
    std::string const scenario =
        "lfib:\n  900: [{ti-lfa: t1, out: [3, 17]}, {ti-lfa: t2, out: pop}]\n"
        "  901: {fec: {ti-lfa: t1}}\n" +
        tunnels;
    auto const at = [&](char const* label, char const* time) {
        return srte({"trace", "-", "--label", label, "--at", time}, scenario).out;
    };
    EXPECT_EQ(at("900,5", "1s"),
              "900,5\n     50 %  et1  10.0.0.1  40 17 5\n     50 %  et3            5\n");
    EXPECT_EQ(at("901", "1s"), "901\n    100 %  et1  10.0.0.1  40\n");
    EXPECT_EQ(at("901", "2s"), "901\n    100 %  et1  10.0.0.1  42\n");
    EXPECT_EQ(at("901", "3s"), "");
    EXPECT_EQ(at("900", "3s"), "900\n     50 %  et3    no label\n");
}

// Lists of one policy that begin with the same segment merge where they leave alike.
TEST(TraceCommand, SharesOfAPolicyAreExact) {
    std::string const scenario = R"(
router: {srlb: 100000-100999}
lfib:
  16005: [{if: et1, out: [16005]}, {if: et2, out: [16005]}, {if: et3, out: [16005]}]
  16006: [{if: et1, out: [16005]}, {if: et2, out: [16005]}]
  16007: [{if: et1, out: [16007]}]
policies:
  1 192.0.2.5:
    candidates:
      c:
        bsid: 100001
        lists:
          l1: {labels: [16005], weight: 4294967295}
          l2: {labels: [16006], weight: 4294967295}
          l3: {labels: [16007], weight: 1}
)";
    EXPECT_EQ(traceOf("100001", scenario),
              "  41.67 %  et1    16005\n"
              "      0 %  et1    16007\n"
              "  41.67 %  et2    16005\n"
              "  16.67 %  et3    16005\n");
    // Over the colored RIB's tunnel of the policy, too.
    auto const viaTunnel =
        traceOf("900", scenario +
                           "events:\n  - {at: 1s, router: {colored-rib: true}, lfib: {900: "
                           "[{tunnel: 14-4294967296, out: [18]}]}}\n");
    EXPECT_THAT(viaTunnel, testing::StartsWith("  41.67 %  et1    16005 18\n"));
}

TEST(TraceCommand, ATunnelIntoItselfLeadsNowhere) {
    Agent::Tables tables;
    auto const loop = pushOver(tiLfa(1));
    tables.tiLfa->entryIs({tiLfa(1), {loop.nextHop, loop.intf, loop.operation}, std::nullopt});
    Mpls::LfibWriter(tables.otherLfib).lfibRouteIs(routeOver(900, {loop, push("et1")}));

    auto const outcomes = Agent::tracePacket(tables, {900});
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(outcomes[0].second.percentText(), "50 %");
}

TEST(Share, RoundsHalfUpExactly) {
    constexpr std::uint64_t most = 0xFFFFFFFFFFFFFFFF;
    std::tuple<std::uint64_t, std::uint64_t, char const*> const cases[] = {
        {0, 7, "0 %"},           {1, 1, "100 %"},
        {1, 3, "33.33 %"},       {2, 3, "66.67 %"},
        {1, 8, "12.5 %"},        {1, 10, "10 %"},
        {1, 20000, "0.01 %"},    {1, 20001, "0 %"},
        {1, 1000, "0.1 %"},      {3, 20000, "0.02 %"},
        {19999, 20000, "100 %"}, {29, 40000, "0.07 %"},
        {most, most, "100 %"},   {most - 1, most, "100 %"},
        {1, most, "0 %"},        {most / 2, most, "50 %"},
    };
    for (auto const& [part, whole, expected] : cases) {
        Agent::Share share;
        share.add(Agent::Fraction().part(part, whole));
        EXPECT_EQ(share.percentText(), expected) << part << " of " << whole;
    }
}

// A half, to the last bit, made of parts whose common denominator no machine number holds.
TEST(Share, AddsPartsOfAnyDenominators) {
    Agent::Share half;
    Agent::Share less;
    constexpr std::uint64_t count = 600;
    for (std::uint64_t n = 1; n <= count; ++n) {
        // 1 / (n (n + 1)) sums to 1 - 1 / (count + 1).
        auto const part = Agent::Fraction().part(1, n).part(1, n + 1);
        half.add(part.part(count + 1, count * 20000));
        less.add(part.part(count + 1, count * 20000 + 1));
    }
    EXPECT_EQ(half.percentText(), "0.01 %");
    EXPECT_EQ(less.percentText(), "0 %");
}

}  // namespace
