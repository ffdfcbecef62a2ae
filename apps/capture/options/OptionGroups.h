#pragma once

#include <tamsel/client/CaptureCondition.h>
#include <tamsel/metadata/MetadataObjectType.h>
#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/AVCaptureOutput.h>

#include <formats/MotionLog.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What a command line asks for, by theme.

namespace tamsel::capture {

/// What the command line asks of motion detection.
struct MotionOptions {
    std::optional<std::string> logFile;
    std::shared_ptr<const formats::MotionLog> log; ///< what the file says
    bool useSensors = false; ///< of the machine, in place of a log
    bool stability = false;
    bool facingAngle = false;
    double threshold = 0.3; ///< radians per second
    double duration = 0.8; ///< seconds
    double angle = 45; ///< degrees
    bool realTime = false;
    std::optional<std::string> plot;
};

/// What the command line asks of a still; what it leaves open is left to the product's settings.
struct StillOptions {
    bool isSilent = false;
    std::optional<platform::AVCaptureFlashMode> flash;
    std::optional<platform::AVCaptureTorchMode> torch;
};

/// What the command line asks of a recording.
struct RecordOptions {
    std::optional<std::string> microphone; ///< absent: the sound of the camera's own file
    bool isSilent = false;
    bool overwrites = false;
    std::vector<std::string> encoders; ///< empty: the best that is there
};

/// What is to be found in a picture, a video or before a camera.
struct DetectOptions {
    std::vector<MetadataObjectType> kinds; ///< of codes, and faces
    std::optional<std::string> annotated; ///< a picture with what was found

    [[nodiscard]] bool asksForCodes() const
    {
        return std::ranges::any_of(
            kinds, [](MetadataObjectType kind) { return kind != MetadataObjectType::face; });
    }
    [[nodiscard]] bool asksForFaces() const
    {
        return std::ranges::any_of(
            kinds, [](MetadataObjectType kind) { return kind == MetadataObjectType::face; });
    }
};

/// What is waited for before a still is taken, and what is kept beside it.
struct CaptureOptions {
    std::vector<CaptureCondition> conditions{CaptureCondition::still(), CaptureCondition::tilted()};
    double timeout = 30; ///< seconds
    bool looksForFaces = false;
    bool records = false;
    bool overwrites = false;
    std::string folder;

    [[nodiscard]] bool waitsFor(CaptureCondition::Kind kind) const
    {
        return std::ranges::find(conditions, kind, &CaptureCondition::kind) != conditions.end();
    }
    /// What is looked for: codes of all kinds, since outlines of others help, too.
    [[nodiscard]] std::vector<MetadataObjectType> kinds() const
    {
        std::vector<MetadataObjectType> kinds = allBarcodes();
        if (looksForFaces || waitsFor(CaptureCondition::Kind::face))
            kinds.emplace_back(MetadataObjectType::face);
        return kinds;
    }
    [[nodiscard]] bool needsMotion() const
    {
        return waitsFor(CaptureCondition::Kind::still) || waitsFor(CaptureCondition::Kind::tilted);
    }
};

} // namespace tamsel::capture
