#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Keel/Clock.h"
#include "Platform/Keel/FieldlogSm.h"
#include "Platform/Keel/Task.h"
#include "tests/support/Captures.h"
#include "tests/support/Watch.h"

/// Leaves its machine to a restart over unchanged inputs, which must not write a single row. A test
/// about the order of arrival, or of a machine that has gone, opts out.
class RestartedTest : public testing::Test {
protected:
    void TearDown() override {
        if (!restartsHitless) return;
        settle();
        auto const before = outputs();
        log.clear();
        restart();
        settle();
        EXPECT_THAT(log, testing::ElementsAre());
        EXPECT_EQ(outputs(), before);
    }
    virtual void restart() = 0;
    virtual void settle() {}
    virtual std::string outputs() const = 0;

    void wrote(bool present, char const* table, std::string const& row) {
        log.push_back(std::string(present ? "+" : "-").append(table).append(row));
    }
    std::vector<std::string> takeLog() { return std::exchange(log, {}); }
    // What is in the log once everything has settled, in one line.
    std::string told() {
        settle();
        std::string line;
        for (auto const& event : takeLog()) line.append(line.empty() ? "" : "; ").append(event);
        return line;
    }

    bool restartsHitless = true;
    std::vector<std::string> log;  // every write of an output, in order
};

/// What a machine with a task runs on.
class MachineTest : public RestartedTest {
protected:
    MachineTest() { Keel::activityClockIs(&clock); }

    // One run that only finds the log clogged, and the next one.
    void clogOnce() {
        fieldlog->outputCloggedIs(true);
        scheduler->runOne();
        fieldlog->outputCloggedIs(false);
        clock.advance(0.1);
        scheduler->runOne();
    }

    Keel::VirtualClock clock;
    Quor::Ptr<Keel::TaskScheduler> scheduler = Quor::makePtr<Keel::TaskScheduler>(clock);
    Quor::Ptr<Keel::FieldlogSm> fieldlog = Quor::makePtr<Keel::FieldlogSm>();
};
