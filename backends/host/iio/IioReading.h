#pragma once

#include <host/iio/IioBuffer.h>
#include <host/iio/IioSensors.h>

#include <chrono>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// Reads sensors at an interval: the sensors of a device together through its buffer where that works, else one by one
/// from their attributes. Used by one thread.
class IioReading {
public:
    /// Raw values of a sensor; absent when it has nothing new.
    using Values = std::optional<std::expected<std::vector<double>, platform::Error>>;

    /// Sets sampling frequencies and opens buffers, which are closed at the end. `root` is a prefix of /sys and /dev.
    IioReading(const std::string& root, const std::vector<const IioChannels*>& sensors,
        std::chrono::nanoseconds interval);

    /// Takes what the buffers hold. A buffer that fails, or stays empty for a second, is closed, and one line is added
    /// to `problems`.
    void update(std::chrono::nanoseconds time, std::vector<std::string>& problems);
    /// The newest values of one of the sensors. Takes as long as the sensor does, unless it has a buffer.
    [[nodiscard]] Values read(const IioChannels& sensor) const;

    /// How often `update` must be called, so that no buffer overflows, which would lose the newest values; absent
    /// without buffers.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> longestPause() const;

private:
    struct Device {
        std::string name;
        std::vector<const IioChannels*> sensors;
        std::chrono::nanoseconds limit; ///< how long values are current
        std::unique_ptr<IioBuffer> buffer = nullptr;
        std::vector<double> newest = {}; ///< of all sensors in turn
        std::chrono::nanoseconds time = {}; ///< of `newest`, at first of the opening
    };

    std::vector<Device> devices_;
    std::chrono::nanoseconds time_{}; ///< of the last update
    std::vector<std::string> problems_; ///< of the opening
};

} // namespace tamsel::host
