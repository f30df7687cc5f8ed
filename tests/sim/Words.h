#pragma once

#include <charconv>
#include <string>
#include <string_view>

#include "tests/sim/Model.h"

namespace Sim {

/// Puts rows of tables into words, those that are expected and those that are found.
class Line {
public:
    /// The parts, with a blank between two of them.
    explicit Line(auto const&... parts) {
        text_.reserve(120);
        ((put(parts), text_ += ' '), ...);
        text_.pop_back();
    }
    std::string& text() { return text_; }

private:
    void put(std::string_view text) { text_ += text; }
    void put(std::unsigned_integral auto number) {
        char digits[20];
        text_.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    }
    template <class Enum>
    requires std::is_enum_v<Enum>
    void put(Enum value) { put(static_cast<std::uint64_t>(value)); }
    /// A number that is a type of its own.
    template <class Number>
    requires requires(Number number) { number.value(); }
    void put(Number number) { put(number.value()); }
    /// With a comma between two of them.
    void putAll(auto const& first, auto const&... others) {
        put(first);
        ((text_ += ',', put(others)), ...);
    }

    void put(Wirex::MplsLabel label) { label.isNull() ? put("-") : put(label.value()); }
    void put(Wirex::IpGenAddr const& address) {
        auto const& bytes = address.bytes();
        if (address.isV4()) return putAll(bytes[12], bytes[13], bytes[14], bytes[15]);
        put(address.isEmpty() ? "-" : address.stringValue());
    }
    void put(Wirex::BoundedMplsLabelStack const& stack) {
        text_ += '[';
        for (std::size_t i = 0; i < stack.size(); ++i) {
            if (i > 0) text_ += ' ';
            put(stack.label(i));
        }
        text_ += ']';
    }
    /// An LFIB's via or a tunnel's.
    template <class Via>
    requires requires(Via via) { via.operation; }
    void put(Via const& via) {
        putAll(via.nextHop, via.intf.stringValue(), via.operation.action, via.operation.stack);
    }

    void put(Bfd::Timers const& timers) { putAll(timers.interval, timers.multiplier); }
    void put(SrTePolicy::PolicySbfdConfig const& settings) {
        putAll(settings.interval, settings.multiplier, settings.remoteDiscriminator);
    }
    void put(SrTePolicy::Originator const& node) { putAll(node.as, node.address); }
    void put(SrTePolicy::PolicyKey const& key) { putAll(key.color, key.endpoint); }
    void put(SrTePolicy::CandidateId const& id) {
        putAll(id.protocol, id.originatorAs, id.originator, id.discriminator);
    }
    void put(SrTePolicy::PolicyId const& id) { putAll(id.key, id.candidate); }
    void put(ListContent const& list) {
        put(list.labels);
        if (list.isOfPolicy()) return putAll(" of ", list.policyId);
        putAll(" of next hop ", list.distinguisherId);
        auto const nobody = SrTePolicy::PolicyId::lowest({{}, 0});
        if (list.policyId != nobody) putAll(" and of ", list.policyId);
    }

    std::string text_;
};

std::string words(auto const&... parts) {
    return std::move(Line(parts...).text());
}

}  // namespace Sim
