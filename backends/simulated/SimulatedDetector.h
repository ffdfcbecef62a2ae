#pragma once

#include <engine/capture/MetadataDetector.h>

#include <tamsel/metadata/MetadataObjectType.h>
#include <tamsel/platform/AVMetadataObject.h>
#include <tamsel/platform/Geometry.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::simulated {

class Scheduler;

/// The identifiers of all kinds of codes, then that of faces.
[[nodiscard]] std::vector<platform::AVMetadataObjectType> allMetadataObjectTypes();

/// A code in view. Bounds are relative to the frame: 0 to 1, origin in its top left corner.
[[nodiscard]] std::shared_ptr<const platform::AVMetadataObject> code(
    MetadataObjectType type, std::string text, platform::CGRect bounds = {{0.4, 0.4}, {0.2, 0.2}});
/// A face in view, with bounds like those of a code.
[[nodiscard]] std::shared_ptr<const platform::AVMetadataObject> face(
    platform::CGRect bounds = {{0.3, 0.2}, {0.4, 0.5}}, std::int64_t faceID = 1);

/// The script of a simulated detector. May be changed at any time.
struct DetectorScript {
    /// The available types of a metadata output, by the platform's identifiers.
    std::vector<platform::AVMetadataObjectType> detectableTypes = allMetadataObjectTypes();
    /// Of each detection. Frames that arrive meanwhile are skipped.
    std::chrono::nanoseconds timeToDetect{};
    /// The objects in view in the frame of this number (`FrameTiming::sequence`, which counts the frames of a session);
    /// none by default. An exception is a fault of the detector.
    std::function<platform::AVMetadataObjects(std::uint64_t)> scene = nullptr;
};

/// A scripted detector. It examines frames while a camera session runs that detects something. The client is called
/// when the phone runs (`Phone::run`, `advance`), `timeToDetect` after the frame:
///
///     phone.detector().show({simulated::code(MetadataObjectType::qr, "hello")});
///     phone.camera(platform::AVCaptureDevicePosition::back).produceFrame();
///     phone.run(); // the client has one code
class SimulatedDetector final : public engine::MetadataDetector,
                                public std::enable_shared_from_this<SimulatedDetector> {
public:
    SimulatedDetector(DetectorScript script, Scheduler& scheduler);

    [[nodiscard]] DetectorScript& script() { return script_; }
    /// These objects are in view from now on and replace the scene. Objects of requested types are found, in this
    /// order, in every examined frame.
    void show(platform::AVMetadataObjects objects);
    /// The next detection returns exactly these objects, whatever is in view and was requested, also of unknown types.
    /// Each further batch is for one more detection.
    void produceBatch(platform::AVMetadataObjects objects);

    /// The numbers of the examined frames, over all sessions.
    [[nodiscard]] const std::vector<std::uint64_t>& framesExamined() const { return framesExamined_; }

    [[nodiscard]] std::vector<platform::AVMetadataObjectType> detectableTypes() const override;
    [[nodiscard]] std::unique_ptr<engine::MetadataDetection> begin(
        std::vector<platform::AVMetadataObjectType> types) override;

private:
    class Detection;

    DetectorScript script_;
    Scheduler& scheduler_;
    std::deque<platform::AVMetadataObjects> batches_;
    std::vector<std::uint64_t> framesExamined_;
};

} // namespace tamsel::simulated
