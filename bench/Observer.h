#pragma once

#include <cstdint>
#include <utility>

#include "Platform/Quor/Reactor.h"

namespace Bench {

/// Counts what a table tells of.
template <class K>
class Observer {
public:
    explicit Observer(Quor::Subject<K> const& subject)
        : reactor_(subject, this, [](Observer& self, K const&) { ++self.changes_; }) {}
    std::uint64_t take() { return std::exchange(changes_, 0); }

private:
    std::uint64_t changes_ = 0;
    Quor::Reactor<K> reactor_;
};

}  // namespace Bench
