#include "Platform/Wirex/MplsLabelStack.h"

#include <algorithm>

#include "Platform/Quor/Assert.h"
#include "Platform/Quor/RangeError.h"

namespace Wirex {

MplsStackEntryIndex::MplsStackEntryIndex(std::uint32_t value) : value_(value) {
    if (value > max) {
        throw Quor::RangeError(
            "MplsStackEntryIndex::value < MplsStackEntryIndex::min or > "
            "MplsStackEntryIndex::nullValue not allowed");
    }
}

BoundedMplsLabelStack::BoundedMplsLabelStack(std::initializer_list<std::uint32_t> topFirst) {
    for (auto const label : topFirst) {
        if (append(MplsLabel(label)) == BoundedMplsLabelStackResult::overflow) {
            throw Quor::RangeError(
                "BoundedMplsLabelStack::size > BoundedMplsLabelStack::capacity "
                "not allowed");
        }
    }
}

BoundedMplsLabelStackResult BoundedMplsLabelStack::push(MplsLabel label) {
    if (size_ == capacity) return BoundedMplsLabelStackResult::overflow;
    std::copy_backward(label_.begin(), label_.begin() + size_, label_.begin() + size_ + 1);
    label_[0] = label;
    ++size_;
    return BoundedMplsLabelStackResult::noError_;
}

BoundedMplsLabelStackResult BoundedMplsLabelStack::append(BoundedMplsLabelStack const& labels) {
    if (size_ + labels.size_ > capacity) return BoundedMplsLabelStackResult::overflow;
    std::copy(labels.label_.begin(), labels.label_.begin() + labels.size_, label_.begin() + size_);
    size_ += labels.size_;
    return BoundedMplsLabelStackResult::noError_;
}

BoundedMplsLabelStackResult BoundedMplsLabelStack::append(MplsLabel label) {
    if (size_ == capacity) return BoundedMplsLabelStackResult::overflow;
    label_[size_++] = label;
    return BoundedMplsLabelStackResult::noError_;
}

void BoundedMplsLabelStack::pop() {
    QUOR_ASSERT(size_ > 0, "size_ > 0");
    std::copy(label_.begin() + 1, label_.begin() + size_, label_.begin());
    label_[--size_] = MplsLabel();
}

std::string BoundedMplsLabelStack::stringValue() const {
    std::string text = "TOP ( ";
    for (std::size_t i = 0; i < size_; ++i) {
        if (label_[i] == MplsLabel::entropyIndicator()) {
            text += "ELI ";
        } else if (label_[i].value() == MplsLabel::entropyPlaceholder) {
            text += "EL ";
        } else {
            text += label_[i].stringValue() + " ";
        }
    }
    return text + ") BOTTOM";
}

std::strong_ordering operator<=>(BoundedMplsLabelStack const& a, BoundedMplsLabelStack const& b) {
    return std::lexicographical_compare_three_way(a.label_.begin(), a.label_.begin() + a.size_,
                                                  b.label_.begin(), b.label_.begin() + b.size_);
}

std::string MplsLabelOperation::stringValue() const {
    return "Operation: " + std::to_string(static_cast<std::uint32_t>(action)) +
           " Stack Size: " + std::to_string(stack.size()) +
           " MPLS Label Stack: " + stack.stringValue();
}

MplsLabelOperation pushOperation(std::initializer_list<std::uint32_t> topFirst) {
    return {MplsLabelAction::push, BoundedMplsLabelStack(topFirst)};
}

}  // namespace Wirex
