#include "commands/StatusWatch.h"

#include "options/Options.h"
#include "report/Utf8.h"
#include "seconds.h"

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/MotionServices.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <string>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;

namespace {

/// How often it looks at what is not announced.
constexpr auto period = 250ms;

} // namespace

std::string_view nameOf(AVAuthorizationStatus status)
{
    switch (status) {
    case AVAuthorizationStatus::notDetermined:
        return "not asked for";
    case AVAuthorizationStatus::restricted:
        return "restricted";
    case AVAuthorizationStatus::denied:
        return "denied";
    case AVAuthorizationStatus::authorized:
        break;
    }
    return "authorised";
}

const char* yesOrNo(bool answer)
{
    return answer ? "yes" : "no";
}

MotionSensors MotionSensors::of(Platform& platform)
{
    const auto manager = platform.motion.makeMotionManager();
    return {.hasGyroscope = manager->isGyroAvailable(), .hasAttitude = manager->isDeviceMotionAvailable()};
}

StatusWatch::StatusWatch(Environment& environment, Console& console)
    : environment_(environment),
      console_(console),
      start_(environment.platform().clock.monotonic()),
      last_(state())
{
    environment.observeCameras([this](const host::CameraChange& change) { cameras_.push_back(change); });
}

StatusWatch::~StatusWatch()
{
    environment_.observeCameras(nullptr);
}

StatusWatch::State StatusWatch::state() const
{
    Platform& platform = environment_.platform();
    return {.permission = platform.capture.authorizationStatus(AVMediaType::video),
        .orientation = platform.device.orientation(),
        .sensors = MotionSensors::of(platform)};
}

void StatusWatch::report(std::string_view event, Json members, const std::string& line)
{
    const double time = seconds(environment_.platform().clock.monotonic() - start_);
    members["time"] = numberOf(time);
    console_.writeEvent(event, members);
    console_.write(formatted("%10.3f s  ", time) + line);
}

void StatusWatch::reportChanges()
{
    for (const host::CameraChange& change : std::exchange(cameras_, {})) {
        const std::string side = change.position == AVCaptureDevicePosition::front ? "front" : "back";
        const std::string what = !change.isPresent ? " is gone"
            : change.isPermitted                   ? " is present"
                                                   : " is present, but may not be used";
        report("camera",
            {{"position", side}, {"name", change.name}, {"present", change.isPresent},
                {"permitted", change.isPermitted}},
            side + " camera: " + change.name + what);
    }
    const State now = state();
    const State before = std::exchange(last_, now);
    if (now.permission != before.permission)
        report("permission", {{"camera", nameOf(now.permission)}},
            "permission of cameras: " + std::string(nameOf(now.permission)));
    if (now.orientation != before.orientation)
        report("orientation", {{"device", nameOf(now.orientation)}},
            "held: " + std::string(nameOf(now.orientation)));
    if (now.sensors != before.sensors)
        report("sensors", {{"gyroscope", now.sensors.hasGyroscope}, {"attitude", now.sensors.hasAttitude}},
            std::string("gyroscope: ") + yesOrNo(now.sensors.hasGyroscope)
                + ", attitude: " + yesOrNo(now.sensors.hasAttitude));
}

void StatusWatch::run()
{
    bool isOver = false;
    const std::shared_ptr<Timer> tick
        = environment_.platform().runLoops.current().scheduleTimer(period, true, [&](Timer&) {
              reportChanges();
              isOver = isOver || console_.isAbandoned();
          });
    const auto isDone = [&] {
        if (!cameras_.empty())
            reportChanges();
        return isOver;
    };
    environment_.runUntil(isDone, [&] { isOver = true; });
    tick->invalidate();
}

} // namespace tamsel::capture
