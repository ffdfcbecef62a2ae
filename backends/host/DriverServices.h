#pragma once

#include <host/HostInput.h>
#include <host/v4l2/V4L2Calls.h>

#include <engine/capture/CameraDriver.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Dispatch.h>

#include <chrono>
#include <functional>
#include <string_view>

namespace tamsel::host {

class ReaderThreads;

/// The services for the host's camera drivers; all of it outlives them.
struct DriverServices {
    platform::Dispatch& dispatch;
    engine::EventSources& events;
    ReaderThreads& readers;
    const V4L2Calls& systemCalls;
    /// The timeout for opening an input that is not a file.
    std::chrono::nanoseconds openingLimit = std::chrono::seconds(15);
    /// Returns a descriptor that is connected to a PipeWire daemon, and that the caller owns, or -1; each connection needs
    /// one. Absent: the daemon of this user. May take as long as that needs.
    std::function<int()> pipeWireDescriptor = nullptr;
    /// Receives a line about a part of a device that is unusable, on any thread, while the device is locked.
    std::function<void(std::string_view)> report = [](std::string_view) { };
};

/// The part of a description that does not depend on the kind of input.
[[nodiscard]] engine::CameraDescription describeInput(
    const HostInput& input, platform::AVCaptureDevicePosition position);

} // namespace tamsel::host
