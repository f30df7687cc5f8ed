#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

#include "Platform/Quor/Assert.h"

namespace Quor {

/// Base of every shared object: an intrusive, non-atomic reference count (one thread owns
/// everything). When the count falls back to the floor, `onFloor` runs; the floor is 0 except while
/// a dedup table holds a reference of its own.
class PtrInterface {
public:
    PtrInterface(PtrInterface const&) = delete;
    PtrInterface& operator=(PtrInterface const&) = delete;

    void newRef() const noexcept {
        QUOR_ASSERT(references_ != dying, "references_ != dying");
        ++references_;
    }
    void deleteRef() const noexcept {
        if (--references_ == floor_) const_cast<PtrInterface*>(this)->onFloor();
    }

protected:
    PtrInterface() = default;
    virtual ~PtrInterface() = default;

    /// Ends the object; a handle of a dedup table leaves the table first.
    virtual void onFloor() noexcept { destroy(); }
    void destroy() noexcept {
        references_ = dying;
        delete this;
    }
    void floorIs(std::uint32_t floor) noexcept { floor_ = floor; }

private:
    static constexpr std::uint32_t dying = 0xFFFFFFFF;
    mutable std::uint32_t references_ = 0;
    std::uint32_t floor_ = 0;
};

/// A counted reference to a `PtrInterface`. `Ptr<T const>` is the read-only form.
template <class T>
class Ptr {
public:
    Ptr() = default;
    Ptr(std::nullptr_t) {}
    Ptr(T* object) : object_(object) { acquire(); }
    Ptr(Ptr const& other) : object_(other.object_) { acquire(); }
    Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> Ptr(Ptr<U> const& other) : object_(other.get()) {
        acquire();
    }
    template <class U>
    requires std::is_convertible_v<U*, T*> Ptr(Ptr<U>&& other)
    noexcept : object_(other.release()) {}
    ~Ptr() {
        if (object_) object_->deleteRef();
    }
    Ptr& operator=(Ptr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    /// Takes over a reference that somebody already counted.
    static Ptr adopt(T* object) noexcept {
        Ptr result;
        result.object_ = object;
        return result;
    }
    /// Gives the counted reference up without dropping it.
    T* release() noexcept { return std::exchange(object_, nullptr); }

    T* get() const noexcept { return object_; }
    T* operator->() const noexcept {
        QUOR_ASSERT(object_, "Ptr is null");
        return object_;
    }
    T& operator*() const noexcept { return *operator->(); }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    friend bool operator==(Ptr const& a, Ptr const& b) noexcept { return a.object_ == b.object_; }
    friend bool operator==(Ptr const& a, std::nullptr_t) noexcept { return a.object_ == nullptr; }

private:
    void acquire() const noexcept {
        if (object_) object_->newRef();
    }
    T* object_ = nullptr;
};

template <class T, class... Args>
Ptr<T> makePtr(Args&&... args) {
    return Ptr<T>(new T(std::forward<Args>(args)...));
}

}  // namespace Quor

template <class T>
struct std::hash<Quor::Ptr<T>> {
    std::size_t operator()(Quor::Ptr<T> const& ptr) const noexcept {
        return std::hash<T*>()(ptr.get());
    }
};
