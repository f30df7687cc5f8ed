#pragma once

#include <cstddef>
#include <vector>

#include "Platform/Keel/Task.h"
#include "SrTePolicy/GribiRootSm.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"
#include "SrTePolicy/SrTePolicyInputSm.h"
#include "SrTePolicy/SrTePolicyLfibGenSm.h"
#include "SrTePolicy/SrTePolicyPublishSm.h"
#include "SrTePolicy/SrTePolicySbfdInputSm.h"
#include "SrTePolicy/SrTePolicySbfdSessionSm.h"
#include "SrTePolicy/SrTePolicySegmentListSm.h"
#include "SrTePolicy/SrTePolicySegmentSm.h"
#include "SrTePolicy/SrTePolicySelectionSm.h"
#include "SrTePolicy/SrTePolicyTunnelMapExportSm.h"
#include "SrTeTypes/InitStage.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "agent/Tables.h"

namespace Agent {

/// The tables that are new in every run of the agent.
struct RunTables {
    Quor::Ptr<SrTePolicy::CoreDedupTables> coreDedupTables = SrTePolicy::coreDedupTablesFactory();
    Quor::Ptr<SrTePolicy::SegmentStatus> segmentStatus = SrTePolicy::segmentStatusFactory();
    Quor::Ptr<SrTePolicy::SegmentListIdToPolicyMap> segmentListUsers =
        SrTePolicy::segmentListIdToPolicyMapFactory();
    Quor::Ptr<SrTePolicy::PolicyKeyToIdMap> policyKeyToIdMap =
        SrTePolicy::policyKeyToIdMapFactory();
    Quor::Ptr<SrTePolicy::InitStage> initStage = SrTePolicy::initStageFactory();
};

/// One run of the agent, from its start to its end: every machine, wired to its tables.
///
/// A start goes step by step. A machine begins once all those before it have drained, so that it
/// never takes unfinished input for the whole; while the attribute-change log is clogged a start
/// waits where it is. Only `stop` withdraws anything: to drop the object is a crash, after which
/// another run takes over what it left.
class Machines {
public:
    enum class StartStep {
        adoptSurvivingLists,
        startSegments,
        startGribi,
        startInput,
        startSbfd,
        startSelection,
        startPublishing,
        startTunnelMap,
        dropUnclaimedLists
    };
    /// The one order in which a restart writes nothing that it need not write.
    static std::vector<StartStep> const& startOrder();

    Machines(Tables const& tables, Quor::Ptr<Keel::TaskScheduler> const& scheduler,
             std::vector<StartStep> order = startOrder());
    Machines(Machines const&) = delete;
    Machines& operator=(Machines const&) = delete;
    ~Machines();

    /// Takes the next step of the start. False when there is none, or when it has to wait.
    bool startFurther();
    bool started() const;
    /// The orderly end, also of a start that is under way.
    void stop();

    /// Whether every candidate of the sources has its verdict.
    bool inputSettled() const;

    RunTables const& tables() const { return run_; }
    SrTePolicy::SegmentSm const& segmentSm() const { return *segmentSm_; }
    SrTePolicy::SegmentListSm const& segmentListSm() const { return *segmentListSm_; }
    SrTePolicy::PolicyInputSm const& inputSm() const { return *inputSm_; }
    SrTePolicy::SbfdInputSm const& sbfdInputSm() const { return *sbfdInputSm_; }
    SrTePolicy::SbfdSessionSm const& sbfdSessionSm() const { return *sbfdSessionSm_; }
    SrTePolicy::PolicySelectionSm const& selectionSm() const { return *selectionSm_; }
    SrTePolicy::PolicyPublishSm const& publishSm() const { return *publishSm_; }
    SrTePolicy::SrTePolicyLfibGenSm const& lfibGenSm() const { return *lfibGenSm_; }
    SrTePolicy::TunnelMapExportSm const& tunnelMapSm() const { return *tunnelMapSm_; }
    /// Null until the start has come to it.
    Gribi::RootSm const* gribiRoot() const { return gribiRoot_.get(); }

private:
    void take(StartStep step);
    void adoptSurvivingLists();
    void startSegments();
    void startGribi();
    void startInput();
    void startSbfd();
    void startSelection();
    void startPublishing();
    void startTunnelMap();
    void dropUnclaimedLists();

    bool drained() const;
    void stopGribi();

    Tables const& tables_;
    std::vector<StartStep> const startOrder_;
    RunTables run_;
    std::vector<Quor::Ptr<SrTePolicy::SegmentList const>> survivingLists_;
    std::size_t stepsTaken_ = 0;
    bool inputStarted_ = false;
    bool sbfdStarted_ = false;

    Quor::Ptr<SrTePolicy::SegmentSm> segmentSm_;
    Quor::Ptr<SrTePolicy::SegmentListSm> segmentListSm_;
    Quor::Ptr<SrTePolicy::PolicyInputSm> inputSm_;
    Quor::Ptr<SrTePolicy::SbfdInputSm> sbfdInputSm_;
    Quor::Ptr<SrTePolicy::SbfdSessionSm> sbfdSessionSm_;
    Quor::Ptr<SrTePolicy::PolicySelectionSm> selectionSm_;
    Quor::Ptr<SrTePolicy::PolicyPublishSm> publishSm_;
    Quor::Ptr<SrTePolicy::SrTePolicyLfibGenSm> lfibGenSm_;
    Quor::Ptr<SrTePolicy::TunnelMapExportSm> tunnelMapSm_;
    Quor::Ptr<Gribi::RootSm> gribiRoot_;
};

}  // namespace Agent
