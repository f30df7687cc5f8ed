#pragma once

#include <cstdint>
#include <optional>

#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "SrTeTypes/SbfdKey.h"
#include "SrTeTypes/SegmentListId.h"

namespace SrTePolicy {

/// What resolution found. A list without a row and one with a value other than `noError` are both
/// unusable.
enum class SegmentListResolveError : std::uint8_t {
    unset = 0,
    noError = 1,
    zeroResolvedLabels = 2,
    exceedsMsd = 3,
    sbfdDown = 4,  ///< only in the combined status
    backupExceedsMsd = 5
};

/// Whether each segment list can carry traffic. The two tables are watched apart, as one is written
/// inside the other's notification.
///
///   status           by `SegmentListId`, written by SegmentListSm alone
///   statusWithSbfd   by policy and list, written by the S-BFD session machine alone
class SRTE_EXPORT SegmentListStatus final : public Quor::PtrInterface {
public:
    using Status = Quor::NotifyingDenseMap<SegmentListId, SegmentListResolveError>;
    using StatusWithSbfd = Quor::NotifyingMap<Sbfd::SbfdKey, SegmentListResolveError>;

    Status const& status() const { return status_; }
    std::optional<SegmentListResolveError> status(SegmentListId id) const {
        auto const* const row = status_.find(id);
        return row ? std::optional(*row) : std::nullopt;
    }
    void statusIs(SegmentListId id, SegmentListResolveError error) { status_.entryIs(id, error); }
    void statusDel(SegmentListId id) { status_.entryDel(id); }
    void statusDelAll() { status_.entryDelAll(); }

    StatusWithSbfd const& statusWithSbfd() const { return statusWithSbfd_; }
    std::optional<SegmentListResolveError> statusWithSbfd(Sbfd::SbfdKey const& key) const {
        auto const* const row = statusWithSbfd_.find(key);
        return row ? std::optional(*row) : std::nullopt;
    }
    void statusWithSbfdIs(Sbfd::SbfdKey const& key, SegmentListResolveError error) {
        statusWithSbfd_.entryIs(key, error);
    }
    void statusWithSbfdDel(Sbfd::SbfdKey const& key) { statusWithSbfd_.entryDel(key); }
    void statusWithSbfdDelAll() { statusWithSbfd_.entryDelAll(); }

private:
    Status status_;
    StatusWithSbfd statusWithSbfd_;
};

SRTE_EXPORT Quor::Ptr<SegmentListStatus> segmentListStatusFactory();

}  // namespace SrTePolicy
