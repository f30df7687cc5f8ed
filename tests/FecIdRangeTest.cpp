#include <string>

#include "Platform/Keel/Clock.h"
#include "Platform/Quor/RangeError.h"
#include "SrTePolicy/SrTePolicyFecIdRange.h"

namespace {

using Pooltab::Fib::FecId;
using SrTePolicy::FecIdRange;

FecIdRange const policies{FecId(0x100000000), FecId(0x1FFFFFFFF)};

TEST(FecIdRange, AnIndexIsOredIntoMinAndTagged) {
    EXPECT_EQ(policies.indexToFecId(0).value(), 0x0F00000100000000u);
    EXPECT_EQ(policies.indexToFecId(0xFFFFFFFF).value(), 0x0F000001FFFFFFFFu);
    FecIdRange const low{FecId(0x0600000000000005), FecId(0)};
    EXPECT_EQ(low.indexToFecId(6).value(), 0x0F00000000000007u);  // not a sum; its own type only
    EXPECT_DEATH(policies.indexToFecId(-1), "SrTePolicyFecIdRange.*index >= 0");
}

TEST(FecIdRange, PrintsAndReadsOneForm) {
    std::string const text =
        "Value('SrTePolicy::FecIdRange', ** "
        "{'min': 0x0000000100000000, 'max': 0x00000001ffffffff})";
    EXPECT_EQ(policies.stringValue(), text);
    EXPECT_EQ(FecIdRange::fromString(text), policies);

    auto const altered = [&text](char const* from, char const* to) {
        return std::string(text).replace(text.find(from), std::string(from).size(), to);
    };
    std::string const malformed[] = {"",
                                     text + " ",
                                     text.substr(1),
                                     altered("ffff", "FFFF"),
                                     altered("0x00", "0x0g"),
                                     altered("0x00", "0000"),
                                     altered("'max'", "'mux'"),
                                     altered("0x0000000100000000", "0x100000000")};
    for (auto const& wrong : malformed) {
        EXPECT_THAT(
            [&] { FecIdRange::fromString(wrong); },
            testing::ThrowsMessage<Quor::RangeError>("SrTePolicy::FecIdRange: malformed text"))
            << wrong;
    }
}

class NumAllocatorForFecIdTest : public testing::Test {
protected:
    void SetUp() override {
        Keel::activityClockIs(&clock);
        allocator->initializeNumAllocator();
    }
    std::uint64_t allocate() { return allocator->allocateFecId().value(); }

    Keel::VirtualClock clock;
    Quor::Ptr<SrTePolicy::NumAllocatorForFecId> allocator =
        SrTePolicy::NumAllocatorForFecIdIs(policies);
};

TEST_F(NumAllocatorForFecIdTest, IdentifiersComeLowestFirstAndReturnAfter300Seconds) {
    allocator->reserveFecId(FecId(0x0F00000100000001));
    EXPECT_EQ(allocate(), 0x0F00000100000000u);
    EXPECT_EQ(allocate(), 0x0F00000100000002u);

    allocator->releaseFecId(FecId(0x0F00000100000001));
    clock.nowIs(299.9);
    EXPECT_EQ(allocate(), 0x0F00000100000003u);
    clock.nowIs(300.0);
    EXPECT_EQ(allocate(), 0x0F00000100000001u);
}

TEST_F(NumAllocatorForFecIdTest, TheLowWordWithoutTheBitsOfMinIsTheNumber) {
    allocator = SrTePolicy::NumAllocatorForFecIdIs({FecId(0x200000004), FecId(0x2FFFFFFFF)});
    allocator->initializeNumAllocator();
    allocator->reserveFecId(FecId(0x0F000ABC00000004));
    EXPECT_EQ(allocate(), 0x0F00000200000005u);
    allocator->releaseFecId(FecId(5));
    EXPECT_TRUE(allocator->numAllocatorStatus()->isWaiting(1));
}

TEST_F(NumAllocatorForFecIdTest, ThePartsAreKeptUntilSomethingDiffers) {
    auto const status = allocator->numAllocatorStatus();
    auto const made = allocator->numAllocator();
    auto const config = allocator->numAllocatorConfigIs({0, 0xFFFFFFFF});
    EXPECT_EQ(allocator->numAllocatorIs(config, status, made->clock()), made);

    auto const one = allocator->numAllocatorConfigIs({0, 0});
    EXPECT_NE(allocator->numAllocatorIs(one, status, made->clock()), made);
    EXPECT_FALSE(made->notification());
    allocate();
    EXPECT_DEATH(allocate(),
                 "SrTePolicyFecIdRange.*index != numAllocator\\(\\)->invalidNumber\\(\\)");
    allocator->numAllocatorDel();
    EXPECT_DEATH(allocator->allocateFecId(), "Ptr is null");
}

}  // namespace
