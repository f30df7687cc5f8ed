#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "Platform/Keel/Clock.h"
#include "Platform/Quor/Ptr.h"

namespace Keel {

/// Lower runs first.
enum class TaskPriority : std::uint32_t { urgent = 0, high = 1, normal = 2, low = 3 };

class TaskScheduler;

/// A piece of work that its owner wants to run later, on the scheduler's loop. The owner keeps the
/// task and unschedules it when it ends.
class SRTE_EXPORT Task : public Quor::PtrInterface {
public:
    Task(Quor::Ptr<TaskScheduler> scheduler, std::string name, TaskPriority priority,
         std::function<void()> run);
    ~Task() override;

    /// Runs in the scheduler's next turn. Scheduling twice is harmless.
    void scheduleTask();
    void unscheduleTask();
    bool isScheduled() const { return state_ != State::idle; }

    /// Whether the current run has used its slice; asked after each unit of work.
    bool taskShouldYield();
    void taskWorkCountInc(std::uint64_t count) { workCount_ += count; }
    std::uint64_t taskWorkCount() const { return workCount_; }

    std::string const& name() const { return name_; }
    TaskPriority priority() const { return priority_; }
    std::string const& statsName() const { return name_; }

protected:
    friend class TaskScheduler;
    enum class State { idle, ready, waiting };

    Quor::Ptr<TaskScheduler> const scheduler_;
    State state_ = State::idle;
    double expiration_ = 0;

private:
    std::string const name_;
    TaskPriority const priority_;
    std::function<void()> const run_;
    std::uint64_t workCount_ = 0;
    std::uint64_t asked_ = 0;
};

/// A task that can also wait for the clock.
class SRTE_EXPORT TimerTask final : public Task {
public:
    using Task::Task;
    /// Brings the expiry to at most `seconds` from now; a run that is due at once stays so.
    void scheduleTaskLowestDelay(double seconds);
    /// On the clock, in seconds; 0 when not scheduled.
    double currentExpirationTime() const;
};

/// Runs tasks one at a time: by priority, and inside a priority in the order of their scheduling. A
/// task that schedules itself runs in the next turn.
class SRTE_EXPORT TaskScheduler final : public Quor::PtrInterface {
public:
    explicit TaskScheduler(Clock& clock) : clock_(clock) {}

    Clock const& clock() const { return clock_; }
    /// How long a run may go on, in seconds; 0.010 unless set.
    void timeSliceIs(double seconds) { timeSlice_ = seconds; }
    /// Lets a run yield after this many units of work, whatever the clock says.
    void yieldAfterWorkIs(std::optional<std::uint64_t> count) { yieldAfterWork_ = count; }

    /// Runs the first task that is due. False when there is none.
    bool runOne();
    /// Runs until nothing can run without the clock moving; returns the number of runs.
    std::size_t runReady();
    /// When the next waiting task is due, or nothing.
    std::optional<double> nextExpiration() const;

private:
    friend class Task;
    friend class TimerTask;
    static constexpr std::size_t priorityCount = 4;

    void ready(Task& task);
    void wait(Task& task, double expiration);
    void forget(Task& task);
    void expire();
    Quor::Ptr<Task> takeReady();

    Clock& clock_;
    double timeSlice_ = 0.010;
    std::optional<std::uint64_t> yieldAfterWork_;
    std::array<std::deque<Task*>, priorityCount> ready_;
    std::multimap<double, Task*> waiting_;  // of equal expiries the one scheduled first
    double runStart_ = 0;
};

}  // namespace Keel
