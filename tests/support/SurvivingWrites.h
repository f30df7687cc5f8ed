#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/ScenarioValues.h"
#include "agent/Tables.h"
#include "tests/support/Watch.h"

/// Calls `visit(name, table, subject)` for each table that outlives the agent, with each of the
/// subjects that tell of its rows.
void forEachSurvivingTable(Agent::SurvivingTables const& tables, auto const& visit) {
    auto const visitOwn = [&visit](char const* name, auto const& table) {
        visit(name, table, table);
    };
    visitOwn("export", tables.exportedLists->segmentList());
    visitOwn("list-status", tables.segmentListStatus->status());
    visitOwn("list-status-sbfd", tables.segmentListStatus->statusWithSbfd());
    visitOwn("sbfd-input", tables.sbfdInputConfig->config());
    visitOwn("sbfd-session", tables.bfdSessions->session());
    visitOwn("list-tunnel", tables.segmentListTunnels->entry());
    visitOwn("status", tables.policyStatus->policyStatusEntry());
    visitOwn("fec-index", tables.policyStatus->fecIdToPolicyKey());
    visitOwn("fec", tables.forwarding->fec());
    visitOwn("policy-tunnel", tables.policyTunnels->entry());
    visitOwn("route", tables.bindingSidLfib->rows());
    visitOwn("tunnel-map", tables.tunnelMap->entry());
    visitOwn("next-hop", tables.nextHopTunnels->nhToTunnelMap());
    visitOwn("group", tables.gribiStatus->nhgToFecEntry());
    visitOwn("gribi-route", tables.gribiLfib->rows());
    auto const& selectionInput = *tables.selectionInput;
    visit("selection-input", selectionInput.policyIdEntry(), selectionInput.entrySubject());
    auto const& ecPolicy = *tables.ecPolicy;
    visit("ec-policy", ecPolicy.policy(), ecPolicy.policySubject());
    visit("ec-active", ecPolicy.policy(), ecPolicy.activeSubject());
    visit("ec-entry", ecPolicy.policy(), ecPolicy.activeEntrySubject());
}

/// Every write to the tables that outlive the agent, in order, as "TABLE KEY", or "-TABLE KEY" for
/// a removal.
class SurvivingWrites {
public:
    explicit SurvivingWrites(Agent::SurvivingTables const& tables) {
        forEachSurvivingTable(tables,
                              [this]<class Table, class Key>(char const* name, Table const& table,
                                                             Quor::Subject<Key> const& subject) {
                                  watch<Table, Key>(name, table, subject);
                              });
    }

    std::vector<std::string> take() { return std::exchange(log_, {}); }

private:
    static std::string keyText(SrTePolicy::PolicyKey const& key) {
        return Agent::policyKeyText(key);
    }
    static std::string keyText(Bfd::AppPeer const& key) { return key.peer.stringValue(); }
    template <class Key>
    static std::string keyText(Key const& key) {
        return key.stringValue();
    }

    template <class Table, class Key>
    void watch(char const* name, Table const& table, Quor::Subject<Key> const& subject) {
        auto const told = [this, name, &table](Key const& key) {
            log_.push_back((table.has(key) ? "" : "-") + std::string(name) + " " + keyText(key));
        };
        watches_.push_back(std::make_shared<Watch<Key>>(subject, told));
    }

    std::vector<std::string> log_;
    std::vector<std::shared_ptr<void>> watches_;
};
