#include "tests/sim/Messages.h"

#include <algorithm>
#include <chrono>

#include "tests/sim/TableWalk.h"

namespace Sim {

namespace {

using namespace std::chrono_literals;
using Expected::Message;

bool isAboutDepth(Message const& message) {
    return message.first.starts_with("SRTE_RESOLVED_SEGMENT_LIST");
}

bool isAboutOneOf(Witnesses const& witnesses, Message const& message) {
    return std::ranges::any_of(witnesses.listId, [&message](auto const& list) {
        return message.second.find("(ID " + list.second.stringValue() + ')') != std::string::npos;
    });
}

/// What keeps a message from being a new one: who holds a binding SID is told to those refused when
/// they ask, not when it passes from one to another.
std::set<Message> topics(std::set<Message> const& messages) {
    std::set<Message> topics;
    for (auto const& [identifier, text] : messages) {
        topics.emplace(identifier, text.substr(0, text.find("conflicts with")));
    }
    return topics;
}

}  // namespace

Messages::Messages(World const& world) : world_(world) {
    watches_.add(world.tables().policyStatus->policyStatusEntry(),
                 [this](SrTePolicy::PolicyKey const& key) { holderSeen(key); });
    watches_.add(world.tables().config->specifiedBsidOnly,
                 [this](std::monostate) { isToldAgain("SRTE_POLICY_INVALID", ""); });
    watches_.add(world.tables().mplsConfig->labelRange(),
                 [this](std::string const&) { isToldAgain("SRTE_POLICY_INVALID", ""); });
    watches_.add(world.tables().otherLfib->rows(), [this](Mpls::RouteKey key) {
        if (!hasRecord(key.topLabel())) return;
        isToldAgain("SRTE_RESOLVED_SEGMENT_LIST", ' ' + key.stringValue() + ' ');
    });
    watches_.add(world.tables().gribiLfib->rows(),
                 [this](Mpls::RouteKey key) { gribiRoutes_.insert(key.topLabel()); });
}

void Messages::rested() {
    restedAt_ = world_.now();
    gribiRoutes_.clear();
}

/// A message is sent whenever its step runs, also when it is an old one by then.
void Messages::isToldAgain(std::string_view identifier, std::string_view text) {
    std::erase_if(applied_, [identifier, text](Message const& message) {
        return message.first.starts_with(identifier) && message.second.find(text) != text.npos;
    });
}

/// Whether a write of the label's route was one of its segment's record.
bool Messages::hasRecord(Wirex::MplsLabel label) const {
    if (!world_.machines()) return false;
    auto const& run = world_.machines()->tables();
    auto const segment = run.coreDedupTables->segDedupTablePtr()->lookupByLabel(label);
    return segment && run.segmentStatus->status(segment->segmentId());
}

void Messages::holderSeen(SrTePolicy::PolicyKey const& key) {
    auto const* const entry = world_.tables().policyStatus->policyStatusEntry().find(key);
    if (entry) holders_.insert({entry->bindingSid, {key, entry->candidate}});
}

void Messages::agentBegins() {
    ++events_;
    begun_ = world_.syslog().records().size();
    emitted_.clear();
    applied_.clear();
}

void Messages::follow(Expected::Outcome const& outcome) {
    ++events_;
    mayApply_.merge(Expected::messages(outcome));
    wishesSeen();
}

void Messages::wishesSeen() {
    for (auto const& [protocol, source] : each(world_.tables().sources->policyInput())) {
        for (auto const& [id, entry] : each(source->policyInputEntry())) {
            wishes_.insert({entry.bindingSid, id});
        }
    }
}

void Messages::check(Expected::Outcome const& outcome) {
    auto applying = Expected::messages(outcome);
    mayApply_.insert(applying.begin(), applying.end());
    auto const& records = world_.syslog().records();
    for (; checked_ < records.size(); ++checked_) {
        auto const& record = records[checked_];
        Message const message(record.message->identifier(), record.text);
        hold(isDue(message, outcome.witnesses), "everyMessageIsDue: not", message.first,
             message.second);
        if (checked_ >= begun_) emitted_[message] = record.at;
    }
    checkComes(applying);

    events_ = 0;
    mayApply_ = applying;
    applied_ = std::move(applying);
    wishes_.clear();
    wishesSeen();
    holders_.clear();
    for (auto const& [key, entry] : each(world_.tables().policyStatus->policyStatusEntry())) {
        holderSeen(key);
    }
}

bool Messages::isDue(Message const& message, Witnesses const& witnesses) const {
    if (mayApply_.contains(message)) return true;
    // A list outlives its candidate by a step or more, and may meet a depth that the other never
    // saw.
    if (isAboutDepth(message)) return events_ > 1 || !isAboutOneOf(witnesses, message);
    return std::ranges::any_of(wishes_, [&](auto const& wish) {
        if (gribiHad(wish.first) && message == Expected::inUseElsewhere(wish.second, wish.first)) {
            return true;
        }
        return std::ranges::any_of(holders_, [&](auto const& held) {
            return held.first == wish.first &&
                   message == Expected::conflict(wish.second, held.second, wish.first);
        });
    });
}

/// One that was sent less than a second before its step ran is held back.
void Messages::checkComes(std::set<Message> const& applying) const {
    auto const before = topics(applied_);
    std::set<Message> recent;
    for (auto const& [message, at] : emitted_) {
        if (at > restedAt_ - 1s) recent.insert(message);
    }
    auto const told = topics(recent);
    for (auto const& message : topics(applying)) {
        hold(before.contains(message) || told.contains(message), "everyMessageComes: not",
             message.first, message.second);
    }
}

}  // namespace Sim
