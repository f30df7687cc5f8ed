#pragma once

#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Syslog/Syslog.h"
#include "agent/Scenario.h"

namespace Agent {

/// Keeps every message that the agent sends, for as long as it lives.
class SyslogRecords final : public Syslog::Sink {
public:
    struct Record {
        Time at{0};
        Syslog::Message const* message = nullptr;
        std::string text;
    };

    SyslogRecords() { Syslog::sinkIs(this); }
    SyslogRecords(SyslogRecords const&) = delete;
    SyslogRecords& operator=(SyslogRecords const&) = delete;
    ~SyslogRecords() override { Syslog::sinkIs(nullptr); }

    void message(Syslog::Message const& message, double time, std::string_view text) override {
        Time const at(std::llround(time * 1e9));
        records_.push_back({at, &message, std::string(text)});
    }
    std::vector<Record> const& records() const { return records_; }

private:
    std::vector<Record> records_;
};

}  // namespace Agent
