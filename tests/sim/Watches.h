#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "tests/support/Watch.h"

namespace Sim {

/// Watches that live and die together.
class Watches {
public:
    /// `told(key)` is called inside every notification of `subject`.
    template <class Key, class Told>
    void add(Quor::Subject<Key> const& subject, Told told) {
        all_.push_back(std::make_shared<Watch<Key>>(subject, std::move(told)));
    }
    void clear() { all_.clear(); }

private:
    std::vector<std::shared_ptr<void>> all_;
};

}  // namespace Sim
