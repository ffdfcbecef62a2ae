#pragma once

#include <host/iio/IioSensors.h>

#include <tamsel/Mutex.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// Reads the attributes of a device's sensors in turn, on a thread of its own, which is not waited for. A device has one
/// such thread at most, even if its sensors never answer. Thread-safe.
class IioPoller : public std::enable_shared_from_this<IioPoller> {
public:
    /// The raw values of a sensor, or its error, and when they were read.
    struct Newest {
        std::expected<std::vector<double>, platform::Error> values;
        std::chrono::nanoseconds time;
    };

    void start(std::vector<IioChannels> sensors, std::chrono::nanoseconds interval);
    /// The thread ends after its current reading.
    void stop();
    /// Of one of the sensors; absent before its first reading since `start`.
    [[nodiscard]] std::optional<Newest> newest(std::size_t sensor) const;

private:
    void run();

    mutable Mutex guard_;
    Condition changed_;
    std::vector<IioChannels> sensors_ TAMSEL_GUARDED_BY(guard_); ///< none when stopped
    std::chrono::nanoseconds interval_ TAMSEL_GUARDED_BY(guard_){};
    std::uint64_t changes_ TAMSEL_GUARDED_BY(guard_) = 0;
    bool isRunning_ TAMSEL_GUARDED_BY(guard_) = false;
    std::vector<std::optional<Newest>> newest_ TAMSEL_GUARDED_BY(guard_);
};

/// By the names of the devices.
using IioPollers = std::map<std::string, std::shared_ptr<IioPoller>>;

} // namespace tamsel::host
