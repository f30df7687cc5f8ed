#include <algorithm>
#include <string>
#include <vector>

#include "Platform/Fastlog/RingSink.h"
#include "Platform/Fastlog/Trace.h"
#include "Platform/Keel/Clock.h"
#include "Platform/Quor/Assert.h"

namespace {

Fastlog::Facility traceFacility("TraceTest");

struct Named {
    std::string stringValue() const { return "named"; }
};

class TraceTest : public testing::Test, protected Duallog::Sink {
protected:
    TraceTest() {
        Keel::activityClockIs(&clock);
        Duallog::primarySinkIs(this);
    }
    ~TraceTest() override { Duallog::reset(); }
    void line(Fastlog::Facility const& facility, int level, double time,
              std::string_view text) override {
        lines.push_back(std::string(facility.name()) + "/" + std::to_string(level) + "@" +
                        std::to_string(time) + " " + std::string(text));
    }

    Keel::VirtualClock clock;
    std::vector<std::string> lines;
};

TEST_F(TraceTest, ATraceIsEvaluatedOnlyWhileItsLevelIsOn) {
    int evaluated = 0;
    auto const trace = [&] { SRTE_TRACE(8, "evaluated: " << ++evaluated); };

    trace();
    traceFacility.levelMaskIs(Fastlog::allLevels & ~(1u << 8));
    trace();
    EXPECT_EQ(evaluated, 0);

    traceFacility.levelMaskIs(1u << 8);
    clock.nowIs(1.5);
    trace();
    EXPECT_THAT(lines, testing::ElementsAre("TraceTest/8@1.500000 evaluated: 1"));
    EXPECT_EQ(Duallog::ring().dump(), "1.500000 TraceTest/8 evaluated: 1\n");

    Duallog::reset();
    trace();
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(Duallog::ring().dump(), "");
}

TEST_F(TraceTest, ALineTakesEveryPrintableValue) {
    traceFacility.levelMaskIs(Fastlog::allLevels);
    std::string const text = "text";
    SRTE_TRACE(0, true << ' ' << false << ' ' << 'c' << ' ' << std::uint8_t{200} << ' ' << -7);
    SRTE_TRACE(31, ~std::uint64_t{0} << ' ' << 0.1 << ' ' << text << ' ' << Named());
    EXPECT_THAT(lines, testing::ElementsAre("TraceTest/0@0.000000 1 0 c 200 -7",
                                            "TraceTest/31@0.000000 18446744073709551615 0.100000 "
                                            "text named"));
}

TEST_F(TraceTest, MasksAreSetByName) {
    Fastlog::Facility other("Other");
    EXPECT_EQ(Fastlog::levelMaskIs("Other", 1u << 3), 1u);
    EXPECT_TRUE(other.enabled(3));
    EXPECT_FALSE(other.enabled(4));
    EXPECT_FALSE(traceFacility.enabled(3));

    EXPECT_EQ(Fastlog::levelMaskIs("*", 1u << 4), Fastlog::facilities().size());
    EXPECT_TRUE(other.enabled(4) && traceFacility.enabled(4));
    EXPECT_EQ(Fastlog::levelMaskIs("nobody", 1), 0u);
}

TEST_F(TraceTest, TheRingKeepsTheNewestLinesThatFit) {
    Duallog::RingSink ring(200);
    for (unsigned number = 100; number < 140; ++number) {
        ring.line(traceFacility, 1, 0, "line " + std::to_string(number));
        auto const dump = ring.dump();  // 30 bytes a line, so six lines
        auto const last = "0.000000 TraceTest/1 line " + std::to_string(number) + "\n";
        ASSERT_TRUE(dump.ends_with(last)) << dump;
        ASSERT_TRUE(dump.starts_with("0.000000 TraceTest/1 line 1")) << dump;
        ASSERT_EQ(dump.size(), last.size() * std::min(number - 99, 6u)) << dump;
    }
    ring.line(traceFacility, 1, 0, std::string(1000, 'x'));
    EXPECT_EQ(ring.dump().size(), 200u);
    ring.line(traceFacility, 1, 0, "after");
    EXPECT_EQ(ring.dump(), "0.000000 TraceTest/1 after\n");
}

TEST_F(TraceTest, AFailedAssertionPrintsTheRingAndThenItsText) {
    traceFacility.levelMaskIs(Fastlog::allLevels);
    SRTE_TRACE(1, "the last thing that happened");
    EXPECT_DEATH(QUOR_ASSERT(lines.empty(), "no lines"),
                 "0.000000 TraceTest/1 the last thing that happened\n.*no lines");
}

TEST(ClockTest, TheActivityClockIsTheChosenOneWhileItLives) {
    auto const& realClock = Keel::activityClock();
    EXPECT_GT(realClock.systemTime(), 1.7e9);  // after November 2023
    {
        Keel::VirtualClock clock;
        clock.systemTimeOffsetIs(1000);
        clock.advance(2.5);
        Keel::activityClockIs(&clock);
        EXPECT_EQ(Keel::activityClock().now(), 2.5);
        EXPECT_EQ(Keel::activityClock().systemTime(), 1002.5);
        EXPECT_DEATH(clock.nowIs(2.4), "now >= now_");
    }
    EXPECT_EQ(&Keel::activityClock(), &realClock);
}

}  // namespace
