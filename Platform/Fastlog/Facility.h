#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Platform/Export.h"

namespace Fastlog {

/// The trace switch of one source unit, named after it: a namespace-scope object that every trace
/// of the unit asks first. All levels (0 to 31) are off at load.
class SRTE_EXPORT Facility {
public:
    explicit Facility(char const* name);
    ~Facility();
    Facility(Facility const&) = delete;
    Facility& operator=(Facility const&) = delete;

    std::string_view name() const { return name_; }
    bool enabled(int level) const noexcept { return (levelMask_ >> level) & 1; }

    /// Bit N of the mask switches level N.
    std::uint32_t levelMask() const { return levelMask_; }
    void levelMaskIs(std::uint32_t mask) { levelMask_ = mask; }

private:
    std::uint32_t levelMask_ = 0;
    char const* name_;
};

inline constexpr std::uint32_t allLevels = 0xFFFFFFFF;

/// Every facility of the process, in the order in which they were made.
SRTE_EXPORT std::vector<Facility*> const& facilities();

/// Sets the mask of every facility called `name`, of all of them for "*". Returns how many.
SRTE_EXPORT std::size_t levelMaskIs(std::string_view name, std::uint32_t mask);

}  // namespace Fastlog
