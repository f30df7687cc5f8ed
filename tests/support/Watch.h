#pragma once

#include <functional>
#include <type_traits>
#include <utility>

#include "Platform/Quor/Reactor.h"

/// Calls a function with the key of every event of a subject, while it lives.
template <class Key>
class Watch {
public:
    Watch(Quor::Subject<Key> const& subject,
          std::type_identity_t<std::function<void(Key const&)>> told)
        : told_(std::move(told)),
          reactor_(subject, this, [](Watch& self, Key const& key) { self.told_(key); }) {}

private:
    std::function<void(Key const&)> told_;
    Quor::Reactor<Key> reactor_;
};
