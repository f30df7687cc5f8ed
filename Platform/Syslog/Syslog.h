#pragma once

#include <concepts>
#include <initializer_list>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/Export.h"

namespace Syslog {

/// The declaration of one message to the operator: a namespace-scope object of the unit that emits
/// it. The identifier is unique in the process.
class SRTE_EXPORT Message {
public:
    /// `format` knows %s, %d and %u without flags, and %%. `severity` is that of RFC 5424, section
    /// 6.2.1 (4: warning). `repeatInterval`, in seconds, is how long an equal text is held back.
    Message(char const* identifier, char const* format, char const* explanation, char const* action,
            int severity = 4, double repeatInterval = 1.0);
    ~Message();
    Message(Message const&) = delete;
    Message& operator=(Message const&) = delete;

    char const* identifier() const { return identifier_; }
    char const* format() const { return format_; }
    char const* explanation() const { return explanation_; }
    char const* action() const { return action_; }
    int severity() const { return severity_; }
    double repeatInterval() const { return repeatInterval_; }

private:
    char const* const identifier_;
    char const* const format_;
    char const* const explanation_;
    char const* const action_;
    int const severity_;
    double const repeatInterval_;
};

/// Every declared message, in the order in which the units were loaded.
SRTE_EXPORT std::vector<Message const*> const& messages();

/// Takes the messages that were not held back. It must not emit.
class SRTE_EXPORT Sink {
public:
    virtual ~Sink() = default;
    /// `time` is the activity clock's, in seconds.
    virtual void message(Message const& message, double time, std::string_view text) = 0;
};

/// Where messages go: nowhere for null, as at load. `sink` is not owned.
SRTE_EXPORT void sinkIs(Sink* sink);

/// Forgets what was emitted, as at every start of the agent.
SRTE_EXPORT void limiterClear();

/// One argument of a message: a number for %d and %u, a text for %s.
class Argument {
public:
    template <std::signed_integral T>
    Argument(T value) : value_(static_cast<long long>(value)) {}
    template <std::unsigned_integral T>
    Argument(T value) : value_(static_cast<unsigned long long>(value)) {}
    Argument(std::string_view value) : value_(value) {}

    auto const& value() const { return value_; }

private:
    std::variant<long long, unsigned long long, std::string_view> value_;
};

SRTE_EXPORT void emitArguments(Message const& message, std::initializer_list<Argument> arguments);

/// Sends `message` to the sink, unless the same text was sent for it less than its repeat interval
/// ago. Arguments that do not match the format are a programming error.
template <class... Arguments>
void emit(Message const& message, Arguments const&... arguments) {
    emitArguments(message, {Argument(arguments)...});
}

}  // namespace Syslog
