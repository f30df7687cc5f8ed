#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <string>

#include "Platform/Wirex/IpGenAddr.h"
#include "SrTeTypes/SeededHash.h"

namespace SrTePolicy {

constexpr std::uint32_t maxU32() {
    return 0xFFFFFFFF;
}

/// Where a candidate path comes from; the value is its protocol origin (RFC 9256, 2.3), of which
/// the higher wins. Sources may use other values.
enum class Protocol : std::uint32_t { unknown = 0, pcep = 10, bgp = 20, config = 30 };

/// "PCEP", "BGP", "config", or the number.
SRTE_EXPORT std::string protocolEnumToString(Protocol protocol);

/// What a policy is on the network (RFC 9256, 2.1, with this router as headend). All candidates of
/// one key compete. The default key names no policy.
struct SRTE_EXPORT PolicyKey {
    Wirex::IpGenAddr endpoint;
    std::uint32_t color = maxU32();

    /// "endpoint ADDR color N".
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;

    friend auto operator<=>(PolicyKey const&, PolicyKey const&) = default;
};

/// One candidate path of a policy (RFC 9256, 2.6).
struct SRTE_EXPORT CandidateId {
    Protocol protocol = static_cast<Protocol>(maxU32());
    Wirex::IpGenAddr originator;
    std::uint32_t originatorAs = maxU32();
    std::uint32_t discriminator = maxU32();

    /// "protocol P originator ADDR(ASn) discriminator N".
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;

    friend auto operator<=>(CandidateId const&, CandidateId const&) = default;
};

/// A candidate path with its policy: the key of every table that has a row per candidate. The
/// default one is the empty id.
struct SRTE_EXPORT PolicyId {
    PolicyKey key;
    CandidateId candidate;

    /// Not above any candidate of the policy: where a walk over them starts.
    static PolicyId lowest(PolicyKey const& key) {
        return {key, {static_cast<Protocol>(0), Wirex::IpGenAddr(), 0, 0}};
    }

    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;

    friend auto operator<=>(PolicyId const&, PolicyId const&) = default;
};

/// A candidate's rank inside its policy, higher better (RFC 9256, 2.7).
class SRTE_EXPORT Preference {
public:
    constexpr Preference() = default;
    explicit constexpr Preference(std::uint32_t value) : value_(value) {}
    constexpr std::uint32_t value() const { return value_; }
    std::string stringValue() const { return std::to_string(value_); }
    std::uint64_t hash(std::uint64_t seed = 0) const { return seededHash(seed, value_); }
    friend constexpr auto operator<=>(Preference, Preference) = default;

private:
    std::uint32_t value_ = 0;
};

/// The node that a candidate comes from (RFC 9256, 2.4). Ordered by AS, then by the 128-bit address
/// with an IPv4 one in the low 32 bits, then by family so that the order is total.
struct SRTE_EXPORT Originator {
    Wirex::IpGenAddr address;
    std::uint32_t as = 0;

    /// "ADDR(ASn)".
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;

    friend bool operator==(Originator const&, Originator const&) = default;
    friend std::strong_ordering operator<=>(Originator const& a, Originator const& b);
};

// Outside the class as well: a friend alone would stay hidden.
SRTE_EXPORT std::strong_ordering operator<=>(Originator const& a, Originator const& b);

/// The explicit-null label policy of a candidate (RFC 9830, 2.4.5): which unlabelled traffic gets
/// an explicit null below the list's labels. `notGiven` leaves it to the endpoint's family.
class SRTE_EXPORT Enlp {
public:
    static constexpr std::uint32_t min = 0;
    static constexpr std::uint32_t max = 4;

    constexpr Enlp() = default;
    /// Throws RangeError above 4.
    explicit Enlp(std::uint32_t value);

    static Enlp notGiven() { return Enlp(0); }
    static Enlp ipv4() { return Enlp(1); }
    static Enlp ipv6() { return Enlp(2); }
    static Enlp both() { return Enlp(3); }
    static Enlp none() { return Enlp(4); }

    constexpr std::uint32_t value() const { return value_; }
    std::string stringValue() const { return std::to_string(value_); }
    std::uint64_t hash(std::uint64_t seed = 0) const { return seededHash(seed, value_); }
    friend constexpr auto operator<=>(Enlp, Enlp) = default;

private:
    std::uint32_t value_ = 0;
};

}  // namespace SrTePolicy

template <>
struct std::hash<SrTePolicy::PolicyKey> {
    std::size_t operator()(SrTePolicy::PolicyKey const& key) const noexcept { return key.hash(); }
};
template <>
struct std::hash<SrTePolicy::PolicyId> {
    std::size_t operator()(SrTePolicy::PolicyId const& id) const noexcept { return id.hash(); }
};
