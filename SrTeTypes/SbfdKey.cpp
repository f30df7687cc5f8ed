#include "SrTeTypes/SbfdKey.h"

#include "SrTeTypes/ValueText.h"

namespace SrTePolicy::Sbfd {
namespace {

constexpr std::string_view typeName = "SrTePolicy::Sbfd::SbfdKey";

}  // namespace

std::optional<SbfdKey> SbfdKey::parse(std::string_view text) {
    auto const fields = valueFields(text, typeName, {"endpoint", "color", "segmentListId"});
    SbfdKey key;
    key.endpoint = Wirex::IpGenAddr::parse(fields[0]).value_or(Wirex::IpGenAddr());
    key.color = valueNumber(fields[1]);
    key.segmentListId = SegmentListId(valueNumber(fields[2]));
    return key.stringValue() == text ? std::optional(key) : std::nullopt;
}

SbfdKey::SbfdKey(std::string_view text)
    : SbfdKey(checkedValue(parse(text).value_or(SbfdKey()), text, typeName)) {}

std::string SbfdKey::stringValue() const {
    return valueText(typeName, {{"endpoint", endpoint.stringValue()},
                                {"color", std::to_string(color)},
                                {"segmentListId", segmentListId.stringValue()}});
}

std::uint64_t SbfdKey::hash(std::uint64_t seed) const {
    return seededHash(policyKey().hash(seed), segmentListId.value());
}

}  // namespace SrTePolicy::Sbfd
