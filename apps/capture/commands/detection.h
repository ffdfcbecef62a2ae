#pragma once

#include "pictures/Picture.h"
#include "report/Console.h"
#include "report/DetectionReport.h"

#include <tamsel/metadata/MetadataObjectType.h>
#include <tamsel/platform/AVMetadataObject.h>
#include <tamsel/platform/CGImageProperties.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// What to detect in one input.
struct DetectionJob {
    std::string input; ///< as it can be opened
    std::optional<std::string> label; ///< reported with the results when there are several inputs
    std::vector<MetadataObjectType> kinds; ///< of codes, and faces
    std::optional<std::string> annotated; ///< the file for a picture with outlines
    std::optional<double> seconds; ///< of a video or a camera: where to end
    std::optional<std::int64_t> orientation; ///< 1 to 8, instead of that of the picture

    [[nodiscard]] bool asksForCodes() const;
    [[nodiscard]] bool asksForFaces() const;
};

/// The results of one detection, which are relative to the stored picture.
struct Found {
    std::vector<std::shared_ptr<const platform::AVMetadataFaceObject>> faces;
    std::vector<DetectedCode> codes;

    [[nodiscard]] bool isEmpty() const { return faces.empty() && codes.empty(); }
};

/// Draws the results into the upright picture, whose stored one has that orientation, and saves it for the job.
void writeAnnotated(const DetectionJob& job, Picture upright,
    platform::CGImagePropertyOrientation orientation, const Found& found, Console& console);

/// Writes the last line about a video or a camera.
void writeSummary(
    const DetectionJob& job, std::uint64_t frames, const DetectionReport& report, Console& console);

/// Whether the host can detect all these kinds.
[[nodiscard]] bool canDetect(const std::vector<MetadataObjectType>& kinds);

/// The quarter turns, clockwise, that bring the stored frames of a video file upright; absent for any other input.
[[nodiscard]] std::optional<int> quarterTurnsOfVideo(const std::string& file);

// Whether something was found in a file; absent when it is not a picture, or not a regular file. Throws `Unusable` when it
// cannot be decoded.

[[nodiscard]] std::optional<bool> detectInPicture(const DetectionJob& job, Console& console);
/// Detects in each frame, as fast as possible, until an interrupt.
[[nodiscard]] std::optional<bool> detectInVideo(
    const DetectionJob& job, Console& console, bool& wasInterrupted);

} // namespace tamsel::capture
