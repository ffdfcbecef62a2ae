#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace tamsel::host {

/// The conditions that end waiting for an input.
struct MediaWait {
    /// True ends it, while the input is opened and while it is read.
    std::shared_ptr<const std::atomic<bool>> isCancelled = nullptr;
    /// The same while it is opened; called on the waiting thread.
    std::function<bool()> isUnwanted = nullptr;
    /// The timeout for opening a stream.
    std::chrono::nanoseconds limit = std::chrono::seconds(15);
};

/// Whether an input is still wanted. Thread-safe.
class MediaInterest {
public:
    explicit MediaInterest(std::shared_ptr<const std::atomic<bool>> isCancelled)
        : isCancelled_(std::move(isCancelled))
    {
    }

    void end() { hasEnded_ = true; }
    [[nodiscard]] bool hasEnded() const { return hasEnded_ || (isCancelled_ && *isCancelled_); }

private:
    std::atomic<bool> hasEnded_ = false;
    const std::shared_ptr<const std::atomic<bool>> isCancelled_;
};

} // namespace tamsel::host
