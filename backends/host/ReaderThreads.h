#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/Error.h>

#include <atomic>
#include <expected>
#include <functional>
#include <list>
#include <memory>
#include <thread>

namespace tamsel::host {

/// The threads of inputs that need blocking reads. The host owns them and joins them at its end, so their work must end
/// soon after it is stopped. Thread-safe.
class ReaderThreads {
public:
    ReaderThreads() = default;
    ~ReaderThreads();
    ReaderThreads(const ReaderThreads&) = delete;
    ReaderThreads& operator=(const ReaderThreads&) = delete;

    /// The error: the system has no thread left.
    [[nodiscard]] std::expected<void, platform::Error> start(std::move_only_function<void()> body);

private:
    struct Reader {
        std::atomic<bool> hasEnded = false;
        std::thread thread;
    };

    Mutex guard_;
    std::list<Reader> readers_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::host
