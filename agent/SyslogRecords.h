#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Syslog/Syslog.h"

namespace Agent {

/// Keeps every message that the agent sends, for as long as it lives.
class SyslogRecords final : public Syslog::Sink {
public:
    struct Record {
        double time = 0;  ///< seconds of the scenario's clock
        Syslog::Message const* message = nullptr;
        std::string text;
    };

    SyslogRecords() { Syslog::sinkIs(this); }
    SyslogRecords(SyslogRecords const&) = delete;
    SyslogRecords& operator=(SyslogRecords const&) = delete;
    ~SyslogRecords() override { Syslog::sinkIs(nullptr); }

    void message(Syslog::Message const& message, double time, std::string_view text) override {
        records_.push_back({time, &message, std::string(text)});
    }
    std::vector<Record> const& records() const { return records_; }

private:
    std::vector<Record> records_;
};

}  // namespace Agent
