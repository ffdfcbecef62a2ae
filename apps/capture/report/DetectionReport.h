#pragma once

#include "pictures/Annotation.h"
#include "report/Console.h"

#include <tamsel/facade/types/OvriMetadataObjects.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::capture {

using DetectedCode = OvriMetadataMachineReadableCodeObject;

/// Reports detections: all as events; as lines, those that have just come into view. Not thread-safe.
class DetectionReport {
public:
    /// With a start, all reports contain the seconds since then; with a label, that label.
    explicit DetectionReport(Console& console, std::optional<std::chrono::nanoseconds> start = std::nullopt,
        std::optional<std::string> label = std::nullopt)
        : console_(console),
          start_(start),
          label_(std::move(label))
    {
    }

    void addFace(platform::CGRect bounds, std::int64_t id, std::chrono::nanoseconds now);
    void addCodes(const std::vector<DetectedCode>& codes, std::chrono::nanoseconds now);

    /// How often codes, faces or both were found, in one line.
    [[nodiscard]] std::string summary(bool ofCodes, bool ofFaces) const;
    [[nodiscard]] bool hasFound() const { return batches_ + faces_ > 0; }

private:
    /// The name of a kind, and a value.
    using Code = std::pair<std::string, std::optional<std::string>>;

    void writeEvent(const char* name, Json members, std::chrono::nanoseconds now);
    void write(const std::string& line, std::chrono::nanoseconds now);

    Console& console_;
    const std::optional<std::chrono::nanoseconds> start_;
    const std::optional<std::string> label_;
    std::uint64_t batches_ = 0; ///< of codes
    std::uint64_t faces_ = 0;
    std::map<Code, std::chrono::nanoseconds> codes_; ///< and when each was last in view
    std::map<std::int64_t, std::chrono::nanoseconds> faceTimes_;
};

/// As drawn. Positions are relative to the picture.
[[nodiscard]] Finding findingOf(const DetectedCode& code);
[[nodiscard]] Finding findingOf(platform::CGRect face);

} // namespace tamsel::capture
