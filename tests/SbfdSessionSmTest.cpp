#include "SrTePolicy/SrTePolicySbfdSessionSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace {

using namespace SrTePolicy;
using Bfd::OperState;
using Sbfd::SbfdKey;
using Sbfd::SbfdParams;
using testing::ElementsAre;

PolicyKey const P = {address("192.0.2.5"), 100};
PolicyKey const Q = {address("192.0.2.6"), 100};
L3::VrfName const vrf("default");
constexpr auto noError = SegmentListResolveError::noError;

PolicyId candidate(PolicyKey const& key, std::uint32_t discriminator = 1) {
    return {key, {Protocol::bgp, {}, 0, discriminator}};
}
SbfdKey sbfdKey(PolicyKey const& key, std::uint32_t list) {
    return SbfdKey::of(key, SegmentListId(list));
}
SbfdParams pair(std::uint32_t interval, std::uint32_t multiplier) {
    return {Bfd::BfdInterval(interval), Bfd::BfdMultiplier(multiplier)};
}
Bfd::Peer peer(std::uint32_t list, std::uint32_t discriminator) {
    return {vrf, SegmentListId(list).getTunnelId(), Bfd::BfdDiscriminator(discriminator)};
}

// Of list 1, as it is printed.
std::string session(std::uint32_t discriminator) {
    return Sbfd::SbfdSessionKey{SegmentListId(1), Bfd::BfdDiscriminator(discriminator)}
        .stringValue();
}

/// The tables that S-BFD configuration, policy input, list resolution and BFD write are written by
/// the test.
class SbfdSessionSmTest : public LoggedTest {
protected:
    void create() {
        sm = sbfdSessionSmFactory(sbfdConfig, vrf, "us", statusPeer, appConfig, appStatus, users,
                                  status, global);
    }
    void start() {
        create();
        sm->handleInitialized();
    }

    void configure(PolicyKey const& key, std::uint32_t list, SbfdParams const& params,
                   std::uint32_t discriminator = 7) {
        sbfdConfig->configIs({sbfdKey(key, list), Bfd::BfdDiscriminator(discriminator), params});
    }
    void unconfigure(PolicyKey const& key, std::uint32_t list) {
        sbfdConfig->configDel(sbfdKey(key, list));
    }
    void use(std::uint32_t list, PolicyId const& id) {
        SegmentListId const listId(list);
        if (!users->segmentListUser(listId)) {
            users->segmentListUserIs(listId, Quor::makePtr<SegmentList>(id, DistinguisherId()));
        }
        users->policyIdIs(listId, id);
    }
    void plain(std::uint32_t list, SegmentListResolveError error) {
        status->statusIs(SegmentListId(list), error);
    }
    void report(std::uint32_t list, OperState state, std::uint32_t discriminator = 7) {
        statusPeer->operStateIs(peer(list, discriminator), state);
    }

    static std::string name(SbfdKey const& key) {
        return (key.policyKey() == P   ? "P"
                : key.policyKey() == Q ? "Q"
                                       : key.stringValue()) +
               key.segmentListId.stringValue();
    }
    // The sessions as APP LIST@DISCRIMINATOR: INTERVALxMULTIPLIER, then the combined status.
    std::string outputs() const {
        std::string text;
        for (auto row = appConfig->session().begin(); row; row.next()) {
            auto const& timers = row.value();
            text += name(row.key()) + ":" + timers.interval.stringValue() + "x" +
                    timers.multiplier.stringValue() + " ";
        }
        for (auto row = status->statusWithSbfd().begin(); row; row.next()) {
            text += name(row.key()) + "=" + std::to_string(static_cast<int>(row.value())) + " ";
        }
        return text;
    }
    static std::string name(Bfd::AppPeer const& key) {
        return std::string(key.app.stringValue()) + " " +
               std::to_string(key.peer.tunnelId.index()) + "@" +
               key.peer.remoteDiscriminator.stringValue();
    }

    Quor::Ptr<Sbfd::SbfdInputConfig> sbfdConfig = Sbfd::sbfdInputConfigFactory();
    Quor::Ptr<Bfd::StatusPeer> statusPeer = Quor::makePtr<Bfd::StatusPeer>();
    Quor::Ptr<Bfd::AppConfig> appConfig = Quor::makePtr<Bfd::AppConfig>();
    Quor::Ptr<Bfd::AppStatus> appStatus = Quor::makePtr<Bfd::AppStatus>();
    Quor::Ptr<SegmentListIdToPolicyMap> users = segmentListIdToPolicyMapFactory();
    Quor::Ptr<SegmentListStatus> status = segmentListStatusFactory();
    Quor::Ptr<Bfd::ConfigGlobal> global = Quor::makePtr<Bfd::ConfigGlobal>();
    Quor::Ptr<SbfdSessionSm> sm;

    // BFD: a session that goes takes its peer along.
    Watch<Bfd::AppPeer> appWatch{appConfig->session(), [this](Bfd::AppPeer const& key) {
                                     bool const present = appConfig->session().has(key);
                                     if (!present) statusPeer->operStateDel(key.peer);
                                     wrote(present, "", name(key));
                                 }};
    Watch<SbfdKey> watch{status->statusWithSbfd(), [this](SbfdKey const& key) {
                             wrote(status->statusWithSbfd().has(key), "", name(key));
                         }};
};

TEST_F(SbfdSessionSmTest, OnlyDownIsHeldAgainstAList) {
    start();
    use(1, candidate(P));
    plain(1, noError);
    configure(P, 1, pair(50, 3));
    EXPECT_EQ(told(), "+P1; +us 1@7");
    std::string const where = "tunnelId 13-1 peer:vrf default tunnel 13-1 discriminator 7 ";
    std::tuple<OperState, char const*, char const*> const cases[] = {
        {OperState::down, "down", "us 1@7:50x3 P1=4 "},
        {OperState::adminDown, "adminDown", "us 1@7:50x3 P1=1 "},
        {OperState::init, "init", "us 1@7:50x3 P1=1 "},
        {OperState::up, "up", "us 1@7:50x3 P1=1 "},
    };
    TraceLines traces("SrTePolicySbfdSm", 1u << 8);
    for (auto const& [state, shown, expected] : cases) {
        report(1, state);
        EXPECT_THAT(traces.take(), ElementsAre(where + shown));
        EXPECT_EQ(outputs(), expected);
    }
    EXPECT_EQ(told(), "+P1; +P1");
    report(1, OperState::down);
    traces.take();
    statusPeer->operStateDel(peer(1, 7));
    EXPECT_THAT(traces.take(),
                ElementsAre("no peerStatus. peer=vrf default tunnel 13-1 discriminator 7"));
    EXPECT_EQ(told(), "+P1; +P1");

    EXPECT_EQ(sm->sbfdSessionStatus(sbfdKey(P, 1))->valid, true);
    unconfigure(P, 1);
    EXPECT_EQ(sm->sbfdSessionStatus(sbfdKey(P, 1)), std::nullopt);
    traces.take();
    users->segmentListUserDelAll();
    status->statusDel(SegmentListId(1));
    auto const key = sbfdKey(P, 1).stringValue();
    EXPECT_THAT(traces.take(), ElementsAre("handleSegListUser: " + key, "no user " + key,
                                           "handleSegmentListStatus slId:1", "no user slId:1"));
}

TEST_F(SbfdSessionSmTest, PeersOfOthersAreNotLookedAt) {
    start();
    configure(P, 1, pair(50, 3));
    auto const invalid = static_cast<OperState>(4);
    auto other = peer(1, 7);
    other.vrf = L3::VrfName("red");
    statusPeer->operStateIs(other, invalid);
    other = peer(1, 7);
    other.tunnelId =
        Tunnel::TunnelTable::TunnelId((std::uint64_t{13} << 44) + 1 + (std::uint64_t{1} << 32));
    statusPeer->operStateIs(other, invalid);
    other.tunnelId = Tunnel::TunnelTable::TunnelId((std::uint64_t{12} << 44) + 1);
    TraceLines traces("SrTePolicySbfdSm");
    statusPeer->operStateIs(other, invalid);
    report(1, invalid, 8);
    EXPECT_THAT(
        traces.take(),
        ElementsAre("sbfdSessionToSbfdStatus no key=vrf default tunnel 12-1 discriminator 7",
                    "sbfdSessionToSbfdStatus no key=vrf default tunnel 13-1 discriminator 8"));
    EXPECT_DEATH(report(1, invalid), "invalid bfd operstate");
    EXPECT_DEATH(configure(Q, 1, pair(50, 3), 8), "invalid bfd operstate");
}

TEST_F(SbfdSessionSmTest, SessionsOfOtherApplicationsAreLeftAlone) {
    Bfd::Timers const timers{Bfd::BfdInterval(50), Bfd::BfdMultiplier(3)};
    for (auto const* const app : {"another", "us", "yet another"}) {
        appConfig->sessionIs({Bfd::AppName(app), peer(1, 7)}, timers);
    }
    start();
    EXPECT_EQ(outputs(), "another 1@7:50x3 yet another 1@7:50x3 ");
    configure(P, 1, pair(50, 3));
    EXPECT_FALSE(sm->sbfdSessionConfig(sbfdKey(Q, 1)) || sm->sbfdSessionStatus(sbfdKey(Q, 1)));
    sm->handleDel();
    EXPECT_EQ(outputs(), "another 1@7:50x3 yet another 1@7:50x3 ");
}

TEST_F(SbfdSessionSmTest, PoliciesShareASessionAtTheFastestPair) {
    start();
    plain(1, noError);
    configure(P, 1, pair(50, 3));
    configure(Q, 1, pair(60, 3));
    EXPECT_EQ(told(), "+us 1@7; +P1; +Q1");
    configure(Q, 1, pair(40, 3));
    EXPECT_EQ(sm->sbfdSessionConfig(sbfdKey(P, 1))->params, pair(40, 3));
    report(1, OperState::down);
    EXPECT_EQ(told(), "+us 1@7; +Q1; +P1");  // whoever asks for the fastest first
    auto const p = sbfdKey(P, 1).stringValue();
    auto const q = sbfdKey(Q, 1).stringValue();
    EXPECT_EQ(dumpOf(*sm, 0), " sbfdkey:" + p + " => RD:7\n sbfdkey:" + q +
                                  " => RD:7\n sessions #1 \n  " + session(7) +
                                  " params: " + pair(40, 3).stringValue() + " valid: 0\n    " + q +
                                  "\n    " + p + "\n");
    plain(1, SegmentListResolveError::exceedsMsd);  // also without a user
    plain(1, noError);
    EXPECT_EQ(told(), "+Q1; +P1; +Q1; +P1");
    sm = nullptr;
    start();  // nobody is written slower first
    EXPECT_EQ(told(), "");
    unconfigure(Q, 1);  // slower again; Q has no user, and P stays down
    EXPECT_EQ(told(), "+us 1@7; -Q1");
    EXPECT_EQ(outputs(), "us 1@7:50x3 P1=4 ");
}

TEST_F(SbfdSessionSmTest, AnotherRemoteDiscriminatorIsOneWriteOfTheStatus) {
    start();
    use(1, candidate(P));
    plain(1, noError);
    configure(P, 1, pair(50, 3), 7);
    report(1, OperState::down, 7);
    report(1, OperState::down, 8);
    takeLog();
    TraceLines traces("SrTePolicySbfdSm");
    configure(P, 1, pair(50, 3), 8);
    EXPECT_EQ(told(), "-us 1@7; +us 1@8");
    auto const key = sbfdKey(P, 1).stringValue();
    EXPECT_THAT(
        traces.take(),
        ElementsAre(
            "handleSbfdInputConfig: " + key, "delete user=" + key + " sskey=" + session(7),
            "delete sbfdSessConfig:" + session(7),
            "sbfdSessionToSbfdStatus no key=vrf default tunnel 13-1 discriminator 7",
            "add user=" + key + " sskey=" + session(8),
            "tunnelId 13-1 peer:vrf default tunnel 13-1 discriminator 8 down",
            "init SegmentListSbfdSessionStatus Value('SrTePolicy::Sbfd::"
            "SegmentListSbfdSessionStatus', ** {'sbfdKey': " +
                key + ", 'valid': False})",
            "update sbfdSessConfig:" + session(8) + " params: " + pair(50, 3).stringValue()));
    configure(P, 1, pair(50, 3), 9);
    EXPECT_EQ(told(), "-us 1@8; +us 1@9; +P1");
}

TEST_F(SbfdSessionSmTest, AnEndWithinAnEventIsTheEnd) {
    start();
    plain(1, noError);
    for (auto const& key : {P, Q}) {
        use(1, candidate(key));
        configure(key, 1, pair(50, 3));
    }
    takeLog();
    Watch<SbfdKey> const ender{status->statusWithSbfd(), [this](auto const&) { sm->handleDel(); }};
    report(1, OperState::down);
    EXPECT_EQ(told(), "+P1; -us 1@7; -P1; -Q1");
}

}  // namespace
