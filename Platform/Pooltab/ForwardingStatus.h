#pragma once

#include <utility>

#include "Platform/Pooltab/Fec.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"

namespace Pooltab::Fib {

/// Every FEC of the forwarding plane, by its id. Each owner of FECs writes those of its own range.
class ForwardingStatus final : public Quor::PtrInterface {
public:
    using Table = Quor::NotifyingDenseMap<FecId, Fec>;

    /// Ordered by id, and observable.
    Table const& fec() const { return fec_; }
    /// Null when absent; valid until the next change or call-out.
    Fec const* fec(FecId fecId) const { return fec_.find(fecId); }

    /// Inserts or replaces. False when the FEC was there and equal: no write, nobody is told.
    bool fecCommit(Fec fec) {
        auto const fecId = fec.fecId();
        return fec_.entryIs(fecId, std::move(fec));
    }
    bool fecDel(FecId fecId) { return fec_.entryDel(fecId); }
    void fecDelAll() { fec_.entryDelAll(); }

private:
    Table fec_;
};

}  // namespace Pooltab::Fib
