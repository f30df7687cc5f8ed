#include "Platform/Syslog/Syslog.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <unordered_map>

#include "Platform/Keel/Clock.h"
#include "Platform/Quor/Assert.h"

namespace Syslog {
namespace {

/// Remembers which texts were sent lately.
class Limiter {
public:
    /// Whether `text` may be sent at `now`; if so, it counts as sent.
    bool admits(Message const& message, double now, std::string const& text);
    void clear();

private:
    struct Sent {
        double time;
        double repeatInterval;
        bool holdsBack(double now) const;
    };

    void prune(double now);

    static constexpr std::size_t firstPruning = 64;
    std::unordered_map<std::string, Sent> sent_;  // by identifier and text
    std::size_t pruneAt_ = firstPruning;
};

bool Limiter::Sent::holdsBack(double now) const {
    // Differences of times are not exact: less than a nanosecond short is not short.
    constexpr double rounding = 1e-9;
    return now >= time && now - time + rounding < repeatInterval;
}

bool Limiter::admits(Message const& message, double now, std::string const& text) {
    auto key = std::string(message.identifier()).append(1, '\n').append(text);
    auto const known = sent_.find(key);
    if (known != sent_.end()) {
        if (known->second.holdsBack(now)) return false;
        known->second.time = now;
        return true;
    }
    if (sent_.size() >= pruneAt_) prune(now);
    sent_.insert({std::move(key), Sent{now, message.repeatInterval()}});
    return true;
}

void Limiter::clear() {
    sent_.clear();
    pruneAt_ = firstPruning;
}

void Limiter::prune(double now) {
    std::erase_if(sent_, [now](auto const& entry) { return !entry.second.holdsBack(now); });
    // Twice what is left: pruning stays a constant cost per message.
    pruneAt_ = std::max(firstPruning, 2 * sent_.size());
}

struct State {
    std::vector<Message const*> messages;
    Sink* sink = nullptr;
    Limiter limiter;
};

// Local to a function: messages of other units are declared before this one's namespace scope.
State& state() {
    static State all;
    return all;
}

bool sameIdentifier(Message const& a, Message const& b) {
    return std::strcmp(a.identifier(), b.identifier()) == 0;
}

void append(std::string& text, char conversion, Argument const& argument) {
    auto const isText = std::holds_alternative<std::string_view>(argument.value());
    QUOR_ASSERT(isText ? conversion == 's' : conversion == 'd' || conversion == 'u',
                "a syslog argument matches its conversion");
    if (isText) {
        text += std::get<std::string_view>(argument.value());
    } else if (auto const* number = std::get_if<long long>(&argument.value())) {
        text += std::to_string(*number);
    } else {
        text += std::to_string(std::get<unsigned long long>(argument.value()));
    }
}

std::string formatted(char const* format, std::initializer_list<Argument> arguments) {
    std::string text;
    auto const* argument = arguments.begin();
    for (; *format != '\0'; ++format) {
        if (*format != '%') {
            text += *format;
        } else if (*++format == '%') {
            text += '%';
        } else {
            QUOR_ASSERT(argument != arguments.end(), "a syslog conversion has its argument");
            append(text, *format, *argument++);
        }
    }
    QUOR_ASSERT(argument == arguments.end(), "a syslog argument has its conversion");
    return text;
}

}  // namespace

Message::Message(char const* identifier, char const* format, char const* explanation,
                 char const* action, int severity, double repeatInterval)
    : identifier_(identifier),
      format_(format),
      explanation_(explanation),
      action_(action),
      severity_(severity),
      repeatInterval_(repeatInterval) {
    auto& messages = state().messages;
    QUOR_ASSERT(std::none_of(messages.begin(), messages.end(),
                             [this](auto* other) { return sameIdentifier(*this, *other); }),
                "a syslog identifier is declared once");
    messages.push_back(this);
}

Message::~Message() {
    std::erase(state().messages, this);
}

std::vector<Message const*> const& messages() {
    return state().messages;
}

void sinkIs(Sink* sink) {
    state().sink = sink;
}

void limiterClear() {
    state().limiter.clear();
}

void emitArguments(Message const& message, std::initializer_list<Argument> arguments) {
    auto* const sink = state().sink;
    if (!sink) return;

    auto const text = formatted(message.format(), arguments);
    auto const now = Keel::activityClock().now();
    if (state().limiter.admits(message, now, text)) sink->message(message, now, text);
}

}  // namespace Syslog
