#include "Platform/Wirex/IntfId.h"

#include <cstdio>

namespace Wirex {

IntfId IntfId::physical(std::string_view name) {
    IntfId intf(Kind::physical, 0);
    intf.name_ = Quor::makePtr<Name const>(name);
    return intf;
}

std::string IntfId::stringValue() const {
    constexpr int tunnelIndexBits = 44;
    constexpr auto tunnelIndexMask = (std::uint64_t{1} << tunnelIndexBits) - 1;
    switch (kind_) {
        case Kind::none: break;
        case Kind::physical: return name_->text;
        case Kind::dynamicTunnel:
            return "tunnel " + std::to_string(number_ >> tunnelIndexBits) + "-" +
                   std::to_string(number_ & tunnelIndexMask);
        case Kind::nextHopGroup: return "nhg " + std::to_string(number_);
        case Kind::hierarchicalFec: {
            char digits[17];
            std::snprintf(digits, sizeof digits, "%016llx",
                          static_cast<unsigned long long>(number_));
            return std::string("fec 0x") + digits;
        }
    }
    return "";
}

std::strong_ordering operator<=>(IntfId const& a, IntfId const& b) {
    if (auto const byKind = a.kind_ <=> b.kind_; byKind != 0) return byKind;
    if (auto const byNumber = a.number_ <=> b.number_; byNumber != 0) return byNumber;
    if (a.name_ == b.name_) return std::strong_ordering::equal;
    return a.name_->text <=> b.name_->text;
}

}  // namespace Wirex
