#include "agent/Run.h"

namespace Agent {

Run::Run(Scenario const& scenario, std::optional<Time> until)
    : host_(scenario), presence_(host_), story_(host_) {
    for (auto const& expectation : scenario.expectations) {
        expectations_.emplace(expectation.until, &expectation);
    }
    host_.settledIs([this] { story_.settled(); });
    play(host_, until, this);
}

void Run::momentCame() {
    auto const [begin, end] = expectations_.equal_range(host_.now());
    for (auto due = begin; due != end; ++due) {
        auto const found = judge(*due->second, host_, presence_);
        mismatches_.insert(mismatches_.end(), found.begin(), found.end());
        ++judged_;
        if (!found.empty()) ++failed_;
    }
}

}  // namespace Agent
