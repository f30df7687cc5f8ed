#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <random>

#include "bench/Benches.h"
#include "bench/Measure.h"
#include "bench/Pipeline.h"
#include "bench/Yardstick.h"

namespace Bench {
namespace {

int repetitions(std::uint32_t policies) {
    return policies >= 1000000 ? 3 : 5;
}

struct Cold {
    double seconds = 0;
    double yardstick = 0;
    double heapPerPolicy = 0;
};

double timeYardstick(Load const& load) {
    Yardstick yardstick(load);
    auto const start = threadSeconds();
    yardstick.fill();
    return threadSeconds() - start;
}

double timeCold(Load const& load) {
    Pipeline pipeline(load);
    pipeline.fillSources();
    auto const start = threadSeconds();
    pipeline.converge();
    auto const seconds = threadSeconds() - start;
    if (pipeline.publishedPolicies() != load.policies) {
        std::fprintf(stderr, "only %llu of %u policies were published\n",
                     static_cast<unsigned long long>(pipeline.publishedPolicies()), load.policies);
        std::exit(1);
    }
    return seconds;
}

double heapPerPolicy(Load const& load) {
    Pipeline pipeline(load);
    pipeline.fillSources();
    HeapCount const heap;
    pipeline.converge();
    return static_cast<double>(heap.bytes()) / load.policies;
}

Cold measureCold(std::uint32_t policies) {
    Load const load{policies};
    std::vector<double> cold, yardstick;
    for (int i = 0; i < repetitions(policies); ++i) {
        yardstick.push_back(timeYardstick(load));
        cold.push_back(timeCold(load));
    }
    return {median(cold), median(yardstick), heapPerPolicy(load)};
}

// Candidates arrive in batches of a thousand, in any order, at running machines.
double timeRandomArrival(std::uint32_t policies) {
    Pipeline pipeline({0});
    pipeline.fillSources();
    pipeline.converge();
    std::vector<std::uint32_t> order(policies * Load::candidates);
    std::iota(order.begin(), order.end(), 0u);
    std::shuffle(order.begin(), order.end(), std::mt19937(1));
    double seconds = 0;
    constexpr std::size_t batch = 1000;
    for (std::size_t i = 0; i < order.size(); ++i) {
        pipeline.entryIs(Load::entry(order[i] / Load::candidates, order[i] % Load::candidates));
        if ((i + 1) % batch != 0 && i + 1 != order.size()) continue;
        auto const start = threadSeconds();
        pipeline.drain();
        seconds += threadSeconds() - start;
    }
    return seconds;
}

void printCold(std::vector<std::uint32_t> const& sizes) {
    std::printf("Cold convergence, per policy: machines / yardstick B1 (medians), aim 0.75\n");
    std::printf("%10s %12s %12s %8s %14s %16s\n", "policies", "cold us", "B1 us", "ratio",
                "heap B/policy", "random arrival us");
    double first = 0;
    double last = 0;
    for (auto const policies : sizes) {
        auto const cold = measureCold(policies);
        auto const perPolicy = 1e6 / policies;
        last = cold.seconds * perPolicy;
        if (first == 0) first = last;
        std::printf("%10u %12.3f %12.3f %8.2f %14.0f %16.3f\n", policies, last,
                    cold.yardstick * perPolicy, cold.seconds / cold.yardstick, cold.heapPerPolicy,
                    timeRandomArrival(policies) * perPolicy);
    }
    std::printf("per-policy cost, largest to smallest size: %.2f, aim 2.5\n\n", last / first);
}

// `users` lists begin with the label of top route 0, of `policies` x 4 lists.
std::unique_ptr<Pipeline> withPopularTop(std::uint32_t policies, std::uint32_t users) {
    auto pipeline = std::make_unique<Pipeline>(Load{0});
    pipeline->fillSources();
    auto const perList = Load::listsPerCandidate;
    for (std::uint32_t policy = 0; policy < policies; ++policy) {
        for (std::uint32_t candidate = 0; candidate < Load::candidates; ++candidate) {
            auto entry = Load::entry(policy, candidate);
            for (std::uint32_t i = 0; i < perList; ++i) {
                auto const index = policy * Load::lists + candidate * perList + i;
                auto const top = index < users ? 0 : 1 + index % (Load::topLabels - 1);
                entry.segmentList[i].labels =
                    Wirex::pushOperation({Load::firstSegmentLabel + top,
                                          Load::label(policy, candidate * perList + i, 1).value(),
                                          Load::label(policy, candidate * perList + i, 2).value()});
            }
            pipeline->entryIs(entry);
        }
    }
    pipeline->converge();
    return pipeline;
}

void printRouteChange(std::uint32_t users, double aim) {
    constexpr std::uint32_t policies = 25000;
    auto const pipeline = withPopularTop(policies, users);
    Yardstick yardstick({policies});
    yardstick.fill();
    std::vector<double> change, overwrite;
    for (std::uint32_t variant = 1; variant <= 6; ++variant) {
        auto start = threadSeconds();
        yardstick.overwriteLists(users, variant);
        overwrite.push_back(threadSeconds() - start);
        pipeline->takeChanges();
        start = threadSeconds();
        pipeline->topRouteIs(0, variant);
        pipeline->drain();
        change.push_back(threadSeconds() - start);
    }
    auto const perList = 1e9 / users;
    std::printf(
        "one LFIB route under %6u of %u lists: %7.0f ns a list, overwriting them in B1 "
        "%7.0f ns: ratio %.2f, aim %.0f\n",
        users, policies * Load::lists, median(change) * perList, median(overwrite) * perList,
        median(change) / median(overwrite), aim);
}

void printPreferenceChange(std::uint32_t policies) {
    Pipeline pipeline(Load{policies});
    pipeline.fillSources();
    pipeline.converge();
    std::vector<double> times;
    std::uint64_t changes = 0;
    for (std::uint32_t i = 0; i < 5; ++i) {
        auto const policy = policies / 2 + i;
        auto entry = Load::entry(policy, 1);
        entry.preference = SrTePolicy::Preference(300);
        pipeline.takeChanges();
        auto const start = threadSeconds();
        pipeline.entryIs(entry);
        pipeline.drain();
        times.push_back(threadSeconds() - start);
        changes = pipeline.takeChanges();
    }
    std::printf("preference change, spare to active, of %7u policies: %llu changes told, %.1f us\n",
                policies, static_cast<unsigned long long>(changes), median(times) * 1e6);
}

// The longest time that the loop was held: a run of a task, or the handler of one key.
void printLongest(std::uint32_t policies) {
    Pipeline pipeline(Load{policies});
    pipeline.fillSources();
    pipeline.converge();
    auto const timed = [](auto const& event) {
        auto const start = threadSeconds();
        event();
        return 1e3 * (threadSeconds() - start);
    };
    auto const route = timed([&] { pipeline.topRouteIs(0, 1); });
    auto const routeRun = 1e3 * pipeline.drain();
    auto entry = Load::entry(policies / 2, 1);
    entry.preference = SrTePolicy::Preference(300);
    auto const candidate = timed([&] { pipeline.entryIs(entry); });
    auto const candidateRun = 1e3 * pipeline.drain();
    auto const foreign = timed([&] {
        auto foreignRoute = Load::topRoute(0);
        foreignRoute.key = Mpls::RouteKey::fromLabel(Load::bindingSid(policies / 3));
        pipeline.otherRouteIs(foreignRoute);
    });
    auto const foreignRun = 1e3 * pipeline.drain();
    std::printf(
        "longest at %u policies, ms: route event %.3f, its runs %.3f; candidate event %.3f, "
        "its runs %.3f; foreign BSID route event %.3f, its runs %.3f; aim 1\n",
        policies, route, routeRun, candidate, candidateRun, foreign, foreignRun);
}

}  // namespace

void benchPolicies(std::vector<std::uint32_t> const& sizes) {
    printCold(sizes);
    printRouteChange(1000, 4);
    printRouteChange(100000, 1);
    printPreferenceChange(1000);
    printPreferenceChange(sizes.back());
    printLongest(sizes.back());
}

}  // namespace Bench
