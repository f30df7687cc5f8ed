#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "tests/sim/Journal.h"
#include "tests/sim/Model.h"

namespace Sim {

/// Whether the operator is told what the model says, and nothing else.
class Messages {
public:
    explicit Messages(World const& world);

    /// A run of the agent is about to begin: it tells everything again.
    void agentBegins();
    /// After every event: what may be told while the agent makes up for it.
    void follow(Witnesses const& witnesses);
    /// At rest. Throws a `Violation` when a message did not come although it began to apply, or
    /// came without ever applying.
    void check(Witnesses const& witnesses);

private:
    void isToldAgain(std::string_view identifier, std::string_view text);
    bool hasRecord(Wirex::MplsLabel label) const;
    void wishesSeen();
    void holderSeen(SrTePolicy::PolicyKey const& key);
    void checkDue(Message const& message, Witnesses const& witnesses) const;
    void checkComes(std::set<Message> const& applying) const;

    World const& world_;
    Watches watches_;
    int events_ = 0;  // since the last rest
    std::size_t checked_ = 0, begun_ = 0;
    std::map<Message, Agent::Time> emitted_;  // by this run of the agent
    std::set<Message> applied_;               // at the last rest
    std::set<Message> mayApply_;              // since then
    std::set<std::string> wishes_, holders_;  // for binding SIDs, since then
    Agent::Time checkedAt_{0};
};

}  // namespace Sim
