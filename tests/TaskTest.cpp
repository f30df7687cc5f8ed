#include <functional>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Keel/Backlog.h"
#include "Platform/Keel/IdSet.h"
#include "Platform/Keel/PendingKeys.h"
#include "Platform/Keel/Task.h"
#include "Platform/Quor/RangeError.h"

namespace {

using Keel::TaskPriority;
using Keel::TimerTask;

class TaskTest : public testing::Test {
protected:
    // A task that writes its name down, then does what the test wants.
    Quor::Ptr<TimerTask> task(char name, std::function<void()> then = {},
                              TaskPriority priority = TaskPriority::normal) {
        return Quor::makePtr<TimerTask>(scheduler, std::string(1, name), priority,
                                        [this, name, then] {
                                            log += name;
                                            if (then) then();
                                        });
    }
    // What runs without the clock moving.
    std::string run() {
        scheduler->runReady();
        return std::exchange(log, {});
    }

    Keel::VirtualClock clock;
    Quor::Ptr<Keel::TaskScheduler> scheduler = Quor::makePtr<Keel::TaskScheduler>(clock);
    std::string log;
};

TEST_F(TaskTest, RunByPriorityThenInTheOrderOfScheduling) {
    auto const late = task('l', {}, TaskPriority::low);
    int left = 2;
    Quor::Ptr<TimerTask> again;
    again = task('a', [&] {
        if (left-- > 0) again->scheduleTask();  // in the next turn
    });
    auto const b = task('b');
    auto const urgent = task('u', {}, TaskPriority::urgent);
    EXPECT_FALSE(scheduler->runOne());
    for (auto const& each : {late, b, again, b, urgent}) each->scheduleTask();
    EXPECT_EQ(run(), "ubaaal");
    EXPECT_EQ(run(), "");
}

TEST_F(TaskTest, TheLowestDelayWinsAndAtOnceBeatsIt) {
    clock.nowIs(100);
    auto const a = task('a');
    auto const b = task('b');
    auto const c = task('c');
    EXPECT_EQ(a->currentExpirationTime(), 0);
    for (auto const delay : {1.0, 0.5, 2.0}) a->scheduleTaskLowestDelay(delay);
    EXPECT_EQ(a->currentExpirationTime(), 100.5);
    b->scheduleTaskLowestDelay(0.2);
    c->scheduleTaskLowestDelay(0.2);
    EXPECT_EQ(scheduler->nextExpiration(), 100.2);
    clock.nowIs(100.1);
    a->scheduleTaskLowestDelay(1);
    EXPECT_EQ(run(), "");
    clock.nowIs(100.5);
    EXPECT_EQ(run(), "bca");
    EXPECT_FALSE(a->isScheduled());

    a->scheduleTask();
    a->scheduleTaskLowestDelay(1);
    EXPECT_EQ(scheduler->nextExpiration(), std::nullopt);
    EXPECT_EQ(run(), "a");
    a->scheduleTaskLowestDelay(1);
    a->scheduleTask();
    EXPECT_EQ(run(), "a");
    clock.advance(5);
    EXPECT_EQ(run(), "") << "the delay has gone with it";
}

TEST_F(TaskTest, MayBeTakenOffOrEndInsideARun) {
    auto other = task('o');
    Quor::Ptr<TimerTask> self;
    self = task('s', [&] {
        self->scheduleTask();
        self->unscheduleTask();
        other = nullptr;  // though it was due next
        self = nullptr;   // while it runs
    });
    auto const waiting = task('w');
    waiting->scheduleTaskLowestDelay(0.1);
    self->scheduleTask();
    other->scheduleTask();
    EXPECT_EQ(run(), "s");
    waiting->unscheduleTask();
    clock.advance(1);
    EXPECT_EQ(run(), "");
}

TEST_F(TaskTest, ARunYieldsWhenItsSliceIsUsedUp) {
    int units = 0;
    Quor::Ptr<TimerTask> busy;
    busy = task('b', [&] {
        units = 0;
        do {
            clock.advance(0.001);
            ++units;
        } while (!busy->taskShouldYield());
    });
    auto const unitsOfARun = [&] {
        busy->scheduleTask();
        run();
        return units;
    };
    EXPECT_NEAR(unitsOfARun(), 15, 5);  // the clock is read every few units only
    scheduler->timeSliceIs(0.1);
    EXPECT_NEAR(unitsOfARun(), 105, 5);
    scheduler->yieldAfterWorkIs(3);
    EXPECT_EQ(unitsOfARun(), 3);
}

class BacklogTest : public TaskTest {
protected:
    using Backlog = Keel::Backlog<Keel::PendingKeys<int>>;

    BacklogTest() {
        backlog.start("BacklogTask", [this] { handleTaskRun(); });
    }
    void handleTaskRun() {
        auto const run = backlog.drain(
            [this](int key, bool flag) {
                log += std::to_string(key) + (flag ? "! " : " ");
                if (then) then(key);
            },
            [this](int key, Quor::RangeError const& error) {
                log += std::to_string(key) + ": " + error.what() + " ";
            },
            [this](int key) { log += "bookmark " + std::to_string(key) + " "; });
        log += run.delayed ? "delayed; " : "; ";
    }
    void mark(std::initializer_list<int> keys) {
        for (int const key : keys) backlog.markAndSchedule(key);
    }
    std::string runOnce() {
        scheduler->runOne();
        return std::exchange(log, {});
    }

    Quor::Ptr<Keel::FieldlogSm> fieldlog = Quor::makePtr<Keel::FieldlogSm>();
    Backlog backlog{scheduler, fieldlog};
    std::function<void(int)> then;
};

TEST_F(BacklogTest, KeysAreProcessedInOrderWithTheirFlag) {
    backlog.markAndSchedule(3);
    backlog.mark(1, true);
    backlog.mark(1, false);
    backlog.mark(2, false);
    backlog.mark(2, true);
    EXPECT_EQ(run(), "1! 2! 3 ; ");
    EXPECT_EQ(backlog.task()->taskWorkCount(), 3u);
    EXPECT_TRUE(backlog.empty());
    EXPECT_FALSE(backlog.task()->isScheduled());
}

TEST_F(BacklogTest, AYieldGoesOnFromTheBookmark) {
    scheduler->yieldAfterWorkIs(1);
    mark({10, 20, 30, 40, 50});
    EXPECT_EQ(runOnce(), "10 bookmark 20 ; ");
    EXPECT_EQ(backlog.bookmark(), 20);
    backlog.unmark(20);  // the bookmarked key has gone
    mark({5, 25});       // below it: after the others
    EXPECT_EQ(runOnce(), "25 bookmark 30 ; ");
    EXPECT_EQ(backlog.take(30), false);
    EXPECT_EQ(backlog.take(30), std::nullopt);
    EXPECT_EQ(run(), "40 bookmark 50 ; 50 ; 5 ; ");
    EXPECT_EQ(backlog.bookmark(), std::nullopt);

    mark({10, 20});
    EXPECT_EQ(runOnce(), "10 bookmark 20 ; ");
    backlog.unmark(20);
    mark({1});
    EXPECT_EQ(run(), "; 1 ; ") << "nothing at or after the bookmark: the next run starts anew";
}

TEST_F(BacklogTest, WhileTheLogIsCloggedNothingRunsAndTheTaskComesBackAfterATenthOfASecond) {
    clock.nowIs(7);
    mark({1, 2, 3});
    then = [&](int key) { fieldlog->outputCloggedIs(key == 1); };
    EXPECT_EQ(run(), "1 delayed; ");
    EXPECT_EQ(backlog.task()->currentExpirationTime(), 7 + 0.1);
    EXPECT_EQ(backlog.bookmark(), 2);
    clock.nowIs(7.099);
    EXPECT_EQ(run(), "");
    clock.nowIs(7.1);
    EXPECT_EQ(run(), "delayed; ") << "still clogged: not even one key";
    fieldlog->outputCloggedIs(false);
    EXPECT_EQ(run(), "");
    clock.nowIs(7.2);
    EXPECT_EQ(run(), "2 3 ; ");
}

TEST_F(BacklogTest, ARangeErrorCostsItsKeyAndNoOther) {
    then = [](int key) {
        if (key == 2) throw Quor::RangeError("too large");
    };
    mark({1, 2, 3});
    EXPECT_EQ(run(), "1 2 2: too large 3 ; ");
    EXPECT_TRUE(backlog.empty());
}

TEST_F(BacklogTest, AMarkThatItsOwnKeyRaisesIsWorkedOn) {
    int left = 1;
    then = [&](int key) {
        if (key == 2 && left-- > 0) backlog.markAndSchedule(2, true);
    };
    mark({1, 2, 3});
    EXPECT_EQ(run(), "1 2 3 ; 2! ; ");
}

TEST_F(BacklogTest, MayEndInsideItsOwnRun) {
    then = [&](int key) {
        if (key == 2) backlog.stop();
    };
    mark({1, 2, 3});
    EXPECT_EQ(run(), "1 2 ; ");
    EXPECT_EQ(backlog.task(), nullptr);
    mark({4});
    EXPECT_EQ(run(), "") << "what is marked without a task waits";
    backlog.start("BacklogTask", [this] { handleTaskRun(); });
    mark({5});
    EXPECT_EQ(run(), "4 5 ; ");
}

class Id {
public:
    Id() = default;
    explicit Id(std::uint32_t value) : value_(value) {}
    std::uint32_t value() const { return value_; }

private:
    std::uint32_t value_ = 0;
};

TEST(IdSetTest, AgreesWithAnOrdinarySet) {
    Keel::IdSet<Id> ids;
    std::set<std::uint32_t> model;
    std::mt19937 random(3);
    auto const found = [&model](bool any, Id const& id, std::set<std::uint32_t>::iterator at) {
        return any == (at != model.end()) && (!any || id.value() == *at);
    };
    for (int step = 0; step < 40000; ++step) {
        // Near both ends of the range, and across words and pages.
        auto const low = static_cast<std::uint32_t>(random() % 70000);
        auto const value =
            random() % 2 ? low : 0xFFFFFFFF - static_cast<std::uint32_t>(random() % 200);
        if (random() % 1000 < (step / 10000 % 2 ? 300u : 700u)) {
            ids.insert(Id(value));
            model.insert(value);
        } else {
            ids.erase(Id(value));
            model.erase(value);
        }
        ASSERT_EQ(ids.size(), model.size());
        auto const probe = random() % 2 ? value : low;
        ASSERT_EQ(ids.has(Id(probe)), model.contains(probe));
        Id id;
        ASSERT_TRUE(found(ids.first(id), id, model.begin()));
        ASSERT_TRUE(found(ids.atOrAfter(Id(probe), id), id, model.lower_bound(probe)));
        id = Id(probe);
        ASSERT_TRUE(found(ids.after(id, id), id, model.upper_bound(probe)));
    }
    ids.clear();
    EXPECT_TRUE(ids.empty());
    EXPECT_FALSE(ids.has(Id(*model.begin())));
}

}  // namespace
