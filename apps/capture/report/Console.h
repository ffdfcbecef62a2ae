#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/facade/types/OvriSourceToSession.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tamsel::capture {

class JsonLine;

/// What the program returns.
enum class ExitStatus : std::uint8_t { done = 0, failed = 1, unusable = 2, interrupted = 130 };

/// The program's two streams, whole lines at a time; what is foreign in them reaches a terminal as text only. Thread-safe.
class Console {
public:
    /// With `json` every event is one JSON object a line.
    explicit Console(bool json) : json_(json) { }

    [[nodiscard]] bool isJson() const { return json_; }

    /// Keeps all events in a new file, too, from now on. False when it cannot be made, which has been told.
    [[nodiscard]] bool keepEvents(const std::string& file);
    /// Whether it is of use to make any.
    [[nodiscard]] bool wantsEvents() const { return json_ || events_; }
    /// An event, for the files and programs that want them.
    void write(const JsonLine& event);
    /// A line of the output.
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
    /// The first line that was told as a failure; empty before.
    [[nodiscard]] std::string firstFailure();
    /// What the program returns after a session, which the person in front of it may have ended.
    [[nodiscard]] ExitStatus endSession(bool wasInterrupted);

private:
    void print(const std::string& text) TAMSEL_REQUIRES(guard_);
    void failAs(const std::string& kind, const std::optional<std::string>& reason);

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    const bool json_;
    std::unique_ptr<std::FILE, Close> events_; ///< set before there are threads
    Mutex guard_;
    bool hasLostEvents_ TAMSEL_GUARDED_BY(guard_) = false;
    bool isUnread_ TAMSEL_GUARDED_BY(guard_) = false; ///< nobody reads the standard output any more
    std::string firstFailure_ TAMSEL_GUARDED_BY(guard_);
    std::atomic<bool> hasFailed_ = false;
};

} // namespace tamsel::capture
