#pragma once

#include <charconv>
#include <concepts>
#include <span>
#include <string>
#include <string_view>

#include "Platform/Tunnel/MplsVia.h"
#include "tests/sim/Model.h"

/// How rows of tables are put into words, for those that are expected and for those that are found.
namespace Sim {

inline void put(std::string& out, std::string_view text) {
    out += text;
}

template <std::unsigned_integral T>
void put(std::string& out, T number) {
    char digits[20];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

template <class T>
requires std::is_enum_v<T>
void put(std::string& out, T value) {
    put(out, static_cast<std::uint64_t>(value));
}

inline void put(std::string& out, Wirex::MplsLabel label) {
    label.isNull() ? put(out, "-") : put(out, label.value());
}

template <class Labels>
void putLabels(std::string& out, Labels const& labels, std::size_t count) {
    out += '[';
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) out += ' ';
        put(out, labels(i));
    }
    out += ']';
}

inline void put(std::string& out, std::span<Wirex::MplsLabel const> labels) {
    putLabels(
        out, [&labels](std::size_t i) { return labels[i]; }, labels.size());
}

inline void put(std::string& out, Wirex::BoundedMplsLabelStack const& stack) {
    putLabels(
        out, [&stack](std::size_t i) { return stack.label(i); }, stack.size());
}

inline void put(std::string& out, Wirex::MplsLabelOperation const& operation) {
    put(out, operation.action);
    put(out, operation.stack);
}

inline void put(std::string& out, Wirex::IpGenAddr const& address) {
    if (!address.isV4()) return put(out, address.isEmpty() ? "-" : address.stringValue());
    for (std::size_t i = 12; i < 16; ++i) {
        if (i > 12) out += '.';
        put(out, address.bytes()[i]);
    }
}

/// An LFIB's via or a tunnel's.
template <class Via>
requires requires(Via via) {
    via.nextHop;
    via.intf;
    via.operation;
}
void put(std::string& out, Via const& via) {
    put(out, via.nextHop);
    out += '%';
    out += via.intf.stringValue();
    out += '/';
    put(out, via.operation);
}

inline void put(std::string& out, SrTePolicy::Originator const& originator) {
    put(out, originator.as);
    out += ',';
    put(out, originator.address);
}

inline void put(std::string& out, SrTePolicy::PolicyKey const& key) {
    put(out, key.color);
    out += ',';
    put(out, key.endpoint);
}

inline void put(std::string& out, SrTePolicy::CandidateId const& id) {
    put(out, id.protocol);
    out += ',';
    put(out, SrTePolicy::Originator{id.originator, id.originatorAs});
    out += ',';
    put(out, id.discriminator);
}

inline void put(std::string& out, SrTePolicy::PolicyId const& id) {
    put(out, id.key);
    out += '/';
    put(out, id.candidate);
}

/// The parts in words, with a blank between two of them.
template <class... Parts>
std::string words(Parts const&... parts) {
    std::string text;
    text.reserve(120);
    ((put(text, parts), text += ' '), ...);
    text.pop_back();
    return text;
}

inline void put(std::string& out, ListContent const& list) {
    put(out, std::span(list.labels));
    if (list.isOfPolicy()) return put(out, words(" of", list.policyId));
    put(out, words(" of next hop", list.distinguisherId.value()));
    auto const nobody = SrTePolicy::PolicyId::lowest({{}, 0});
    if (list.policyId != nobody) put(out, words(" and of", list.policyId));
}

}  // namespace Sim
