#include "Platform/Keel/Dedup.h"

#include <utility>

namespace Keel {

void DedupHandle::assertIsDeduped() const {
    QUOR_ASSERT(isDeduped(), "isDeduped()");
}

void DedupHandle::onFloor() noexcept {
    if (table_) {
        table_->remove(this);
    } else {
        destroy();
    }
}

DedupHashTable::~DedupHashTable() {
    // Whoever still holds a handle goes on with an ordinary object; nobody is told.
    notifiee_ = nullptr;
    for (auto& shard : shards_) {
        auto const slots = std::exchange(shard.slots, {});
        for (auto const& slot : slots) {
            if (!slot.handle) continue;
            slot.handle->floorIs(0);
            slot.handle->table_ = nullptr;
        }
        for (auto const& slot : slots) {
            if (slot.handle) slot.handle->deleteRef();
        }
    }
}

void DedupHashTable::lifeTimeNotifieeIs(Quor::Ptr<DedupHashTableLifeTimeNotifiee const> notifiee) {
    QUOR_ASSERT(size_ == 0, "size_ == 0");
    notifiee_ = std::move(notifiee);
}

void DedupHashTable::notificationStop() {
    // Forgotten first: what is released from here on is nobody's news.
    if (auto const notifiee = std::exchange(notifiee_, nullptr)) {
        notifiee->handleNotificationStop(Quor::Ptr<DedupHashTable const>(this));
    }
}

Quor::Ptr<DedupHandle> DedupHashTable::dedup(DedupHandle* candidate) {
    if (candidate->table_ == this) return candidate;
    QUOR_ASSERT(!candidate->everDeduped_, "!everDeduped()");
    auto const hash = candidate->hash();
    auto* const equal =
        lookup(hash, [candidate](DedupHandle const& handle) { return handle.compare(candidate); });
    if (equal) return equal;

    Quor::Ptr<DedupHandle> interned(candidate);
    insert(candidate, hash);
    // The callback may intern other contents: no slot is held across it.
    if (auto const notifiee = notifiee_) notifiee->handleInsert(interned);
    return interned;
}

void DedupHashTable::insert(DedupHandle* handle, std::uint32_t hash) {
    auto& shard = shards_[shardOf(hash)];
    if (4 * (shard.used + 1) > 3 * shard.slots.size()) grow(shard);
    place(shard, {handle, hash});
    ++shard.used;
    ++size_;
    handle->table_ = this;
    handle->hash_ = hash;
    handle->everDeduped_ = true;
    handle->newRef();
    handle->floorIs(1);
}

void DedupHashTable::place(Shard& shard, Slot slot) {
    auto const mask = shard.slots.size() - 1;
    auto i = home(shard, slot.hash);
    while (shard.slots[i].handle) i = (i + 1) & mask;
    shard.slots[i] = slot;
}

void DedupHashTable::grow(Shard& shard) {
    constexpr std::size_t firstSize = 8;
    auto const old = std::exchange(shard.slots, {});
    shard.slots.resize(old.empty() ? firstSize : 2 * old.size());
    for (auto const& slot : old) {
        if (slot.handle) place(shard, slot);
    }
}

void DedupHashTable::unlink(DedupHandle const* handle) {
    auto& shard = shards_[shardOf(handle->hash_)];
    auto const mask = shard.slots.size() - 1;
    auto hole = home(shard, handle->hash_);
    while (shard.slots[hole].handle != handle) hole = (hole + 1) & mask;
    // Whatever probed past the hole moves into it.
    for (auto i = (hole + 1) & mask; shard.slots[i].handle; i = (i + 1) & mask) {
        auto const distance = (i - home(shard, shard.slots[i].hash)) & mask;
        if (distance < ((i - hole) & mask)) continue;
        shard.slots[hole] = shard.slots[i];
        hole = i;
    }
    shard.slots[hole] = {};
    --shard.used;
    --size_;
}

void DedupHashTable::remove(DedupHandle* handle) noexcept {
    // Out of the table before anybody is told: a lookup in the callback misses, an equal content
    // becomes a new object, and a reference that the callback takes and drops removes nothing
    // twice.
    handle->floorIs(0);
    handle->table_ = nullptr;
    unlink(handle);
    auto const last = Quor::Ptr<DedupHandle>::adopt(handle);
    if (auto const notifiee = notifiee_) notifiee->handleRemove(handle);
}

}  // namespace Keel
