#pragma once

#include <stdexcept>

#include "Platform/Export.h"

namespace Quor {

/// A value outside its type's range, thrown with the type's fixed text. Tasks catch it per key: one
/// bad value costs one key, never the agent.
class SRTE_EXPORT RangeError : public std::range_error {
public:
    using std::range_error::range_error;
};

}  // namespace Quor
