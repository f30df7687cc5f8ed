#include "bench/Measure.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace Bench {
namespace {

bool counting = false;
std::ptrdiff_t liveBytes = 0;

}  // namespace

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

HeapCount::HeapCount() {
    liveBytes = 0;
    counting = true;
}

HeapCount::~HeapCount() {
    counting = false;
}

std::ptrdiff_t HeapCount::bytes() const {
    return liveBytes;
}

}  // namespace Bench

void* operator new(std::size_t size) {
    auto* const memory = std::malloc(size == 0 ? 1 : size);
    if (!memory) throw std::bad_alloc();
    if (Bench::counting) {
        Bench::liveBytes += static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    if (Bench::counting && memory) {
        Bench::liveBytes -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    }
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
