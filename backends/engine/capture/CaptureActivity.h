#pragma once

#include <tamsel/Mutex.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace tamsel::engine {

/// Counts the sessions that run, start or stop, and the movies that are not complete. Thread-safe.
class CaptureActivity final : public std::enable_shared_from_this<CaptureActivity> {
public:
    /// One more, until the last copy of the result is released.
    [[nodiscard]] std::shared_ptr<void> begin();

    /// Calls back once, when there is none: at once, or on the thread that releases the last one.
    void whenIdle(std::function<void()> callback);

private:
    void end();

    Mutex guard_;
    std::size_t count_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::vector<std::function<void()>> waiters_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
