#pragma once

#include <string>

#include "Platform/Export.h"

namespace Keel {

/// Collects what the `dumpState` of machines and values print. By convention a line begins with
/// "%*c" and `indent, ' '`, which is at least one blank wide, and one level deeper is two blanks
/// more.
class SRTE_EXPORT DumpContext {
public:
    /// As printf.
    [[gnu::format(printf, 2, 3)]] void print(char const* format, ...);

    std::string const& text() const { return text_; }

private:
    std::string text_;
};

}  // namespace Keel
