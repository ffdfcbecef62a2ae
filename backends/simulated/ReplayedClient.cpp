#include <simulated/ReplayedClient.h>

#include <simulated/FlightScript.h>

#include <engine/record/FlightRecorder.h>

#include <tamsel/client/options.h>
#include <tamsel/facade/OvriSourceManager.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

namespace tamsel::simulated {

using namespace platform;
using formats::FlightEvent;
using Kind = formats::FlightKind;

namespace {

std::optional<double> given(double number)
{
    return std::isnan(number) ? std::nullopt : std::optional(number);
}

bool hasBit(double bits, std::size_t number)
{
    return (static_cast<std::uint64_t>(std::isnan(bits) ? 0 : bits) >> number & 1) != 0;
}

/// By its index; an asset is none.
SourceType sourceOf(std::size_t index, bool records)
{
    const std::array sources{SourceType::cameraFront(records), SourceType::cameraBack(records),
        SourceType::undefined(), SourceType::undefined(), SourceType::mic(), SourceType::nfc(),
        SourceType::stability(), SourceType::facingAngle()};
    return sources.at(std::min(index, sources.size() - 1));
}

std::vector<SourceType> sourcesOf(double bits)
{
    std::vector<SourceType> sources;
    for (std::size_t index = 0; index < std::variant_size_v<SourceType::Value>; ++index) {
        if (hasBit(bits, index))
            sources.push_back(sourceOf(index, false));
    }
    return sources;
}

std::optional<TamselCameraSettings> settingsOf(const FlightEvent& event)
{
    if (std::isnan(event.number(2)))
        return std::nullopt;
    TamselCameraSettings settings{.cameraFlashMode = static_cast<AVCaptureFlashMode>(event.number(2)),
        .cameraTorchMode = static_cast<AVCaptureTorchMode>(event.number(3))};
    if (event.text == "silent")
        settings.cameraCaptureSound = TamselCameraSettings::CameraCaptureSound::silent();
    else if (!event.text.empty())
        settings.cameraCaptureSound = TamselCameraSettings::CameraCaptureSound::custom(event.text);
    return settings;
}

/// The options of all sessions and verdicts, which begin at this number.
Configurations optionsOf(const FlightEvent& event, std::size_t first)
{
    Configurations options = MotionOptions{.stabilityThreshold = given(event.number(first)),
        .stabilityDuration = given(event.number(first + 1)),
        .angle = given(event.number(first + 2))};
    if (event.kind == Kind::startSession)
        options.merge(Configurations(CameraOptions{.minimumFocusObjectSize = given(event.number(3))}));
    return options;
}

} // namespace

ReplayedClient::ReplayedClient(Phone& phone, const formats::FlightRecording& recording)
    : phone_(phone),
      view_(std::make_shared<UIView>(CGSize{640, 480}))
{
    const std::chrono::nanoseconds origin = originOfReplay(recording);
    for (const FlightEvent& event : recording.events) {
        // Of what came before, managers and what was asked of them still count.
        const bool isState = event.kind == Kind::create || event.kind == Kind::release
            || event.kind == Kind::prefersAspectFill || event.kind == Kind::metadataDetection
            || event.kind == Kind::startMotion || event.kind == Kind::stopMotion;
        if (formats::isClientCall(event.kind) && (event.time >= origin || isState))
            phone.at(std::max(std::chrono::nanoseconds{}, event.time - origin),
                std::string(formatOf(event.kind).name), [this, &event] { call(event); });
    }
}

void ReplayedClient::call(const FlightEvent& event)
{
    if (event.kind == Kind::create) {
        managers_[event.number(0)] = OvriSourceManager::create(sourcesOf(event.number(1)),
            static_cast<CameraConfiguration::SessionPreset>(event.number(2)), phone_.makeQueue(event.text),
            phone_.platform());
    } else if (event.kind == Kind::release) {
        managers_.erase(event.number(0));
    } else if (const auto found = managers_.find(event.number(0)); found != managers_.end()) {
        change(*found->second, event);
    }
}

void ReplayedClient::change(OvriSourceManager& manager, const FlightEvent& event)
{
    const auto delegateIf = [this](bool isPresent) { return isPresent ? delegate_ : nullptr; };
    switch (event.kind) {
    case Kind::startSession:
        (void)manager.startSession(sourceOf(static_cast<std::size_t>(event.number(1)), event.is(2)),
            delegateIf(event.is(7)), optionsOf(event, 4), event.is(8) ? view_ : nullptr);
        break;
    case Kind::stopCamera:
        manager.stopCameraSession();
        break;
    case Kind::pause:
        manager.pauseCamera();
        break;
    case Kind::resume:
        manager.resumeCamera();
        break;
    case Kind::prefersAspectFill:
        manager.prefersAspectFillCameraPreview();
        break;
    case Kind::metadataDetection: {
        std::vector<MetadataObjectType> kinds;
        for (std::size_t kind = 0; kind <= MetadataObjectType::face; ++kind) {
            if (hasBit(event.number(1), kind))
                kinds.emplace_back(static_cast<MetadataObjectType::Case>(kind));
        }
        manager.setMetadataDetection(kinds, delegateIf(event.is(2)));
        break;
    }
    case Kind::startRecording:
        manager.startVideoRecording(event.text);
        break;
    case Kind::stopRecording:
        manager.stopVideoRecording();
        break;
    case Kind::captureStill:
        manager.captureStillImage(static_cast<OvriImageSource>(event.number(1)), settingsOf(event));
        break;
    case Kind::provide:
        manager.provide(std::vector<std::byte>(static_cast<std::size_t>(event.number(1))), {},
            static_cast<CGImagePropertyOrientation>(event.number(2)));
        break;
    case Kind::startMotion:
        manager.startMotionDetection(
            sourcesOf(event.number(1)), delegateIf(event.is(5)), optionsOf(event, 2));
        break;
    case Kind::stopMotion:
        manager.stopMotionWorkers();
        break;
    case Kind::setsDelegate:
        manager.setDelegate(delegateIf(event.is(1)));
        break;
    case Kind::setsMotionDelegate:
        manager.setMotionDelegate(delegateIf(event.is(1)));
        break;
    case Kind::setsMetadataDelegate:
        manager.setMetadataDelegate(delegateIf(event.is(1)));
        break;
    default:
        break;
    }
}

formats::FlightRecording replay(std::shared_ptr<const formats::FlightRecording> recording)
{
    const auto recorder = std::make_shared<engine::FlightRecorder>(
        engine::FlightRecorder::Options{.events = 2 * recording->events.size() + 1024});
    Phone phone({.recording = recording, .recorder = recorder});
    const ReplayedClient client(phone, *recording);
    if (!recording->events.empty())
        phone.advance(recording->events.back().time - originOfReplay(*recording));
    return recorder->recording();
}

std::chrono::nanoseconds originOfReplay(const formats::FlightRecording& recording)
{
    return FlightScript::originOf(recording);
}

} // namespace tamsel::simulated
