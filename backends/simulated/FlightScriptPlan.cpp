// What a replayed phone does by itself.

#include <simulated/FlightScript.h>

#include <simulated/Scheduler.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>

namespace tamsel::simulated {

using namespace platform;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

template <typename Sample>
engine::MotionReading<Sample> reading(const formats::FlightEvent& event, Sample sample, std::size_t code)
{
    engine::MotionReading<Sample> made;
    if (!std::isnan(event.number(0)))
        made.sample = sample;
    if (!std::isnan(event.number(code)))
        made.error = Error{.localizedDescription = event.text, .code = static_cast<int>(event.number(code))};
    return made;
}

} // namespace

void FlightScript::planAt(nanoseconds time, const char* name, std::function<void()> action)
{
    scheduler_->at(std::max(0ns, phoneTime(time)), name, std::move(action));
}

SimulatedCamera& FlightScript::camera(Phone& phone, std::size_t number) const
{
    const auto position = [this](std::size_t of) { return recording_->inputs.at(of).number(1); };
    std::size_t before = 0;
    for (std::size_t other = 0; other < number; ++other)
        before += position(other) == position(number) ? 1 : 0;
    return phone.camera(static_cast<AVCaptureDevicePosition>(position(number)), before);
}

nanoseconds FlightScript::changeOf(const Event& event) const
{
    return std::isnan(event.number(2)) ? 0ns : event.nanoseconds(2) + 1ns;
}

void FlightScript::plan(Phone& phone, Scheduler& scheduler)
{
    scheduler_ = &scheduler;
    planFrames(phone);
    for (std::size_t index = 0; index < events_.size(); ++index)
        planEvent(phone, index);
}

/// A frame comes from the camera whose start began last. The reason why a frame was gated may not exist on a phone, whose
/// queues take no time, so such a frame is only counted.
void FlightScript::planFrames(Phone& phone)
{
    std::map<nanoseconds, std::size_t> sources{{nanoseconds::min(), 0}};
    for (const Event& event : events_) {
        if (event.kind == Kind::cameraStarted)
            sources[event.time - event.nanoseconds(1)] = static_cast<std::size_t>(event.number(0));
    }
    std::map<std::pair<double, double>, Frame> produced; ///< by session and number
    for (std::size_t number = 0; number < events_.size(); ++number) {
        const Event& event = events_[number];
        if (event.time < origin_)
            continue;
        const std::pair key{event.number(0), event.number(1)};
        if (event.kind == Kind::frame)
            produced.emplace(key,
                Frame{event.nanoseconds(2) - origin_, static_cast<std::size_t>(event.number(3)),
                    static_cast<std::size_t>(event.number(4)), event.time});
        const bool isDropped = event.kind == Kind::dropped;
        if (event.kind != Kind::delivered && event.kind != Kind::gated && !isDropped)
            continue;
        const auto found = produced.find(key);
        std::optional<DropCause> cause;
        if (isDropped)
            cause = static_cast<DropCause>(event.number(2));
        const bool hasPicture = event.kind == Kind::delivered || cause == DropCause::noReceiver;
        if (hasPicture && found == produced.end())
            continue;
        if (cause == DropCause::deviceLost)
            continue; // part of the loss
        const nanoseconds effect = isDropped ? effectOf(number, {Kind::didGetError}) : event.time;
        const nanoseconds begin = found == produced.end() ? event.time : found->second.begin;
        const nanoseconds time = beforeBarrier(begin, effect);
        SimulatedCamera& of = camera(phone, std::prev(sources.upper_bound(begin))->second);
        if (hasPicture)
            planAt(time, "frame of a camera",
                [&of, frame = found->second] { of.produceFrame(frame.captured, frame.width, frame.height); });
        else
            planAt(time, "frame of a camera", [&of, cause] { of.dropFrame(cause); });
    }
}

void FlightScript::planEvent(Phone& phone, std::size_t index)
{
    const Event& event = events_[index];
    switch (event.kind) {
    case Kind::cameraLost:
        if (event.time >= origin_)
            planAt(effectOf(index, {Kind::didGetError}), "loss of a camera",
                [&of = camera(phone, static_cast<std::size_t>(event.number(0))),
                    error = Error{.localizedDescription = event.text,
                        .code = static_cast<int>(event.number(1))}] { of.lose(error); });
        break;
    case Kind::cameraPresent:
        planAt(changeOf(event), "a camera comes or goes",
            [&of = camera(phone, static_cast<std::size_t>(event.number(0))), isPresent = event.is(1)] {
                of.script().isPresent = isPresent;
            });
        break;
    case Kind::authorization: {
        const auto [previous, isFirst] = authorizationTimes_.try_emplace(event.number(0), -1ns);
        planAt(previous->second + 1ns, "authorization",
            [&phone, media = static_cast<AVMediaType>(event.number(0)),
                status = static_cast<AVAuthorizationStatus>(event.number(1))] {
                phone.setAuthorization(media, status);
            });
        previous->second = event.time;
        break;
    }
    case Kind::orientation:
        planAt(changeOf(event), "orientation",
            [&phone, orientation = static_cast<UIDeviceOrientation>(event.number(1))] {
                phone.setDeviceOrientation(orientation);
            });
        break;
    case Kind::notification:
        planAt(event.time, "notification",
            [&phone, interface = static_cast<UIInterfaceOrientation>(event.number(0)),
                isInBackground = event.is(1)] {
                phone.setInterfaceOrientation(interface);
                isInBackground ? phone.enterBackground() : phone.enterForeground();
            });
        break;
    case Kind::microphoneLost:
        if (event.time >= origin_)
            planAt(event.time, "loss of the microphone", [&phone] { phone.microphone().unplug(); });
        break;
    case Kind::gyroPresent:
        planAt(changeOf(event), "gyroscope",
            [&phone, has = event.is(1)] { phone.motion().script().hasGyro = has; });
        break;
    case Kind::deviceMotionPresent:
        planAt(changeOf(event), "device motion",
            [&phone, has = event.is(1)] { phone.motion().script().hasDeviceMotion = has; });
        break;
    default:
        planMotion(phone, index);
    }
}

void FlightScript::planMotion(Phone& phone, std::size_t index)
{
    const Event& event = events_[index];
    if (event.time < origin_)
        return;
    if (event.kind == Kind::gyro) {
        const CMGyroData sample{.rotationRate = {event.number(0), event.number(1), event.number(2)},
            .timestamp = event.number(3)};
        planAt(effectOf(index, {Kind::didDetectStability}), "gyroscope",
            [&phone, made = reading(event, sample, 4)] { phone.motion().produce(made); });
    } else if (event.kind == Kind::deviceMotion) {
        const CMDeviceMotion sample{.attitude = {event.number(0), event.number(1), event.number(2)},
            .rotationRate = {event.number(3), event.number(4), event.number(5)},
            .timestamp = event.number(6)};
        planAt(effectOf(index, {Kind::didDetectFacingAngle}), "device motion",
            [&phone, made = reading(event, sample, 7)] { phone.motion().produce(made); });
    }
}

} // namespace tamsel::simulated
