#pragma once

#include <host/HostConfiguration.h>
#include <host/InputAccess.h>
#include <host/microphone/PlaybackClock.h>
#include <host/movie/MovieContainer.h>

#include <engine/capture/CameraDriver.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Dispatch.h>

#include <chrono>
#include <expected>
#include <functional>
#include <memory>

namespace tamsel::host {

class ReaderThreads;

/// A camera of the host and the question whether it may be used.
struct HostCamera {
    std::shared_ptr<engine::CameraDriver> driver;
    /// Answers at once, anew each time. Thread-safe.
    std::function<InputAccess()> access;
    /// Of a file that is played; absent for other inputs.
    std::shared_ptr<const PlaybackClock> clock = nullptr;
    /// Ends every wait for the input, now and from now on. Thread-safe; absent for inputs that never wait.
    std::function<void()> abandon = nullptr;
};

/// What the drivers of the host stand on; all of it outlives them.
struct DriverServices {
    platform::Dispatch& dispatch;
    engine::EventSources& events;
    ReaderThreads& readers;
    const V4L2Calls& systemCalls;
    /// Of inputs that are no files.
    std::chrono::nanoseconds openingLimit = MovieWait{}.limit;
};

/// The driver for an input; the error is one line, for an input that names nothing that could ever be opened.
[[nodiscard]] std::expected<HostCamera, platform::Error> makeHostCamera(
    const HostInput& input, platform::AVCaptureDevicePosition position, DriverServices services);

/// The part of a description that does not depend on the kind of input.
[[nodiscard]] engine::CameraDescription describeInput(
    const HostInput& input, platform::AVCaptureDevicePosition position);

} // namespace tamsel::host
