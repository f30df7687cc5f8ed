#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include "Platform/Export.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Wirex/MplsLabel.h"

namespace Mpls {

/// A block of labels, named by its use ("srlb": RFC 8402, 2). Empty by default.
class SRTE_EXPORT LabelRange {
public:
    constexpr LabelRange() = default;
    /// Throws RangeError when `base` is above the largest label. A range may end above it.
    constexpr LabelRange(std::uint32_t base, std::uint32_t size) : base_(base), size_(size) {
        if (base > Wirex::MplsLabel::max) outOfRange();
    }

    constexpr std::uint32_t base() const { return base_; }
    constexpr std::uint32_t size() const { return size_; }
    constexpr bool empty() const { return size_ == 0; }
    /// The last number of the block, which may lie above the labels; 0 when it is empty.
    constexpr std::uint32_t max() const {
        constexpr std::uint64_t highest = std::numeric_limits<std::uint32_t>::max();
        auto const last = std::uint64_t{base_} + size_ - 1;
        return empty() ? 0 : static_cast<std::uint32_t>(std::min(last, highest));
    }
    constexpr bool contains(Wirex::MplsLabel label) const {
        return label.value() >= base_ && label.value() - base_ < size_;
    }

    friend bool operator==(LabelRange const&, LabelRange const&) = default;

private:
    [[noreturn]] static void outOfRange();
    std::uint32_t base_ = 0;
    std::uint32_t size_ = 0;
};

/// The label ranges of the device, by name. Written by the host.
class Config final : public Quor::PtrInterface {
public:
    using LabelRanges = Quor::NotifyingMap<std::string, LabelRange>;

    /// Ordered by name, and observable.
    LabelRanges const& labelRange() const { return labelRange_; }
    /// Null when absent; valid until the next change or call-out.
    LabelRange const* labelRange(std::string const& name) const { return labelRange_.find(name); }

    bool labelRangeIs(std::string const& name, LabelRange range) {
        return labelRange_.entryIs(name, range);
    }
    bool labelRangeDel(std::string const& name) { return labelRange_.entryDel(name); }

private:
    LabelRanges labelRange_;
};

}  // namespace Mpls
