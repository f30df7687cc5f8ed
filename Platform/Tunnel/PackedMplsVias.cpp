#include "Platform/Tunnel/PackedMplsVias.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "Platform/Quor/Assert.h"

namespace Tunnel::TunnelTable {
namespace {

using Wirex::AddressFamily;
using Wirex::IntfId;
using Wirex::IpGenAddr;
using Wirex::MplsLabel;

// A via's words: what follows how, then its address (one word or four), then its labels.
struct ViaHead {
    explicit ViaHead(std::uint32_t word)
        : family(static_cast<AddressFamily>(word >> 24)),
          action(static_cast<Wirex::MplsLabelAction>(word >> 8 & 0xFFFF)),
          labels(word & 0xFF) {}
    explicit ViaHead(MplsVia const& via)
        : family(via.nextHop.family()),
          action(via.operation.action),
          labels(via.operation.stack.size()) {}

    std::uint32_t word() const {
        return static_cast<std::uint32_t>(family) << 24 | static_cast<std::uint32_t>(action) << 8 |
               static_cast<std::uint32_t>(labels);
    }
    std::size_t addressWords() const {
        return family == AddressFamily::none ? 0 : family == AddressFamily::ipv4 ? 1 : 4;
    }
    std::size_t words() const { return 1 + addressWords() + labels; }

    AddressFamily family;
    Wirex::MplsLabelAction action;
    std::size_t labels;
};

// The last `count` words of the address, most significant first.
std::uint32_t* packAddress(IpGenAddr const& address, std::size_t count, std::uint32_t* to) {
    std::uint64_t const halves[] = {address.high(), address.low()};
    for (auto i = 4 - count; i < 4; ++i) {
        *to++ = static_cast<std::uint32_t>(halves[i / 2] >> (i % 2 ? 0 : 32));
    }
    return to;
}

IpGenAddr unpackAddress(AddressFamily family, std::uint32_t const* from) {
    if (family == AddressFamily::none) return {};
    if (family == AddressFamily::ipv4) return IpGenAddr::ipv4(*from);
    IpGenAddr::Bytes bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(from[i / 4] >> (24 - 8 * (i % 4)));
    }
    return IpGenAddr::ipv6(bytes);
}

std::uint32_t* pack(MplsVia const& via, std::uint32_t* to) {
    ViaHead const head(via);
    *to++ = head.word();
    to = packAddress(via.nextHop, head.addressWords(), to);
    for (std::size_t i = 0; i < head.labels; ++i) *to++ = via.operation.stack.label(i).value();
    return to;
}

MplsVia unpack(IntfId const& intf, std::uint32_t const* from) {
    ViaHead const head(*from++);
    MplsVia via{unpackAddress(head.family, from), intf, {head.action, {}}};
    from += head.addressWords();
    for (std::size_t i = 0; i < head.labels; ++i) via.operation.stack.append(MplsLabel(from[i]));
    return via;
}

}  // namespace

// Followed by `viaCount` interfaces, then `wordCount` words.
struct PackedMplsVias::Block {
    static Block* make(std::size_t viaCount, std::size_t wordCount) {
        auto const bytes =
            sizeof(Block) + viaCount * sizeof(IntfId) + wordCount * sizeof(std::uint32_t);
        auto* const block = new (::operator new(bytes)) Block;
        block->viaCount = static_cast<std::uint32_t>(viaCount);
        block->wordCount = static_cast<std::uint32_t>(wordCount);
        std::uninitialized_default_construct_n(block->intfs().data(), viaCount);
        std::uninitialized_default_construct_n(block->words().data(), wordCount);
        return block;
    }
    static void destroy(Block* block) {
        std::ranges::destroy(block->intfs());
        ::operator delete(block);
    }

    std::span<IntfId> intfs() { return {reinterpret_cast<IntfId*>(this + 1), viaCount}; }
    std::span<std::uint32_t> words() {
        return {reinterpret_cast<std::uint32_t*>(intfs().data() + viaCount), wordCount};
    }

    std::uint32_t viaCount;
    std::uint32_t wordCount;
};

PackedMplsVias::PackedMplsVias(std::span<MplsVia const> vias) {
    static_assert(sizeof(Block) % alignof(IntfId) == 0 && sizeof(IntfId) % alignof(Block) == 0);
    if (vias.empty()) return;
    [[maybe_unused]] Pooltab::Fib::ViaIndex const last(vias.size() - 1);
    std::size_t wordCount = 0;
    for (auto const& via : vias) wordCount += ViaHead(via).words();
    block_ = Block::make(vias.size(), wordCount);
    auto* word = block_->words().data();
    auto* intf = block_->intfs().data();
    for (auto const& via : vias) {
        *intf++ = via.intf;
        word = pack(via, word);
    }
}

PackedMplsVias::PackedMplsVias(PackedMplsVias const& other) {
    if (!other.block_) return;
    block_ = Block::make(other.block_->viaCount, other.block_->wordCount);
    std::ranges::copy(other.block_->intfs(), block_->intfs().begin());
    std::ranges::copy(other.block_->words(), block_->words().begin());
}

PackedMplsVias& PackedMplsVias::operator=(PackedMplsVias other) noexcept {
    std::swap(block_, other.block_);
    return *this;
}

PackedMplsVias::~PackedMplsVias() {
    if (block_) Block::destroy(block_);
}

std::size_t PackedMplsVias::size() const {
    return block_ ? block_->viaCount : 0;
}

std::vector<MplsVia> PackedMplsVias::vias() const {
    std::vector<MplsVia> result;
    result.reserve(size());
    if (!block_) return result;
    auto const* word = block_->words().data();
    for (auto const& intf : block_->intfs()) {
        result.push_back(unpack(intf, word));
        word += ViaHead(*word).words();
    }
    return result;
}

MplsVia PackedMplsVias::via(Pooltab::Fib::ViaIndex index) const {
    QUOR_ASSERT(index.value() < size(), "index.value() < size()");
    auto const* word = block_->words().data();
    for (std::size_t i = 0; i < index.value(); ++i) word += ViaHead(*word).words();
    return unpack(block_->intfs()[index.value()], word);
}

bool operator==(PackedMplsVias const& a, PackedMplsVias const& b) {
    if (a.size() != b.size()) return false;
    return a.size() == 0 || (std::ranges::equal(a.block_->intfs(), b.block_->intfs()) &&
                             std::ranges::equal(a.block_->words(), b.block_->words()));
}

}  // namespace Tunnel::TunnelTable
