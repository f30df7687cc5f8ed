#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Fastlog/Duallog.h"
#include "Platform/Keel/DumpContext.h"
#include "Platform/Syslog/Syslog.h"

/// Collects lines while it lives.
class Captured {
public:
    /// Those since the last call.
    std::vector<std::string> take() { return std::exchange(lines_, {}); }

protected:
    std::vector<std::string> lines_;
};

/// The texts that source units trace ("*": all of them), at any of `levels`.
class TraceLines final : public Captured, public Duallog::Sink {
public:
    explicit TraceLines(std::string_view facility, std::uint32_t levels = Fastlog::allLevels)
        : TraceLines(std::span(&facility, 1), levels) {}
    explicit TraceLines(std::span<std::string_view const> facilities,
                        std::uint32_t levels = Fastlog::allLevels) {
        Duallog::primarySinkIs(this);
        for (auto const facility : facilities) Fastlog::levelMaskIs(facility, levels);
    }
    ~TraceLines() override { Duallog::reset(); }

    void line(Fastlog::Facility const&, int, double, std::string_view text) override {
        lines_.emplace_back(text);
    }
};

/// What reaches the operator, as `IDENTIFIER: text`. The limiter starts empty.
class SyslogLines final : public Captured, public Syslog::Sink {
public:
    SyslogLines() {
        Syslog::limiterClear();
        Syslog::sinkIs(this);
    }
    ~SyslogLines() override { Syslog::sinkIs(nullptr); }

    void message(Syslog::Message const& message, double, std::string_view text) override {
        lines_.push_back(std::string(message.identifier()) + ": " + std::string(text));
    }
};

template <class Dumped>
std::string dumpOf(Dumped const& dumped, int indent = 2) {
    Keel::DumpContext ctx;
    dumped.dumpState(ctx, indent);
    return ctx.text();
}
