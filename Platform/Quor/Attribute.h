#pragma once

#include <utility>
#include <variant>

#include "Platform/Quor/Reactor.h"

namespace Quor {

/// One watched value. Writing an equal value is silent.
template <class T>
class Attribute : public Subject<std::monostate> {
public:
    Attribute() = default;
    explicit Attribute(T value) : value_(std::move(value)) {}

    T const& operator()() const { return value_; }

    /// False when nothing changed.
    bool valueIs(T value) {
        if (value_ == value) return false;
        using std::swap;
        swap(value_, value);
        notify({});
        return true;  // the old value ends here, after everybody was told
    }

private:
    T value_{};
};

using AttributeReactor = Reactor<std::monostate>;

}  // namespace Quor
