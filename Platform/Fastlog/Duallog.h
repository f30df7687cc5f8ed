#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include "Platform/Export.h"
#include "Platform/Fastlog/Facility.h"

namespace Duallog {

/// Takes finished trace lines. It must neither throw nor trace.
class SRTE_EXPORT Sink {
public:
    virtual ~Sink() = default;
    /// `time` is the activity clock's, in seconds; `text` ends without a newline.
    virtual void line(Fastlog::Facility const& facility, int level, double time,
                      std::string_view text) = 0;
};

/// One trace line under construction. Its end hands it to the primary sink and to the ring.
/// Takes texts, numbers, booleans (printed as 0 or 1) and everything with a `stringValue()`.
class SRTE_EXPORT Line {
public:
    Line(Fastlog::Facility const& facility, int level) : facility_(facility), level_(level) {}
    ~Line();
    Line(Line const&) = delete;
    Line& operator=(Line const&) = delete;

    template <class T>
    Line& operator<<(T const& value) {
        if constexpr (std::is_same_v<T, char>) {
            text_ += value;
        } else if constexpr (std::is_floating_point_v<T>) {
            append(static_cast<double>(value));
        } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
            append(static_cast<long long>(value));
        } else if constexpr (std::is_integral_v<T>) {
            append(static_cast<unsigned long long>(value));
        } else if constexpr (std::is_convertible_v<T const&, std::string_view>) {
            text_ += std::string_view(value);
        } else {
            text_ += value.stringValue();
        }
        return *this;
    }

private:
    void append(double value);
    void append(long long value);
    void append(unsigned long long value);

    Fastlog::Facility const& facility_;
    int const level_;
    std::string text_;
};

class RingSink;

/// The buffered second sink, which holds the newest lines and which a failed assertion prints.
SRTE_EXPORT RingSink const& ring();

/// Where lines go besides the ring: nowhere for null. `sink` is not owned.
SRTE_EXPORT void primarySinkIs(Sink* sink);

/// As at load: no primary sink, an empty ring, every level of every facility off.
SRTE_EXPORT void reset();

}  // namespace Duallog
