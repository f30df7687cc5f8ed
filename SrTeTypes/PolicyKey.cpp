#include "SrTeTypes/PolicyKey.h"

#include "Platform/Quor/RangeError.h"

namespace SrTePolicy {
namespace {

std::uint64_t addressHash(std::uint64_t seed, Wirex::IpGenAddr const& address) {
    return seededHash(seed, std::hash<Wirex::IpGenAddr>()(address));
}

}  // namespace

std::string protocolEnumToString(Protocol protocol) {
    switch (protocol) {
        case Protocol::pcep: return "PCEP";
        case Protocol::bgp: return "BGP";
        case Protocol::config: return "config";
        case Protocol::unknown: break;
    }
    return std::to_string(static_cast<std::uint32_t>(protocol));
}

std::string PolicyKey::stringValue() const {
    return "endpoint " + endpoint.stringValue() + " color " + std::to_string(color);
}

std::uint64_t PolicyKey::hash(std::uint64_t seed) const {
    return seededHash(addressHash(seed, endpoint), color);
}

std::string CandidateId::stringValue() const {
    return "protocol " + protocolEnumToString(protocol) + " originator " +
           Originator{originator, originatorAs}.stringValue() + " discriminator " +
           std::to_string(discriminator);
}

std::uint64_t CandidateId::hash(std::uint64_t seed) const {
    auto const source = std::uint64_t{static_cast<std::uint32_t>(protocol)} << 32 | originatorAs;
    return seededHash(addressHash(seed, originator), source, discriminator);
}

std::string PolicyId::stringValue() const {
    return key.stringValue() + " " + candidate.stringValue();
}

std::uint64_t PolicyId::hash(std::uint64_t seed) const {
    return candidate.hash(key.hash(seed));
}

std::string Originator::stringValue() const {
    return address.stringValue() + "(AS" + std::to_string(as) + ")";
}

std::uint64_t Originator::hash(std::uint64_t seed) const {
    return seededHash(addressHash(seed, address), as);
}

std::strong_ordering operator<=>(Originator const& a, Originator const& b) {
    if (auto const byAs = a.as <=> b.as; byAs != 0) return byAs;
    if (auto const byHigh = a.address.high() <=> b.address.high(); byHigh != 0) return byHigh;
    if (auto const byLow = a.address.low() <=> b.address.low(); byLow != 0) return byLow;
    return a.address.family() <=> b.address.family();
}

Enlp::Enlp(std::uint32_t value) : value_(value) {
    if (value > max) throw Quor::RangeError("Enlp::value < Enlp::min or > Enlp::max not allowed");
}

}  // namespace SrTePolicy
