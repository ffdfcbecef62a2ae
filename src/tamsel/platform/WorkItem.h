#pragma once

#include <concepts>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace tamsel::platform {

/// One piece of work for a queue: a move-only callable that is stored in place and never on the heap. Its captures must
/// fit `capacity` bytes and move without throwing; both are checked at compile time.
class WorkItem {
public:
    static constexpr std::size_t capacity = 96;

    WorkItem() noexcept = default;

    template <typename Callable>
        requires(!std::same_as<std::decay_t<Callable>, WorkItem> && std::invocable<std::decay_t<Callable>&>)
    WorkItem(Callable&& callable)
        : operations_(&operationsFor<std::decay_t<Callable>>) // NOLINT: implicit by intent
    {
        using Stored = std::decay_t<Callable>;
        static_assert(sizeof(Stored) <= capacity, "a work item captures too much");
        static_assert(alignof(Stored) <= alignof(std::max_align_t));
        static_assert(std::is_nothrow_move_constructible_v<Stored>);
        ::new (static_cast<void*>(storage_)) Stored(std::forward<Callable>(callable));
    }

    WorkItem(WorkItem&& other) noexcept { takeFrom(other); }

    WorkItem& operator=(WorkItem&& other) noexcept
    {
        if (this != &other) {
            reset();
            takeFrom(other);
        }
        return *this;
    }

    ~WorkItem() { reset(); }

    explicit operator bool() const noexcept { return operations_ != nullptr; }

    /// Runs the callable. Must hold one.
    void operator()() { operations_->call(storage_); }

    /// Destroys the callable and its captures.
    void reset() noexcept
    {
        if (const Operations* operations = std::exchange(operations_, nullptr))
            operations->destroy(storage_);
    }

private:
    struct Operations {
        void (*call)(void*);
        void (*relocate)(void* to, void* from) noexcept;
        void (*destroy)(void*) noexcept;
    };

    template <typename Stored>
    static constexpr Operations operationsFor{
        [](void* storage) { (*static_cast<Stored*>(storage))(); },
        [](void* to, void* from) noexcept {
            auto* source = static_cast<Stored*>(from);
            ::new (to) Stored(std::move(*source));
            source->~Stored();
        },
        [](void* storage) noexcept { static_cast<Stored*>(storage)->~Stored(); },
    };

    void takeFrom(WorkItem& other) noexcept
    {
        operations_ = std::exchange(other.operations_, nullptr);
        if (operations_)
            operations_->relocate(storage_, other.storage_);
    }

    alignas(std::max_align_t) std::byte storage_[capacity];
    const Operations* operations_ = nullptr;
};

/// A work item body that holds its subject weakly and does nothing when the subject is destroyed.
/// `whileAlive(weakCamera, [](IosCamera& camera) { … })`
template <typename Subject, typename Body> auto whileAlive(std::weak_ptr<Subject> subject, Body body)
{
    return [subject = std::move(subject), body = std::move(body)]() mutable {
        if (const std::shared_ptr<Subject> alive = subject.lock())
            body(*alive);
    };
}

} // namespace tamsel::platform
