#pragma once

#include "options/Options.h"
#include "pictures/Annotation.h"
#include "report/Console.h"
#include "report/JsonLine.h"

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

/// Tells what was found: every event, or, for a person, what was not in view a moment before. Not thread-safe.
class DetectionTeller {
public:
    /// Of something that lasts, everything is told with its time since the start, in seconds.
    explicit DetectionTeller(Console& console, std::optional<std::chrono::nanoseconds> start = std::nullopt)
        : console_(console),
          start_(start)
    {
    }

    void tellFace(platform::CGRect bounds, std::int64_t id, std::chrono::nanoseconds now);
    void tellCodes(const std::vector<DetectedCode>& codes, std::chrono::nanoseconds now);

    /// How often something of these kinds was found, in one line.
    [[nodiscard]] std::string summary(const DetectOptions& options) const;

private:
    /// A kind, in words, and a value.
    using Code = std::pair<std::string, std::optional<std::string>>;

    void write(JsonLine event, std::chrono::nanoseconds now);
    void write(const std::string& line, std::chrono::nanoseconds now);

    Console& console_;
    const std::optional<std::chrono::nanoseconds> start_;
    std::uint64_t batches_ = 0; ///< of codes
    std::uint64_t faces_ = 0;
    std::map<Code, std::chrono::nanoseconds> codes_; ///< and when each was last in view
    std::map<std::int64_t, std::chrono::nanoseconds> faceTimes_;
};

/// As it is drawn. Places are relative to the picture that they were found in.
[[nodiscard]] Finding findingOf(const DetectedCode& code);
[[nodiscard]] Finding findingOf(platform::CGRect face);

} // namespace tamsel::capture
