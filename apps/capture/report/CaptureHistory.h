#pragma once

#include "options/Options.h"
#include "pictures/SvgPlot.h"
#include "report/CapturePage.h"
#include "report/DetectionReport.h"
#include "report/MotionReport.h"

#include <tamsel/client/CaptureCondition.h>
#include <tamsel/platform/Geometry.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::capture {

/// What happened in a session, in seconds since its start, for its chart and its page. Not thread-safe.
class CaptureHistory {
public:
    void addCodes(const std::vector<DetectedCode>& codes, double time);
    void addFace(platform::CGRect bounds, double time);
    /// Anything else, in words.
    void addNote(double time, std::string text, std::string details = {});

    /// What is in view at that time, in the stored picture.
    [[nodiscard]] std::vector<Finding> findings(double time) const;

    /// The session as an SVG picture: the motion sensors' curves, the verdicts, what was in view, and the still.
    [[nodiscard]] std::string plot(const MotionOptions& motion,
        const std::vector<CaptureCondition>& conditions, const std::vector<MotionVerdict>& verdicts,
        std::optional<SvgPlot::Moment> still, double end) const;
    /// The session in words, in the order of time.
    [[nodiscard]] std::vector<CapturePage::Event> events(
        const std::vector<MotionVerdict>& verdicts, std::optional<double> shot) const;

private:
    /// A period in view, without a longer break than the gate allows.
    struct Sighting {
        double first;
        double last;
        std::uint64_t count;
    };
    using KindAndLabel = std::pair<std::string, std::string>;

    void see(const std::string& kind, const std::string& label, double time);

    std::map<KindAndLabel, std::vector<Sighting>> sightings_;
    std::vector<CapturePage::Event> notes_;
    std::vector<DetectedCode> codes_; ///< of the latest batch
    double codesTime_ = -1;
    platform::CGRect face_; ///< the latest
    double faceTime_ = -1;
};

} // namespace tamsel::capture
