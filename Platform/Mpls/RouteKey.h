#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "Platform/Quor/DenseMap.h"
#include "Platform/Wirex/MplsLabel.h"

namespace Mpls {

/// The key of a label route: the label that packets arrive with. The default is the key of no
/// route, and differs from the key of label 0.
class RouteKey {
public:
    constexpr RouteKey() = default;
    static constexpr RouteKey fromLabel(Wirex::MplsLabel label) { return RouteKey(label); }

    constexpr Wirex::MplsLabel topLabel() const { return topLabel_; }
    std::string stringValue() const { return topLabel_.stringValue(); }

    friend constexpr auto operator<=>(RouteKey, RouteKey) = default;

private:
    explicit constexpr RouteKey(Wirex::MplsLabel label) : topLabel_(label) {}
    Wirex::MplsLabel topLabel_;
};

}  // namespace Mpls

template <>
struct Quor::DenseKey<Mpls::RouteKey> {
    static std::uint64_t toNumber(Mpls::RouteKey key) { return key.topLabel().value(); }
    static Mpls::RouteKey fromNumber(std::uint64_t number) {
        return Mpls::RouteKey::fromLabel(Wirex::MplsLabel(static_cast<std::uint32_t>(number)));
    }
};

template <>
struct std::hash<Mpls::RouteKey> {
    std::size_t operator()(Mpls::RouteKey key) const noexcept { return key.topLabel().value(); }
};
