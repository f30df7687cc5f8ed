#include "SrTePolicy/SrTePolicySbfdTables.h"

namespace SrTePolicy::Sbfd {
namespace {

bool isFaster(SbfdParams const& a, SbfdParams const& b) {
    auto const timeA = a.timers().detectionTime();
    auto const timeB = b.timers().detectionTime();
    if ((timeA == 0) != (timeB == 0)) return timeB == 0;
    return timeA != timeB ? timeA < timeB : a.sbfdInterval < b.sbfdInterval;
}

}  // namespace

std::optional<SegmentListSbfdConfig> SbfdInputConfig::config(SbfdKey const& key) const {
    auto const* const row = configs_.find(key);
    if (!row) return std::nullopt;
    return SegmentListSbfdConfig{key, row->remoteDiscriminator, SbfdParams::of(*row)};
}

bool SbfdInputConfig::configIs(SegmentListSbfdConfig const& config) {
    auto const& params = config.sbfdParams;
    return configs_.entryIs(config.sbfdKey,
                            {params.sbfdInterval, params.sbfdMulti, config.remoteDiscriminator});
}

void SbfdInputConfig::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cconfigs #%u \n", indentCount, ' ', static_cast<unsigned>(configs_.size()));
    for (auto row = configs_.begin(); row; row.next()) {
        ctx.print("%*c%s\n", indentCount + 2, ' ', config(row.key())->stringValue().c_str());
    }
}

Quor::Ptr<SbfdInputConfig> sbfdInputConfigFactory() {
    return Quor::makePtr<SbfdInputConfig>();
}

void SbfdSessionUser::sbfdStatusIs(SbfdKey const& key, SbfdParams const& params) {
    if (users_.insert({params, key}) && isGlobal(params)) ++globalCount_;
}

void SbfdSessionUser::sbfdStatusDel(SbfdKey const& key, SbfdParams const& params) {
    if (users_.erase({params, key}) && isGlobal(params)) --globalCount_;
}

SbfdParams SbfdSessionUser::fastest(SbfdParams const& global) const {
    constexpr Bfd::BfdInterval one(1);
    std::optional<SbfdParams> best;
    // The first at or after `lowest`, which is the fastest of its kind.
    auto const consider = [&](SbfdParams const& lowest) {
        User found;
        if (!users_.atOrAfter({lowest, {}}, found)) return;
        auto const params = found.params.resolved(global);
        if (!best || isFaster(params, *best)) best = params;
    };
    consider({one, Bfd::BfdMultiplier(1)});
    if (hasGlobal()) {
        consider({});
        consider({one, {}});
    }
    return best.value_or(SbfdParams());
}

SbfdSession* SbfdSessionToSbfdStatus::session(SbfdSessionKey const& key) const {
    auto const* const row = sessions_.find(key);
    return row ? row->get() : nullptr;
}

std::pair<SbfdSession*, bool> SbfdSessionToSbfdStatus::sessionIs(SbfdSessionKey const& key) {
    auto const [row, created] = sessions_.tryEmplace(key);
    if (created) *row = std::make_unique<SbfdSession>();
    return {row->get(), created};
}

void SbfdSessionToSbfdStatus::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*csessions #%u \n", indentCount, ' ', static_cast<unsigned>(sessions_.size()));
    for (auto row = sessions_.begin(); row; row.next()) {
        auto const& session = *row.value();
        ctx.print("%*c%s params: %s valid: %d\n", indentCount + 2, ' ',
                  row.key().stringValue().c_str(),
                  session.params.value_or(SbfdParams()).stringValue().c_str(), session.valid);
        session.user.forEachSbfdStatus([&ctx, indentCount](SbfdKey const& key) {
            ctx.print("%*c%s\n", indentCount + 4, ' ', key.stringValue().c_str());
        });
    }
}

void SbfdStatusToRemoteDiscriminator::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    for (auto row = configs_.begin(); row; row.next()) {
        ctx.print("%*csbfdkey:%s => RD:%u\n", indentCount, ' ', row.key().stringValue().c_str(),
                  row.value().remoteDiscriminator.value());
    }
}

}  // namespace SrTePolicy::Sbfd
