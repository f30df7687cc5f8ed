#include "agent/Host.h"

#include <algorithm>
#include <cmath>

#include "Platform/Syslog/Syslog.h"

namespace Agent {

namespace {

constexpr double nanosecondsPerSecond = 1e9;
/// Sums of times in seconds are not exact: what is due within less than this is due.
constexpr double rounding = 0.5e-9;

double seconds(Time time) {
    return static_cast<double>(time.count()) / nanosecondsPerSecond;
}

/// The nanosecond that `time` means.
double nearestNanosecond(double time) {
    return std::round(time * nanosecondsPerSecond) / nanosecondsPerSecond;
}

}  // namespace

Host::Host(Scenario const& scenario)
    : scenario_(scenario), scheduler_(Quor::makePtr<Keel::TaskScheduler>(activityClock_.clock)) {}

Host::~Host() = default;

void Host::begin() {
    write(scenario_.initial);
    start();
    settle();
}

void Host::apply(Step const& event) {
    bool const wasRunning = machines_ != nullptr;
    if (event.life == Life::restart) machines_ = nullptr;
    write(event);
    if (event.clog) tables_.fieldlog->outputCloggedIs(*event.clog);
    switch (event.life) {
        case Life::restart:
            if (wasRunning) start();
            break;
        case Life::start:
            if (!wasRunning) start();
            break;
        case Life::stop:
            if (wasRunning) stop();
            break;
        case Life::unchanged: break;
    }
    settle();
}

// The other agents on the router know the file as it is after the step.
void Host::write(Step const& step) {
    filePolicies_.take(step);
    writer_.writeRouting(step);
    sessionReports_.take(step);
    trafficCounters_.take(step);
    writer_.writeGribi(step.gribi);
}

void Host::start() {
    Syslog::limiterClear();
    machines_ = std::make_unique<Machines>(tables_, scheduler_);
}

void Host::stop() {
    machines_->stop();
    machines_ = nullptr;
}

void Host::settle() {
    do {
        scheduler_->runReady();
    } while (machines_ && machines_->startFurther());
    if (machines_ && machines_->inputSettled()) filePolicies_.seen();
    settled_();
}

void Host::advanceTo(Time time) {
    auto& clock = activityClock_.clock;
    auto const end = seconds(time);
    while (auto const next = scheduler_->nextExpiration()) {
        if (*next > end + rounding) break;
        // On the nanosecond, as the events are: a thousand delays of 0.1 s are 100 s.
        auto const due = std::max(nearestNanosecond(*next), *next - rounding);
        clock.nowIs(std::max(clock.now(), due));
        now_ = Time(std::llround(clock.now() * nanosecondsPerSecond));
        settle();
    }
    clock.nowIs(std::max(clock.now(), end));
    now_ = time;
}

}  // namespace Agent
