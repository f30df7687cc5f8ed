#include "Platform/Keel/Clock.h"

#include <chrono>

#include "Platform/Quor/Assert.h"

namespace Keel {
namespace {

Clock const* chosenClock = nullptr;

template <class SourceClock>
double secondsOf() {
    return std::chrono::duration<double>(SourceClock::now().time_since_epoch()).count();
}

}  // namespace

Clock::~Clock() {
    if (chosenClock == this) chosenClock = nullptr;
}

double RealClock::now() const {
    return secondsOf<std::chrono::steady_clock>();
}

double RealClock::systemTime() const {
    return secondsOf<std::chrono::system_clock>();
}

void VirtualClock::nowIs(double now) {
    QUOR_ASSERT(now >= now_, "now >= now_");
    now_ = now;
}

Clock const& activityClock() {
    static RealClock const realClock;
    return chosenClock ? *chosenClock : realClock;
}

void activityClockIs(Clock const* clock) {
    chosenClock = clock;
}

}  // namespace Keel
