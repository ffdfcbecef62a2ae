#pragma once

#include "report/Json.h"

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

/// What the program returns.
enum class ExitStatus : std::uint8_t {
    done = 0,
    failed = 1,
    unusable = 2,
    nothingFound = 4,
    interrupted = 130,
    unread = 141, ///< whoever read the standard output has ended, as a shell says of SIGPIPE
};

/// The program's two streams, whole lines at a time. Texts of others appear as text only, whatever they contain. Thread-safe.
class Console {
public:
    /// With `json` every event is one JSON object a line.
    explicit Console(bool json) : json_(json) { }

    [[nodiscard]] bool isJson() const { return json_; }

    /// From now on writes all events into a new file, too. False when it cannot be made, which has been reported.
    [[nodiscard]] bool keepEvents(const std::string& file);
    /// Whether there is a reader of events.
    [[nodiscard]] bool wantsEvents() const { return json_ || events_; }
    /// Writes an event for the files and programs that want events.
    void writeEvent(std::string_view name, const Json& members = Json::object());
    /// Writes a line of the output.
    void write(const std::string& line);
    /// Writes a line for the person in front of it, on the standard error.
    void note(const std::string& line);
    /// The same, and the program will return `failed`.
    void fail(const std::string& line);
    /// An error event, where events are written.
    void writeError(std::string_view kind, const std::optional<std::string>& reason);
    // An error event, and a line.
    void fail(const CameraError& error);
    void fail(const MotionHelperError& error);

    [[nodiscard]] bool hasFailed() const { return hasFailed_; }
    /// The first line that was reported as a failure; empty before.
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
    bool isUnread_ TAMSEL_GUARDED_BY(guard_) = false; ///< the standard output has no reader any more
    std::string firstFailure_ TAMSEL_GUARDED_BY(guard_);
    std::atomic<bool> hasFailed_ = false;
};

} // namespace tamsel::capture
