#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "Platform/Wirex/MplsLabel.h"

namespace Wirex {

/// The place of a segment in a segment list; 0 is the top. Throws RangeError above 7.
class SRTE_EXPORT MplsStackEntryIndex {
public:
    static constexpr std::uint32_t min = 0;
    static constexpr std::uint32_t max = 7;
    explicit MplsStackEntryIndex(std::uint32_t value);
    std::uint32_t value() const { return value_; }

private:
    std::uint32_t value_;
};

enum class BoundedMplsLabelStackResult { noError_, overflow };

/// Up to 16 labels, index 0 the top: room for the nine labels of a via and seven more of a segment
/// list.
class SRTE_EXPORT BoundedMplsLabelStack {
public:
    static constexpr std::size_t capacity = 16;

    BoundedMplsLabelStack() = default;
    /// Throws RangeError above the capacity.
    BoundedMplsLabelStack(std::initializer_list<std::uint32_t> topFirst);

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    /// The label at `index`; the null label beyond the stack.
    MplsLabel label(std::size_t index) const { return index < size_ ? label_[index] : MplsLabel(); }
    /// Puts `label` on top. The stack is unchanged on overflow.
    BoundedMplsLabelStackResult push(MplsLabel label);
    /// Puts `labels` below the bottom. The stack is unchanged on overflow.
    BoundedMplsLabelStackResult append(BoundedMplsLabelStack const& labels);
    BoundedMplsLabelStackResult append(MplsLabel label);
    void pop();

    /// "TOP ( 100 200 ) BOTTOM".
    std::string stringValue() const;

    friend bool operator==(BoundedMplsLabelStack const& a, BoundedMplsLabelStack const& b) {
        return (a <=> b) == 0;
    }
    /// Label by label from the top; a stack that begins another comes first.
    friend std::strong_ordering operator<=>(BoundedMplsLabelStack const& a,
                                            BoundedMplsLabelStack const& b);

private:
    std::uint32_t size_ = 0;
    std::array<MplsLabel, capacity> label_{};
};

// Outside the class as well: a friend alone would stay hidden.
SRTE_EXPORT std::strong_ordering operator<=>(BoundedMplsLabelStack const& a,
                                             BoundedMplsLabelStack const& b);

/// What a via does with the incoming label.
enum class MplsLabelAction : std::uint32_t { none = 0, pop = 1, swap = 2, push = 3 };

/// A label action with the labels it writes.
struct SRTE_EXPORT MplsLabelOperation {
    MplsLabelAction action = MplsLabelAction::none;
    BoundedMplsLabelStack stack;

    /// "Operation: 3 Stack Size: 2 MPLS Label Stack: TOP ( 100 200 ) BOTTOM".
    std::string stringValue() const;

    friend bool operator==(MplsLabelOperation const&, MplsLabelOperation const&) = default;
    friend std::strong_ordering operator<=>(MplsLabelOperation const&,
                                            MplsLabelOperation const&) = default;
};

/// The operation that pushes `topFirst`.
MplsLabelOperation SRTE_EXPORT pushOperation(std::initializer_list<std::uint32_t> topFirst);

}  // namespace Wirex
