#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tamsel::engine {

/// Something outside that a driver waits for: a point in time, or a descriptor that becomes readable. It fires once for
/// each time that it was armed, never twice at the same time. Thread-safe; may be destroyed on any thread, also from
/// inside its own call, and never waits.
class EventSource {
public:
    virtual ~EventSource() = default;

    /// Fires at, or as soon as possible after, a time of the platform's monotonic clock. Replaces an earlier time.
    virtual void armAt(std::chrono::nanoseconds monotonicTime) = 0;

    /// Fires when the descriptor is readable.
    virtual void armReadable() = 0;

    /// No call begins afterwards unless it is armed again; one that runs already is not waited for.
    virtual void cancel() = 0;
};

/// Makes event sources. Their calls run on a thread of the back end's choice. A callback that arms the source again
/// before it posts its result lets another thread wait for the next event meanwhile. Thread-safe.
class EventSources {
public:
    virtual ~EventSources() = default;

    /// Absent when the machine has no descriptor left.
    [[nodiscard]] virtual std::unique_ptr<EventSource> makeTimer(std::function<void()> fire) = 0;
    /// The descriptor must stay open while the source lives. Absent when the descriptor cannot be waited for.
    [[nodiscard]] virtual std::unique_ptr<EventSource> makeDescriptor(
        int descriptor, std::function<void()> fire)
        = 0;
};

} // namespace tamsel::engine
