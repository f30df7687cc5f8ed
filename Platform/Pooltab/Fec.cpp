#include "Platform/Pooltab/Fec.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "Platform/Quor/Assert.h"

namespace Pooltab::Fib {

Fec::Fec(Fec const& other)
    : fecId_(other.fecId_), viaCount_(other.viaCount_), inline_(other.inline_) {
    if (!other.more_) return;
    more_ = std::make_unique<Via[]>(std::bit_ceil(viaCount_));
    std::ranges::copy(other.vias(), more_.get());
}

void Fec::viaIs(ViaIndex index, Via const& via) {
    auto const at = index.value();
    QUOR_ASSERT(at <= viaCount_, "the vias of a FEC are written in index order");
    Via const written = via;  // `via` may lie in this FEC
    if (at == viaCount_) {
        grow();
        ++viaCount_;
    }
    (more_ ? more_.get() : inline_.data())[at] = written;
}

void Fec::grow() {
    if (viaCount_ < inline_.size() || !std::has_single_bit(viaCount_)) return;
    auto larger = std::make_unique<Via[]>(std::size_t{viaCount_} * 2);
    std::ranges::copy(vias(), larger.get());
    more_ = std::move(larger);
}

void Fec::swap(Fec& other) noexcept {
    std::swap(fecId_, other.fecId_);
    std::swap(viaCount_, other.viaCount_);
    std::swap(inline_, other.inline_);
    std::swap(more_, other.more_);
}

std::string Fec::stringValue() const {
    auto text = fecId_.stringValue() + ":";
    for (auto const& via : vias()) text.append(" ").append(via.stringValue());
    return text;
}

bool operator==(Fec const& a, Fec const& b) {
    return a.fecId_ == b.fecId_ && std::ranges::equal(a.vias(), b.vias());
}

}  // namespace Pooltab::Fib
