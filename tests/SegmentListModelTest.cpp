#include <random>

#include "tests/SegmentListFixture.h"

namespace SrTePolicy {
namespace {

using Tunnel::TunnelTable::MplsVia;

/// Random operations under forced yields, clogging and crashes; whenever nothing waits, the outputs
/// are those of a plain function of the lists, the routes, the TI-LFA tunnels and the depth.
class SegmentListModelTest : public SegmentListFixture,
                             public testing::WithParamInterface<unsigned> {
protected:
    struct Hop {
        Mpls::LfibMplsVia via;
        std::size_t primary = 0;  // labels that the tunnel below pushes
        std::size_t backup = 0;
    };
    struct Forwarding {
        bool exists = false;
        bool overTiLfa = false;
        std::vector<Hop> hops;
        std::string fec;
    };

    std::uint32_t pick(std::uint32_t count) { return static_cast<std::uint32_t>(random() % count); }

    void step() {
        switch (pick(16)) {
            case 0:
            case 1:
            case 2: holdAny(); break;
            case 3:
                if (!held.empty()) held.erase(std::next(held.begin(), anyHeld()));
                break;
            case 4:
            case 5:
            case 6: anyRoute(); break;
            case 7: routeDel(16 + pick(4)); break;
            case 8: anyTunnelChange(); break;
            case 9: msd(pick(4) == 0 ? std::nullopt : std::optional(std::uint8_t(pick(7)))); break;
            case 10: fieldlog->outputCloggedIs(pick(2) == 0); break;
            case 11: scheduler->yieldAfterWorkIs(1 + pick(5)); break;
            case 12:
                clock.advance(0.05);
                run();
                break;
            case 13:
            case 14: scheduler->runOne(); break;
            default: crashAndStart(); break;
        }
    }
    std::ptrdiff_t anyHeld() { return pick(static_cast<std::uint32_t>(held.size())); }
    void holdAny() {
        Labels labels;
        for (auto count = 1 + pick(3); count > 0; --count) labels.push_back(16 + pick(5));
        hold(labels, pick(3) == 0 ? 7 : DistinguisherId::policyList);
    }
    void anyRoute() {
        auto const label = 16 + pick(4);
        auto const action = static_cast<Action>(pick(4));
        Mpls::ConsolidatedLfibRoute written;
        written.key = keyOf(label);
        switch (pick(8)) {
            case 0: return routeToFec(label, 0x0100000000000007, action);
            case 1: return routeToFec(label, 0x0600000000000000 | tiLfa(1).value(), action);
            case 2: return routeToFec(label, 0x0F00000000000007, action);
            case 3: written.type = Mpls::LfibRouteType::pseudowire; break;
            default: break;
        }
        Vias const vias = {
            push("Et1", {100, 101}),
            pushOver(tiLfa(1), {}),
            pushOver(tiLfa(2), {200}),
            Mpls::LfibMplsVia(),
            {{}, Wirex::IntfId::nextHopGroup(1), {action, {}}},
            {Wirex::IpGenAddr::ipv4(2), Wirex::IntfId::physical("Et2"), {action, {}}},
            {{}, Wirex::IntfId::physical("Et3"), {action, {}}},
            {Wirex::IpGenAddr::ipv4(4), {}, {action, {300}}}};
        written.viaType = pick(8) == 0 ? Mpls::LfibViaType::unset : Mpls::LfibViaType::mpls;
        for (auto count = pick(4); count > 0; --count) written.mplsVias.push_back(vias[pick(8)]);
        writer.lfibRouteIs(written);
    }
    // As the host: the routes over the tunnel are touched after it.
    void anyTunnelChange() {
        auto const index = 1 + pick(2);
        paths[index] = {pick(3), pick(4)};
        protect(index, paths[index].first, paths[index].second);
        for (auto row = lfib->rows().begin(); row; row.next()) {
            writer.lfibRouteIs(row.value()->route);
        }
    }
    void crashAndStart() {
        crash();
        auto const present = ids();
        auto const stray = present.empty() ? 1 : *present.rbegin() + 1 + pick(3);
        if (pick(2) == 0) {
            strays.insert(stray);
            status->statusIs(SegmentListId(stray), SegmentListResolveError::exceedsMsd);
        }
        if (pick(2) == 0) {
            strays.insert(stray);
            MplsVia const via;
            tunnels->entryIs({SegmentListId(stray).getTunnelId(), std::span(&via, 1)});
        }
        if (!held.empty() && pick(2) == 0) held.erase(std::next(held.begin(), anyHeld()));
        if (pick(2) == 0) anyRoute();
        startAgain();
    }

    // What the LFIB says about a label.
    Forwarding forwarding(std::uint32_t label) const {
        Forwarding result;
        auto const* const route = lfib->consolidatedRoute(keyOf(label));
        if (!route || route->type == Mpls::LfibRouteType::pseudowire) return result;
        result.exists = route->viaType != Mpls::LfibViaType::unset;
        if (route->viaType == Mpls::LfibViaType::extFec) {
            auto const type = route->extFecVia.fecId.value() >> 56;
            result.overTiLfa = type == 6;
            Hop hop;
            if (type == 6) std::tie(hop.primary, hop.backup) = pathsOf(1);
            if (type != 15) hop.via.operation.action = route->extFecVia.labelAction;
            if (type != 15) result.fec = type == 6 ? "tunnel 12-1" : "fec 0x1100000000000007";
            result.hops.push_back(hop);
        }
        if (route->viaType != Mpls::LfibViaType::mpls) return result;
        for (auto const& via : route->mplsVias) {
            if (via == Mpls::LfibMplsVia() || via.intf.isNextHopGroup()) continue;
            Hop hop{via};
            if (via.intf.isDynamicTunnel()) {
                result.overTiLfa = true;
                std::tie(hop.primary, hop.backup) = pathsOf(via.intf.number() & 3);
            }
            result.hops.push_back(hop);
        }
        return result;
    }
    std::pair<std::uint32_t, std::uint32_t> pathsOf(std::uint64_t index) const {
        auto const found = paths.find(index);
        return found == paths.end() ? std::pair<std::uint32_t, std::uint32_t>() : found->second;
    }
    // The stack of the list below `labels[0]` over one hop.
    static std::vector<std::uint32_t> stackOver(Hop const& hop, Labels const& labels,
                                                bool overTiLfa) {
        std::vector<std::uint32_t> stack;
        auto const& own = hop.via.operation.stack;
        for (std::size_t i = 0; i < own.size(); ++i) stack.push_back(own.label(i).value());
        auto const action = hop.via.operation.action;
        if (action == Action::swap || action == Action::push) {
            stack.insert(stack.end(), labels.begin() + 1, labels.end());
        } else if (action == Action::pop && stack.empty()) {
            bool const adjacency = !hop.via.nextHop.isEmpty() && !hop.via.intf.isEmpty();
            if (adjacency || overTiLfa) stack.push_back(3);
        }
        return stack;
    }
    int errorOf(std::size_t labels, Hop const& hop) const {
        auto const depth = hardware->maxLabelPushDepth();
        if (depth && labels + hop.primary > *depth) return 3;
        if (depth && labels + hop.backup > *depth) return 5;
        return labels == 0 ? 2 : 1;
    }
    std::string expected(SegmentListId id, ListKey const& key) const {
        auto text = id.stringValue() + " [";
        for (auto const label : key.labels) {
            text += (text.back() == '[' ? "" : " ") + std::to_string(label);
        }
        text += "] ";
        auto const top = forwarding(key.labels.front());
        bool const ofPolicy = key.distinguisher == DistinguisherId::policyList;
        if (!top.exists || (top.overTiLfa && !ofPolicy)) return text + "-";

        int error = 1;
        std::map<MplsVia, std::string> vias;
        for (auto const& hop : top.hops) {
            bool const tunnel =
                hop.via.intf.isDynamicTunnel() || (!top.fec.empty() && top.overTiLfa);
            auto const stack = stackOver(hop, key.labels, tunnel);
            if (error == 1) error = errorOf(stack.size(), hop);
            MplsVia via{hop.via.nextHop, hop.via.intf, {hop.via.operation.action, {}}};
            for (auto const label : stack) via.operation.stack.append(Wirex::MplsLabel(label));
            auto const labels = viaText(via).substr(via.intf.stringValue().size());
            vias[via] = (top.fec.empty() ? via.intf.stringValue() : top.fec) + labels;
        }
        if (vias.empty()) error = 2;
        text += std::to_string(error);
        if (error != 1) return text;
        text += ":";
        for (auto const& [via, printed] : vias) text += " " + printed;
        return text;
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
    void checkOutputs() {
        std::map<SegmentListId, std::string> lists;
        for (auto const& [key, list] : held) {
            lists[list->segmentListId()] = expected(list->segmentListId(), key);
        }
        std::string text;
        for (auto const& [id, line] : lists) text += line + "\n";
        ASSERT_EQ(outputs(), text);
    }

    std::mt19937 random{GetParam()};
    std::map<std::uint64_t, std::pair<std::uint32_t, std::uint32_t>> paths;
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
