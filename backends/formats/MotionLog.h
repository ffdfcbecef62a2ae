#pragma once

#include <tamsel/platform/CMMotionManager.h>
#include <tamsel/platform/Error.h>

#include <chrono>
#include <expected>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::formats {

/// Samples of a phone's motion sensors, read from a text of comma-, semicolon- or tab-separated values (RFC 4180) with
/// a header that names the columns, in any order; other columns are ignored. Upper and lower case, punctuation and a
/// unit in parentheses do not matter, but a unit other than these is refused:
/// - time in seconds, not decreasing: `seconds_elapsed`, or else `t`, `time` or `timestamp`
/// - rotation rate in radians per second: `x`, `rotationRate.x` or `gyroscope x`, and the same with y and z
/// - pitch in radians: `pitch`, or else the attitude as a unit quaternion: `attitude.x`, `quaternion.x` or `qx`, and the
///   same with y, z and w, whose pitch is asin(2(wx + yz))
/// A log has rotation rates, pitch or both. A file that is named after an accelerometer, gravity or a magnetometer has no
/// rotation rates in its `x`, `y` and `z`, and is refused.
class MotionLog {
public:
    /// One sample of a log.
    struct Row {
        std::chrono::nanoseconds offset{}; ///< since the first row
        std::optional<platform::CMRotationRate> rotationRate
            = std::nullopt; ///< in all rows of a log or in none
        std::optional<double> pitch = std::nullopt; ///< radians; in all rows or in none
    };

    /// The error is one line, "FILE:LINE: what is wrong". The whole log is refused: no sample is ever invented.
    [[nodiscard]] static std::expected<std::shared_ptr<const MotionLog>, platform::Error> read(
        const std::string& file);
    /// The same from a stream; errors name the file `name`.
    [[nodiscard]] static std::expected<std::shared_ptr<const MotionLog>, platform::Error> parse(
        std::istream& stream, const std::string& name);

    /// Rows in the order of their offsets, of which the first is 0; at least one.
    explicit MotionLog(std::vector<Row> rows, double firstTime = 0);

    [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }
    [[nodiscard]] bool hasRotationRate() const { return rows_.front().rotationRate.has_value(); }
    [[nodiscard]] bool hasPitch() const { return rows_.front().pitch.has_value(); }
    /// Seconds, as in the first row.
    [[nodiscard]] double firstTime() const { return firstTime_; }
    [[nodiscard]] std::chrono::nanoseconds length() const { return rows_.back().offset; }

    /// The newest row that is not later; absent before the first and after the last.
    [[nodiscard]] const Row* rowAt(std::chrono::nanoseconds offset) const;

private:
    std::vector<Row> rows_;
    double firstTime_;
};

} // namespace tamsel::formats
