#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Keel/FieldlogSm.h"
#include "Platform/Keel/IdSet.h"
#include "Platform/Keel/PendingKeys.h"
#include "Platform/Keel/Task.h"
#include "Platform/Quor/RangeError.h"

namespace Keel {

/// The cooperative work of a machine: the keys that wait, the task that works through them, and
/// where it goes on. `Pending` is `PendingKeys<K>`, or `IdSet<Id>` for dense identifiers.
template <class Pending>
class Backlog {
public:
    using Key = typename Pending::Key;

    /// How far one run of the task came.
    struct Run {
        std::uint64_t count = 0;
        bool delayed = false;  ///< the attribute-change log is clogged
    };

    /// `fieldlog` may be null: then no clogging delays the work.
    Backlog(Quor::Ptr<TaskScheduler> scheduler, Quor::Ptr<FieldlogSm const> fieldlog)
        : scheduler_(std::move(scheduler)), fieldlog_(std::move(fieldlog)) {}
    Backlog(Backlog const&) = delete;
    Backlog& operator=(Backlog const&) = delete;
    ~Backlog() { stop(); }

    /// Makes the task; until then nothing runs.
    void start(std::string name, std::function<void()> run) {
        task_ = Quor::makePtr<TimerTask>(scheduler_, std::move(name), TaskPriority::normal,
                                         std::move(run));
    }
    /// Drops what waits, and the task.
    void stop() {
        if (task_) task_->unscheduleTask();
        task_ = nullptr;
        pending_.clear();
        bookmark_.reset();
    }

    Pending const& pending() const { return pending_; }
    bool empty() const { return pending_.empty(); }
    std::optional<Key> const& bookmark() const { return bookmark_; }
    /// Null before `start` and after `stop`.
    TimerTask const* task() const { return task_.get(); }
    TimerTask* task() { return task_.get(); }

    /// A key that waits already keeps its flag if that is on.
    void mark(Key const& key, bool flag = false) { pending_.insert(key, flag); }
    void markAndSchedule(Key const& key, bool flag = false) {
        mark(key, flag);
        schedule();
    }
    void unmark(Key const& key) { pending_.erase(key); }
    void schedule() {
        if (task_) task_->scheduleTask();
    }

    /// Whether the current run should give the loop back, for work that follows the keys.
    bool shouldYield() { return task_ && task_->taskShouldYield(); }

    /// Takes the key out of its turn, with its flag, as work of the current run; nothing when it
    /// does not wait.
    std::optional<bool> take(Key const& key) {
        if (!pending_.has(key)) return std::nullopt;
        ++takenOutOfTurn_;
        return pending_.take(key);
    }

    /// One run of the task: from the bookmark to the end, until the scheduler wants the loop back
    /// or the log clogs. `process(key, flag)` works on one key, which does not wait any more, so
    /// that it can be marked anew; `failed(key, error)` hears of a `RangeError`. `bookmarked(key)`
    /// hears where the next run goes on when this one yields. What still waits is rescheduled.
    template <class Process, class Failed, class Bookmarked>
    Run drain(Process const& process, Failed const& failed, Bookmarked const& bookmarked) {
        Run run;
        Key key;
        takenOutOfTurn_ = 0;
        auto const from = std::exchange(bookmark_, std::nullopt);
        bool more = from ? pending_.atOrAfter(*from, key) : pending_.first(key);
        while (more) {
            if (fieldlog_ && fieldlog_->outputClogged()) {
                bookmark_ = key;
                run.delayed = true;
                break;
            }
            bool const flag = pending_.take(key);
            try {
                process(key, flag);
            } catch (Quor::RangeError const& error) {
                failed(key, error);
            }
            run.count += 1 + std::exchange(takenOutOfTurn_, 0);
            if (!task_) return run;  // the work ended the machine
            more = pending_.after(key, key);
            if (task_->taskShouldYield()) {
                if (more) {
                    bookmark_ = key;
                    bookmarked(key);
                }
                break;
            }
        }
        task_->taskWorkCountInc(run.count);
        reschedule(run.delayed);
        return run;
    }

private:
    static constexpr double clogDelay = 0.1;

    void reschedule(bool delayed) {
        if (pending_.empty()) return;
        if (delayed) {
            task_->scheduleTaskLowestDelay(clogDelay);
        } else {
            task_->scheduleTask();
        }
    }

    Quor::Ptr<TaskScheduler> const scheduler_;
    Quor::Ptr<FieldlogSm const> const fieldlog_;
    Quor::Ptr<TimerTask> task_;
    Pending pending_;
    std::optional<Key> bookmark_;
    std::uint64_t takenOutOfTurn_ = 0;
};

}  // namespace Keel
