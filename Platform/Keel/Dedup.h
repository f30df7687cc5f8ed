#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Platform/Quor/Ptr.h"

namespace Keel {

class DedupHashTable;

/// A content to compare a handle with that is no handle itself.
class SRTE_EXPORT DedupContentHandle {
public:
    virtual ~DedupContentHandle() = default;
};

/// An object that can be interned: of equal ones a `DedupHashTable` keeps a single instance, which
/// leaves the table when nobody else holds it. An interned object is immutable.
class SRTE_EXPORT DedupHandle : public Quor::PtrInterface {
public:
    virtual std::uint32_t hash() const = 0;
    virtual bool compare(DedupHandle const* other) const = 0;
    virtual bool compareByContent(DedupContentHandle const&) const { return false; }

    /// In a table now.
    virtual bool isDeduped() const { return table_ != nullptr; }
    /// In a table now or earlier. Who keeps a reference past the removal holds an object that is
    /// never found, nor interned, again.
    virtual bool everDeduped() const { return everDeduped_; }
    virtual void assertIsDeduped() const;

protected:
    DedupHandle() = default;
    void onFloor() noexcept final;

private:
    friend class DedupHashTable;

    DedupHashTable* table_ = nullptr;
    std::uint32_t hash_ = 0;
    bool everDeduped_ = false;
};

/// Stands for one interned handle in a notifying collection. It points at the handle without
/// counting: a counted reference would keep the handle from ever leaving its table.
class SRTE_EXPORT DedupHandleLifeTimeNotifier : public Quor::PtrInterface {
public:
    explicit DedupHandleLifeTimeNotifier(DedupHandle* handle) : handle_(handle) {}
    /// Null once the handle has left its table.
    DedupHandle* handle() const { return handle_; }
    void handleDel() const { handle_ = nullptr; }

private:
    mutable DedupHandle* handle_;
};

/// Is told of every handle that a table takes in or lets go.
class SRTE_EXPORT DedupHashTableLifeTimeNotifiee : public Quor::PtrInterface {
public:
    /// The handle can be found in the table already.
    virtual void handleInsert(Quor::Ptr<DedupHandle> const& handle) const = 0;
    /// The handle is intact but not found in the table any more.
    virtual void handleRemove(DedupHandle* handle) const = 0;
    /// The table stops telling: everything that it still holds counts as removed.
    virtual void handleNotificationStop(Quor::Ptr<DedupHashTable const> const& table) const = 0;
};

/// Interning by content. The table holds one reference to each handle and removes the handle when
/// the count falls back to that one.
///
/// The slots are spread over shards that grow one at a time, so that no insertion into a table of
/// millions waits for a whole rehash.
class SRTE_EXPORT DedupHashTable final : public Quor::PtrInterface {
public:
    ~DedupHashTable() override;

    /// The table must be empty.
    void lifeTimeNotifieeIs(Quor::Ptr<DedupHashTableLifeTimeNotifiee const> notifiee);
    void notificationStop();

    /// The interned handle with this content: an equal one, else `candidate`, which is inserted.
    /// Callers go on with the result and drop the candidate. An interned handle gives itself; one
    /// that has left its table cannot come back.
    Quor::Ptr<DedupHandle> dedup(DedupHandle* candidate);

    /// The interned handle that equals `probe`, or null. `probe` may lie on the stack.
    DedupHandle* lookup(DedupHandle const& probe) const {
        return lookup(probe.hash(), [&probe](DedupHandle const& handle) {
            return &handle == &probe || handle.compare(&probe);
        });
    }
    /// Likewise, for a content that is not a handle: `equals(handle)` decides.
    template <class Equals>
    DedupHandle* lookup(std::uint32_t hash, Equals const& equals) const;

    std::size_t size() const { return size_; }

private:
    friend class DedupHandle;

    struct Slot {
        DedupHandle* handle = nullptr;
        std::uint32_t hash = 0;
    };
    // Open addressing with linear probing; removal shifts back, so that there are no tombstones.
    struct Shard {
        std::vector<Slot> slots;
        std::size_t used = 0;
    };
    static constexpr std::uint32_t shardBits = 8;

    // The content hash may be weak in its high bits; both the shard and the slot come from a mix.
    static std::uint32_t mix(std::uint32_t hash) {
        hash ^= hash >> 16;
        hash *= 0x85EBCA6Bu;
        hash ^= hash >> 13;
        hash *= 0xC2B2AE35u;
        return hash ^ hash >> 16;
    }
    static std::size_t shardOf(std::uint32_t hash) { return mix(hash) >> (32 - shardBits); }
    static std::size_t home(Shard const& shard, std::uint32_t hash) {
        return mix(hash) & (shard.slots.size() - 1);
    }
    static void place(Shard& shard, Slot slot);
    static void grow(Shard& shard);

    void insert(DedupHandle* handle, std::uint32_t hash);
    void unlink(DedupHandle const* handle);
    void remove(DedupHandle* handle) noexcept;

    std::array<Shard, std::size_t{1} << shardBits> shards_;
    std::size_t size_ = 0;
    Quor::Ptr<DedupHashTableLifeTimeNotifiee const> notifiee_;
};

template <class Equals>
DedupHandle* DedupHashTable::lookup(std::uint32_t hash, Equals const& equals) const {
    auto const& shard = shards_[shardOf(hash)];
    if (shard.slots.empty()) return nullptr;
    auto const mask = shard.slots.size() - 1;
    for (auto i = home(shard, hash); shard.slots[i].handle; i = (i + 1) & mask) {
        auto const& slot = shard.slots[i];
        if (slot.hash == hash && equals(*slot.handle)) return slot.handle;
    }
    return nullptr;
}

}  // namespace Keel
