#pragma once

#include <cstdint>
#include <utility>

#include "Platform/Keel/Dedup.h"
#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/Reactor.h"

namespace SrTePolicy {

/// The notifiers of all live handles of one kind, and the last identity handed out: what the
/// collections of segments and of segment lists share. Ordered by identity; watched per notifier.
template <class Id, class Notifier>
class NotifyingHandleCollection : public Quor::PtrInterface {
public:
    using NotifierPtr = Quor::Ptr<Notifier const>;

    /// The last identity handed out; 0 when none was.
    Quor::Attribute<Id> const& uniqueId() const { return uniqueId_; }
    void uniqueIdIs(Id id) { uniqueId_.valueIs(id); }
    /// An identity is given again only once all the others were: clients that write for ever use
    /// them up. Never 0, and none that a live handle has.
    Id uniqueIdInc(std::uint32_t count) {
        auto next = uniqueId_().value() + count;
        wrapped_ = wrapped_ || next < count;
        while (wrapped_ && (next == 0 || notifiers_.has(Id(next)))) ++next;
        uniqueIdIs(Id(next));
        return uniqueId_();
    }

    /// Tells of every notifier that came or went; the handle behind it is intact.
    Quor::Subject<NotifierPtr> const& notifierSubject() const { return subject_; }

protected:
    using Notifiers = Quor::DenseMap<Id, NotifierPtr>;

    Notifiers const& notifiers() const { return notifiers_; }
    void notifierIs(Id id, NotifierPtr const& notifier) {
        if (notifiers_.tryEmplace(id, notifier).second) subject_.notify(notifier);
    }
    void notifierDel(Id id) {
        auto* const row = notifiers_.find(id);
        if (!row) return;
        NotifierPtr const last(std::move(*row));
        notifiers_.erase(id);
        subject_.notify(last);
    }
    void notifierDelAll() {
        for (auto row = notifiers_.begin(); row; row.next()) notifierDel(row.key());
    }

private:
    Quor::Attribute<Id> uniqueId_;
    bool wrapped_ = false;
    Notifiers notifiers_;
    Quor::Subject<NotifierPtr> subject_;
};

}  // namespace SrTePolicy
