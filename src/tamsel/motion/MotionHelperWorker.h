#pragma once

#include <tamsel/motion/CoreMotionCapability.h>
#include <tamsel/motion/MotionHelperError.h>
#include <tamsel/platform/CMMotionManager.h>
#include <tamsel/platform/UUID.h>

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel {

/// Turns motion samples into verdicts. All calls run on the queue of the helper that it is registered with, except
/// construction and the callback that is set before the worker is shared.
class MotionHelperWorker {
public:
    /// A verdict, or the reason why there is none.
    using Outcome = std::expected<bool, MotionHelperError>;
    using UpdateCallback = std::function<void(const Outcome&)>;
    /// The cause of a missing sample.
    using SampleError = std::optional<MotionHelperError::Underlying>;

    virtual ~MotionHelperWorker() = default;

    [[nodiscard]] virtual const platform::UUID& id() const = 0;
    /// The services that the worker needs.
    [[nodiscard]] virtual std::vector<CoreMotionCapability> capabilities() const = 0;

    /// Empty when outcomes are discarded.
    [[nodiscard]] virtual UpdateCallback updateCallback() const = 0;
    /// Receives every outcome from now on.
    virtual void setUpdateCallback(UpdateCallback callback) = 0;

    /// The queue of the callback; if empty, the main queue.
    [[nodiscard]] virtual std::shared_ptr<platform::DispatchQueue> responseQueue() const = 0;
    virtual void setResponseQueue(std::shared_ptr<platform::DispatchQueue> queue) = 0;

    /// One sample of the gyroscope, or the cause of a missing one.
    virtual void handleGyroData(const std::optional<platform::CMGyroData>& sample, const SampleError& error)
        = 0;
    /// One sample of device motion, or the cause of a missing one.
    virtual void handleDeviceMotion(
        const std::optional<platform::CMDeviceMotion>& sample, const SampleError& error)
        = 0;
};

} // namespace tamsel
