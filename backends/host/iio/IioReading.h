#pragma once

#include <host/iio/IioBuffer.h>
#include <host/iio/IioPoller.h>

#include <chrono>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// Reads sensors at an interval: those of a device together through its buffer where that works, else one by one from
/// their attributes. No sensor delays those of another device. Used by one thread.
class IioReading {
public:
    /// Raw values of a sensor; absent when it has had none for two intervals, of the reading or, if longer, its own.
    using Values = std::optional<std::expected<std::vector<double>, platform::Error>>;

    /// Sets sampling frequencies and opens buffers or starts pollers, until the end. `root` is a prefix of /sys and /dev.
    /// The pollers, to which new ones are added, must outlive it.
    IioReading(const std::string& root, IioPollers& pollers, const std::vector<const IioChannels*>& sensors,
        std::chrono::nanoseconds interval);
    ~IioReading();
    IioReading(const IioReading&) = delete;
    IioReading& operator=(const IioReading&) = delete;

    /// Takes what the buffers hold. A buffer that fails, or stays empty for a second, is closed, and one line is added
    /// to `problems`.
    void update(std::chrono::nanoseconds time, std::vector<std::string>& problems);
    /// The newest values of one of the sensors. Does not wait for it.
    [[nodiscard]] Values read(const IioChannels& sensor) const;

    /// How often `update` must be called, so that no buffer overflows, which would lose the newest values.
    static constexpr std::chrono::nanoseconds longestPause = std::chrono::milliseconds(20);

private:
    struct Device {
        std::string name;
        std::vector<const IioChannels*> sensors;
        std::chrono::nanoseconds limit; ///< how long values are current
        std::unique_ptr<IioBuffer> buffer = nullptr; ///< or else:
        std::shared_ptr<IioPoller> poller = nullptr;
        std::vector<double> newest = {}; ///< of all sensors in turn
        std::chrono::nanoseconds time = {}; ///< of `newest`, at first of the opening
    };

    void poll(Device& device);

    IioPollers& pollers_;
    const std::chrono::nanoseconds interval_;
    std::vector<Device> devices_;
    std::chrono::nanoseconds time_{}; ///< of the last update
    std::vector<std::string> problems_; ///< of the opening
};

} // namespace tamsel::host
