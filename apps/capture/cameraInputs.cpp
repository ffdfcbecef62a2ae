#include "cameraInputs.h"

#include "PendingInterrupt.h"
#include "options/Unusable.h"
#include "report/Console.h"
#include "report/Utf8.h"
#include "seconds.h"

#include <host/Descriptor.h>
#include <host/availableCameras.h>
#include <host/v4l2/V4L2Camera.h>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace {

/// Looks again whenever a node appears in /dev or changes its permission, and every second while there is a PipeWire daemon.
std::string awaitCamera(Console& console, const std::optional<double>& limit)
{
    const auto end
        = limit.transform([](double length) { return steady_clock::now() + nanosecondsOf(length); });
    const sigset_t signals = endingSignals();
    PendingInterrupt interrupt;
    const host::Descriptor interrupts(::signalfd(-1, &signals, SFD_CLOEXEC));
    const host::Descriptor changes(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    const bool isWatched
        = ::inotify_add_watch(changes.get(), "/dev", IN_CREATE | IN_MOVED_TO | IN_ATTRIB) >= 0;
    bool isReported = false;
    for (;;) {
        if (auto camera = host::automaticCameras().back)
            return *camera;
        if (!std::exchange(isReported, true))
            console.note("waiting for a camera");
        std::chrono::milliseconds wait = isWatched && !host::hasPipeWireDaemon() ? 1h : 1s;
        if (end)
            wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(*end - steady_clock::now()));
        if (wait <= 0ms)
            throw Unusable(formatted("no camera came within %.4g s", *limit));
        std::array<pollfd, 2> entries{{{.fd = changes.get(), .events = POLLIN, .revents = 0},
            {.fd = interrupts.get(), .events = POLLIN, .revents = 0}}};
        ::poll(entries.data(), entries.size(), static_cast<int>(wait.count()));
        if (interrupt.isAsked())
            throw Interrupted();
        std::array<char, 4096> ignored{};
        while (::read(changes.get(), ignored.data(), ignored.size()) > 0) { }
    }
}

std::string backInput(
    const GlobalOptions& options, const Needs& needs, const std::optional<std::string>& automatic)
{
    Console console(options.json);
    if (options.back == host::automaticNode && needs.waitsForCamera && !needs.usesFrontCamera)
        return awaitCamera(console, needs.seconds);
    if (options.back)
        return host::specificInput(*options.back, platform::AVCaptureDevicePosition::back);
    if (needs.withoutCamera == WithoutCamera::watch && !(automatic && automatic->starts_with("pipewire:")))
        return host::automaticNode;
    if (automatic)
        return *automatic;
    if (needs.usesFrontCamera || needs.withoutCamera == WithoutCamera::pattern)
        return defaultPattern;
    if (needs.withoutCamera == WithoutCamera::reportedPattern) {
        console.note(std::string("there is no camera: the pictures are the test pattern ") + defaultPattern);
        return defaultPattern;
    }
    console.writeEvent("device",
        {{"position", "back"}, {"type", "builtInWideAngleCamera"}, {"name", defaultPattern},
            {"testPattern", true}});
    throw Unusable(
        std::string("there is no camera, so the picture would be a test pattern: --back names an input, and ")
        + "--back " + defaultPattern + " a test pattern");
}

} // namespace

CameraInputs cameraInputs(const GlobalOptions& options, const Needs& needs)
{
    const host::AutomaticCameras automatic
        = options.back ? host::AutomaticCameras{} : host::automaticCameras(needs.usesFrontCamera);
    const std::optional<std::string> front = options.front
        ? host::specificInput(*options.front, platform::AVCaptureDevicePosition::front)
        : automatic.front;
    if (needs.usesFrontCamera && !front)
        throw Unusable("there is no front camera: --front names one");
    return {backInput(options, needs, automatic.back), front};
}

} // namespace tamsel::capture
