#pragma once

#include "report/Console.h"

#include <tamsel/metadata/MetadataObjectType.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// What is looked for in one input.
struct DetectionJob {
    std::string input; ///< as it can be opened
    std::optional<std::string> label; ///< with which its results are reported, where there are several inputs
    std::vector<MetadataObjectType> kinds; ///< of codes, and faces
    std::optional<std::string> annotated; ///< a picture with what was found
    std::optional<double> seconds; ///< of a video: the end
    std::optional<std::int64_t> orientation; ///< of a picture, 1 to 8, where it is not its own

    [[nodiscard]] bool asksForCodes() const;
    [[nodiscard]] bool asksForFaces() const;
};

/// Whether the host can detect all these kinds.
[[nodiscard]] bool canDetect(const std::vector<MetadataObjectType>& kinds);

/// The quarter turns, clockwise, that bring the stored frames of a video file upright; absent for any other input.
[[nodiscard]] std::optional<int> quarterTurnsOfVideo(const std::string& file);

// Whether something was found in a file; absent when it is no picture, or no video. Throws `Unusable` for one that cannot be
// decoded.

[[nodiscard]] std::optional<bool> detectInPicture(const DetectionJob& job, Console& console);
/// Looks at each frame, as fast as that can be. A signal that asks the program to end ends this in order.
[[nodiscard]] std::optional<bool> detectInVideo(
    const DetectionJob& job, Console& console, bool& wasInterrupted);

} // namespace tamsel::capture
