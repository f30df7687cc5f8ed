#include <algorithm>
#include <numeric>
#include <span>
#include <unordered_map>

#include "tests/sim/Events.h"
#include "tests/sim/Universe.h"

namespace Sim {

namespace {

/// How often a kind comes among others, at so many places, with so many contents from a first one.
struct Share {
    std::uint32_t weight;
    Kind kind;
    Number places, first, contents;
};

constexpr Share inputs[] = {{90, Kind::candidate, 1, 0, 1},
                            {85, Kind::route, labelCount, 1, plainRoutes},
                            {85, Kind::route, labelCount, 1, routeContents},
                            {70, Kind::route, labelCount, 0, 1},
                            {52, Kind::tiLfa, tunnelCount, 1, tunnelContents},
                            {18, Kind::tiLfa, tunnelCount, 0, 1},
                            {20, Kind::source, protocolCount, 0, 3},
                            {10, Kind::policy, policyCount, 0, 2},
                            {28, Kind::depth, 1, 0, 16},
                            {14, Kind::srlb, 1, 0, 16},
                            {14, Kind::specifiedBsidOnly, 1, 0, 16},
                            {14, Kind::coloredRib, 1, 0, 16},
                            {14, Kind::coloredRibPreference, 1, 0, 16},
                            {14, Kind::tieBreaking, 1, 0, 16}};

constexpr Share services[] = {{16, Kind::sbfd, policyCount, 0, sbfdSettings},
                              {20, Kind::peer, 32, 0, 8},
                              {4, Kind::bfd, 1, 0, 4},
                              {8, Kind::counter, 16, 0, 2},
                              {14, Kind::nextHop, nextHopCount, 1, 256},
                              {6, Kind::nextHop, nextHopCount, 0, 1},
                              {11, Kind::group, groupCount, 1, 256},
                              {3, Kind::group, groupCount, 0, 1},
                              {9, Kind::label, incomingLabelCount, 1, groupCount},
                              {3, Kind::label, incomingLabelCount, 0, 1},
                              {4, Kind::gribi, 1, 0, 3},
                              {2, Kind::agent, 1, 0, 3}};

/// Makes one run, whose mood the seed decides first.
class Generator {
public:
    explicit Generator(std::uint64_t seed)
        : random_(seed), yieldsAtEachKey_(seed % 10 == 0), clogged_(seed % 10 == 1) {}

    Events run(std::size_t count) {
        // The settings that most of what follows needs.
        add({Kind::srlb, 0, 5, 0});
        if (yieldsAtEachKey_) add({Kind::yield, 0, 1, 0});
        for (Number label = 0; label < 4; ++label) {
            add({Kind::route, label, 1 + random_(plainRoutes), 0});
        }
        if (random_.percent(70)) add({Kind::start, 0, 0, steps()});
        while (events_.size() < count) addNext();
        events_.resize(count);
        return std::move(events_);
    }

private:
    void add(Event const& event) {
        events_.push_back(event);
        if (event.kind == Kind::restart || event.kind == Kind::start) sinceRestart_ = 0;
    }

    std::uint8_t steps() {
        if (!random_.percent(bursts_ ? 45 : 12)) return Event::allSteps;
        return static_cast<std::uint8_t>(random_.percent(50) ? 0 : random_(7));
    }

    void addNext() {
        if (++sinceRestart_ > 40) return addRestart();
        auto const dice = random_(1000);
        if (dice < 60) return addAgain();
        if (dice < 80 || (agentUnquiet_ && random_.percent(6))) return addRestart();
        if (dice < 110) return addSwap();
        if (dice < 80 + services_) return addOneOf(services);
        if (dice < 360) return addCandidate();
        if (dice < 470) return addPace();
        addOneOf(inputs);
    }

    /// An event that has just been.
    void addAgain() {
        auto event = events_[events_.size() - 1 - random_(2)];
        event.steps = steps();
        add(event);
    }

    void addOneOf(std::span<Share const> shares) {
        auto left = random_(
            std::accumulate(shares.begin(), shares.end(), 0u,
                            [](auto sum, Share const& share) { return sum + share.weight; }));
        auto share = shares.begin();
        for (; left >= share->weight; ++share) left -= share->weight;
        auto place = random_(share->places);
        if (share->kind == Kind::candidate) place = candidatePlace();
        if (share->kind == Kind::route) place %= labels_;
        if (share->kind == Kind::policy || share->kind == Kind::sbfd) place %= policies_;
        add({share->kind, place, share->first + random_(share->contents), steps()});
    }

    Number candidatePlace() {
        return random_(policies_) * candidatesOfPolicy + random_(candidates_);
    }

    void addCandidate(Number place, CandidateContent const& content, std::uint8_t steps) {
        contents_[place] = content.number();
        add({Kind::candidate, place, 1 + content.number(), steps});
    }
    void addCandidateGone(Number place, std::uint8_t steps) {
        add({Kind::candidate, place, 0, steps});
    }

    /// Mostly a change of one thing in what the place holds, or its equal.
    void addCandidate() {
        auto const place = candidatePlace();
        CandidateContent const other(random_(CandidateContent::count));
        CandidateContent content(contents_.try_emplace(place, other.number()).first->second);
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
        addCandidate(place, content, steps());
    }

    /// Time and the speed of the machines.
    void addPace() {
        auto const dice = random_(100);
        if (dice < 20) return addPause();
        if (dice < 45) {
            add({Kind::wait, 0, random_.percent(70) ? random_(2) : random_(4)});
        } else if (dice < 60 && !yieldsAtEachKey_) {
            add({Kind::yield, 0, random_(4), 0});
        } else if (clogged_ || dice < 75) {
            add({Kind::clog, 0, random_.percent(clogged_ ? 75 : 40), steps()});
        } else {
            add({Kind::start, 0, 0, steps()});
        }
        if (!clogged_ && random_.percent(70)) add({Kind::clog, 0, 0, steps()});
    }

    /// Candidates of one policy take turns at once, for one binding SID.
    void addSwap() {
        auto const policy = random_(policies_) * candidatesOfPolicy;
        auto const bsid = random_.percent(50) ? 3u : random_(4);
        if (random_.percent(30)) add({Kind::yield, 0, 1, 0});
        for (auto left = 3 + random_(4); left > 0; --left) {
            auto const place = policy + random_(std::max(2u, candidates_));
            std::uint8_t const steps = left > 1 && left < 5 ? 0 : Event::allSteps;
            CandidateContent content(random_(CandidateContent::count));
            content.bsid = bsid;
            random_.percent(40) ? addCandidateGone(place, steps)
                                : addCandidate(place, content, steps);
        }
    }

    /// What goes comes back just before the time that identifiers are held back, or just after.
    void addPause() {
        auto const place = contents_.empty() ? candidatePlace() : contents_.begin()->first;
        if (!clogged_) add({Kind::clog});
        addCandidateGone(place, Event::allSteps);
        add({Kind::wait, 0, 2 + random_(2)});
        if (random_.percent(30)) add({Kind::wait});
        addCandidate();
        addCandidate(place, CandidateContent(contents_[place]), steps());
    }

    /// What has just gone still stands in some tables when the agent dies: its identities must not
    /// pass to what comes meanwhile.
    void addCrashMidway() {
        CandidateContent content(random_(CandidateContent::count));
        content.bsid = 3;
        auto const place = candidatePlace();
        addCandidate(place, content, Event::allSteps);
        addCandidateGone(place, static_cast<std::uint8_t>(1 + random_(4)));
        add({Kind::crash, 0, 0, 0});
        addCandidate();
        add({Kind::start, 0, 0, steps()});
    }

    void addRestart() {
        if (random_.percent(15)) return addCrashMidway();
        auto const dice = random_(100);
        if (dice < 45) return add({Kind::restart, 0, 0, steps()});
        add(dice < 55 ? Event{Kind::stop} : Event{Kind::crash, 0, 0, 0});
        for (auto left = dice < 80 ? 0 : 1 + random_(3); left > 0; --left) {
            add({Kind::damage, random_(damageCount), random_(64), 0});
        }
        if (random_.percent(60)) addCandidate();
        if (random_.percent(50)) addOneOf(inputs);
        if (services_ > 0 && random_.percent(40)) addOneOf(services);
        if (services_ > 0 && random_.percent(20)) add({Kind::gribi, 0, random_(2), 0});
        add({Kind::start, 0, 0, steps()});
        if (random_.percent(20)) add({Kind::restart, 0, 0, steps()});
    }

    Random random_;
    bool const yieldsAtEachKey_, clogged_;
    bool const bursts_ = random_.percent(40), agentUnquiet_ = random_.percent(30);
    /// In a thousand events.
    Number const services_ = (random_.percent(60) ? 180u : 0u) + (agentUnquiet_ ? 60u : 0u);
    Number const policies_ = 1 + random_(policyCount);
    Number const candidates_ = 1 + random_(candidatesOfPolicy);
    Number const labels_ = 2 + random_(labelCount - 1);
    Events events_;
    std::unordered_map<Number, Number> contents_;
    std::uint32_t sinceRestart_ = 0;
};

}  // namespace

Events generate(std::uint64_t seed, std::size_t count) {
    return Generator(seed).run(count);
}

}  // namespace Sim
