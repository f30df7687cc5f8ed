#include "tests/sim/Events.h"

#include <algorithm>
#include <array>

#include "agent/ScenarioValues.h"
#include "tests/sim/TableWalk.h"
#include "tests/sim/Universe.h"
#include "tests/sim/Words.h"

namespace Sim {

namespace {

/// In the order of `Kind`.
std::vector<std::string_view> const& kindNames() {
    static auto const names = Agent::splitAtBlanks(
        "candidate route tiLfa nextHop group label policy sbfd "
        "srlb depth specifiedBsidOnly coloredRib coloredRibPreference tieBreaking bfd gribi agent "
        "source peer counter clog yield wait crash start restart stop damage");
    return names;
}

/// The part before `separator`, which `text` loses with it.
std::string_view cut(std::string_view& text, char separator) {
    auto const at = text.find(separator);
    auto const part = text.substr(0, at);
    text.remove_prefix(at == text.npos ? text.size() : at + 1);
    return part;
}

std::optional<Event> parseEvent(std::string_view text) {
    auto const words = Agent::splitAtBlanks(cut(text, '/'));
    auto const steps = text.empty() ? Event::allSteps : Agent::parseNumber(text, 0, 254);
    auto const number = [&words](std::size_t at) {
        return at < words.size() ? Agent::parseNumber(words[at], 0, 0xFFFFFFFF) : 0;
    };
    if (words.empty() || words.size() > 3 || !number(1) || !number(2) || !steps) {
        return std::nullopt;
    }
    auto const kind = std::ranges::find(kindNames(), words[0]);
    if (kind == kindNames().end()) return std::nullopt;
    return Event{static_cast<Kind>(kind - kindNames().begin()), static_cast<Number>(*number(1)),
                 static_cast<Number>(*number(2)), static_cast<std::uint8_t>(*steps)};
}

/// A row is written, or goes without content.
template <class Record, class Key>
void write(Agent::Changes<Record, Key>& changes, Event const& event, Key (*keyAt)(Number),
           Record (*recordAt)(Number, Number)) {
    if (event.content == 0) return changes.removed.push_back(keyAt(event.place));
    changes.written.push_back(recordAt(event.place, event.content - 1));
}

/// The candidate's policy keeps its settings.
void writeCandidate(Agent::Step& step, Event const& event, SrTePolicy::Config const& config) {
    auto const id = policyIdAt(event.place);
    if (event.content == 0) return step.removedCandidates.push_back(id);
    auto const* const held = config.policy(id.key);
    auto const settings = held ? *held : SrTePolicy::StaticPolicy{id.key, {}};
    auto const entry = entryAt(event.place, event.content - 1);
    step.policies.written.push_back({{settings, {{{}, entry, {}}}}, {0}});
}

void writePolicy(Agent::Step& step, Event const& event) {
    auto const key = policyIdAt(event.place * candidatesOfPolicy).key;
    bool const goes = event.kind == Kind::policy && event.content == 0;
    if (goes) return step.policies.removed.push_back(key);
    auto const settings = event.kind == Kind::sbfd ? settingsAt(event.content) : std::nullopt;
    step.policies.written.push_back({{{key, settings}, {}}, {}});
}

/// What an event writes to the inputs through the host's own writer, and to the agent's life.
Agent::Step stepOf(Event const& event, SrTePolicy::Config const& config) {
    Agent::Step step;
    auto& gribi = step.gribi;
    auto const content = event.content;
    bool const odd = content % 2 == 1;
    bool const enabled = content % 3 != 1;
    auto const set = [&step](auto const& setting) { step.router.emplace_back(setting); };
    switch (event.kind) {
        case Kind::candidate: writeCandidate(step, event, config); break;
        case Kind::route: write(step.lfib, event, routeKeyAt, routeAt); break;
        case Kind::tiLfa: write(step.tiLfa, event, tiLfaAt, tiLfaEntryAt); break;
        case Kind::nextHop: write(gribi.nextHop, event, nextHopIdAt, nextHopAt); break;
        case Kind::group: write(gribi.nextHopGroup, event, groupIdAt, groupAt); break;
        case Kind::label: write(gribi.mpls, event, incomingLabelAt, mplsEntryAt); break;
        case Kind::policy:
        case Kind::sbfd: writePolicy(step, event); break;
        case Kind::srlb: set(srlbAt(content)); break;
        case Kind::depth: set(depthAt(content)); break;
        case Kind::specifiedBsidOnly: set(Agent::SpecifiedBsidOnly{content % 4 == 3}); break;
        case Kind::coloredRib: set(Agent::ColoredRib{odd}); break;
        case Kind::coloredRibPreference:
            set(Agent::ColoredRibPreference{static_cast<std::uint8_t>(content)});
            break;
        case Kind::tieBreaking: set(Agent::TieBreaking{content}); break;
        case Kind::bfd: step.bfd = globalSettingsAt(content); break;
        case Kind::gribi: gribi.configuration = Agent::GribiConfiguration{enabled}; break;
        case Kind::agent: set(Agent::AgentEnabled{enabled}); break;
        case Kind::clog: step.clog = odd; break;
        case Kind::restart: step.life = Agent::Life::restart; break;
        case Kind::start: step.life = Agent::Life::start; break;
        case Kind::stop: step.life = Agent::Life::stop; break;
        default: break;
    }
    return step;
}

void applyToSource(Event const& event, Agent::Tables const& tables) {
    auto const protocol = protocolAt(event.place);
    auto const source = tables.sources->policyInput(protocol);
    if (!source) return;
    auto const replacement = SrTePolicy::policyInputFactory(protocol);
    for (auto const& [id, entry] : each(source->policyInputEntry())) {
        replacement->policyInputEntryIs(entry);
    }
    switch (event.content % 3) {
        case 0: source->policyInputEntryDelAll(); break;
        case 1: tables.sources->policyInputDel(protocol); break;
        default: tables.sources->policyInputIs(replacement); break;
    }
}

/// Mostly the peer of a session of ours. States that we know nothing of belong to others.
void applyToPeer(Event const& event, Agent::Tables const& tables) {
    auto& peers = *tables.bfdPeers;
    auto const session = keyIn(tables.bfdSessions->session(), event.place);
    if (event.place % 8 == 7) {
        Bfd::BfdDiscriminator const discriminator(event.content);
        Bfd::Peer const foreign{L3::VrfName("red"), tiLfaAt(event.place), discriminator};
        peers.operStateIs(foreign, Bfd::OperState(event.content % 9));
    } else if (session && event.content % 5 == 4) {
        peers.operStateDel(session->peer);
    } else if (session) {
        peers.operStateIs(session->peer, Bfd::OperState(event.content % 5));
    }
}

void applyToCounter(Event const& event, Agent::Tables const& tables) {
    auto& counters = *tables.tunnelCounters;
    if (event.content % 2) {
        auto const tunnel = keyIn(tables.segmentListTunnels->entry(), event.place);
        if (tunnel) counters.tunnelCounterIs(*tunnel, {});
    } else if (auto const tunnel = keyIn(counters.tunnelCounter(), event.place)) {
        counters.tunnelCounterDel(*tunnel);
    }
}

Agent::Time waitOf(Event const& event, World const& world) {
    using std::chrono::milliseconds;
    constexpr std::array times{milliseconds(100), milliseconds(1000), milliseconds(299900),
                               milliseconds(300100)};
    // A clogged agent tries ten times a second: five minutes of that show nothing new.
    auto const count = world.clogged() ? 2 : times.size();
    return times[event.content % count];
}

void happen(Event const& event, World& world) {
    auto const& tables = world.tables();
    switch (event.kind) {
        case Kind::source: applyToSource(event, tables); break;
        case Kind::peer: applyToPeer(event, tables); break;
        case Kind::counter: applyToCounter(event, tables); break;
        case Kind::yield:
            return world.yieldAfterIs(event.content ? std::optional(event.content) : std::nullopt);
        case Kind::wait: return world.advance(waitOf(event, world));
        case Kind::crash: return world.crash();
        case Kind::damage:
            if (!world.machines()) damage(world.tablesToDamage(), event.place, event.content);
            return;
        default: return world.apply(stepOf(event, *tables.config));
    }
    world.toldOfWrite();
}

}  // namespace

std::string text(Events const& events) {
    std::string all;
    for (auto const& event : events) {
        all += all.empty() ? "" : "; ";
        all += words(kindNames()[static_cast<std::size_t>(event.kind)], event.place, event.content);
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
        Event event{static_cast<Kind>(bytes[0] % kindCount), bytes[1] % candidateCount, 0};
        if (bytes[2] >= 64) event.content = (bytes[2] - 64u) * 257u + bytes[1];
        if (bytes[3] >= 200) event.steps = static_cast<std::uint8_t>(bytes[3] - 200);
        events.push_back(event);
    }
    return events;
}

std::string describe(Event const& event) {
    auto line = text({event});
    line.resize(std::max<std::size_t>(line.size() + 2, 28), ' ');
    auto const step = stepOf(event, *SrTePolicy::configFactory());
    for (auto const& write : step.policies.written) {
        for (auto const& candidate : write.policy.candidates) line += candidate.entry.stringValue();
    }
    for (auto const& id : step.removedCandidates) line += "without " + id.stringValue();
    for (auto const& route : step.lfib.written) {
        line += words("type", route.type, route.viaType, route.key.topLabel(), "to");
        for (auto const& via : route.mplsVias) line += ' ' + words(via);
        if (!route.extFecVia.fecId.isNone()) line += ' ' + route.extFecVia.fecId.stringValue();
    }
    for (auto const& key : step.lfib.removed) line += "without " + key.stringValue();
    for (auto const& tunnel : step.tiLfa.written) {
        line += words(tunnel.tunnelId, tunnel.primaryVia);
        if (tunnel.backupVia) line += words(" backup", *tunnel.backupVia);
    }
    return line;
}

void apply(Event const& event, World& world) {
    happen(event, world);
    if (event.steps == Event::allSteps) return world.settle();
    for (int step = 0; step < event.steps && world.runOne();) ++step;
}

}  // namespace Sim
