#pragma once

#include "options/Options.h"
#include "report/DetectionReport.h"
#include "report/MotionReport.h"

#include <tamsel/client/CaptureCondition.h>
#include <tamsel/platform/Geometry.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// What was seen in a session, and when, in seconds since its start; for the pictures of it. Not thread-safe.
class CaptureHistory {
public:
    void addCodes(const std::vector<DetectedCode>& codes, double time);
    void addFace(platform::CGRect bounds, double time);

    /// What is in view at that time, in the stored picture.
    [[nodiscard]] std::vector<Finding> findings(double time) const;

    /// The session as an SVG picture: what the motion sensors said, the verdicts, what was in view, and the shot.
    [[nodiscard]] std::string plot(const MotionOptions& motion,
        const std::vector<CaptureCondition>& conditions, const std::vector<MotionVerdict>& verdicts,
        std::optional<double> shot, double end) const;

private:
    std::map<std::string, std::vector<double>> sightings_; ///< by what it is called
    std::vector<DetectedCode> codes_; ///< of the latest batch
    double codesTime_ = -1;
    platform::CGRect face_; ///< the latest
    double faceTime_ = -1;
};

} // namespace tamsel::capture
