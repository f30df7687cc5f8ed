#include "Platform/Keel/Task.h"

#include <algorithm>
#include <utility>

namespace Keel {

Task::Task(Quor::Ptr<TaskScheduler> scheduler, std::string name, TaskPriority priority,
           std::function<void()> run)
    : scheduler_(std::move(scheduler)),
      name_(std::move(name)),
      priority_(priority),
      run_(std::move(run)) {}

Task::~Task() {
    unscheduleTask();
}

void Task::scheduleTask() {
    if (state_ == State::ready) return;
    unscheduleTask();
    scheduler_->ready(*this);
}

void Task::unscheduleTask() {
    if (state_ != State::idle) scheduler_->forget(*this);
}

bool Task::taskShouldYield() {
    // Reading the clock costs more than a small unit of work does.
    constexpr std::uint64_t unitsPerReading = 8;
    ++asked_;
    if (scheduler_->yieldAfterWork_ && asked_ >= *scheduler_->yieldAfterWork_) return true;
    if (asked_ % unitsPerReading != 0) return false;
    return scheduler_->clock_.now() - scheduler_->runStart_ >= scheduler_->timeSlice_;
}

void TimerTask::scheduleTaskLowestDelay(double seconds) {
    auto const expiration = scheduler_->clock_.now() + seconds;
    if (state_ == State::ready || (state_ == State::waiting && expiration_ <= expiration)) return;
    unscheduleTask();
    scheduler_->wait(*this, expiration);
}

double TimerTask::currentExpirationTime() const {
    return state_ == State::idle ? 0 : expiration_;
}

void TaskScheduler::ready(Task& task) {
    task.state_ = Task::State::ready;
    task.expiration_ = clock_.now();
    ready_[std::min(static_cast<std::size_t>(task.priority()), priorityCount - 1)].push_back(&task);
}

void TaskScheduler::wait(Task& task, double expiration) {
    task.state_ = Task::State::waiting;
    task.expiration_ = expiration;
    waiting_.emplace(expiration, &task);
}

void TaskScheduler::forget(Task& task) {
    for (auto& queue : ready_) std::erase(queue, &task);
    std::erase_if(waiting_, [&task](auto const& entry) { return entry.second == &task; });
    task.state_ = Task::State::idle;
}

void TaskScheduler::expire() {
    // Sums of times are not exact: what is due within less than a nanosecond is due.
    constexpr double rounding = 0.5e-9;
    while (!waiting_.empty() && waiting_.begin()->first <= clock_.now() + rounding) {
        auto* const task = waiting_.begin()->second;
        waiting_.erase(waiting_.begin());
        ready(*task);
    }
}

Quor::Ptr<Task> TaskScheduler::takeReady() {
    for (auto& queue : ready_) {
        if (queue.empty()) continue;
        Quor::Ptr<Task> task(queue.front());
        queue.pop_front();
        task->state_ = Task::State::idle;
        return task;
    }
    return nullptr;
}

bool TaskScheduler::runOne() {
    expire();
    auto const task = takeReady();
    if (!task) return false;
    runStart_ = clock_.now();
    task->asked_ = 0;
    task->run_();
    return true;
}

std::size_t TaskScheduler::runReady() {
    std::size_t runs = 0;
    while (runOne()) ++runs;
    return runs;
}

std::optional<double> TaskScheduler::nextExpiration() const {
    if (waiting_.empty()) return std::nullopt;
    return waiting_.begin()->first;
}

}  // namespace Keel
