#pragma once

#include <tamsel/motion/MotionHelperWorker.h>

#include <memory>

namespace tamsel::platform {
class Dispatch;
}

namespace tamsel {

/// The common part of the library's workers: identity, and delivery of outcomes.
class MotionWorker : public MotionHelperWorker {
public:
    [[nodiscard]] const platform::UUID& id() const final { return id_; }
    [[nodiscard]] UpdateCallback updateCallback() const final;
    void setUpdateCallback(UpdateCallback callback) final;
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> responseQueue() const final
    {
        return responseQueue_;
    }
    void setResponseQueue(std::shared_ptr<platform::DispatchQueue> queue) final;

    /// Does nothing; a worker overrides what it needs.
    void handleGyroData(const std::optional<platform::CMGyroData>& sample, const SampleError& error) override;
    /// The same.
    void handleDeviceMotion(
        const std::optional<platform::CMDeviceMotion>& sample, const SampleError& error) override;

protected:
    explicit MotionWorker(platform::Dispatch& dispatch) : dispatch_(dispatch) { }

    /// Posts the outcome to its receiver and returns at once.
    void deliver(Outcome outcome) const;

private:
    platform::Dispatch& dispatch_;
    const platform::UUID id_ = platform::UUID::random();
    std::shared_ptr<platform::DispatchQueue> responseQueue_;
    std::shared_ptr<const UpdateCallback> updateCallback_; ///< shared with posted items
};

} // namespace tamsel
