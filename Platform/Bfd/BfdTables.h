#pragma once

#include "Platform/Bfd/BfdTypes.h"
#include "Platform/Bfd/Peer.h"
#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"

namespace Bfd {

/// The settings of sessions that have none of their own. Written by the agent.
class SRTE_EXPORT ConfigGlobal final : public Quor::PtrInterface {
public:
    Quor::Attribute<Timers> timers{};
};

/// The sessions that applications ask for, and how fast they shall run. Each application writes the
/// rows under its own name.
class SRTE_EXPORT AppConfig final : public Quor::PtrInterface {
public:
    using Sessions = Quor::NotifyingMap<AppPeer, Timers>;

    Sessions const& session() const { return sessions_; }
    Timers const* session(AppPeer const& key) const { return sessions_.find(key); }
    /// False when an equal row was there.
    bool sessionIs(AppPeer const& key, Timers timers) { return sessions_.entryIs(key, timers); }
    void sessionDel(AppPeer const& key) { sessions_.entryDel(key); }
    /// Those of one application.
    void sessionDelAll(AppName const& app) {
        for (auto row = sessions_.lowerBound({app, {}}); row && row.key().app == app; row.next()) {
            sessions_.entryDel(row.key());
        }
    }

private:
    Sessions sessions_;
};

/// The discriminators that BFD gave to the sessions of applications. Written by the BFD agent.
class SRTE_EXPORT AppStatus final : public Quor::PtrInterface {
public:
    using Sessions = Quor::NotifyingMap<AppPeer, BfdDiscriminator>;

    Sessions const& localDiscriminator() const { return sessions_; }
    void localDiscriminatorIs(AppPeer const& key, BfdDiscriminator local) {
        sessions_.entryIs(key, local);
    }
    void localDiscriminatorDel(AppPeer const& key) { sessions_.entryDel(key); }

private:
    Sessions sessions_;
};

/// What BFD knows of the peers of all applications. Written by the BFD agent.
class SRTE_EXPORT StatusPeer final : public Quor::PtrInterface {
public:
    using Peers = Quor::NotifyingMap<Peer, OperState>;

    Peers const& peer() const { return peers_; }
    /// Null while nothing was reported.
    OperState const* operState(Peer const& peer) const { return peers_.find(peer); }
    void operStateIs(Peer const& peer, OperState state) { peers_.entryIs(peer, state); }
    void operStateDel(Peer const& peer) { peers_.entryDel(peer); }

private:
    Peers peers_;
};

}  // namespace Bfd
