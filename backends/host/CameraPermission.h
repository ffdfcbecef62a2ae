#pragma once

#include <host/Descriptor.h>

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Error.h>

#include <expected>
#include <functional>
#include <optional>

namespace tamsel::host {

/// A service of the desktop that asks the person whether this program may use cameras. Thread-safe.
class CameraPermission {
public:
    virtual ~CameraPermission() = default;

    /// Connects to the service. From then on `withdrawn` is called, on any thread, when a permission ends.
    virtual void follow(std::function<void()> withdrawn) = 0;

    /// Not determined until the person was asked. Absent when there is no such service.
    [[nodiscard]] virtual std::optional<platform::AVAuthorizationStatus> status() const = 0;
    /// Asks the person. Requests while a question is open share its answer; `answered` is called once on any thread, also when
    /// the question ends without an answer, but not after this object has been destroyed.
    virtual void request(std::function<void()> answered) = 0;

    /// Connects to the PipeWire daemon that shows the permitted cameras, each time anew. Waits for the service, for 15
    /// seconds at most or until `abandon`. Not on the main thread.
    [[nodiscard]] virtual std::expected<Descriptor, platform::Error> openRemote() = 0;
    /// Ends every wait, now and from now on.
    virtual void abandon() = 0;
};

} // namespace tamsel::host
