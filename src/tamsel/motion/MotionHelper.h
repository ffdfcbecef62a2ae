#pragma once

#include <tamsel/motion/MotionHelperWorker.h>
#include <tamsel/motion/MotionWorkerKind.h>
#include <tamsel/platform/Dispatch.h>

#include <memory>
#include <vector>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// Owns the motion manager and the registered workers. It runs at most one stream for each motion service, at the
/// shortest interval that any worker needs, and passes every sample to every worker. Streams start with the first
/// worker that needs them and stop with the last. Thread-safe.
class MotionHelper final : public std::enable_shared_from_this<MotionHelper> {
    struct Private { };

public:
    /// Starts nothing. Every worker delivers its outcomes on the response queue.
    [[nodiscard]] static std::shared_ptr<MotionHelper> create(
        std::shared_ptr<platform::DispatchQueue> responseQueue, platform::Platform& platform);

    MotionHelper(
        Private, std::shared_ptr<platform::DispatchQueue> responseQueue, platform::Platform& platform);

    /// The worker is added a moment later, on the helper's queue; its identifier is valid for `unregisterWorker` at
    /// once.
    [[nodiscard]] platform::UUID registerWorker(
        const MotionWorkerKind& kind, MotionHelperWorker::UpdateCallback callback);
    /// Does nothing when no worker has this identifier. Posted outcomes still arrive.
    void unregisterWorker(const platform::UUID& id);

    /// For queries of the device's sensors.
    [[nodiscard]] const platform::CMMotionManager& motionManager() const { return *motionManager_; }

private:
    template <typename Sample> struct Service;

    [[nodiscard]] std::shared_ptr<MotionHelperWorker> makeWorker(const MotionWorkerKind& kind) const;
    void reconcileUpdates();
    template <typename Sample> void stopUpdates();
    template <typename Sample> void configureUpdates(double interval) TAMSEL_REQUIRES(*queue_);
    template <typename Sample>
    void receive(const std::optional<Sample>& sample, const std::shared_ptr<const platform::Error>& error);
    template <typename Sample>
    void handOut(const std::optional<Sample>& sample, const platform::Error* error);

    platform::Platform& platform_;
    const std::shared_ptr<platform::DispatchQueue> queue_;
    const std::shared_ptr<platform::CMMotionManager> motionManager_;
    /// Receives the platform's samples, one at a time.
    const std::shared_ptr<platform::DispatchQueue> motionManagerQueue_;
    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    /// In the order of registration.
    std::vector<std::shared_ptr<MotionHelperWorker>> workers_ TAMSEL_GUARDED_BY(*queue_);
};

} // namespace tamsel
