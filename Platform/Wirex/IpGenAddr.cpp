#include "Platform/Wirex/IpGenAddr.h"

#include <charconv>
#include <vector>

namespace Wirex {
namespace {

std::optional<std::uint32_t> parseNumber(std::string_view text, int base, std::size_t maxDigits,
                                         std::uint32_t max) {
    if (text.empty() || text.size() > maxDigits) return std::nullopt;
    std::uint32_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size() || value > max)
        return std::nullopt;
    return value;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        auto const at = text.find(separator);
        parts.push_back(text.substr(0, at));
        if (at == std::string_view::npos) return parts;
        text.remove_prefix(at + 1);
    }
}

std::optional<std::uint32_t> parseV4(std::string_view text) {
    auto const parts = split(text, '.');
    if (parts.size() != 4) return std::nullopt;
    std::uint32_t value = 0;
    for (auto const part : parts) {
        if (part.size() > 1 && part.front() == '0') return std::nullopt;
        auto const octet = parseNumber(part, 10, 3, 255);
        if (!octet) return std::nullopt;
        value = value << 8 | *octet;
    }
    return value;
}

// The 16-bit groups of one side of "::"; the last one of the whole text may be dotted.
std::optional<std::vector<std::uint16_t>> parseGroups(std::string_view text, bool mayEndDotted) {
    std::vector<std::uint16_t> groups;
    if (text.empty()) return groups;
    auto const parts = split(text, ':');
    for (auto const& part : parts) {
        if (mayEndDotted && &part == &parts.back() && part.find('.') != part.npos) {
            auto const v4 = parseV4(part);
            if (!v4) return std::nullopt;
            groups.push_back(static_cast<std::uint16_t>(*v4 >> 16));
            groups.push_back(static_cast<std::uint16_t>(*v4));
            continue;
        }
        auto const group = parseNumber(part, 16, 4, 0xFFFF);
        if (!group) return std::nullopt;
        groups.push_back(static_cast<std::uint16_t>(*group));
    }
    return groups;
}

std::optional<IpGenAddr::Bytes> parseV6(std::string_view text) {
    auto const gap = text.find("::");
    bool const hasGap = gap != text.npos;
    auto const head = parseGroups(text.substr(0, gap), !hasGap);
    auto const tail = parseGroups(hasGap ? text.substr(gap + 2) : std::string_view(), hasGap);
    if (!head || !tail) return std::nullopt;
    auto const count = head->size() + tail->size();
    if (hasGap ? count > 7 : count != 8) return std::nullopt;

    IpGenAddr::Bytes bytes{};
    auto const put = [&bytes](std::size_t at, std::uint16_t group) {
        bytes[2 * at] = static_cast<std::uint8_t>(group >> 8);
        bytes[2 * at + 1] = static_cast<std::uint8_t>(group);
    };
    for (std::size_t i = 0; i < head->size(); ++i) put(i, (*head)[i]);
    for (std::size_t i = 0; i < tail->size(); ++i) put(8 - tail->size() + i, (*tail)[i]);
    return bytes;
}

std::string textV4(std::uint32_t value) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        if (!text.empty()) text += '.';
        text += std::to_string(value >> shift & 0xFF);
    }
    return text;
}

std::string hex(std::uint32_t group) {
    char digits[8];
    auto const end = std::to_chars(digits, digits + sizeof digits, group, 16).ptr;
    return std::string(digits, end);
}

// RFC 5952, 4.2: the longest run of two or more zero groups is shortened, the first one of equals.
std::string textV6(IpGenAddr::Bytes const& bytes) {
    std::uint32_t groups[8];
    for (std::size_t i = 0; i < 8; ++i) {
        groups[i] = static_cast<std::uint32_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    }
    std::size_t gapAt = 8;
    std::size_t gapLength = 1;
    for (std::size_t i = 0; i < 8; ++i) {
        std::size_t length = 0;
        while (i + length < 8 && groups[i + length] == 0) ++length;
        if (length > gapLength) {
            gapAt = i;
            gapLength = length;
        }
    }
    // RFC 5952, 5: the well-known IPv4-mapped prefix is written with a dotted end.
    if (gapAt == 0 && gapLength == 5 && groups[5] == 0xFFFF) {
        return "::ffff:" + textV4(groups[6] << 16 | groups[7]);
    }
    std::string text;
    for (std::size_t i = 0; i < 8; ++i) {
        if (i == gapAt) {
            text += "::";
            i += gapLength - 1;
            continue;
        }
        if (!text.empty() && text.back() != ':') text += ':';
        text += hex(groups[i]);
    }
    return text;
}

}  // namespace

IpGenAddr IpGenAddr::ipv4(std::uint32_t value) {
    IpGenAddr address;
    address.family_ = AddressFamily::ipv4;
    for (std::size_t i = 0; i < 4; ++i) {
        address.bytes_[15 - i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    return address;
}

IpGenAddr IpGenAddr::ipv6(Bytes const& bytes) {
    IpGenAddr address;
    address.family_ = AddressFamily::ipv6;
    address.bytes_ = bytes;
    return address;
}

std::optional<IpGenAddr> IpGenAddr::parse(std::string_view text) {
    if (text.find(':') != text.npos) {
        auto const bytes = parseV6(text);
        return bytes ? std::optional(ipv6(*bytes)) : std::nullopt;
    }
    auto const value = parseV4(text);
    return value ? std::optional(ipv4(*value)) : std::nullopt;
}

std::string IpGenAddr::stringValue() const {
    switch (family_) {
        case AddressFamily::ipv4: return textV4(static_cast<std::uint32_t>(low()));
        case AddressFamily::ipv6: return textV6(bytes_);
        case AddressFamily::none: break;
    }
    return "";
}

IpGenPrefix IpGenPrefix::fullLength(IpGenAddr const& address) {
    return {address, static_cast<std::uint8_t>(address.isV4() ? 32 : address.isV6() ? 128 : 0)};
}

std::string IpGenPrefix::stringValue() const {
    return address.isEmpty() ? "" : address.stringValue() + "/" + std::to_string(length);
}

}  // namespace Wirex
