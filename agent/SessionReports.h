#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "Platform/Quor/Reactor.h"
#include "agent/FilePolicies.h"
#include "agent/Tables.h"

namespace Agent {

/// The BFD agent, as the scenario has it: it answers every session that is asked for with what the
/// file reported last about the session's list.
///
/// A report is about a name with the labels that it has in the file. It holds, whether the list has
/// a session or not, until the labels change, the list leaves the file, or another report comes.
class SessionReports {
public:
    SessionReports(Tables const& tables, FilePolicies const& filePolicies);

    /// The reports of a step whose policies the file has by now.
    void take(Step const& step);

private:
    using PolicyKey = SrTePolicy::PolicyKey;
    struct Report {
        Wirex::BoundedMplsLabelStack labels;
        SessionState state = SessionState::down;
        std::uint64_t number = 0;  // later ones are higher

        bool prevailsOver(Report const& other) const;
    };

    void handleSession(Bfd::AppPeer const& session);
    void forgetOutdated(PolicyKey const& key);
    void write(SessionReport const& report);
    void answerAll(PolicyKey const& key);
    void answer(Bfd::Peer const& peer);
    std::optional<SessionState> stateOf(SrTePolicy::Export::SegmentList const& list) const;
    Report const* reportOn(ListName const& name, Wirex::BoundedMplsLabelStack const& labels) const;

    Tables const& tables_;
    FilePolicies const& filePolicies_;
    std::map<ListName, Report> reports_;
    std::uint64_t lastNumber_ = 0;

    Quor::Reactor<Bfd::AppPeer> sessionReactor_;
};

}  // namespace Agent
