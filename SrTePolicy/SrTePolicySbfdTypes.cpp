#include "SrTePolicy/SrTePolicySbfdTypes.h"

#include "SrTeTypes/ValueText.h"

namespace SrTePolicy::Sbfd {
namespace {

constexpr std::string_view paramsType = "SrTePolicy::Sbfd::SbfdParams";
constexpr std::string_view configType = "SrTePolicy::Sbfd::SegmentListSbfdConfig";
constexpr std::string_view sessionKeyType = "SrTePolicy::Sbfd::SbfdSessionKey";
constexpr std::string_view sessionConfigType = "SrTePolicy::Sbfd::SegmentListSbfdSessionConfig";
constexpr std::string_view sessionStatusType = "SrTePolicy::Sbfd::SegmentListSbfdSessionStatus";

constexpr std::string_view trueText = "True";
constexpr std::string_view falseText = "False";

// A nested value that is malformed reads as the default one: the whole then prints differently.
SbfdKey keyOf(std::string_view text) {
    return SbfdKey::parse(text).value_or(SbfdKey());
}
SbfdParams paramsOf(std::string_view text) {
    auto const fields = valueFields(text, paramsType, {"sbfdInterval", "sbfdMulti"});
    return {Bfd::BfdInterval(valueNumber(fields[0])), Bfd::BfdMultiplier(valueNumber(fields[1]))};
}
Bfd::BfdDiscriminator discriminatorOf(std::string_view text) {
    return Bfd::BfdDiscriminator(valueNumber(text));
}

}  // namespace

SbfdParams SbfdParams::resolved(SbfdParams const& global) const {
    if (sbfdInterval.value() == 0) return global;
    return {sbfdInterval, sbfdMulti.value() == 0 ? global.sbfdMulti : sbfdMulti};
}

SbfdParams SbfdParams::fromString(std::string_view text) {
    return checkedValue(paramsOf(text), text, paramsType);
}
std::string SbfdParams::stringValue() const {
    return valueText(paramsType, {{"sbfdInterval", sbfdInterval.stringValue()},
                                  {"sbfdMulti", sbfdMulti.stringValue()}});
}
std::uint64_t SbfdParams::hash(std::uint64_t seed) const {
    return seededHash(seed, sbfdInterval.value(), sbfdMulti.value());
}

SegmentListSbfdConfig SegmentListSbfdConfig::fromString(std::string_view text) {
    auto const fields =
        valueFields(text, configType, {"sbfdKey", "remoteDiscriminator", "sbfdParams"});
    SegmentListSbfdConfig const config{keyOf(fields[0]), discriminatorOf(fields[1]),
                                       paramsOf(fields[2])};
    return checkedValue(config, text, configType);
}
std::string SegmentListSbfdConfig::stringValue() const {
    return valueText(configType, {{"sbfdKey", sbfdKey.stringValue()},
                                  {"remoteDiscriminator", remoteDiscriminator.stringValue()},
                                  {"sbfdParams", sbfdParams.stringValue()}});
}
std::uint64_t SegmentListSbfdConfig::hash(std::uint64_t seed) const {
    return sbfdParams.hash(seededHash(sbfdKey.hash(seed), remoteDiscriminator.value()));
}

SbfdSessionKey SbfdSessionKey::fromString(std::string_view text) {
    auto const fields = valueFields(text, sessionKeyType, {"segmentListId", "remoteDiscriminator"});
    SbfdSessionKey const key{SegmentListId(valueNumber(fields[0])), discriminatorOf(fields[1])};
    return checkedValue(key, text, sessionKeyType);
}
std::string SbfdSessionKey::stringValue() const {
    return valueText(sessionKeyType, {{"segmentListId", segmentListId.stringValue()},
                                      {"remoteDiscriminator", remoteDiscriminator.stringValue()}});
}
std::uint64_t SbfdSessionKey::hash(std::uint64_t seed) const {
    return seededHash(seed, segmentListId.value(), remoteDiscriminator.value());
}

SegmentListSbfdSessionConfig SegmentListSbfdSessionConfig::fromString(std::string_view text) {
    auto const fields = valueFields(text, sessionConfigType, {"sbfdKey", "params"});
    SegmentListSbfdSessionConfig const config{keyOf(fields[0]), paramsOf(fields[1])};
    return checkedValue(config, text, sessionConfigType);
}
std::string SegmentListSbfdSessionConfig::stringValue() const {
    return valueText(sessionConfigType,
                     {{"sbfdKey", sbfdKey.stringValue()}, {"params", params.stringValue()}});
}
std::uint64_t SegmentListSbfdSessionConfig::hash(std::uint64_t seed) const {
    return params.hash(sbfdKey.hash(seed));
}

SegmentListSbfdSessionStatus SegmentListSbfdSessionStatus::fromString(std::string_view text) {
    auto const fields = valueFields(text, sessionStatusType, {"sbfdKey", "valid"});
    SegmentListSbfdSessionStatus const status{keyOf(fields[0]), fields[1] == trueText};
    return checkedValue(status, text, sessionStatusType);
}
std::string SegmentListSbfdSessionStatus::stringValue() const {
    return valueText(sessionStatusType, {{"sbfdKey", sbfdKey.stringValue()},
                                         {"valid", std::string(valid ? trueText : falseText)}});
}
std::uint64_t SegmentListSbfdSessionStatus::hash(std::uint64_t seed) const {
    return seededHash(sbfdKey.hash(seed), static_cast<std::uint32_t>(valid));
}

}  // namespace SrTePolicy::Sbfd
