#pragma once

#include <tamsel/facade/types/OvriSourceToSession.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tamsel::capture {

/// What the program returns.
enum class ExitStatus : std::uint8_t { done = 0, failed = 1, unusable = 2, interrupted = 130 };

/// The program's two streams, whole lines at a time. Thread-safe.
class Console {
public:
    /// With `json` every event is one JSON object a line.
    explicit Console(bool json) : json_(json) { }

    [[nodiscard]] bool isJson() const { return json_; }

    void write(const std::string& line);
    /// A line for the person in front of it.
    void note(const std::string& line);
    /// The same, and the program will return `failed`.
    void fail(const std::string& line);
    /// An error event, where events are written.
    void writeError(std::string_view kind, const std::optional<std::string>& reason);
    // An error event, and a line.
    void fail(const CameraError& error);
    void fail(const MotionHelperError& error);

    [[nodiscard]] bool hasFailed() const { return hasFailed_; }
    /// What the program returns after a session, which the person in front of it may have ended.
    [[nodiscard]] ExitStatus endSession(bool wasInterrupted);

private:
    void failAs(const std::string& kind, const std::optional<std::string>& reason);

    const bool json_;
    std::mutex guard_;
    std::atomic<bool> hasFailed_ = false;
};

} // namespace tamsel::capture
