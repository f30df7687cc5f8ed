#include "Platform/Fastlog/Duallog.h"

#include <array>
#include <charconv>
#include <cstdio>

#include "Platform/Fastlog/RingSink.h"
#include "Platform/Keel/Clock.h"
#include "Platform/Quor/Assert.h"

namespace Duallog {
namespace {

constexpr std::size_t ringBytes = std::size_t{256} * 1024;

void printRing();

struct Sinks {
    Sinks() { Quor::beforeStopIs(printRing); }

    Sink* primary = nullptr;
    RingSink ring{ringBytes};
};

// Never destroyed: an assertion in the destructor of a static object prints the ring as well.
Sinks& sinks() {
    static auto& all = *new Sinks;
    return all;
}

void printRing() {
    for (auto const piece : sinks().ring.pieces()) {
        std::fwrite(piece.data(), 1, piece.size(), stderr);
    }
}

template <class Integer>
void appendInteger(std::string& text, Integer value) {
    std::array<char, 24> digits;
    auto const end = std::to_chars(digits.begin(), digits.end(), value).ptr;
    text.append(digits.begin(), end);
}

}  // namespace

Line::~Line() {
    auto& [primary, ring] = sinks();
    auto const time = Keel::activityClock().now();
    ring.line(facility_, level_, time, text_);
    if (primary) primary->line(facility_, level_, time, text_);
}

void Line::append(double value) {
    std::array<char, 352> digits;  // the largest double has 309 digits before its point
    auto const length = std::snprintf(digits.data(), digits.size(), "%f", value);
    text_.append(digits.data(), static_cast<std::size_t>(length));
}

void Line::append(long long value) {
    appendInteger(text_, value);
}

void Line::append(unsigned long long value) {
    appendInteger(text_, value);
}

RingSink const& ring() {
    return sinks().ring;
}

void primarySinkIs(Sink* sink) {
    sinks().primary = sink;
}

void reset() {
    sinks().primary = nullptr;
    sinks().ring.clear();
    Fastlog::levelMaskIs("*", 0);
}

}  // namespace Duallog
