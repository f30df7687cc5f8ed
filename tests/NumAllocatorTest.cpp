#include <map>
#include <random>
#include <set>
#include <vector>

#include "Platform/Keel/NumAllocator.h"

namespace {

using Keel::NumAllocator;
using testing::ElementsAre;

constexpr auto invalid = NumAllocator::invalidNumber();
constexpr double holdBack = 300.0;

class NumAllocatorTest : public testing::Test {
protected:
    void SetUp() override { rangeIs({0, 0xFFFFFFFF}); }

    /// A new allocator over the same status.
    void rangeIs(Keel::Range range) {
        auto const config = Quor::makePtr<Keel::NumAllocatorConfig>(range);
        config->expiryTimeIs(holdBack);
        allocator = Quor::makePtr<NumAllocator>(config, status, wheel);
    }
    std::vector<std::uint64_t> allocate(int count) {
        std::vector<std::uint64_t> numbers;
        while (count-- > 0) numbers.push_back(allocator->allocate());
        return numbers;
    }

    Keel::VirtualClock clock;
    Quor::Ptr<Keel::TimerWheel> wheel = Quor::makePtr<Keel::TimerWheel>(clock);
    Quor::Ptr<Keel::NumAllocatorStatus> status = Quor::makePtr<Keel::NumAllocatorStatus>();
    Quor::Ptr<NumAllocator> allocator;
};

TEST_F(NumAllocatorTest, HandsOutTheLowestNumberThatNobodyHolds) {
    allocator->reserveNumber(1);
    allocator->reserveNumber(0xFFFFFFFF);
    EXPECT_THAT(allocate(3), ElementsAre(0, 2, 3));

    allocator->reserveNumber(2);            // in use
    allocator->reserveNumber(0x100000000);  // out of the range
    EXPECT_EQ(status->inUse(), 5u);
    EXPECT_TRUE(status->isInUse(1) && status->isInUse(0xFFFFFFFF));

    EXPECT_THAT(allocate(2), ElementsAre(4, 5));
}

TEST_F(NumAllocatorTest, ARangeNeedNotBeginOrEndWithAWord) {
    rangeIs({62, 129});
    EXPECT_EQ(allocator->allocate(), 62u);
    EXPECT_EQ(allocate(67).back(), 129u);
    EXPECT_EQ(allocator->allocate(), invalid);
    allocator->releaseNumber(129);
    EXPECT_EQ(allocator->allocate(), invalid);  // held back, not free
    clock.nowIs(holdBack);
    EXPECT_THAT(allocate(2), ElementsAre(129, invalid));

    EXPECT_DEATH(rangeIs({2, 1}), "range.min <= range.max");
    EXPECT_DEATH(rangeIs({0, invalid}), "range.max < NumAllocator::invalidNumber");
}

TEST_F(NumAllocatorTest, NoNumberIsHeldBackForLess) {
    allocate(1);
    clock.nowIs(0.009);  // in the middle of a tick
    allocator->releaseNumber(0);
    clock.nowIs(holdBack);
    EXPECT_EQ(allocator->allocate(), 1u);
    clock.nowIs(holdBack + 0.01);
    EXPECT_EQ(allocator->allocate(), 0u);
}

TEST_F(NumAllocatorTest, ASuccessorGoesOnFromTheStatus) {
    allocate(3);
    allocator->releaseNumber(1);
    auto const old = allocator;
    rangeIs({0, 9});
    old->notificationIs(false);
    clock.nowIs(holdBack);
    EXPECT_EQ(old->allocate(), 3u);  // it ends no hold-back any more
    EXPECT_THAT(allocate(2), ElementsAre(1, 4));

    allocator->releaseNumber(0);
    rangeIs({2, 9});
    clock.nowIs(2 * holdBack);
    EXPECT_THAT(allocate(6), ElementsAre(5, 6, 7, 8, 9, invalid));  // 0 is out of its range
    EXPECT_EQ(status->waiting(), 0u);
}

/// Every number of a small range with the time from which it is free again.
struct Model {
    std::set<std::uint64_t> inUse;
    std::map<std::uint64_t, double> waitingUntil;
    Keel::Range range;

    std::uint64_t allocate(double now) {
        std::erase_if(waitingUntil, [now](auto const& entry) { return entry.second <= now; });
        for (auto number = range.min; number <= range.max; ++number) {
            if (inUse.contains(number) || waitingUntil.contains(number)) continue;
            inUse.insert(number);
            return number;
        }
        return invalid;
    }
    void reserve(std::uint64_t number) {
        waitingUntil.erase(number);
        inUse.insert(number);
    }
    void release(std::uint64_t number, double now) {
        if (inUse.erase(number)) waitingUntil[number] = now + holdBack;
    }
};

TEST_F(NumAllocatorTest, AgreesWithAModelOverRandomOperations) {
    rangeIs({60, 320});
    Model model{{}, {}, {60, 320}};
    std::mt19937 random(1);
    for (int step = 0; step < 50000; ++step) {
        auto const number = 60 + random() % 261;
        auto const kind = random() % 8;
        if (kind == 0) {
            allocator->reserveNumber(number);
            model.reserve(number);
        } else if (kind == 1) {
            clock.advance(static_cast<double>(random() % 10));
        } else if (kind < 5) {
            allocator->releaseNumber(number);
            model.release(number, clock.now());
        } else {
            ASSERT_EQ(allocator->allocate(), model.allocate(clock.now())) << "step " << step;
            ASSERT_EQ(status->inUse(), model.inUse.size());
            ASSERT_EQ(status->waiting(), model.waitingUntil.size());
        }
        ASSERT_EQ(status->isInUse(number), model.inUse.contains(number)) << "step " << step;
    }
}

}  // namespace
