#include "Platform/Keel/DumpContext.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "Platform/Quor/Assert.h"

namespace Keel {

void DumpContext::print(char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    auto const length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    QUOR_ASSERT(length >= 0, "length >= 0");

    auto const size = text_.size();
    text_.resize(size + static_cast<std::size_t>(length) + 1);  // with the final null character
    std::vsnprintf(text_.data() + size, text_.size() - size, format, again);
    va_end(again);
    text_.pop_back();
}

}  // namespace Keel
