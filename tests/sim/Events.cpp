#include "tests/sim/Events.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>

#include "tests/sim/Damage.h"
#include "tests/sim/Services.h"
#include "tests/sim/Universe.h"
#include "tests/sim/Words.h"

namespace Sim {

namespace {

constexpr std::array<std::string_view, kindCount> kindNames{"candidate",
                                                            "candidateGone",
                                                            "source",
                                                            "policy",
                                                            "route",
                                                            "routeGone",
                                                            "tiLfa",
                                                            "tiLfaGone",
                                                            "srlb",
                                                            "depth",
                                                            "specifiedBsidOnly",
                                                            "coloredRib",
                                                            "coloredRibPreference",
                                                            "tieBreaking",
                                                            "clog",
                                                            "yield",
                                                            "wait",
                                                            "crash",
                                                            "start",
                                                            "restart",
                                                            "stop",
                                                            "damage",
                                                            "sbfd",
                                                            "bfd",
                                                            "peer",
                                                            "counter",
                                                            "nextHop",
                                                            "nextHopGone",
                                                            "group",
                                                            "groupGone",
                                                            "label",
                                                            "labelGone",
                                                            "gribi",
                                                            "agent"};

std::string_view nameOf(Kind kind) {
    return kindNames[static_cast<std::size_t>(kind)];
}

std::optional<std::uint32_t> numberIn(std::string_view word) {
    std::uint32_t number = 0;
    auto const end = word.data() + word.size();
    auto const [last, error] = std::from_chars(word.data(), end, number);
    if (error != std::errc() || last != end) return std::nullopt;
    return number;
}

/// The part before `separator`, which `text` loses with it.
std::string_view cut(std::string_view& text, char separator) {
    auto const at = text.find(separator);
    auto const part = text.substr(0, at);
    text.remove_prefix(at == text.npos ? text.size() : at + 1);
    return part;
}

std::optional<Event> parseEvent(std::string_view text) {
    Event event;
    int word = 0;
    while (!text.empty()) {
        auto part = cut(text, ' ');
        if (part.empty()) continue;
        if (word++ == 0) {
            auto const kind = std::find(kindNames.begin(), kindNames.end(), part);
            if (kind == kindNames.end()) return std::nullopt;
            event.kind = static_cast<Kind>(kind - kindNames.begin());
            continue;
        }
        bool const steps = part.front() == '/';
        auto const number = numberIn(steps ? part.substr(1) : part);
        if (!number) return std::nullopt;
        if (steps) {
            event.steps = static_cast<std::uint8_t>(*number);
        } else {
            (word == 2 ? event.place : event.content) = *number;
        }
    }
    if (word == 0) return std::nullopt;
    return event;
}

/// What an event writes to the inputs through the host's own writer.
Agent::Step stepOf(Event const& event) {
    Agent::Step step;
    auto const place = event.place;
    auto const content = event.content;
    switch (event.kind) {
        case Kind::candidate: {
            auto const entry = entryAt(place, CandidateContent(content));
            Agent::PolicyRecord const policy{{entry.policyId.key, {}}, {{{}, entry, {}}}};
            step.policies.written.push_back({policy, {0}});
            break;
        }
        case Kind::candidateGone: step.removedCandidates.push_back(policyIdAt(place)); break;
        case Kind::policy: {
            auto const key = policyIdAt(place * candidatesOfPolicy).key;
            if (content % 2) {
                step.policies.written.push_back({{{key, {}}, {}}, {}});
            } else {
                step.policies.removed.push_back(key);
            }
            break;
        }
        case Kind::route: step.lfib.written.push_back(routeAt(place, content)); break;
        case Kind::routeGone: step.lfib.removed.push_back(routeKeyAt(place)); break;
        case Kind::tiLfa: step.tiLfa.written.push_back(tiLfaEntryAt(place, content)); break;
        case Kind::tiLfaGone: step.tiLfa.removed.push_back(tiLfaAt(place)); break;
        case Kind::srlb: step.router.emplace_back(srlbAt(content)); break;
        case Kind::depth: step.router.emplace_back(depthAt(content)); break;
        case Kind::specifiedBsidOnly:
            step.router.emplace_back(Agent::SpecifiedBsidOnly{content % 2 == 1});
            break;
        case Kind::coloredRib: step.router.emplace_back(Agent::ColoredRib{content % 2 == 1}); break;
        case Kind::coloredRibPreference:
            step.router.emplace_back(
                Agent::ColoredRibPreference{static_cast<std::uint8_t>(content)});
            break;
        case Kind::tieBreaking: step.router.emplace_back(Agent::TieBreaking{content}); break;
        case Kind::clog: step.clog = content % 2 == 1; break;
        case Kind::restart: step.life = Agent::Life::restart; break;
        case Kind::start: step.life = Agent::Life::start; break;
        case Kind::stop: step.life = Agent::Life::stop; break;
        default: return serviceStep(event);
    }
    return step;
}

void applyToSource(Event const& event, World& world) {
    auto const& sources = *world.tables().sources;
    auto const protocol = protocolAt(event.place);
    auto const source = sources.policyInput(protocol);
    if (!source) return;
    auto const replacement = SrTePolicy::policyInputFactory(protocol);
    for (auto row = source->policyInputEntry().begin(); row; row.next()) {
        replacement->policyInputEntryIs(row.value());
    }
    switch (event.content % 3) {
        case 0: source->policyInputEntryDelAll(); break;
        case 1: world.tables().sources->policyInputDel(protocol); break;
        default: world.tables().sources->policyInputIs(replacement); break;
    }
    world.toldOfWrite();
}

/// Writing a candidate leaves its policy's settings as they are.
Agent::Step withSettings(Agent::Step step, SrTePolicy::Config const& config) {
    for (auto& [policy, written] : step.policies.written) {
        if (auto const* const held = config.policy(policy.key())) policy.settings = *held;
    }
    return step;
}

Agent::Time waitOf(Event const& event, World const& world) {
    using std::chrono::milliseconds;
    constexpr std::array times{milliseconds(100), milliseconds(1000), milliseconds(299900),
                               milliseconds(300100)};
    // A clogged agent tries ten times a second: five minutes of that show nothing new.
    auto const count = world.clogged() ? 2 : times.size();
    return times[event.content % count];
}

}  // namespace

std::string text(Events const& events) {
    std::string all;
    for (auto const& event : events) {
        if (!all.empty()) all += "; ";
        all += nameOf(event.kind);
        if (event.place || event.content) all += ' ' + std::to_string(event.place);
        if (event.content) all += ' ' + std::to_string(event.content);
        if (event.steps != Event::allSteps) all += " /" + std::to_string(event.steps);
    }
    return all;
}

std::optional<Events> parseEvents(std::string_view text) {
    Events events;
    while (!text.empty()) {
        auto const event = parseEvent(cut(text, ';'));
        if (!event) return std::nullopt;
        events.push_back(*event);
    }
    return events;
}

Events eventsFromBytes(std::span<std::uint8_t const> bytes) {
    Events events;
    for (; bytes.size() >= 4; bytes = bytes.subspan(4)) {
        Event event;
        event.kind = static_cast<Kind>(bytes[0] % kindCount);
        event.place = bytes[1] % candidateCount;
        event.content = bytes[2] * 257u + bytes[1];
        event.steps = bytes[3] < 200 ? Event::allSteps : static_cast<std::uint8_t>(bytes[3] - 200);
        events.push_back(event);
    }
    return events;
}

std::string describe(Event const& event) {
    auto line = text({event});
    line.resize(std::max<std::size_t>(line.size() + 2, 28), ' ');
    auto const step = stepOf(event);
    for (auto const& write : step.policies.written) {
        for (auto const& candidate : write.policy.candidates) line += candidate.entry.stringValue();
    }
    for (auto const& id : step.removedCandidates) line += id.stringValue();
    for (auto const& route : step.lfib.written) {
        line += words("route", route.key.topLabel(), "type", route.type, route.viaType);
        for (auto const& via : route.mplsVias) line += ' ' + words(via);
        if (!route.extFecVia.fecId.isNone()) line += ' ' + route.extFecVia.fecId.stringValue();
    }
    for (auto const& key : step.lfib.removed) line += key.stringValue();
    for (auto const& tunnel : step.tiLfa.written) {
        line += tunnel.tunnelId.stringValue() + ' ' + words(tunnel.primaryVia);
        if (tunnel.backupVia) line += " backup " + words(*tunnel.backupVia);
    }
    return line;
}

void apply(Event const& event, World& world) {
    switch (event.kind) {
        case Kind::source: applyToSource(event, world); break;
        case Kind::yield:
            world.yieldAfterIs(event.content ? std::optional<std::uint64_t>(event.content)
                                             : std::nullopt);
            break;
        case Kind::wait: world.advance(waitOf(event, world)); break;
        case Kind::crash: world.crash(); break;
        case Kind::damage:
            if (!world.machines()) damage(world.tablesToDamage(), event.place, event.content);
            break;
        case Kind::peer:
        case Kind::counter: applyToOtherAgents(event, world); break;
        case Kind::candidate:
            world.apply(withSettings(stepOf(event), *world.tables().config));
            break;
        default: world.apply(stepOf(event)); break;
    }
    if (event.steps == Event::allSteps) {
        world.settle();
    } else {
        for (int step = 0; step < event.steps && world.runOne(); ++step) {
        }
    }
}

}  // namespace Sim
