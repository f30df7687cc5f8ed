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

/// Writes down what a machine writes.
class LoggedTest : public testing::Test {
protected:
    virtual void settle() {}

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

    std::vector<std::string> log;  // every write of an output, in order
};

/// What a machine with a task runs on.
class MachineTest : public LoggedTest {
protected:
    MachineTest() { Keel::activityClockIs(&clock); }

    Keel::VirtualClock clock;
    Quor::Ptr<Keel::TaskScheduler> scheduler = Quor::makePtr<Keel::TaskScheduler>(clock);
    Quor::Ptr<Keel::FieldlogSm> fieldlog = Quor::makePtr<Keel::FieldlogSm>();
};
