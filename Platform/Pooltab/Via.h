#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "Platform/Export.h"
#include "Platform/Tunnel/TunnelId.h"
#include "Platform/Wirex/MplsLabelStack.h"

namespace Pooltab::Fib {

/// The place of a via in a FEC or in a tunnel entry, at most 600 to each.
class SRTE_EXPORT ViaIndex {
public:
    static constexpr std::uint64_t min = 0;
    static constexpr std::uint64_t max = 599;

    /// Throws RangeError above `max`.
    explicit constexpr ViaIndex(std::uint64_t value) : value_(checked(value)) {}
    constexpr std::uint16_t value() const { return value_; }
    friend constexpr auto operator<=>(ViaIndex, ViaIndex) = default;

private:
    [[noreturn]] static void outOfRange();
    static constexpr std::uint16_t checked(std::uint64_t value) {
        if (value > max) outOfRange();
        return static_cast<std::uint16_t>(value);
    }
    std::uint16_t value_;
};

/// One weighted path of a FEC: into a tunnel, below the labels of which `label` is written when it
/// is not the null label. The interface of such a via is always its tunnel's, so that none is kept
/// here: a table holds millions of vias.
class SRTE_EXPORT Via {
public:
    static constexpr std::uint64_t minWeight = 1;

    constexpr Via() = default;
    /// Throws RangeError for a weight of 0.
    explicit constexpr Via(Tunnel::TunnelTable::TunnelId tunnelId, std::uint64_t weight = minWeight,
                           Wirex::MplsLabel label = {})
        : tunnelId_(tunnelId), weight_(weight), label_(label) {
        if (weight < minWeight) weightTooLow();
    }

    constexpr Tunnel::TunnelTable::TunnelId tunnelId() const { return tunnelId_; }
    /// The share of the traffic, relative to the other vias of the FEC.
    constexpr std::uint64_t weight() const { return weight_; }
    constexpr Wirex::MplsLabel label() const { return label_; }
    constexpr Wirex::MplsLabelAction labelAction() const { return labelAction_; }
    void labelIs(Wirex::MplsLabel label) { label_ = label; }

    /// `tunnel TYPE-INDEX weight N`, and ` label N` when there is one.
    std::string stringValue() const;

    friend constexpr auto operator<=>(Via const&, Via const&) = default;

private:
    [[noreturn]] static void weightTooLow();

    Tunnel::TunnelTable::TunnelId tunnelId_;
    std::uint64_t weight_ = minWeight;
    Wirex::MplsLabel label_;
    Wirex::MplsLabelAction labelAction_ = Wirex::MplsLabelAction::none;
};

}  // namespace Pooltab::Fib
