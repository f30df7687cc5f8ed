#pragma once

#include <cstddef>
#include <ctime>
#include <vector>

namespace Bench {

/// Seconds of CPU that this thread has used.
inline double threadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double median(std::vector<double> values);

/// Counts the heap between its construction and `bytes`: what was allocated less what was freed.
/// Only one at a time; allocation is slower while it lives, so nothing is timed then.
class HeapCount {
public:
    HeapCount();
    ~HeapCount();
    HeapCount(HeapCount const&) = delete;
    HeapCount& operator=(HeapCount const&) = delete;

    std::ptrdiff_t bytes() const;
};

}  // namespace Bench
