#pragma once

#include <host/CameraPermission.h>
#include <host/HostCamera.h>
#include <host/HostConfiguration.h>

#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/Dispatch.h>

#include <atomic>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel::host {

/// Whether the person at the machine decides on cameras with this configuration, as far as there is a service for that.
[[nodiscard]] bool needsPermission(const HostConfiguration& configuration);

/// The authorisation for video: by the policy of the program, else by the permission of the person, else by the access rights
/// of the inputs. Thread-safe.
class VideoAuthorization {
public:
    /// What is passed outlives it.
    VideoAuthorization(const HostConfiguration& configuration, platform::Dispatch& dispatch,
        engine::EventSources& events, platform::DiagnosticLines& lines);

    void setPolicy(std::optional<platform::AVAuthorizationStatus> policy) { policy_ = policy; }
    [[nodiscard]] platform::AVAuthorizationStatus status(const std::vector<HostCamera>& cameras) const;
    /// Asks the person where that is needed. `answered` is called once, on any thread.
    void request(std::function<void()> answered);

    /// Follows the permission: `withdrawn` is called on any thread when it ends.
    void follow(std::function<void()> withdrawn);
    /// The same calls, but no node opens without the permission.
    [[nodiscard]] V4L2Calls permitted(V4L2Calls calls) const;
    /// Connects to the PipeWire daemon that shows the permitted cameras and returns the descriptor, which the caller owns; -1
    /// where the program connects to the daemon itself. May wait, see `CameraPermission::openRemote`. Absent when nobody
    /// is asked.
    [[nodiscard]] std::function<std::expected<int, platform::Error>()> pipeWireDescriptor();
    /// Ends every wait, now and from now on.
    void abandon();

private:
    /// The answer of the person; absent when it does not count.
    [[nodiscard]] std::optional<platform::AVAuthorizationStatus> permission() const
    {
        return permission_ ? permission_->status() : std::nullopt;
    }

    std::atomic<std::optional<platform::AVAuthorizationStatus>> policy_;
    const std::shared_ptr<CameraPermission> permission_; ///< absent when nobody is asked
};

} // namespace tamsel::host
