#include "tests/sim/World.h"

#include <algorithm>
#include <cmath>

#include "Platform/Quor/Assert.h"
#include "Platform/Syslog/Syslog.h"

namespace Sim {

namespace {

bool writesAnything(Agent::Step const& step) {
    return !step.router.empty() || !step.lfib.empty() || !step.tiLfa.empty() ||
           !step.policies.empty() || !step.removedCandidates.empty() || step.bfd ||
           step.gribi.configuration || !step.gribi.nextHop.empty() ||
           !step.gribi.nextHopGroup.empty() || !step.gribi.mpls.empty();
}

[[noreturn]] void throwViolation(char const* text, char const* unit, int line) {
    throw Violation{std::string("assertion ") + unit + ':' + std::to_string(line) + ": " + text};
}

}  // namespace

World::World()
    : scheduler_(Quor::makePtr<Keel::TaskScheduler>(activityClock_.clock)),
      sessionWatch_(tables_.bfdSessions->session(), [this](Bfd::AppPeer const& session) {
          if (!tables_.bfdSessions->session(session)) tables_.bfdPeers->operStateDel(session.peer);
      }) {
    Quor::stopHookIs(throwViolation);
    Syslog::limiterClear();
}

World::~World() {
    machines_ = nullptr;
    Quor::stopHookIs(nullptr);
}

void World::apply(Agent::Step const& step) {
    bool const wasRunning = machines_ != nullptr;
    if (step.life == Agent::Life::restart) crash();
    writer_.write(step);
    if (step.clog) tables_.fieldlog->outputCloggedIs(*step.clog);
    if (writesAnything(step)) tell(Did::wrote);
    if (step.life == Agent::Life::restart && wasRunning) start();
    if (step.life == Agent::Life::start) start();
    if (step.life == Agent::Life::stop) stop();
}

void World::crash() {
    if (!machines_) return;
    machines_ = nullptr;
    tell(Did::crashed);
}

void World::start() {
    if (machines_) return;
    Syslog::limiterClear();
    machines_ = std::make_unique<Agent::Machines>(tables_, scheduler_);
    tell(Did::began);
}

void World::stop() {
    if (!machines_) return;
    machines_->stop();
    tell(Did::stopped);
    machines_ = nullptr;
}

void World::yieldAfterIs(std::optional<std::uint64_t> count) {
    yieldAfter_ = count;
    scheduler_->yieldAfterWorkIs(count);
}

bool World::runOne() {
    if (scheduler_->runOne()) {
        tell(Did::ran);
    } else if (machines_ && machines_->startFurther()) {
        tell(Did::started);
    } else {
        return false;
    }
    return true;
}

void World::settle() {
    while (runOne()) {
    }
    if (atRest()) damaged_ = false;
    tell(Did::idled);
}

void World::advance(Agent::Time duration, std::function<void()> const& settled) {
    auto const end = now_ + duration;
    for (auto next = nextExpiration(); next && *next <= end; next = nextExpiration()) {
        nowIs(std::max(now_, *next));
        settled();
    }
    // Who settles in a way of its own may have moved the clock further.
    nowIs(std::max(now_, end));
}

void World::nowIs(Agent::Time now) {
    now_ = now;
    activityClock_.clock.nowIs(std::max(activityClock_.clock.now(), seconds(now)));
}

bool World::atRest() const {
    return machines_ && machines_->started() && machines_->inputSettled() &&
           machines_->segmentListSm().drained() && machines_->selectionSm().drained() &&
           machines_->publishSm().drained() && machines_->sbfdInputSm().drained() &&
           (!scheduler_->nextExpiration() || mayPoll());
}

bool World::mayPoll() const {
    for (auto const& [tunnelId, owner] : each(tables_.tunnelMap->entry())) {
        if (tables_.tunnelCounters->tunnelCounter(tunnelId) || !isUsed(tunnelId)) return true;
    }
    return false;
}

bool World::isUsed(Tunnel::TunnelTable::TunnelId tunnelId,
                   std::optional<SrTePolicy::PolicyKey> const& key) const {
    for (auto const& [id, entry] : each(tables_.selectionInput->policyIdEntry())) {
        if (key && id.key != *key) continue;
        for (auto const& list : entry.wSegmentList) {
            if (list.segmentListId.getTunnelId() == tunnelId) return true;
        }
    }
    return false;
}

std::optional<Agent::Time> World::nextExpiration() const {
    auto const next = scheduler_->nextExpiration();
    if (!next) return std::nullopt;
    return Agent::Time(std::llround(*next * 1e9));
}

Agent::SurvivingTables const& World::tablesToDamage() {
    damaged_ = true;
    return tables_;
}

}  // namespace Sim
