#pragma once

#include <engine/capture/MetadataDetector.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace tamsel::simulated {

class Scheduler;

/// The identifiers of all kinds of codes, then that of faces.
[[nodiscard]] std::vector<platform::AVMetadataObjectType> allMetadataObjectTypes();

/// What a simulated phone detects. May be changed at any time.
struct DetectorScript {
    /// What a metadata output offers, by the platform's identifiers.
    std::vector<platform::AVMetadataObjectType> detectableTypes = allMetadataObjectTypes();
    /// Of each look at a frame. Frames that come meanwhile are passed over.
    std::chrono::nanoseconds timeToDetect{};
    /// What is before the camera in the frame of this number (`FrameTiming::sequence`, which counts the frames of a session);
    /// nothing by default. What it throws is a fault of the detector.
    std::function<platform::AVMetadataObjects(std::uint64_t)> scene = nullptr;
};

/// A detector that finds what a test says. It looks at frames while a camera session runs that was asked for something
/// detectable; the client is told once the phone has been run (`Phone::run`, `advance`), `timeToDetect` after the frame:
///
///     phone.detector().show({std::make_shared<platform::AVMetadataMachineReadableCodeObject>(
///         "org.iso.QRCode", std::vector<platform::CGPoint>{{0.1, 0.1}, {0.2, 0.1}, {0.2, 0.2}, {0.1, 0.2}}, "hello")});
///     phone.camera(platform::AVCaptureDevicePosition::back).produceFrame();
///     phone.run(); // the client has one code
class SimulatedDetector final : public engine::MetadataDetector,
                                public std::enable_shared_from_this<SimulatedDetector> {
public:
    SimulatedDetector(DetectorScript script, Scheduler& scheduler);

    [[nodiscard]] DetectorScript& script() { return script_; }
    /// These objects are before the camera from now on, in place of the scene. Those of types that were asked for are found,
    /// in this order, in every frame that is looked at.
    void show(platform::AVMetadataObjects objects);
    /// A batch out of the blue: the next look finds exactly these objects, whatever is before the camera and whatever was
    /// asked for, of unknown types too. Of several, each look takes one.
    void produceBatch(platform::AVMetadataObjects objects);

    /// The numbers of the frames that were looked at, over all sessions.
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
