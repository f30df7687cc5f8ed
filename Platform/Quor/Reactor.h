#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <type_traits>
#include <vector>

#include "Platform/Quor/Assert.h"

namespace Quor {

/// Nesting of notifications across all subjects of the process. A chain deeper than
/// `maxDispatchDepth` is machines writing at each other without end; the assertion turns it into a
/// diagnosis.
class SRTE_EXPORT DispatchScope {
public:
    static constexpr int maxDispatchDepth = 64;
    DispatchScope();
    ~DispatchScope();
    DispatchScope(DispatchScope const&) = delete;
    DispatchScope& operator=(DispatchScope const&) = delete;
};

template <class K>
class Reactor;

/// Something that is watched: tells its reactors the key of what changed, synchronously and in the
/// order of their registration. Reactors may come and go during a notification; one that went is
/// not called any more, one that came is not called for the current event.
template <class K>
class Subject {
public:
    Subject() = default;
    Subject(Subject const&) = delete;
    Subject& operator=(Subject const&) = delete;
    ~Subject() {
        for (auto* const reactor : reactors_) {
            if (reactor) reactor->subject_ = nullptr;
        }
    }

    void notify(K const& key) {
        if (reactors_.empty()) return;
        DispatchScope const nesting;
        Dispatch const dispatch(*this);
        auto const count = reactors_.size();
        for (std::size_t i = 0; i < count; ++i) {
            if (auto* const reactor = reactors_[i]) call(*reactor, key);
        }
    }

    bool observed() const { return !reactors_.empty(); }

private:
    friend class Reactor<K>;

    // Tombstones stay while a notification runs, so that indexes hold.
    struct Dispatch {
        explicit Dispatch(Subject& watched) : subject(watched) { ++subject.depth_; }
        ~Dispatch() {
            if (--subject.depth_ == 0 && subject.tombstones_) subject.compact();
        }
        Dispatch(Dispatch const&) = delete;
        Dispatch& operator=(Dispatch const&) = delete;
        Subject& subject;
    };

    void call(Reactor<K> const& reactor, K const& key) {
        try {
            reactor.handler_(reactor.owner_, key);
        } catch (std::exception const& escaped) {
            assertFail(escaped.what(), "reactor", 0);
        }
    }
    void compact() const {
        std::erase(reactors_, nullptr);
        tombstones_ = false;
    }
    void reactorIs(Reactor<K>* reactor) const { reactors_.push_back(reactor); }
    void reactorDel(Reactor<K>* reactor) const {
        auto const slot = std::find(reactors_.begin(), reactors_.end(), reactor);
        if (slot == reactors_.end()) return;
        *slot = nullptr;
        tombstones_ = true;
        if (depth_ == 0) compact();
    }

    mutable std::vector<Reactor<K>*> reactors_;
    mutable int depth_ = 0;
    mutable bool tombstones_ = false;
};

/// Calls its owner with the key of every change of a subject, until it is destroyed or switched
/// off. It holds its owner by raw pointer: a machine declares its reactors last, so that they go
/// first.
template <class K>
class Reactor {
public:
    /// `handler` is a captureless callable `(Owner&, K const&)`.
    template <class Owner, class Handler>
    requires std::is_empty_v<Handler> Reactor(Subject<K> const& subject, Owner* owner, Handler)
        : subject_(&subject),
          owner_(owner),
          handler_([](void* self, K const& key) { Handler{}(*static_cast<Owner*>(self), key); }) {
        subject_->reactorIs(this);
    }
    Reactor(Reactor const&) = delete;
    Reactor& operator=(Reactor const&) = delete;
    ~Reactor() { off(); }

    void off() {
        if (subject_) subject_->reactorDel(this);
        subject_ = nullptr;
    }

private:
    friend class Subject<K>;

    Subject<K> const* subject_;
    void* owner_;
    void (*handler_)(void*, K const&);
};

}  // namespace Quor
