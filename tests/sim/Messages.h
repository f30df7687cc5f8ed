#pragma once

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

    /// A run of the agent begins: it tells everything again.
    void agentBegins();
    /// After every write to the inputs: what may be told while the agent makes up for it.
    void follow(Expected::Outcome const& outcome);
    /// At rest. Throws a `Violation` when a message did not come although it began to apply, or
    /// came without ever applying.
    void check(Expected::Outcome const& outcome);
    /// At every rest, whether anything was checked or not.
    void rested();
    /// Whether gRIBI's route of the label came or went since the last rest: it stands a moment
    /// longer than the inputs say when the lists of its next hops are lost.
    bool gribiHad(Wirex::MplsLabel label) const { return gribiRoutes_.contains(label); }

private:
    void isToldAgain(std::string_view identifier, std::string_view text);
    bool hasRecord(Wirex::MplsLabel label) const;
    void wishesSeen();
    void holderSeen(SrTePolicy::PolicyKey const& key);
    bool isDue(Expected::Message const& message, Witnesses const& witnesses) const;
    void checkComes(std::set<Expected::Message> const& applying) const;

    World const& world_;
    Watches watches_;
    int events_ = 0;  // since the last rest
    std::size_t checked_ = 0, begun_ = 0;
    std::map<Expected::Message, Agent::Time> emitted_;  // by this run of the agent
    std::set<Expected::Message> applied_;               // at the last rest
    std::set<Expected::Message> mayApply_;              // since then
    // Who wants a binding SID, and who has it, since then.
    std::set<std::pair<Wirex::MplsLabel, SrTePolicy::PolicyId>> wishes_, holders_;
    std::set<Wirex::MplsLabel> gribiRoutes_;
    Agent::Time restedAt_{0};
};

}  // namespace Sim
