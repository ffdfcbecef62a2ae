#pragma once

#include "Environment.h"
#include "report/Console.h"

#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/UIDevice.h>

#include <chrono>
#include <string_view>
#include <vector>

namespace tamsel::capture {

[[nodiscard]] std::string_view nameOf(platform::AVAuthorizationStatus status);
[[nodiscard]] const char* yesOrNo(bool answer);

/// What motion detection can use.
struct MotionSensors {
    bool hasGyroscope = false; ///< for the verdict of stability
    bool hasAttitude = false; ///< for that of the facing angle

    [[nodiscard]] static MotionSensors of(platform::Platform& platform);
    bool operator==(const MotionSensors&) const = default;
};

/// Reports what changes after its construction. On the main thread.
class StatusWatch {
public:
    StatusWatch(Environment& environment, Console& console);
    ~StatusWatch();
    StatusWatch(const StatusWatch&) = delete;
    StatusWatch& operator=(const StatusWatch&) = delete;

    /// Until an interrupt, or until the reader of standard output has ended.
    void run();

private:
    struct State {
        platform::AVAuthorizationStatus permission;
        platform::UIDeviceOrientation orientation;
        MotionSensors sensors;
    };

    [[nodiscard]] State state() const;
    void reportChanges();
    /// In JSON an event with the time, otherwise a line with it.
    void report(std::string_view event, Json members, const std::string& line);

    Environment& environment_;
    Console& console_;
    const std::chrono::nanoseconds start_;
    State last_;
    std::vector<host::CameraChange> cameras_; ///< to be reported
};

} // namespace tamsel::capture
