#include <algorithm>
#include <array>
#include <unordered_map>

#include "tests/sim/Damage.h"
#include "tests/sim/Events.h"
#include "tests/sim/Services.h"
#include "tests/sim/Universe.h"

namespace Sim {

namespace {

/// What sort of a run it is.
struct Mood {
    std::uint32_t policies, candidates, labels;
    std::uint32_t services;  ///< in a thousand events
    bool yieldsAtEachKey, clogged, bursts, agentUnquiet;
};

class Generator {
public:
    explicit Generator(std::uint64_t seed) : random_(seed) {
        mood_.policies = 1 + random_(policyCount);
        mood_.candidates = 1 + random_(candidatesOfPolicy);
        mood_.labels = 2 + random_(labelCount - 1);
        mood_.yieldsAtEachKey = seed % 10 == 0;
        mood_.clogged = seed % 10 == 1;
        mood_.services = random_.percent(60) ? 180 : 0;
        mood_.bursts = random_.percent(40);
        mood_.agentUnquiet = random_.percent(30);
    }

    Events run(std::size_t count) {
        // The settings that most of what follows needs.
        add(Kind::srlb, 0, 5, 0);
        if (mood_.yieldsAtEachKey) add(Kind::yield, 0, 1, 0);
        for (std::uint32_t label = 0; label < 4; ++label)
            add(Kind::route, label, 12 * random_(5), 0);
        if (random_.percent(70)) add(Kind::start, 0, 0, steps());
        while (events_.size() < count) addNext();
        events_.resize(count);
        return std::move(events_);
    }

private:
    void add(Kind kind, std::uint32_t place, std::uint32_t content, std::uint8_t steps) {
        events_.push_back({kind, place, content, steps});
        if (kind == Kind::restart || kind == Kind::start) sinceRestart_ = 0;
    }

    std::uint8_t steps() {
        if (!random_.percent(mood_.bursts ? 45 : 12)) return Event::allSteps;
        return static_cast<std::uint8_t>(random_.percent(50) ? 0 : random_(7));
    }

    void addNext() {
        if (++sinceRestart_ > 40) return addRestart();
        auto const dice = random_(1000);
        if (dice < 60 && !events_.empty()) {
            auto const& before = events_[events_.size() - 1 - random_(2) % events_.size()];
            return add(before.kind, before.place, before.content, steps());
        }
        if (dice < 80 || (mood_.agentUnquiet && random_.percent(6))) return addRestart();
        if (dice < 110) return addSwap();
        if (dice < 80 + (mood_.agentUnquiet ? 60u : 0u) + mood_.services) return addService();
        if (dice < 360) return addCandidate();
        if (dice < 450) return add(Kind::candidateGone, candidatePlace(), 0, steps());
        if (dice < 620) return addRoute();
        if (dice < 690) return add(Kind::routeGone, random_(mood_.labels), 0, steps());
        if (dice < 760) return addTiLfa();
        if (dice < 860) return addSetting();
        if (dice < 880) return add(Kind::source, random_(protocolCount), random_(3), steps());
        if (dice < 890) return add(Kind::policy, random_(mood_.policies), random_(2), steps());
        addPace();
    }

    std::uint32_t candidatePlace() {
        return random_(mood_.policies) * candidatesOfPolicy + random_(mood_.candidates);
    }

    /// Mostly a change of one thing in what the place holds, or its equal.
    void addCandidate() {
        auto const place = candidatePlace();
        auto const held = contents_.try_emplace(place, random_(CandidateContent::count)).first;
        CandidateContent content(held->second);
        CandidateContent const other(random_(CandidateContent::count));
        switch (random_(9)) {
            case 0: break;
            case 1:
            case 2: content.bsid = other.bsid; break;
            case 3: content.enlp = other.enlp; break;
            case 4: content.preference = other.preference; break;
            case 5: content.originator = other.originator; break;
            case 6:
            case 7: content.listSet = other.listSet; break;
            default: content = other; break;
        }
        // Those of one binding SID compete; most are wanted by few.
        if (random_.percent(30)) content.bsid = random_(4);
        held->second = content.number();
        add(Kind::candidate, place, held->second, steps());
    }

    void addService() {
        auto event = serviceEvent(random_.next());
        if (event.kind == Kind::sbfd) event.place %= mood_.policies;
        add(event.kind, event.place, event.content, steps());
    }

    void addRoute() {
        auto const plain = random_.percent(50);
        add(Kind::route, random_(mood_.labels), plain ? 12 * random_(4) : random_(routeContents),
            steps());
    }

    void addTiLfa() {
        if (random_.percent(25)) return add(Kind::tiLfaGone, random_(tunnelCount), 0, steps());
        add(Kind::tiLfa, random_(tunnelCount), random_(tunnelContents), steps());
    }

    void addSetting() {
        constexpr std::array settings{Kind::srlb,       Kind::depth,
                                      Kind::depth,      Kind::specifiedBsidOnly,
                                      Kind::coloredRib, Kind::coloredRibPreference,
                                      Kind::tieBreaking};
        auto const kind = settings[random_(settings.size())];
        // Depths that leave room, and the range that all is in, come twice as often as others.
        add(kind, 0, kind == Kind::specifiedBsidOnly && random_.percent(60) ? 0 : random_(16),
            steps());
    }

    /// Time and the speed of the machines.
    void addPace() {
        auto const dice = random_(100);
        if (dice < 20) return addPause();
        if (dice < 45) {
            add(Kind::wait, 0, random_.percent(70) ? random_(2) : random_(4), Event::allSteps);
        } else if (dice < 60 && !mood_.yieldsAtEachKey) {
            add(Kind::yield, 0, random_(4), 0);
        } else if (mood_.clogged || dice < 75) {
            add(Kind::clog, 0, random_.percent(mood_.clogged ? 75 : 40), steps());
        } else {
            add(Kind::start, 0, 0, steps());
        }
        if (!mood_.clogged && random_.percent(70)) add(Kind::clog, 0, 0, steps());
    }

    /// Candidates of one policy take turns at once, for one binding SID.
    void addSwap() {
        auto const policy = random_(mood_.policies) * candidatesOfPolicy;
        auto const bsid = random_.percent(50) ? 3u : random_(4);
        if (random_.percent(30)) add(Kind::yield, 0, 1, 0);
        for (auto left = 3 + random_(4); left > 0; --left) {
            auto const place = policy + random_(std::max(2u, mood_.candidates));
            std::uint8_t const steps = left > 1 && left < 5 ? 0 : Event::allSteps;
            if (random_.percent(40)) {
                add(Kind::candidateGone, place, 0, steps);
                continue;
            }
            CandidateContent content(random_(CandidateContent::count));
            content.bsid = bsid;
            contents_[place] = content.number();
            add(Kind::candidate, place, content.number(), steps);
        }
    }

    /// What goes comes back just before the time that identifiers are held back, or just after.
    void addPause() {
        auto const place = contents_.empty() ? candidatePlace() : contents_.begin()->first;
        if (!mood_.clogged) add(Kind::clog, 0, 0, Event::allSteps);
        add(Kind::candidateGone, place, 0, Event::allSteps);
        add(Kind::wait, 0, 2 + random_(2), Event::allSteps);
        if (random_.percent(30)) add(Kind::wait, 0, 0, Event::allSteps);
        addCandidate();
        add(Kind::candidate, place, contents_[place], steps());
    }

    /// What has just gone still stands in some tables when the agent dies: its identities must not
    /// pass to what comes meanwhile.
    void addCrashMidway() {
        CandidateContent content(random_(CandidateContent::count));
        content.bsid = 3;
        auto const place = candidatePlace();
        add(Kind::candidate, place, content.number(), Event::allSteps);
        add(Kind::candidateGone, place, 0, static_cast<std::uint8_t>(1 + random_(4)));
        add(Kind::crash, 0, 0, 0);
        addCandidate();
        add(Kind::start, 0, 0, steps());
    }

    void addRestart() {
        if (random_.percent(15)) return addCrashMidway();
        auto const dice = random_(100);
        if (dice < 45) return add(Kind::restart, 0, 0, steps());
        if (dice < 55) {
            add(Kind::stop, 0, 0, Event::allSteps);
        } else {
            add(Kind::crash, 0, 0, 0);
        }
        auto const damages = dice < 80 ? 0 : 1 + random_(3);
        for (std::uint32_t i = 0; i < damages; ++i) {
            add(Kind::damage, random_(damageCount), random_(64), 0);
        }
        if (random_.percent(60)) addCandidate();
        if (random_.percent(30)) addRoute();
        if (random_.percent(20)) addSetting();
        add(Kind::start, 0, 0, steps());
        if (random_.percent(20)) add(Kind::restart, 0, 0, steps());
    }

    Random random_;
    Mood mood_{};
    Events events_;
    std::unordered_map<std::uint32_t, std::uint32_t> contents_;
    std::uint32_t sinceRestart_ = 0;
};

}  // namespace

Events generate(std::uint64_t seed, std::size_t count) {
    return Generator(seed).run(count);
}

}  // namespace Sim
