#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Fastlog/Duallog.h"

/// Collects the texts that one source unit traces, at any level, while it lives.
class TraceLines final : public Duallog::Sink {
public:
    explicit TraceLines(std::string_view facility) {
        Duallog::primarySinkIs(this);
        Fastlog::levelMaskIs(facility, Fastlog::allLevels);
    }
    ~TraceLines() override { Duallog::reset(); }

    void line(Fastlog::Facility const&, int, double, std::string_view text) override {
        lines_.emplace_back(text);
    }
    std::vector<std::string> take() { return std::exchange(lines_, {}); }

private:
    std::vector<std::string> lines_;
};
