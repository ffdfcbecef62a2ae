#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tamsel::engine {

/// An external event that a driver waits for: a point in time, or a descriptor that becomes readable. It fires once for
/// each time that it was armed, never twice at the same time. Thread-safe; may be destroyed on any thread, also inside
/// its own callback, and never waits.
class EventSource {
public:
    virtual ~EventSource() = default;

    /// Fires at, or as soon as possible after, a time of the platform's monotonic clock. Replaces an earlier time.
    virtual void armAt(std::chrono::nanoseconds monotonicTime) = 0;

    /// Fires when the descriptor is readable.
    virtual void armReadable() = 0;

    /// No callback begins afterwards unless it is armed again; a running one is not waited for.
    virtual void cancel() = 0;
};

/// Makes event sources. Their callbacks run on a thread of the back end's choice. If a callback arms the source again
/// before it posts its result, another thread can wait for the next event meanwhile. Thread-safe.
class EventSources {
public:
    virtual ~EventSources() = default;

    /// Absent when the system has no descriptor left.
    [[nodiscard]] virtual std::unique_ptr<EventSource> makeTimer(std::function<void()> fire) = 0;
    /// The descriptor must stay open while the source lives. Absent when the descriptor cannot be polled.
    [[nodiscard]] virtual std::unique_ptr<EventSource> makeDescriptor(
        int descriptor, std::function<void()> fire)
        = 0;
};

} // namespace tamsel::engine
