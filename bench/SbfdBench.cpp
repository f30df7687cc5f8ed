#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "SrTePolicy/SrTePolicySbfdInputSm.h"
#include "SrTePolicy/SrTePolicySbfdSessionSm.h"
#include "bench/Benches.h"
#include "bench/Load.h"
#include "bench/Measure.h"
#include "bench/Observer.h"

namespace Bench {
namespace {

using namespace SrTePolicy;
using namespace SrTePolicy::Sbfd;

constexpr char const* application = "SrTePolicy";
constexpr char const* vrf = "default";
constexpr Bfd::BfdDiscriminator discriminator{7};
constexpr Bfd::Timers timers{Bfd::BfdInterval(50), Bfd::BfdMultiplier(3)};

Bfd::Peer peerOf(SegmentListId list) {
    return {L3::VrfName(vrf), list.getTunnelId(), discriminator};
}

/// The tables around the two S-BFD machines: policies with settings, a candidate each, a usable
/// list to a candidate.
class Sessions {
public:
    explicit Sessions(std::uint32_t lists) {
        lists_.reserve(lists);
        for (std::uint32_t i = 0; i < lists; ++i) {
            lists_.push_back(dedup_->segmentList(Wirex::pushOperation({1000 + i % 1000}),
                                                 Load::policyId(i, 0),
                                                 DistinguisherId(DistinguisherId::policyList)));
            status_->statusIs(list(i), SegmentListResolveError::noError);
        }
    }

    void fillPolicies() {
        for (std::uint32_t i = 0; i < lists_.size(); ++i) {
            auto const id = Load::policyId(i, 0);
            config_->policyIs(
                {id.key, PolicySbfdConfig{timers.interval, timers.multiplier, discriminator}});
            keyToId_->policyIs(id.key).candidateIs(id.candidate, {});
            PolicyIdEntry entry(id, Preference(100), {});
            entry.wSegmentList.push_back({list(i), 1});
            selectionInput_->policyIdEntryIs(std::move(entry));
            users_->segmentListUserIs(list(i), lists_[i]);
            users_->policyIdIs(list(i), id);
        }
    }
    void start() {
        inputSm_ = sbfdInputSmFactory(config_, Quor::makePtr<InitStage>(), keyToId_,
                                      selectionInput_, users_, inputConfig_, scheduler_, global_);
        startSessions(inputSm_);
    }
    void startSessionsOnly() { startSessions(nullptr); }

    void peersAre(Bfd::OperState state) {
        for (auto const& list : lists_) peers_->operStateIs(peerOf(list->segmentListId()), state);
    }
    void peerIs(std::uint32_t index, Bfd::OperState state) {
        peers_->operStateIs(peerOf(list(index)), state);
    }
    /// Policy `i` joins the session of list `i`, or of the only one.
    void join(std::uint32_t users) {
        for (std::uint32_t i = 0; i < users; ++i) {
            inputConfig_->configIs({key(i), discriminator, SbfdParams::of(timers)});
        }
    }
    void leave(std::uint32_t users) {
        for (std::uint32_t i = 0; i < users; ++i) inputConfig_->configDel(key(i));
    }

    std::uint64_t takeCombinedWrites() { return combined_->take(); }
    std::uint64_t takeSessionWrites() { return sessions_->take(); }

private:
    SegmentListId list(std::uint32_t i) const { return lists_[i % lists_.size()]->segmentListId(); }
    SbfdKey key(std::uint32_t i) const { return SbfdKey::of(Load::key(i), list(i)); }

    void startSessions(Quor::Ptr<SbfdInputSm> const& input) {
        sessionSm_ = sbfdSessionSmFactory(inputConfig_, L3::VrfName(vrf), application, peers_,
                                          appConfig_, appStatus_, users_, status_, global_);
        combined_.emplace(status_->statusWithSbfd());
        sessions_.emplace(appConfig_->session());
        if (input) {
            input->handleInitialized();
            scheduler_->runReady();
        }
        sessionSm_->handleInitialized();
    }

    Keel::RealClock clock_;
    Quor::Ptr<Keel::TaskScheduler> const scheduler_ = Quor::makePtr<Keel::TaskScheduler>(clock_);
    Quor::Ptr<CoreDedupTables> const dedup_ = coreDedupTablesFactory();
    std::vector<Quor::Ptr<SegmentList const>> lists_;
    Quor::Ptr<Config> const config_ = configFactory();
    Quor::Ptr<PolicyKeyToIdMap> const keyToId_ = policyKeyToIdMapFactory();
    Quor::Ptr<PolicySelectionInput> const selectionInput_ = policySelectionInputFactory();
    Quor::Ptr<SegmentListIdToPolicyMap> const users_ = segmentListIdToPolicyMapFactory();
    Quor::Ptr<SegmentListStatus> const status_ = segmentListStatusFactory();
    Quor::Ptr<SbfdInputConfig> const inputConfig_ = sbfdInputConfigFactory();
    Quor::Ptr<Bfd::ConfigGlobal> const global_ = Quor::makePtr<Bfd::ConfigGlobal>();
    Quor::Ptr<Bfd::AppConfig> const appConfig_ = Quor::makePtr<Bfd::AppConfig>();
    Quor::Ptr<Bfd::AppStatus> const appStatus_ = Quor::makePtr<Bfd::AppStatus>();
    Quor::Ptr<Bfd::StatusPeer> const peers_ = Quor::makePtr<Bfd::StatusPeer>();
    Quor::Ptr<SbfdInputSm> inputSm_;
    Quor::Ptr<SbfdSessionSm> sessionSm_;
    std::optional<Observer<SbfdKey>> combined_;
    std::optional<Observer<Bfd::AppPeer>> sessions_;
};

/// B1: the finished rows, stored bare, seven to a session.
class Bare {
public:
    explicit Bare(std::uint32_t policies) : policies_(policies) {}

    void fill() {
        for (std::uint32_t i = 0; i < policies_; ++i) {
            auto const sbfdKey = key(i);
            SbfdParams const params{timers.interval, timers.multiplier};
            SbfdSessionKey const session{sbfdKey.segmentListId, discriminator};
            inputConfig_[sbfdKey] = {sbfdKey, discriminator, params};
            discriminator_[sbfdKey] = discriminator;
            users_[session].sbfdStatusIs(sbfdKey, params);
            sessionConfig_[sbfdKey] = {sbfdKey, params};
            sessionStatus_[sbfdKey] = {sbfdKey, true};
            appConfig_[peerOf(sbfdKey.segmentListId)] = timers;
            combined_[sbfdKey] = SegmentListResolveError::noError;
        }
    }
    void overwriteCombined(SegmentListResolveError error) {
        for (std::uint32_t i = 0; i < policies_; ++i) combined_[key(i)] = error;
    }

private:
    struct KeyHash {
        std::size_t operator()(SbfdKey const& key) const {
            return key.policyKey().hash(key.segmentListId.value());
        }
    };
    template <class Row>
    using ByKey = std::unordered_map<SbfdKey, Row, KeyHash>;

    static SbfdKey key(std::uint32_t i) { return SbfdKey::of(Load::key(i), SegmentListId(i + 1)); }

    std::uint32_t const policies_;
    ByKey<SegmentListSbfdConfig> inputConfig_;
    ByKey<Bfd::BfdDiscriminator> discriminator_;
    std::unordered_map<SbfdSessionKey, SbfdSessionUser> users_;
    ByKey<SegmentListSbfdSessionConfig> sessionConfig_;
    ByKey<SegmentListSbfdSessionStatus> sessionStatus_;
    std::unordered_map<Bfd::Peer, Bfd::Timers> appConfig_;
    ByKey<SegmentListResolveError> combined_;
};

double timed(std::function<void()> const& work) {
    auto const start = threadSeconds();
    work();
    return threadSeconds() - start;
}

void expect(std::uint64_t written, std::uint64_t wanted, char const* what) {
    if (written == wanted) return;
    std::fprintf(stderr, "%s: %llu writes, not %llu\n", what,
                 static_cast<unsigned long long>(written), static_cast<unsigned long long>(wanted));
    std::exit(1);
}

struct Times {
    std::vector<double> start, bareStart, flap, bareFlap;
    double longestPeer = 0;
};

void measure(std::uint32_t policies, Times& times) {
    Bare bare(policies);
    times.bareStart.push_back(timed([&] { bare.fill(); }));
    times.bareFlap.push_back(timed([&] {
        bare.overwriteCombined(SegmentListResolveError::sbfdDown);
        bare.overwriteCombined(SegmentListResolveError::noError);
    }));

    Sessions sessions(policies);
    sessions.fillPolicies();
    sessions.peersAre(Bfd::OperState::up);
    times.start.push_back(timed([&] { sessions.start(); }));
    expect(sessions.takeCombinedWrites(), policies, "combined rows at the start");
    expect(sessions.takeSessionWrites(), policies, "sessions at the start");
    times.flap.push_back(timed([&] {
        sessions.peersAre(Bfd::OperState::down);
        sessions.peersAre(Bfd::OperState::up);
    }));
    expect(sessions.takeCombinedWrites(), 2 * policies, "combined rows of a flap");
    for (std::uint32_t i = 0; i < 100; ++i) {
        auto const one = timed([&] { sessions.peerIs(i * 7, Bfd::OperState::down); });
        times.longestPeer = std::max(times.longestPeer, one);
    }
}

/// Joining and leaving, of users who have a session each or share one.
double timeJoinAndLeave(std::uint32_t users, std::uint32_t lists) {
    Sessions sessions(lists);
    sessions.startSessionsOnly();
    auto const seconds = timed([&] {
        sessions.join(users);
        sessions.leave(users);
    });
    expect(sessions.takeSessionWrites(), 2 * lists, "sessions of who joins and leaves");
    expect(sessions.takeCombinedWrites(), 2 * users, "combined rows of who joins and leaves");
    return seconds;
}

}  // namespace

void benchSbfd(std::vector<std::uint32_t> const& sizes) {
    constexpr int repetitions = 5;
    std::printf("S-BFD, per session: machines / B1 (medians); aims 2 and 4\n");
    std::printf("%10s %10s %10s %8s %12s %12s %8s %16s\n", "policies", "start us", "B1 us", "ratio",
                "flap us", "B1 us", "ratio", "longest peer us");
    for (auto const policies : sizes) {
        Times times;
        for (int i = 0; i < repetitions; ++i) measure(policies, times);
        auto const each = [policies](std::vector<double> const& seconds) {
            return 1e6 * median(seconds) / policies;
        };
        std::printf(
            "%10u %10.3f %10.3f %8.2f %12.3f %12.3f %8.2f %16.1f\n", policies, each(times.start),
            each(times.bareStart), each(times.start) / each(times.bareStart), each(times.flap),
            each(times.bareFlap), each(times.flap) / each(times.bareFlap), 1e6 * times.longestPeer);
    }
    constexpr std::uint32_t users = 10'000;
    std::vector<double> shared, apart;
    for (int i = 0; i < repetitions; ++i) {
        shared.push_back(timeJoinAndLeave(users, 1));
        apart.push_back(timeJoinAndLeave(users, users));
    }
    std::printf(
        "%u users join one session and leave, %.3f us each; a session each %.3f us: ratio "
        "%.2f, aim 1.5\n\n",
        users, 1e6 * median(shared) / users, 1e6 * median(apart) / users,
        median(shared) / median(apart));
}

}  // namespace Bench
