#pragma once

#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "SrTePolicy/SrTePolicyInputSm.h"
#include "tests/support/MachineTest.h"
#include "tests/support/Routes.h"

namespace SrTePolicy::Test {

inline constexpr std::uint32_t noBsid = Wirex::MplsLabel::null;
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
class PolicyInputFixture : public MachineTest {
protected:
    PolicyInputFixture() {
        clock.systemTimeOffsetIs(500);
        mplsConfig->labelRangeIs("srlb", {1000, 100});
        for (auto const& [protocol, input] : inputs) source->policyInputIs(input);
        create();
        sm->handleInitialized();
    }
    ~PolicyInputFixture() override { policyInputProtocols().clear(); }

    void create() {
        sm = policyInputSmFactory(settings, source, mplsConfig, router.merge->lfibStatus(),
                                  router.merge->lfibTrackingStatus(), selectionInput, dedup, users,
                                  verdicts, scheduler, fieldlog);
    }
    void settle() override {
        scheduler->runReady();
        EXPECT_TRUE(sm->drained());
    }
    // Returns what PolicySelectionInput told since the last call.
    std::string run() { return told(); }

    void offer(Path const& path) {
        paths[path.id()] = path;
        inputs.at(path.protocol)->policyInputEntryIs(path.entry());
    }
    void withdraw(Path const& path) {
        paths.erase(path.id());
        inputs.at(path.protocol)->policyInputEntryDel(path.id());
    }
    // Of another application.
    void route(std::uint32_t label) { router.route(label, {}); }

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
    std::string outputs() const {
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
    std::string listed() const {
        std::ostringstream text;
        for (auto row = verdicts->candidate().begin(); row; row.next()) {
            auto const& [time, reason, bsid] = row.value();
            text << name(row.key()) << ": " << static_cast<unsigned>(reason)
                 << bsidText(bsid.value());
            text << " since " << time << "\n";
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
    // Who asks for which binding SID.
    std::string bsids() const {
        auto const dump = dumpOf(*sm);
        return dump.substr(dump.find("  bsid"));
    }

    SyslogLines syslog;
    RouterLfib router;
    Quor::Ptr<Config> settings = configFactory();
    Quor::Ptr<PolicyInputSource> source = policyInputSourceFactory();
    std::map<Protocol, Quor::Ptr<PolicyInput>> inputs = {
        {Protocol::config, policyInputFactory(Protocol::config)},
        {Protocol::bgp, policyInputFactory(Protocol::bgp)},
        {Protocol::pcep, policyInputFactory(Protocol::pcep)}};
    Quor::Ptr<Mpls::Config> mplsConfig = Quor::makePtr<Mpls::Config>();

    Quor::Ptr<PolicySelectionInput> selectionInput = policySelectionInputFactory();
    Quor::Ptr<CoreDedupTables> dedup = coreDedupTablesFactory();
    Quor::Ptr<SegmentListIdToPolicyMap> users = segmentListIdToPolicyMapFactory();
    Quor::Ptr<PolicyKeyToIdMap> verdicts = policyKeyToIdMapFactory();
    Quor::Ptr<PolicyInputSm> sm;

    std::map<PolicyId, Path> paths;
    Watch<PolicyId> entryWatch{selectionInput->entrySubject(), [this](PolicyId const& id) {
                                   wrote(selectionInput->policyIdEntry(id), "", name(id));
                               }};
    Watch<PolicyId> bindingSidWatch{
        selectionInput->bindingSidSubject(),
        [this](PolicyId const& id) { log.push_back(std::string("bsid ").append(name(id))); }};
};

}  // namespace SrTePolicy::Test
