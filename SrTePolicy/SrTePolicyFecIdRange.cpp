#include "SrTePolicy/SrTePolicyFecIdRange.h"

#include <charconv>
#include <cstddef>
#include <utility>

#include "Platform/Keel/Clock.h"
#include "Platform/Quor/Assert.h"
#include "Platform/Quor/RangeError.h"

namespace SrTePolicy {
namespace {

using Pooltab::Fib::FecId;

constexpr Keel::Range numberRange{0, 0xFFFFFFFF};
constexpr double holdBackSeconds = 300.0;

// Ticks of 10 ms, so that the hold-back is as many ticks as the wheel has slots.
constexpr std::uint32_t tickMs = 10;
constexpr std::uint32_t slots = 30000;
constexpr std::uint32_t firstTick = 0;
constexpr std::uint32_t sizeHint = 1024;

// The printed form has a fixed length, since an identifier has.
constexpr std::string_view textBeforeMin = "Value('SrTePolicy::FecIdRange', ** {'min': ";
constexpr std::string_view textBeforeMax = ", 'max': ";
constexpr std::size_t fecIdTextSize = 18;

FecId fecIdAt(std::string_view text, std::size_t position) {
    auto const digits = text.substr(position, fecIdTextSize).substr(2);
    std::uint64_t value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return FecId(value);
}

}  // namespace

FecId FecIdRange::indexToFecId(std::int64_t index) const {
    QUOR_ASSERT(index >= 0, "index >= 0");
    FecId const id(min.value() | static_cast<std::uint64_t>(index));
    return FecId::fecIdForAdjType(Pooltab::Fib::AdjType::srTePolicy, id.payload());
}

std::string FecIdRange::stringValue() const {
    return std::string(textBeforeMin)
        .append(min.stringValue())
        .append(textBeforeMax)
        .append(max.stringValue())
        .append("})");
}

FecIdRange FecIdRange::fromString(std::string_view text) {
    FecIdRange range;
    if (text.size() == range.stringValue().size()) {
        auto const minPosition = textBeforeMin.size();
        range.min = fecIdAt(text, minPosition);
        range.max = fecIdAt(text, minPosition + fecIdTextSize + textBeforeMax.size());
    }
    // Only the text that is printed counts.
    if (range.stringValue() == text) return range;
    throw Quor::RangeError("SrTePolicy::FecIdRange: malformed text");
}

Quor::Ptr<NumAllocatorForFecId> NumAllocatorForFecIdIs(FecIdRange fecIdRange) {
    Quor::Ptr<NumAllocatorForFecId> allocator(new NumAllocatorForFecId(fecIdRange));
    allocator->notificationIs(true);
    return allocator;
}

void NumAllocatorForFecId::initializeNumAllocator() {
    auto const clock = Quor::makePtr<Keel::TimerWheel const>(Keel::activityClock(), tickMs, slots,
                                                             firstTick, sizeHint);
    auto const config = numAllocatorConfigIs(numberRange);
    config->expiryTimeIs(holdBackSeconds);
    numAllocatorIs(config, numAllocatorStatusIs(), clock);
}

FecId NumAllocatorForFecId::allocateFecId() {
    auto const index = numAllocator()->allocate();
    QUOR_ASSERT(index != numAllocator()->invalidNumber(),
                "index != numAllocator()->invalidNumber()");
    return fecIdRange_.indexToFecId(static_cast<std::int64_t>(index));
}

void NumAllocatorForFecId::reserveFecId(FecId fecId) {
    numAllocator()->reserveNumber(number(fecId));
}

void NumAllocatorForFecId::releaseFecId(FecId fecId) {
    numAllocator()->releaseNumber(number(fecId));
}

Quor::Ptr<Keel::NumAllocator> NumAllocatorForFecId::numAllocatorIs(
    Quor::Ptr<Keel::NumAllocatorConfig const> config, Quor::Ptr<Keel::NumAllocatorStatus> status,
    Quor::Ptr<Keel::TimerWheel const> clock) {
    auto const isSame = numAllocator_ && numAllocator_->config() == config &&
                        numAllocator_->status() == status && numAllocator_->clock() == clock;
    if (isSame) return numAllocator_;

    numAllocatorDel();
    numAllocator_ =
        Quor::makePtr<Keel::NumAllocator>(std::move(config), std::move(status), std::move(clock));
    numAllocator_->notificationIs(notification_);
    return numAllocator_;
}

void NumAllocatorForFecId::numAllocatorDel() {
    if (!numAllocator_) return;
    numAllocator_->notificationIs(false);
    numAllocator_ = nullptr;
}

Quor::Ptr<Keel::NumAllocatorConfig> NumAllocatorForFecId::numAllocatorConfigIs(Keel::Range range) {
    if (!numAllocatorConfig_ || numAllocatorConfig_->range() != range) {
        numAllocatorConfig_ = Quor::makePtr<Keel::NumAllocatorConfig>(range);
    }
    return numAllocatorConfig_;
}

Quor::Ptr<Keel::NumAllocatorStatus> NumAllocatorForFecId::numAllocatorStatusIs() {
    if (!numAllocatorStatus_) numAllocatorStatus_ = Quor::makePtr<Keel::NumAllocatorStatus>();
    return numAllocatorStatus_;
}

void NumAllocatorForFecId::notificationIs(bool on) {
    notification_ = on;
    if (numAllocator_) numAllocator_->notificationIs(on);
}

std::uint64_t NumAllocatorForFecId::number(FecId fecId) const {
    auto const lowWord = [](FecId id) { return static_cast<std::uint32_t>(id.value()); };
    return lowWord(fecId) & ~lowWord(fecIdRange_.min);
}

}  // namespace SrTePolicy
