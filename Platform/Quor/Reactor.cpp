#include "Platform/Quor/Reactor.h"

namespace Quor {
namespace {

int dispatchDepth = 0;

}  // namespace

DispatchScope::DispatchScope() {
    ++dispatchDepth;
    if (dispatchDepth > maxDispatchDepth) {
        // The destructor of a scope that was never completed does not run.
        --dispatchDepth;
        assertFail("notifications nest deeper than 64: machines write at each other without end",
                   "Quor", 0);
    }
}

DispatchScope::~DispatchScope() {
    --dispatchDepth;
}

}  // namespace Quor
