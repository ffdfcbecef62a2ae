#pragma once

#include <host/HostConfiguration.h>

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/UIApplication.h>
#include <tamsel/platform/UIDevice.h>

#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// The platform on a real Linux machine. The thread that makes it is the main thread: it runs the main queue, until
/// stopped with `run`, once with `runOnce`, or from a loop of its own whenever `descriptor` is readable. The main
/// thread destroys it, last, after every manager: unrun items are dropped, devices stop, and all threads are joined
/// but those that wait for gpsd, a motion sensor or PulseAudio, which end by themselves.
class Host {
public:
    /// Opens no device. An input that can never be opened is reported in a diagnostic line and ignored.
    explicit Host(HostConfiguration configuration);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Opens an input and closes it again, and returns the size of its pictures. The error is one line that names the
    /// input. May wait for the device, for a stream at most `limit` or 15 seconds.
    [[nodiscard]] static std::expected<platform::CGSize, platform::Error> probe(
        const std::string& input, std::optional<std::chrono::nanoseconds> limit = std::nullopt);

    /// The V4L2 nodes of this machine that can capture, in the order of their numbers. Opens each briefly.
    [[nodiscard]] static std::vector<std::string> videoNodes();

    /// Whether this machine has a usable motion sensor now.
    [[nodiscard]] static bool hasMotionSensors();

    /// For `OvriSourceManager::create`; lives as long as the host.
    [[nodiscard]] platform::Platform& platform();
    /// A serial queue on the host's worker threads, for a client's callbacks. The label is for people.
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label);

    // The main thread's loop; on the main thread, except `stop`.

    /// Until `stop` is called.
    void run();
    /// Runs what is ready, after waiting at most `limit` for the first of it. True when anything ran.
    bool runOnce(std::chrono::nanoseconds limit);
    /// Ends `run`. Thread-safe.
    void stop();
    /// Readable while there is something to run; then call `runOnce` with a limit of zero.
    [[nodiscard]] int descriptor() const;

    /// Whether the person at the machine is asked for cameras with this configuration. Until then video is not determined.
    [[nodiscard]] static bool asksForVideoAccess(const HostConfiguration& configuration);
    /// Asks the person, where that is needed, and calls `answered` once with the status of video, on the main queue. The
    /// desktop remembers an answer, and gives it without a dialog from then on. A question may stay open for as long as its
    /// dialog does, and may end without an answer: then the status is as before. Requests while one is open share its
    /// answer. The end of the host ends the question, and `answered` is not called. Thread-safe.
    void requestVideoAccess(std::function<void(platform::AVAuthorizationStatus)> answered);

    // State that only the program knows. Thread-safe.

    /// Replaces the policy, for queries and starts from now on; a running session continues. Without one, video is
    /// authorised by the person (`HostConfiguration::permission`) or by its inputs, and audio always.
    void setAuthorization(
        platform::AVMediaType mediaType, std::optional<platform::AVAuthorizationStatus> status);

    /// The orientation of the device, which frames report. From now on the host does not follow that of the machine.
    void setDeviceOrientation(platform::UIDeviceOrientation orientation);
    /// The orientation of the interface: live frames are rotated to it. From now on it does not turn with the machine.
    void setInterfaceOrientation(platform::UIInterfaceOrientation orientation);
    /// Running sessions stop, and their clients are notified.
    void enterBackground();
    /// They start again, and their clients are notified, unless the machine sleeps, is locked or shows another session
    /// (`HostConfiguration::followed`); then when that ends.
    void enterForeground();

    /// The problem of this host, in one line: the system has no thread or no file descriptor left for it. Normally
    /// empty.
    [[nodiscard]] std::string problem() const;

    /// The reason why there is no location, or why it may be old, in one line; empty if it is current. Thread-safe.
    [[nodiscard]] std::string locationProblem() const;
    /// The host is waiting for the first fix of a daemon. Thread-safe.
    [[nodiscard]] bool isLocationAwaited() const;

    /// The problem of the last recording, in one line: it failed, or it has no sound. Empty if there is none.
    /// Thread-safe.
    [[nodiscard]] std::string recordingProblem() const;

    /// Reports each camera whose file or device node appears, disappears or changes its permission from now on, on the main
    /// queue; null ends that. Replaces an earlier observer. Thread-safe.
    void setCameraObserver(CameraObserver observer);
    /// The cameras that are present now.
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureDevice>> cameras() const;

private:
    struct Parts;

    const std::unique_ptr<Parts> parts_;
};

} // namespace tamsel::host
