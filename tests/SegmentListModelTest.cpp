#include "tests/SegmentListFixture.h"
#include "tests/support/ModelTest.h"

namespace SrTePolicy {
namespace {

/// Random operations under forced yields, clogging and crashes; whenever nothing waits, the outputs
/// are those of every list resolved anew from the routes, the TI-LFA tunnels and the depth.
class SegmentListModelTest : public ModelTest<SegmentListFixture> {
protected:
    static constexpr std::uint64_t plainFec = 0x0100000000000007;
    static constexpr std::uint64_t plainOfTunnel = 0x1100000000000007;

    void step() {
        switch (random(16)) {
            case 0:
            case 1:
            case 2: holdAny(); break;
            case 3:
                if (!held.empty()) held.erase(anyOf(held));
                break;
            case 4:
            case 5:
            case 6: anyRoute(); break;
            case 7: routeDel(16 + random(4)); break;
            case 8: anyTunnelChange(); break;
            case 9:
                msd(random(4) == 0 ? std::nullopt : std::optional(std::uint8_t(random(7))));
                break;
            case 10: fieldlog->outputCloggedIs(random(2) == 0); break;
            case 11: scheduler->yieldAfterWorkIs(1 + random(5)); break;
            case 12:
                clock.advance(0.05);
                run();
                break;
            case 13:
            case 14: scheduler->runOne(); break;
            default: crashAndStart(); break;
        }
    }
    void holdAny() {
        Labels labels;
        for (auto count = 1 + random(3); count > 0; --count) labels.push_back(16 + random(5));
        hold(labels, random(3) == 0 ? 7 : DistinguisherId::policyList);
    }
    void anyRoute() {
        auto const label = 16 + random(4);
        auto const action = static_cast<Action>(random(4));
        auto written = routeOver(label, {});
        switch (random(8)) {
            case 0: return routeToFec(label, plainFec, action);
            case 1: return routeToFec(label, 0x0600000000000000 | tiLfa(1).value(), action);
            case 2: return routeToFec(label, 0x0F00000000000007, action);
            case 3: written.type = Mpls::LfibRouteType::pseudowire; break;
            default: break;
        }
        std::vector<Mpls::LfibMplsVia> const vias = {
            push("Et1", {100, 101}),
            pushOver(tiLfa(1), {}),
            pushOver(tiLfa(2), {200}),
            Mpls::LfibMplsVia(),
            {{}, Wirex::IntfId::nextHopGroup(1), {action, {}}},
            {Wirex::IpGenAddr::ipv4(2), Wirex::IntfId::physical("Et2"), {action, {}}},
            {{}, Wirex::IntfId::physical("Et3"), {action, {}}},
            {Wirex::IpGenAddr::ipv4(4), {}, {action, {300}}}};
        if (random(8) == 0) written.viaType = Mpls::LfibViaType::unset;
        for (auto count = random(4); count > 0; --count)
            written.mplsVias.push_back(vias[random(8)]);
        writer.lfibRouteIs(written);
    }
    // As the host: the routes over the tunnel are touched after it.
    void anyTunnelChange() {
        auto const primary = random(3);
        protect(1 + random(2), primary, random(4));
        for (auto row = lfib->rows().begin(); row; row.next()) {
            writer.lfibRouteIs(row.value()->route);
        }
    }
    void crashAndStart() {
        crash();
        auto const present = ids();
        auto const stray = present.empty() ? 1 : *present.rbegin() + 1 + random(3);
        if (random(2) == 0) {
            strays.insert(stray);
            status->statusIs(SegmentListId(stray), SegmentListResolveError::exceedsMsd);
        }
        if (random(2) == 0) {
            strays.insert(stray);
            Tunnel::TunnelTable::MplsVia const via;
            tunnels->entryIs({SegmentListId(stray).getTunnelId(), std::span(&via, 1)});
        }
        if (!held.empty() && random(2) == 0) held.erase(anyOf(held));
        if (random(2) == 0) anyRoute();
        startAgain();
    }

    // Resolves the list anew, from the routes on.
    std::string expected(SegmentList const& list) const {
        auto const fresh = segmentStatusFactory();
        auto const& top = list.segment(0);
        auto const found =
            segmentResolverFactory(merge->lfibStatus())->resolveSegmentMpls(list.segmentLabel(0));
        if (found->viaInfo) {
            auto const record = Quor::makePtr<SegmentResolve>(top->segmentId(), found->viaInfo);
            record->resolvedOverTiLfaIs(found->state == SegmentResolveState::resolvedOverTiLfa);
            fresh->statusIs(record);
        }
        auto const res =
            SegmentListResolver(fresh, tiLfaTunnels, hardware).resolveSegmentList(list);

        auto text = list.segmentListId().stringValue() + " [";
        for (std::uint32_t i = 0; i < list.size(); ++i) {
            if (i > 0) text += ' ';
            text += list.segmentLabel(i).stringValue();
        }
        if (!res) return text + "] -\n";
        text += "] " + std::to_string(static_cast<int>(res->error));
        if (res->error != SegmentListResolveError::noError) return text + "\n";
        text += ":";
        for (auto via : res->mplsViaSet.via()) {
            auto const fec = res->externalFecId;
            if (fec.isTunnel())
                via.intf = Wirex::IntfId::dynamicTunnel(fec.payload());
            else if (!fec.isNone())
                via.intf = Wirex::IntfId::hierarchicalFec(plainOfTunnel);
            text.append(" ").append(viaText(via));
        }
        return text + "\n";
    }

    // What holds between any two steps.
    void checkInvariants() const {
        auto const& live = *tables->notifyingSegmentListCollection();
        ASSERT_EQ(exported->segmentList().size(), live.segmentListNotifier().size());
        for (auto const number : ids()) {
            SegmentListId const id(number);
            if (!live.segmentList(id)) {
                ASSERT_TRUE(strays.count(number)) << "an output of a dead list: " << output(id);
                continue;
            }
            ASSERT_TRUE(exported->segmentList(id));
            auto const* const tunnel = tunnels->entry(id.getTunnelId());
            ASSERT_EQ(status->status(id) == SegmentListResolveError::noError, tunnel != nullptr)
                << output(id);
            ASSERT_TRUE(!tunnel || tunnel->viaCount() > 0);
        }
    }
    void checkOutputs() const {
        std::map<SegmentListId, std::string> lists;
        for (auto const& [key, list] : held) lists[list->segmentListId()] = expected(*list);
        std::string text;
        for (auto const& [id, line] : lists) text += line;
        ASSERT_EQ(outputs(), text);
    }

    std::set<std::uint32_t> strays;  // left by an earlier run
};

TEST_P(SegmentListModelTest, TheOutputsFollowTheInputs) {
    for (int i = 0; i < 300; ++i) {
        step();
        ASSERT_NO_FATAL_FAILURE(checkInvariants()) << "step " << i;
        if (i % 20 != 19) continue;
        drain();
        strays.clear();
        ASSERT_NO_FATAL_FAILURE(checkInvariants()) << "drained after step " << i;
        ASSERT_NO_FATAL_FAILURE(checkOutputs()) << "step " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, SegmentListModelTest, testing::Range(1u, 31u));

}  // namespace
}  // namespace SrTePolicy
