#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <optional>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/SmallSet.h"
#include "SrTePolicy/SrTePolicySbfdTypes.h"

namespace SrTePolicy::Sbfd {

/// What is asked of S-BFD for every list of every policy that has S-BFD settings. Written by
/// SbfdInputSm alone; survives a restart of the agent.
class SRTE_EXPORT SbfdInputConfig final : public Quor::PtrInterface {
public:
    /// A row is a `SegmentListSbfdConfig` without its key.
    using Configs = Quor::NotifyingMap<SbfdKey, PolicySbfdConfig>;

    Configs const& config() const { return configs_; }
    std::optional<SegmentListSbfdConfig> config(SbfdKey const& key) const;
    /// False when an equal row was there.
    bool configIs(SegmentListSbfdConfig const& config);
    /// False when the row was absent.
    bool configDel(SbfdKey const& key) { return configs_.entryDel(key); }
    void configDelAll() { configs_.entryDelAll(); }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Configs configs_;
};

SRTE_EXPORT Quor::Ptr<SbfdInputConfig> sbfdInputConfigFactory();

/// The keys that share one session, each with the pair that it asks for. They stand in the order of
/// their speed, so that the fastest is found at once however many share the session.
class SRTE_EXPORT SbfdSessionUser {
public:
    void sbfdStatusIs(SbfdKey const& key, SbfdParams const& params);
    /// `params` must be what the key was added with.
    void sbfdStatusDel(SbfdKey const& key, SbfdParams const& params);
    bool empty() const { return users_.empty(); }
    std::size_t size() const { return users_.size(); }
    template <class F>
    void forEachSbfdStatus(F const& visit) const {
        users_.forEach([&visit](User const& user) { visit(user.key); });
    }

    /// The pair of the smallest detection time, of equal ones that of the smaller interval. One of
    /// no detection time at all counts only when there is no other.
    SbfdParams fastest(SbfdParams const& global) const;
    /// Whether a change of the global settings can change `fastest`.
    bool hasGlobal() const { return globalCount_ > 0; }

private:
    struct User {
        SbfdParams params;
        SbfdKey key;

        /// A pair of its own ranks by its detection time; behind all of those the global pair, and
        /// last, by interval, those with the global multiplier. Each of the three keeps its order
        /// when the global settings change.
        std::uint64_t rank() const {
            auto const& [interval, multi] = params;
            if (isGlobal(params)) return lowestGlobalRank | interval.value();
            return std::uint64_t{interval.value()} * multi.value();
        }
        bool operator==(User const&) const = default;
        std::strong_ordering operator<=>(User const& other) const {
            if (auto const byRank = rank() <=> other.rank(); byRank != 0) return byRank;
            if (auto const byParams = params <=> other.params; byParams != 0) return byParams;
            return key <=> other.key;
        }
    };
    // Above the largest product of two 32-bit numbers.
    static constexpr std::uint64_t lowestGlobalRank = 0xFFFFFFFF00000000;

    static bool isGlobal(SbfdParams const& params) {
        return params.sbfdInterval.value() == 0 || params.sbfdMulti.value() == 0;
    }

    Quor::SmallSet<User, 1> users_;
    std::uint32_t globalCount_ = 0;
};

/// A session and what its users have of it.
struct SRTE_EXPORT SbfdSession {
    SbfdSessionUser user;
    /// What it was asked to run with; nothing before that.
    std::optional<SbfdParams> params;
    bool valid = true;
};

/// The sessions, those of one list side by side. A pointer to one holds until it goes.
class SRTE_EXPORT SbfdSessionToSbfdStatus {
public:
    using Sessions = Quor::OrderedMap<SbfdSessionKey, std::unique_ptr<SbfdSession>>;

    Sessions const& session() const { return sessions_; }
    SbfdSession* session(SbfdSessionKey const& key) const;
    /// Creates it when it is missing; `second` is whether it did.
    std::pair<SbfdSession*, bool> sessionIs(SbfdSessionKey const& key);
    void sessionDel(SbfdSessionKey const& key) { sessions_.erase(key); }
    void sessionDelAll() { sessions_.clear(); }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Sessions sessions_;
};

/// The remote discriminator of every key that uses a session, and with it the pair that it asks
/// for: what has to be taken back when its configuration changes.
class SRTE_EXPORT SbfdStatusToRemoteDiscriminator {
public:
    PolicySbfdConfig const* config(SbfdKey const& key) const { return configs_.find(key); }
    void configIs(SbfdKey const& key, PolicySbfdConfig const& config) {
        *configs_.tryEmplace(key).first = config;
    }
    void configDel(SbfdKey const& key) { configs_.erase(key); }
    void configDelAll() { configs_.clear(); }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Quor::OrderedMap<SbfdKey, PolicySbfdConfig> configs_;
};

}  // namespace SrTePolicy::Sbfd
