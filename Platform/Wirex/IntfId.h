#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/Quor/Ptr.h"

namespace Wirex {

/// An interface that a via sends to: a physical one by name, or one that stands for a dynamic
/// tunnel, a next-hop group or a FEC. The number of a tunnel is kept raw: it may lie outside the
/// range of tunnel ids, and whoever converts it finds that out.
class SRTE_EXPORT IntfId {
public:
    enum class Kind : std::uint8_t { none, physical, dynamicTunnel, nextHopGroup, hierarchicalFec };

    IntfId() = default;
    static IntfId physical(std::string_view name);
    static IntfId dynamicTunnel(std::uint64_t tunnelId) {
        return IntfId(Kind::dynamicTunnel, tunnelId);
    }
    static IntfId nextHopGroup(std::uint64_t number) { return IntfId(Kind::nextHopGroup, number); }
    /// `fecId` is the raw 64-bit FEC id.
    static IntfId hierarchicalFec(std::uint64_t fecId) {
        return IntfId(Kind::hierarchicalFec, fecId);
    }

    Kind kind() const { return kind_; }
    bool isEmpty() const { return kind_ == Kind::none; }
    bool isDynamicTunnel() const { return kind_ == Kind::dynamicTunnel; }
    bool isNextHopGroup() const { return kind_ == Kind::nextHopGroup; }
    bool isHierarchicalFec() const { return kind_ == Kind::hierarchicalFec; }
    /// The tunnel id, group number or FEC id; 0 for a physical interface.
    std::uint64_t number() const { return number_; }

    /// The name, `tunnel TYPE-INDEX`, `nhg N`, `fec 0x...`, or nothing.
    std::string stringValue() const;

    friend bool operator==(IntfId const& a, IntfId const& b) { return (a <=> b) == 0; }
    friend std::strong_ordering operator<=>(IntfId const& a, IntfId const& b);

private:
    // Shared between the copies of one interface id: a table holds millions of them.
    struct Name final : Quor::PtrInterface {
        explicit Name(std::string_view name) : text(name) {}
        std::string const text;
    };
    IntfId(Kind kind, std::uint64_t number) : kind_(kind), number_(number) {}

    Kind kind_ = Kind::none;
    std::uint64_t number_ = 0;
    Quor::Ptr<Name const> name_;
};

// Outside the class as well: a friend alone would stay hidden.
SRTE_EXPORT std::strong_ordering operator<=>(IntfId const& a, IntfId const& b);

}  // namespace Wirex
