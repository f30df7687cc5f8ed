#include "tests/sim/Messages.h"

#include <algorithm>
#include <chrono>

namespace Sim {

namespace {

using namespace std::chrono_literals;

std::string wish(SrTePolicy::PolicyId const& id, Wirex::MplsLabel bindingSid) {
    auto const& [key, candidate] = id;
    return "Endpoint " + key.endpoint.stringValue() + ", color " + std::to_string(key.color) +
           ", protocol " + protocolEnumToString(candidate.protocol) + ", originator " +
           candidate.originator.stringValue() + "(AS" + std::to_string(candidate.originatorAs) +
           "), discriminator " + std::to_string(candidate.discriminator) + " for " +
           bindingSid.stringValue();
}

/// Who is refused a binding SID, and who holds it, each with the binding SID.
struct Conflict {
    explicit Conflict(Message const& message)
        : is(message.first == "SRTE_POLICY_CONFLICT_BSID_IN_USE") {
        auto const& text = message.second;
        std::string_view const afterRefused = " is unusable, BSID(";
        std::string_view const afterLabel = ") already present, conflicts with ";
        auto const refusedEnd = text.find(afterRefused);
        auto const labelEnd = text.find(afterLabel);
        if (!is || refusedEnd == text.npos || labelEnd == text.npos) return;
        auto const labelBegin = refusedEnd + afterRefused.size();
        auto const label = " for " + text.substr(labelBegin, labelEnd - labelBegin);
        refused = text.substr(0, refusedEnd) + label;
        holder = text.substr(labelEnd + afterLabel.size()) + label;
    }

    bool is;
    std::string refused, holder;
};

bool isAboutDepth(Message const& message) {
    return message.first.starts_with("SRTE_RESOLVED_SEGMENT_LIST");
}

bool isAboutOneOf(std::map<ListContent, SrTePolicy::SegmentListId> const& lists,
                  Message const& message) {
    return std::ranges::any_of(lists, [&message](auto const& list) {
        return message.second.find("(ID " + list.second.stringValue() + ')') != std::string::npos;
    });
}

/// What keeps a message from being a new one: who holds a binding SID is told to those refused when
/// they ask, not when it passes from one to another.
std::set<Message> topics(std::set<Message> const& messages) {
    std::set<Message> topics;
    for (auto const& message : messages) {
        Conflict const conflict(message);
        topics.insert(conflict.is ? Message(message.first, conflict.refused) : message);
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
    if (entry) holders_.insert(wish({key, entry->candidate}, entry->bindingSid));
}

void Messages::agentBegins() {
    begun_ = world_.syslog().records().size();
    emitted_.clear();
    applied_.clear();
}

void Messages::follow(Witnesses const& witnesses) {
    ++events_;
    mayApply_.merge(expectedMessages(world_.tables(), witnesses));
    wishesSeen();
}

void Messages::wishesSeen() {
    auto const& sources = world_.tables().sources->policyInput();
    for (auto source = sources.begin(); source; source.next()) {
        auto const& entries = source.value()->policyInputEntry();
        for (auto row = entries.begin(); row; row.next()) {
            wishes_.insert(wish(row.key(), row.value().bindingSid));
        }
    }
}

void Messages::check(Witnesses const& witnesses) {
    auto const& records = world_.syslog().records();
    for (; checked_ < records.size(); ++checked_) {
        auto const& record = records[checked_];
        Message const message(record.message->identifier(), record.text);
        checkDue(message, witnesses);
        if (checked_ >= begun_) emitted_[message] = record.at;
    }
    auto applying = expectedMessages(world_.tables(), witnesses);
    checkComes(applying);

    events_ = 0;
    checkedAt_ = world_.now();
    mayApply_ = applying;
    applied_ = std::move(applying);
    wishes_.clear();
    wishesSeen();
    holders_.clear();
    auto const& entries = world_.tables().policyStatus->policyStatusEntry();
    for (auto row = entries.begin(); row; row.next()) holderSeen(row.key());
}

void Messages::checkDue(Message const& message, Witnesses const& witnesses) const {
    Conflict const conflict(message);
    // A list outlives its candidate by a step or more, and may meet a depth that the other never
    // saw.
    bool const mayBeOutlived =
        isAboutDepth(message) && (events_ > 1 || !isAboutOneOf(witnesses.listId, message));
    bool const due = conflict.is
                         ? wishes_.contains(conflict.refused) && holders_.contains(conflict.holder)
                         : mayApply_.contains(message) || mayBeOutlived;
    if (!due) throw Violation{"everyMessageIsDue: not " + message.first + ' ' + message.second};
}

/// One that was sent less than a second before its step ran is held back.
void Messages::checkComes(std::set<Message> const& applying) const {
    auto const before = topics(applied_);
    std::set<Message> recent;
    for (auto const& [message, at] : emitted_) {
        if (at > checkedAt_ - 1s) recent.insert(message);
    }
    auto const told = topics(recent);
    for (auto const& message : topics(applying)) {
        if (before.contains(message) || told.contains(message)) continue;
        throw Violation{"everyMessageComes: not " + message.first + ' ' + message.second};
    }
}

}  // namespace Sim
