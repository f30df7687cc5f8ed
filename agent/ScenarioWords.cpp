#include "agent/ScenarioWords.h"

#include <chrono>

#include "Platform/Wirex/IpGenAddr.h"
#include "agent/ScenarioValues.h"

namespace Agent::Words {

namespace {

std::string decimal(std::uint64_t number) {
    return std::to_string(number);
}

std::optional<std::uint64_t> parseInterval(std::string const& text) {
    using std::chrono::milliseconds;
    auto const time = parseDuration(text);
    if (!time || *time % milliseconds(1) != Time(0)) return std::nullopt;
    auto const count = static_cast<std::uint64_t>(*time / milliseconds(1));
    if (count > max32) return std::nullopt;
    return count;
}

}  // namespace

Word text(std::string const& expected) {
    return {expected, [](std::string const& found) -> std::optional<std::string> {
                if (found.empty()) return std::nullopt;
                return found;
            }};
}

Word name() {
    return {"a name of letters, digits, `.`, `_` and `-`",
            [](std::string const& found) -> std::optional<std::string> {
                if (!isName(found)) return std::nullopt;
                return found;
            }};
}

Word boolean() {
    return oneOf({"true", "false"});
}

Word number(std::string const& what, std::uint64_t min, std::uint64_t max) {
    return word(
        what + " from " + decimal(min) + " to " + decimal(max),
        [=](std::string const& found) { return parseNumber(found, min, max); }, decimal);
}

Word number32(std::string const& what) {
    return number(what, 0, max32);
}

Word number64(std::string const& what) {
    return number(what, 0, std::numeric_limits<std::uint64_t>::max());
}

Word label() {
    return number("a label", 0, Wirex::MplsLabel::max);
}

Word gribiLabel() {
    return number("a label", 0, Wirex::MplsLabel::null);
}

Word labelStack() {
    return word("labels from 0 to 1048575 with commas between", parseLabelStack, labelStackText);
}

Word labelRange() {
    return word("a range such as 100000-100999, first to last, within 0 to 1048575",
                parseLabelRange, [](Mpls::LabelRange range) {
                    return decimal(range.base()) + "-" + decimal(range.base() + range.size() - 1);
                });
}

Word address() {
    return word("an IPv4 or IPv6 address", Wirex::IpGenAddr::parse,
                [](auto const& found) { return found.stringValue(); });
}

Word tunnelId() {
    return word("a tunnel as TYPE-INDEX, type 0 to 31, index 0 to 17592186044415", parseTunnelId,
                [](auto const& found) { return found.stringValue(); });
}

Word time() {
    return word("a time with its unit, such as 10s, 11.2s or 50ms", parseDuration, durationText);
}

Word interval() {
    return word("an interval in whole milliseconds, such as 50ms, up to 4294967295ms",
                parseInterval, decimal);
}

Word policyKey() {
    return word("a policy as COLOR ENDPOINT, such as 100 192.0.2.5", parsePolicyKey, policyKeyText);
}

Word listName() {
    return word("a list as COLOR ENDPOINT CANDIDATE LIST, such as 100 192.0.2.5 main l1",
                parseListName, [](ListName const& found) { return found.text(); });
}

Word candidateId() {
    return word(
        "PROTOCOL AS ORIGINATOR DISCRIMINATOR, such as bgp 65001 192.0.2.9 7 (protocol pcep, bgp, "
        "config or a number)",
        parseCandidateId, candidateIdText);
}

}  // namespace Agent::Words
