#pragma once

#include <host/HostInput.h>
#include <host/v4l2/V4L2Calls.h>

#include <engine/capture/CameraDriver.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Error.h>

#include <chrono>
#include <expected>
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
    /// Connects to a PipeWire daemon and returns the descriptor, which the caller owns; -1 for the daemon of this user, as
    /// when this is absent. Called for each connection; may take as long as that needs.
    std::function<std::expected<int, platform::Error>()> pipeWireDescriptor = nullptr;
    /// Receives a line about a part of a device that is unusable, on any thread, while the device is locked.
    std::function<void(std::string_view)> report = [](std::string_view) { };
};

/// The part of a description that does not depend on the kind of input.
[[nodiscard]] engine::CameraDescription describeInput(
    const HostInput& input, platform::AVCaptureDevicePosition position);

} // namespace tamsel::host
