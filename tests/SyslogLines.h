#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Syslog/Syslog.h"

/// Collects what reaches the operator, as `IDENTIFIER: text`, while it lives. The limiter starts
/// empty.
class SyslogLines final : public Syslog::Sink {
public:
    SyslogLines() {
        Syslog::limiterClear();
        Syslog::sinkIs(this);
    }
    ~SyslogLines() override { Syslog::sinkIs(nullptr); }

    void message(Syslog::Message const& message, double, std::string_view text) override {
        lines_.push_back(std::string(message.identifier()) + ": " + std::string(text));
    }
    std::vector<std::string> take() { return std::exchange(lines_, {}); }

private:
    std::vector<std::string> lines_;
};
