#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Pooltab/Via.h"
#include "Platform/Tunnel/MplsVia.h"

namespace Tunnel::TunnelTable {

/// Up to 600 vias, never changed, in one block that holds addresses and label stacks at their real
/// length: a third of what `MplsVia` takes, for tables that hold millions.
class SRTE_EXPORT PackedMplsVias {
public:
    PackedMplsVias() = default;
    /// Throws RangeError above 600 vias.
    explicit PackedMplsVias(std::span<MplsVia const> vias);
    PackedMplsVias(PackedMplsVias const& other);
    PackedMplsVias(PackedMplsVias&& other) noexcept : block_(other.block_) {
        other.block_ = nullptr;
    }
    PackedMplsVias& operator=(PackedMplsVias other) noexcept;
    ~PackedMplsVias();

    std::size_t size() const;
    std::vector<MplsVia> vias() const;
    /// A via that is not there is a programming error.
    MplsVia via(Pooltab::Fib::ViaIndex index) const;

    friend bool operator==(PackedMplsVias const& a, PackedMplsVias const& b);

private:
    struct Block;
    Block* block_ = nullptr;  // null when there is no via
};

// Outside the class as well: a friend alone would stay hidden.
SRTE_EXPORT bool operator==(PackedMplsVias const& a, PackedMplsVias const& b);

}  // namespace Tunnel::TunnelTable
