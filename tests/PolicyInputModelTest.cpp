#include <optional>

#include "tests/PolicyInputFixture.h"
#include "tests/support/ModelTest.h"

namespace SrTePolicy::Test {
namespace {

/// Random inputs against a brute-force function of them.
class PolicyInputModel : public ModelTest<PolicyInputFixture> {
protected:
    Path randomPath() {
        Protocol const protocols[] = {Protocol::pcep, Protocol::bgp, Protocol::config};
        Path path{.key = random(3) ? P : Q,
                  .protocol = protocols[random(3)],
                  .discriminator = random(2),
                  .bsid = random(3) ? 998 + random(5) : noBsid,
                  .lists = {},
                  .preference = random(2),
                  .enlp = random(2)};
        for (auto lists = random(4); lists > 0; --lists) {
            List list{{}, 1 + random(2)};
            auto const length = random(20) ? 1 + random(2) : 9;
            while (list.labels.size() < length) list.labels.push_back(16 + random(2));
            path.lists.push_back(list);
        }
        return path;
    }
    void change() {
        std::uint32_t const applications[] = {1, 9, 24};
        auto const label = 999 + random(3);
        switch (random(12)) {
            case 0: route(label, applications[random(3)]); break;
            case 1:
            case 2: routeGoes(label, applications[random(3)]); break;
            case 3: mplsConfig->labelRangeIs("srlb", {999 + random(2), random(3)}); break;
            case 4: settings->specifiedBsidOnly.valueIs(random(2)); break;
            case 5: sourceComesOrGoes(); break;
            case 6:
            case 7:
                if (!paths.empty()) withdraw(Path(anyOf(paths)->second));
                break;
            default: offer(randomPath()); break;
        }
    }
    void sourceComesOrGoes() {
        auto const& [protocol, input] = *anyOf(inputs);
        if (source->policyInput(protocol)) {
            source->policyInputDel(protocol);
        } else {
            source->policyInputIs(input);
        }
    }

    // Null for a candidate that no source offers.
    std::optional<unsigned> verdict(Path const& path) const {
        if (!source->policyInput(path.protocol)) return std::nullopt;
        if (path.lists.empty()) {
            bool const empty = path.bsid == noBsid && path.preference == 0 && path.enlp == 0;
            return empty ? std::nullopt : std::optional(4u);
        }
        if (path.bsid == noBsid) {
            if (settings->specifiedBsidOnly()) return 2;
        } else {
            auto const* const srlb = mplsConfig->labelRange("srlb");
            if (path.bsid < srlb->base() || path.bsid >= srlb->base() + srlb->size()) return 1;
            auto const key = Mpls::RouteKey::fromLabel(Wirex::MplsLabel(path.bsid));
            if (router.lfib->rows().has(key) || router.gribiLfib->rows().has(key)) return 3;
        }
        for (auto const& list : path.lists) {
            if (list.labels.size() > 8) return 4;
        }
        return 0;
    }
    std::string expectedListed() const {
        std::ostringstream text;
        for (auto const& [id, path] : paths) {
            auto const reason = verdict(path);
            if (reason) text << name(id) << ": " << *reason << bsidText(path.bsid) << "\n";
        }
        return text.str();
    }
    std::string expectedOutputs() const {
        std::ostringstream text;
        for (auto const& [id, path] : paths) {
            if (verdict(path) != 0) continue;
            text << name(id) << bsidText(path.bsid);
            if (path.enlp) text << " enlp " << path.enlp;
            text << ":";
            for (auto const& [labels, weight] : path.lists) {
                char const* separator = " ";
                for (auto const label : labels) text << std::exchange(separator, ",") << label;
                text << "x" << weight;
            }
            text << "\n";
        }
        return text.str();
    }
};

TEST_P(PolicyInputModel, EqualsTheFunctionOfItsInputs) {
    for (int round = 0; round < 300; ++round) {
        if (random(10) == 0) crash();
        for (auto changes = 1 + random(6); changes > 0; --changes) change();
        scheduler->yieldAfterWorkIs(1 + random(3));
        if (!sm) restart();
        for (auto clogs = random(3); clogs > 0; --clogs) {
            clogOnce();
            change();
        }
        run();
        ASSERT_EQ(outputs(), expectedOutputs()) << "round " << round;
        ASSERT_EQ(listed(false), expectedListed()) << "round " << round;
        for (auto row = selectionInput->policyIdEntry().begin(); row; row.next()) {
            ASSERT_EQ(row.value().preference.value(), paths.at(row.key()).preference);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PolicyInputModel, testing::Range(1u, 9u));

}  // namespace
}  // namespace SrTePolicy::Test
