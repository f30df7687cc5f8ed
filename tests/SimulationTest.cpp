#include <gtest/gtest.h>
#include <map>

#include "tests/sim/Simulation.h"
#include "tests/sim/Universe.h"

namespace {

using namespace Sim;

constexpr std::size_t eventsPerSeed = 300;

class Seeds : public testing::TestWithParam<std::uint64_t> {};

// What must hold holds at every step, and at every rest the tables are those of the model.
TEST_P(Seeds, Hold) {
    constexpr std::uint64_t seedsPerTest = 50;
    std::uint64_t restarts = 0;
    for (std::uint64_t i = 0; i < seedsPerTest; ++i) {
        auto const seed = GetParam() * seedsPerTest + i;
        auto const events = generate(seed, eventsPerSeed);
        auto const outcome = simulate(events);
        restarts += outcome.restarts;
        if (outcome.failure) FAIL() << report(seed, events, *outcome.failure);
    }
    EXPECT_GE(restarts, seedsPerTest * eventsPerSeed / 50);
}

INSTANTIATE_TEST_SUITE_P(Simulation, Seeds, testing::Range<std::uint64_t>(0, 10));

TEST(Simulation, AReplayDoesTheSameAgain) {
    for (std::uint64_t seed = 500; seed < 520; ++seed) {
        auto const events = generate(seed, eventsPerSeed);
        auto const replayed = parseEvents(text(events));
        ASSERT_TRUE(replayed);
        EXPECT_EQ(*replayed, events);
        auto const once = simulate(events);
        auto const again = simulate(*replayed);
        EXPECT_EQ(again.trace, once.trace);
        EXPECT_EQ(again.rows, once.rows);
        EXPECT_TRUE(again.witnesses.listId == once.witnesses.listId);
    }
}

/// Other runs that end with the same inputs as one of writes to rows alone.
class Variants {
public:
    explicit Variants(std::uint64_t seed) : random_(seed) {
        for (auto const& event : generate(seed, 80)) {
            if (event.kind > Kind::bfd) continue;  // switches, and what is no write
            written_.push_back({event.kind, event.place, event.content});
            last_[{event.kind, event.place}] = written_.back();
        }
    }

    Events plain() const { return begun(written_); }
    Events permuted() {
        Events events;
        for (auto const& [row, event] : last_) events.push_back(event);
        for (auto i = static_cast<std::uint32_t>(events.size()); i > 1; --i) {
            std::swap(events[i - 1], events[random_(i)]);
        }
        return begun(events);
    }
    Events loadedBeforeTheStart() {
        auto events = permuted();
        std::rotate(events.begin(), events.begin() + 1, events.end());
        for (auto& event : events) {
            if (event.kind != Kind::start) event.steps = 0;
        }
        return events;
    }
    Events inBatches() {
        Events events;
        for (auto event : written_) {
            if (random_.percent(10)) events.push_back({Kind::clog, 0, random_(2)});
            event.steps = random_.percent(50) ? 0 : 2;
            events.push_back(event);
        }
        return begun(events);
    }
    Events twice() const {
        Events events;
        for (auto const& event : written_) events.insert(events.end(), {event, event});
        return begun(events);
    }
    Events withGuests() {
        Events events;
        for (auto const& event : written_) {
            auto const place = random_(candidateCount);
            events.push_back(event);
            if (last_.contains({Kind::candidate, place})) continue;
            events.push_back({Kind::candidate, place, 1 + random_(CandidateContent::count)});
            events.push_back({Kind::candidate, place});
        }
        return begun(events);
    }
    Events withRestarts() {
        Events events;
        for (auto const& event : written_) {
            events.push_back(event);
            events.back().steps = static_cast<std::uint8_t>(random_(9));
            if (random_.percent(30)) events.push_back({Kind::restart});
        }
        return begun(events);
    }

private:
    static Events begun(Events events) {
        events.insert(events.begin(), {Event{Kind::start}, Event{Kind::gribi}});
        return events;
    }

    Random random_;
    Events written_;
    std::map<std::pair<Kind, std::uint32_t>, Event> last_;
};

// The outputs follow from the inputs, whatever way these took. Only who came first for a binding
// SID may make a difference, and then there is nothing to compare.
TEST(Simulation, EveryWayToTheSameInputsHasTheSameOutputs) {
    int compared = 0;
    for (std::uint64_t seed = 1000; seed < 1040; ++seed) {
        Variants variants(seed);
        auto const plain = simulate(variants.plain());
        ASSERT_EQ(plain.failure.value_or(""), "");
        for (auto const& other :
             {variants.permuted(), variants.loadedBeforeTheStart(), variants.inBatches(),
              variants.twice(), variants.withGuests(), variants.withRestarts()}) {
            auto const outcome = simulate(other);
            ASSERT_EQ(outcome.failure.value_or(""), "") << text(other);
            auto const& holders = outcome.witnesses.bindingSidHolder;
            if (holders != plain.witnesses.bindingSidHolder) continue;
            EXPECT_EQ(outcome.rows, plain.rows) << text(other);
            ++compared;
        }
    }
    EXPECT_GT(compared, 220);
}

}  // namespace
