#include "agent/ScenarioValues.h"

#include <algorithm>
#include <charconv>
#include <ratio>

namespace Agent {

namespace {

constexpr std::uint64_t maxU32 = SrTePolicy::maxU32();

std::optional<std::uint32_t> parseU32(std::string_view text) {
    auto const number = parseNumber(text, 0, maxU32);
    if (!number) return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// `digits` after a decimal point, in units of 1 / `scale`; nothing when that is not exact.
std::optional<std::int64_t> parseFraction(std::string_view digits, std::int64_t scale) {
    std::int64_t value = 0;
    for (auto const c : digits) {
        if (!isDigit(c)) return std::nullopt;
        if (scale == 1 && c != '0') return std::nullopt;
        if (scale == 1) continue;
        scale /= 10;
        value += (c - '0') * scale;
    }
    return value;
}

std::optional<SrTePolicy::Protocol> parseProtocol(std::string_view text) {
    if (text == "pcep") return SrTePolicy::Protocol::pcep;
    if (text == "bgp") return SrTePolicy::Protocol::bgp;
    if (text == "config") return SrTePolicy::Protocol::config;
    if (auto const number = parseU32(text)) return static_cast<SrTePolicy::Protocol>(*number);
    return std::nullopt;
}

std::optional<SrTePolicy::PolicyKey> policyKeyOf(std::string_view color,
                                                 std::string_view endpoint) {
    auto const number = parseU32(color);
    auto const address = Wirex::IpGenAddr::parse(endpoint);
    if (!number || !address) return std::nullopt;
    return SrTePolicy::PolicyKey{*address, *number};
}

}  // namespace

std::optional<std::uint64_t> parseNumber(std::string_view text, std::uint64_t min,
                                         std::uint64_t max) {
    // from_chars alone takes no sign, no blank and no prefix of an unsigned decimal number.
    std::uint64_t value = 0;
    auto const* const last = text.data() + text.size();
    auto const [end, error] = std::from_chars(text.data(), last, value);
    if (error != std::errc() || end != last || value < min || value > max) return std::nullopt;
    return value;
}

std::optional<std::uint32_t> parseLabel(std::string_view text) {
    auto const number = parseNumber(text, 0, Wirex::MplsLabel::max);
    if (!number) return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

std::optional<Time> parseDuration(std::string_view text) {
    bool const inMilliseconds = text.ends_with("ms");
    if (!text.ends_with('s')) return std::nullopt;
    text.remove_suffix(inMilliseconds ? 2 : 1);

    constexpr auto maxSeconds = std::uint64_t{9'000'000'000};
    auto const unit = inMilliseconds ? std::nano::den / 1000 : std::nano::den;
    auto const point = std::min(text.find('.'), text.size());
    auto const whole =
        parseNumber(text.substr(0, point), 0, inMilliseconds ? maxSeconds * 1000 : maxSeconds);
    if (!whole || point + 1 == text.size()) return std::nullopt;
    auto const fraction = point == text.size() ? 0 : parseFraction(text.substr(point + 1), unit);
    if (!fraction) return std::nullopt;
    return Time(static_cast<std::int64_t>(*whole) * unit + *fraction);
}

std::string durationText(Time time) {
    auto const nanoseconds = time.count();
    auto text = std::to_string(nanoseconds / std::nano::den);
    auto fraction = std::to_string(nanoseconds % std::nano::den + std::nano::den).substr(1);
    fraction.erase(fraction.find_last_not_of('0') + 1);
    if (!fraction.empty()) text += "." + fraction;
    return text + "s";
}

bool isName(std::string_view text) {
    auto const allowed = [](char c) {
        return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
               c == '_' || c == '-';
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), allowed);
}

std::optional<SrTePolicy::PolicyKey> parsePolicyKey(std::string_view text) {
    auto const parts = splitAtBlanks(text);
    if (parts.size() != 2) return std::nullopt;
    return policyKeyOf(parts[0], parts[1]);
}

std::string policyKeyText(SrTePolicy::PolicyKey const& key) {
    return std::to_string(key.color) + " " + key.endpoint.stringValue();
}

std::optional<ListName> parseListName(std::string_view text) {
    auto const parts = splitAtBlanks(text);
    if (parts.size() != 4 || !isName(parts[2]) || !isName(parts[3])) return std::nullopt;
    auto const key = policyKeyOf(parts[0], parts[1]);
    if (!key) return std::nullopt;
    return ListName{*key, std::string(parts[2]), std::string(parts[3])};
}

std::string ListName::text() const {
    return policyKeyText(policy) + " " + candidate + " " + list;
}

std::optional<SrTePolicy::CandidateId> parseCandidateId(std::string_view text) {
    auto const parts = splitAtBlanks(text);
    if (parts.size() != 4) return std::nullopt;
    auto const protocol = parseProtocol(parts[0]);
    auto const as = parseU32(parts[1]);
    auto const originator = Wirex::IpGenAddr::parse(parts[2]);
    auto const discriminator = parseU32(parts[3]);
    if (!protocol || !as || !originator || !discriminator) return std::nullopt;
    return SrTePolicy::CandidateId{*protocol, *originator, *as, *discriminator};
}

std::string candidateIdText(SrTePolicy::CandidateId const& id) {
    return std::to_string(static_cast<std::uint32_t>(id.protocol)) + " " +
           std::to_string(id.originatorAs) + " " + id.originator.stringValue() + " " +
           std::to_string(id.discriminator);
}

std::optional<std::vector<std::uint32_t>> parseLabelStack(std::string_view text) {
    std::vector<std::uint32_t> labels;
    while (true) {
        auto const comma = std::min(text.find(','), text.size());
        auto const label = parseLabel(text.substr(0, comma));
        if (!label) return std::nullopt;
        labels.push_back(*label);
        if (comma == text.size()) return labels;
        text.remove_prefix(comma + 1);
    }
}

std::string labelStackText(std::vector<std::uint32_t> const& labels) {
    std::string text;
    for (auto const label : labels) text += (text.empty() ? "" : ",") + std::to_string(label);
    return text;
}

std::optional<Mpls::LabelRange> parseLabelRange(std::string_view text) {
    auto const dash = std::min(text.find('-'), text.size());
    auto const first = parseLabel(text.substr(0, dash));
    auto const last = parseLabel(text.substr(std::min(dash + 1, text.size())));
    if (!first || !last || *last < *first) return std::nullopt;
    return Mpls::LabelRange(*first, *last - *first + 1);
}

std::optional<Tunnel::TunnelTable::TunnelId> parseTunnelId(std::string_view text) {
    using Tunnel::TunnelTable::TunnelId;
    auto const dash = std::min(text.find('-'), text.size());
    auto const type =
        parseNumber(text.substr(0, dash), 0, TunnelId::maxValue >> TunnelId::indexBits);
    auto const index =
        parseNumber(text.substr(std::min(dash + 1, text.size())), 0, TunnelId::maxIndex);
    if (!type || !index) return std::nullopt;
    return TunnelId(*type << TunnelId::indexBits | *index);
}

std::vector<std::string_view> splitAtBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    std::vector<std::string_view> words;
    while (true) {
        auto const begin = text.find_first_not_of(blanks);
        if (begin == std::string_view::npos) return words;
        text.remove_prefix(begin);
        auto const end = std::min(text.find_first_of(blanks), text.size());
        words.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
}

}  // namespace Agent
