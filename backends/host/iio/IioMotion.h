#pragma once

#include <host/iio/IioSensors.h>

#include <engine/motion/MotionDriver.h>

#include <tamsel/Mutex.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::host {

/// The motion sensors of this machine. A thread of its own reads them while a stream uses them, and at the end restores
/// the attributes of buffers, for which the destructor waits a second at most. A device that is polled has another thread,
/// because a reading may take long; that one is not waited for.
class IioMotion final : public engine::MotionDriver {
public:
    /// `report` receives a line for each sensor or buffer that is unusable, on any thread. `root` is a prefix of /sys and
    /// /dev.
    explicit IioMotion(std::function<void(std::string_view)> report, std::string root = {});
    ~IioMotion() override;
    IioMotion(const IioMotion&) = delete;
    IioMotion& operator=(const IioMotion&) = delete;

    /// Looks for new devices, and so does `hasDeviceMotion`.
    [[nodiscard]] bool hasGyro() const override;
    [[nodiscard]] bool hasDeviceMotion() const override;
    void streamStarts(std::chrono::nanoseconds) override { }
    [[nodiscard]] std::shared_ptr<void> use(
        engine::MotionService service, std::chrono::nanoseconds interval) override;
    /// A reading is current for two intervals. After a second without one there is an error.
    [[nodiscard]] std::optional<engine::GyroReading> readGyro(std::chrono::nanoseconds time) override;
    [[nodiscard]] std::optional<engine::DeviceMotionReading> readDeviceMotion(
        std::chrono::nanoseconds time) override;

private:
    class Reader;

    void reportProblems() const;
    /// The sensors that are there now.
    [[nodiscard]] std::shared_ptr<const IioSensors> lookAround() const;

    const std::function<void(std::string_view)> report_;
    const std::string root_;
    const std::shared_ptr<Reader> reader_; ///< shared with its thread and the uses
    mutable Mutex guard_;
    mutable IioDevices devices_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::host
