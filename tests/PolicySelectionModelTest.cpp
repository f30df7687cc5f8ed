#include <array>
#include <set>
#include <tuple>

#include "tests/PolicySelectionFixture.h"
#include "tests/support/ModelTest.h"

namespace SrTePolicy::Test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// Random inputs against a brute-force function of them.
class PolicySelectionModel : public ModelTest<PolicySelectionFixture> {
protected:
    Path randomPath() {
        Originator const sources[] = {{}, {address("192.0.2.1"), 1}, {address("2001:db8::1"), 1}};
        Path path{.name = {},
                  .preference = random(2),
                  .protocol = random(2) ? Protocol::bgp : Protocol::config,
                  .originator = sources[random(3)],
                  .discriminator = random(2),
                  .bsid = random(3),
                  .key = random(2) ? P : Q,
                  .named = sources[random(2)]};
        path.name = std::to_string(path.id().hash());
        for (auto lists = random(3); lists > 0; --lists)
            path.lists.push_back({random(5), random(3)});
        return path;
    }
    SegmentListResolveError randomError() {
        return random(2) ? SegmentListResolveError::noError : SegmentListResolveError::sbfdDown;
    }
    void change() {
        SegmentListId const list(random(5));
        auto const& key = random(2) ? P : Q;
        switch (random(8)) {
            case 0: status->statusDel(list); break;
            case 1: status->statusWithSbfdIs(Sbfd::SbfdKey::of(key, list), randomError()); break;
            case 2: sbfdConfigured(key, random(2)); break;
            case 3:
                if (!paths.empty()) withdraw(Path(anyOf(paths)->second));
                break;
            case 4:
            case 5: offerOne(randomPath()); break;
            default: status->statusIs(list, randomError()); break;
        }
    }
    bool listUsable(Path const& path, List const& list) const {
        SegmentListId const id(list.id);
        auto const* const policy = config->policy(path.key);
        auto const found = policy && policy->sbfd
                               ? status->statusWithSbfd(Sbfd::SbfdKey::of(path.key, id))
                               : status->status(id);
        return found == SegmentListResolveError::noError;
    }
    std::string expected() const {
        using Rank = std::tuple<std::int64_t, std::int64_t, Originator, std::int64_t, Originator>;
        std::map<PolicyKey, std::map<Rank, std::array<std::string, 2>>> policies;
        for (auto const& [id, path] : paths) {
            std::string tunnels;
            for (auto const& list : path.lists) {
                if (!listUsable(path, list)) continue;
                tunnels += " " + std::to_string(list.id) + "x" + std::to_string(list.weight);
            }
            if (tunnels.empty()) continue;
            Rank const rank{-std::int64_t{path.preference},
                            -static_cast<std::int64_t>(path.protocol), path.originator,
                            -std::int64_t{path.discriminator}, *path.named};
            policies[path.key][rank] = {path.name,
                                        tunnels + " bsid " + std::to_string(path.bsid) + ","};
        }
        std::string text;
        for (auto const& [key, ranked] : policies) {
            text += name(key) + ":";
            char const* mark = "*";
            for (auto const& [rank, candidate] : ranked) {
                text += " " + candidate[0] + std::exchange(mark, "") + candidate[1];
            }
            text += "\n";
        }
        return text;
    }
};

TEST_P(PolicySelectionModel, EqualsTheFunctionOfItsInputs) {
    for (int round = 0; round < 300; ++round) {
        std::set<PolicyKey> before;
        for (auto const& key : {P, Q}) {
            if (ecPolicy->policy(key)) before.insert(key);
        }
        if (random(10) == 0) crash();
        for (auto changes = 1 + random(6); changes > 0; --changes) change();
        if (!sm) restart();

        scheduler->yieldAfterWorkIs(1 + random(3));
        for (auto clogs = random(3); clogs > 0; --clogs) clogOnce();
        auto const told = run();
        ASSERT_EQ(outputs(), expected()) << "round " << round;
        for (auto const& key : before) {
            if (!ecPolicy->policy(key)) continue;
            ASSERT_THAT(told, Not(HasSubstr("withdrawn " + name(key)))) << "round " << round;
            ASSERT_THAT(told, Not(HasSubstr("active of " + name(key) + ": none")));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PolicySelectionModel, testing::Range(1u, 9u));

}  // namespace
}  // namespace SrTePolicy::Test
