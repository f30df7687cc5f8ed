#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "Platform/Export.h"
#include "Platform/Pooltab/FecId.h"
#include "Platform/Pooltab/Via.h"

namespace Pooltab::Fib {

/// A forwarding-equivalence class: the weighted vias that the traffic of its id is spread over.
/// Most have one via or two, which lie inside the object; only more take memory of their own.
class SRTE_EXPORT Fec {
public:
    Fec() = default;
    explicit Fec(FecId fecId) : fecId_(fecId) {}
    Fec(Fec const& other);
    Fec(Fec&& other) noexcept { swap(other); }
    Fec& operator=(Fec other) noexcept {
        swap(other);
        return *this;
    }
    ~Fec() = default;

    FecId fecId() const { return fecId_; }
    /// In index order; valid until the FEC changes.
    std::span<Via const> vias() const { return {more_ ? more_.get() : inline_.data(), viaCount_}; }
    /// Replaces the via at `index`, or adds it behind the last. A gap is a programming error.
    void viaIs(ViaIndex index, Via const& via);

    /// The id, a colon and the vias in index order.
    std::string stringValue() const;

    friend bool operator==(Fec const& a, Fec const& b);

private:
    // Makes room for one via more. The capacity follows from the count: 2, then powers of two.
    void grow();
    void swap(Fec& other) noexcept;

    FecId fecId_;
    std::uint32_t viaCount_ = 0;
    std::array<Via, 2> inline_;
    std::unique_ptr<Via[]> more_;  // all the vias, once they are more than two
};

// Outside the class as well: a friend alone would stay hidden.
SRTE_EXPORT bool operator==(Fec const& a, Fec const& b);

}  // namespace Pooltab::Fib
