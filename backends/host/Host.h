#pragma once

#include <host/HostConfiguration.h>

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/UIApplication.h>
#include <tamsel/platform/UIDevice.h>

#include <chrono>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// The platform on a real Linux machine. The thread that makes it is the main thread: it runs the main queue, whole with
/// `run`, once with `runOnce`, or from a loop of its own whenever `descriptor` is readable. The main thread destroys it,
/// last, after every manager: what has not run is dropped, devices stop, and all threads are joined.
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

    /// The V4L2 nodes of this machine that can capture, in the order of their numbers. Opens each for a moment.
    [[nodiscard]] static std::vector<std::string> videoNodes();

    /// For `OvriSourceManager::create`; lives as long as the host.
    [[nodiscard]] platform::Platform& platform();
    /// A serial queue on the host's worker threads, for a client's calls. The label is for people.
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label);

    // The main thread's loop; on the main thread, except `stop`.

    /// Until `stop` is called.
    void run();
    /// Runs what is ready, after waiting at most `limit` for the first of it. True when anything ran.
    bool runOnce(std::chrono::nanoseconds limit);
    /// Ends `run`. Thread-safe.
    void stop();
    /// Readable while there is something to run: then call `runOnce` with a limit of zero.
    [[nodiscard]] int descriptor() const;

    // What the program knows and the machine does not. Thread-safe.

    /// Replaces the policy, for questions and starts from now on; a running session continues. Without one, video is
    /// authorised by its inputs, and audio always.
    void setAuthorization(
        platform::AVMediaType mediaType, std::optional<platform::AVAuthorizationStatus> status);

    /// How the device is held: the orientation of frames.
    void setDeviceOrientation(platform::UIDeviceOrientation orientation);
    /// The orientation of the interface: live frames are turned to it.
    void setInterfaceOrientation(platform::UIInterfaceOrientation orientation);
    /// Running sessions stop, and their clients are notified.
    void enterBackground();
    /// They start again, and their clients are notified.
    void enterForeground();

    /// Why this host does not work, in one line: the system has no thread or no file
    /// descriptor left for it. Empty as a rule.
    [[nodiscard]] std::string problem() const;

    /// Why there is no location, or why it may be old, in one line; empty when nothing is wrong. Thread-safe.
    [[nodiscard]] std::string locationProblem() const;
    /// A daemon is being asked for the first fix. Thread-safe.
    [[nodiscard]] bool isLocationAwaited() const;

    /// Why the last recording is not what was asked for, in one line: it failed, or there is no sound in it. Empty when nothing
    /// is wrong. Thread-safe.
    [[nodiscard]] std::string recordingProblem() const;

    /// The cameras that are there now.
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureDevice>> cameras() const;

private:
    struct Parts;

    const std::unique_ptr<Parts> parts_;
};

} // namespace tamsel::host
