#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Keel/Clock.h"
#include "Platform/Mpls/LfibMerge.h"
#include "Platform/Mpls/LfibWriter.h"
#include "SrTePolicy/SrTePolicyInputSm.h"
#include "tests/SyslogLines.h"
#include "tests/TraceLines.h"

namespace SrTePolicy::Test {

inline constexpr std::uint32_t noBsid = Wirex::MplsLabel::null;

inline Wirex::IpGenAddr address(char const* text) {
    return Wirex::IpGenAddr::parse(text).value_or(Wirex::IpGenAddr());
}
inline PolicyKey const P = {address("192.0.2.5"), 100};
inline PolicyKey const Q = {address("2001:db8::6"), 100};

struct List {
    std::vector<std::uint32_t> labels;
    std::uint32_t weight = 1;
};

/// A candidate path as a source offers it.
struct Path {
    PolicyKey key = P;
    Protocol protocol = Protocol::bgp;
    std::uint32_t discriminator = 1;
    std::uint32_t bsid = noBsid;
    std::vector<List> lists = {{{16, 17}}};
    std::uint32_t preference = 100;
    std::uint32_t enlp = 0;
    Originator originator = {};

    PolicyId id() const { return {key, {protocol, address("192.0.2.9"), 65001, discriminator}}; }
    PolicyInputEntry entry() const {
        PolicyInputEntry made(id());
        made.bindingSid = Wirex::MplsLabel(bsid);
        for (auto const& [labels, weight] : lists) {
            Wirex::MplsLabelOperation push{Wirex::MplsLabelAction::push, {}};
            for (auto const label : labels) push.stack.append(Wirex::MplsLabel(label));
            made.segmentList.push_back({push, weight});
        }
        made.preference = Preference(preference);
        made.enlp = Enlp(enlp);
        made.originator = originator;
        return made;
    }
};

/// Policy input between its sources and selection, both of which the test plays. The SRLB is 1000
/// to 1099.
class PolicyInputFixture : public testing::Test {
protected:
    PolicyInputFixture() {
        clock.systemTimeOffsetIs(500);
        Keel::activityClockIs(&clock);
        mplsConfig->labelRangeIs("srlb", {1000, 100});
        for (auto const& [protocol, input] : inputs) source->policyInputIs(input);
        start();
    }
    // A restart with unchanged inputs writes nothing that survives it.
    void TearDown() override {
        if (restartsHitless) {
            run();
            auto const before = selected();
            restart();
            EXPECT_EQ(run(), "");
            EXPECT_EQ(selected(), before);
        }
        policyInputProtocols().clear();
    }

    void create() {
        sm = policyInputSmFactory(settings, source, mplsConfig, merge->lfibStatus(),
                                  merge->lfibTrackingStatus(), selectionInput, dedup, users,
                                  verdicts, scheduler, fieldlog);
    }
    void start() {
        create();
        sm->handleInitialized();
    }
    // Nothing is withdrawn; what lived stands in the exported lists.
    void crash() {
        sm = nullptr;
        exported->segmentListDelAll();
        auto const& live = dedup->notifyingSegmentListCollection()->segmentListNotifier();
        for (auto row = live.begin(); row; row.next()) {
            auto const& list = *row.value()->segmentListRawPtr();
            Export::SegmentList copy{list.segmentListId(), list.policyId(), list.distinguisherId(),
                                     list.size()};
            for (std::uint32_t i = 0; i < list.size(); ++i) copy.segment[i] = list.segmentLabel(i);
            exported->segmentListIs(copy);
        }
        users = segmentListIdToPolicyMapFactory();
        dedup = coreDedupTablesFactory();
        verdicts = policyKeyToIdMapFactory();
    }
    // What was interned keeps its identity until the start is over.
    void restart() {
        if (sm) crash();
        auto const survivors = reinternSurvivingLists(dedup, exported);
        start();
        scheduler->runReady();
    }
    // Returns what PolicySelectionInput told since the last call.
    std::string run() {
        scheduler->runReady();
        EXPECT_TRUE(sm->drained());
        std::string told;
        for (auto const& event : std::exchange(log, {})) told += (told.empty() ? "" : "; ") + event;
        return told;
    }

    void offer(Path const& path) {
        paths[path.id()] = path;
        inputs.at(path.protocol)->policyInputEntryIs(path.entry());
    }
    void withdraw(Path const& path) {
        paths.erase(path.id());
        inputs.at(path.protocol)->policyInputEntryDel(path.id());
    }
    void route(std::uint32_t label, std::uint32_t application = 9) {
        Mpls::ConsolidatedLfibRoute made;
        made.key = Mpls::RouteKey::fromLabel(Wirex::MplsLabel(label));
        made.source = static_cast<Mpls::LFib::Source>(application);
        Mpls::LfibWriter(tableOf(application)).lfibRouteIs(made);
    }
    void routeGoes(std::uint32_t label, std::uint32_t application = 9) {
        auto const key = Mpls::RouteKey::fromLabel(Wirex::MplsLabel(label));
        Mpls::LfibWriter(tableOf(application)).lfibRouteDel(key);
    }
    Quor::Ptr<Mpls::LfibStatus> tableOf(std::uint32_t application) const {
        return application == 24 ? policyLfib : application == 1 ? gribiLfib : otherLfib;
    }

    static std::string name(PolicyId const& id) {
        std::ostringstream text;
        text << (id.key == P ? "P" : "Q") << protocolEnumToString(id.candidate.protocol)
             << id.candidate.discriminator;
        return text.str();
    }
    std::string labelsOf(SegmentListId id) const {
        auto const* const user = users->segmentListUser(id);
        if (!user) return "unregistered";
        std::ostringstream text;
        for (std::uint32_t i = 0; i < user->segmentList()->size(); ++i) {
            text << (i ? "," : "") << user->segmentList()->segmentLabel(i).value();
        }
        return text.str();
    }
    static std::string bsidText(std::uint32_t bsid) {
        if (bsid == noBsid) return "";
        return std::string(" bsid ").append(std::to_string(bsid));
    }
    // CANDIDATE [bsid N] [enlp N]: LABELSxWEIGHT...
    std::string selected() const {
        std::ostringstream text;
        std::set<SegmentListId> named;
        auto const& entries = selectionInput->policyIdEntry();
        for (auto row = entries.begin(); row; row.next()) {
            auto const& entry = row.value();
            text << name(row.key()) << bsidText(entry.bindingSid.value());
            if (entry.enlp != Enlp()) text << " enlp " << entry.enlp.value();
            text << ":";
            for (auto const& [id, weight] : entry.wSegmentList) {
                text << " " << labelsOf(id) << "x" << weight;
                named.insert(id);
            }
            text << "\n";
        }
        // Exactly the named lists live, each for the one candidate that names it.
        EXPECT_EQ(users->segmentListUser().size(), named.size());
        EXPECT_EQ(dedup->notifyingSegmentListCollection()->segmentListNotifier().size(),
                  named.size());
        return text.str();
    }
    // CANDIDATE: REASON [bsid N] [since TIME]
    std::string listed(bool withTimes = true) const {
        std::ostringstream text;
        for (auto row = verdicts->candidate().begin(); row; row.next()) {
            auto const& [time, reason, bsid] = row.value();
            text << name(row.key()) << ": " << static_cast<unsigned>(reason)
                 << bsidText(bsid.value());
            if (withTimes) text << " since " << time;
            text << "\n";
        }
        return text.str();
    }
    PolicyInvalidReason reasonOf(Path const& path) const {
        auto const* const info = verdicts->candidate(path.id());
        EXPECT_TRUE(info);
        return info ? info->reason : PolicyInvalidReason::usable;
    }
    PolicyIdEntry entryOf(Path const& path) const {
        auto const* const entry = selectionInput->policyIdEntry(path.id());
        EXPECT_TRUE(entry);
        return entry ? *entry : PolicyIdEntry();
    }
    std::vector<std::uint32_t> listIds(Path const& path) const {
        std::vector<std::uint32_t> ids;
        for (auto const& list : entryOf(path).wSegmentList) {
            ids.push_back(list.segmentListId.value());
        }
        return ids;
    }
    std::string dump() const {
        Keel::DumpContext ctx;
        sm->dumpState(ctx, 2);
        return ctx.text();
    }
    // Of `dump`, who asks for which binding SID.
    std::string bsids() const { return dump().substr(dump().find("  bsid")); }

    Keel::VirtualClock clock;
    Quor::Ptr<Keel::TaskScheduler> scheduler = Quor::makePtr<Keel::TaskScheduler>(clock);
    Quor::Ptr<Keel::FieldlogSm> fieldlog = Quor::makePtr<Keel::FieldlogSm>();
    SyslogLines syslog;

    Quor::Ptr<Config> settings = configFactory();
    Quor::Ptr<PolicyInputSource> source = policyInputSourceFactory();
    std::map<Protocol, Quor::Ptr<PolicyInput>> inputs = {
        {Protocol::config, policyInputFactory(Protocol::config)},
        {Protocol::bgp, policyInputFactory(Protocol::bgp)},
        {Protocol::pcep, policyInputFactory(Protocol::pcep)}};
    Quor::Ptr<Mpls::Config> mplsConfig = Quor::makePtr<Mpls::Config>();
    Quor::Ptr<Mpls::LfibStatus> otherLfib =
        Quor::makePtr<Mpls::LfibStatus>(Mpls::EqualWrites::notify);
    Quor::Ptr<Mpls::LfibStatus> gribiLfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<Mpls::LfibStatus> policyLfib = Quor::makePtr<Mpls::LfibStatus>();
    Quor::Ptr<Mpls::LfibMerge> merge =
        Quor::makePtr<Mpls::LfibMerge>(otherLfib, gribiLfib, policyLfib);

    Quor::Ptr<PolicySelectionInput> selectionInput = policySelectionInputFactory();
    Quor::Ptr<Export::SegmentListCollection> exported = Export::segmentListCollectionFactory();
    Quor::Ptr<CoreDedupTables> dedup = coreDedupTablesFactory();
    Quor::Ptr<SegmentListIdToPolicyMap> users = segmentListIdToPolicyMapFactory();
    Quor::Ptr<PolicyKeyToIdMap> verdicts = policyKeyToIdMapFactory();
    Quor::Ptr<PolicyInputSm> sm;

    std::map<PolicyId, Path> paths;
    bool restartsHitless = true;
    std::vector<std::string> log;

    Quor::Reactor<PolicyId> entryReactor{
        selectionInput->entrySubject(), this, [](PolicyInputFixture& self, PolicyId const& id) {
            bool const there = self.selectionInput->policyIdEntry(id);
            self.log.push_back(std::string(there ? "+" : "-").append(name(id)));
        }};
    Quor::Reactor<PolicyId> bindingSidReactor{
        selectionInput->bindingSidSubject(), this,
        [](PolicyInputFixture& self, PolicyId const& id) {
            self.log.push_back(std::string("bsid ").append(name(id)));
        }};
};

}  // namespace SrTePolicy::Test
