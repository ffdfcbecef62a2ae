#pragma once

#include "report/Json.h"

#include <tamsel/Mutex.h>
#include <tamsel/facade/types/OvriSourceToSession.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
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
    unread = 141, ///< the reader of standard output has ended: as a shell reports SIGPIPE
};

/// Standard output and standard error, in whole lines. Control characters in them are escaped. Thread-safe.
class Console {
public:
    /// With `json`, standard output has one JSON object for each event, each on its own line.
    explicit Console(bool json) : json_(json) { }

    [[nodiscard]] bool isJson() const { return json_; }

    /// Writes all later events to a new file, too. False, and reported, when it cannot be created.
    [[nodiscard]] bool keepEvents(const std::string& file);
    /// Whether events are written anywhere.
    [[nodiscard]] bool wantsEvents() const { return json_ || events_; }
    /// Writes an event to standard output and the file, where these are wanted.
    void writeEvent(std::string_view name, const Json& members = Json::object());
    /// Writes a line on standard output, unless that has events.
    void write(const std::string& line);
    /// Writes a line for the user, on standard error.
    void note(const std::string& line);
    /// Shows a line of progress on a terminal, until the next output replaces it.
    void showProgress(const std::string& line);
    /// Leaves the line of progress on the terminal, if one is shown.
    void endProgress();
    /// Writes a line on standard error, and the program will return `failed`.
    void fail(const std::string& line);
    /// Writes an error event.
    void writeError(std::string_view kind, const std::optional<std::string>& reason);
    // Write an error event and a line on standard error; the program will return `failed`.
    void fail(const CameraError& error);
    void fail(const MotionHelperError& error);

    /// Whether the reader of standard output, a pipe, has ended. Otherwise that is noticed with the next output.
    [[nodiscard]] bool isAbandoned();
    [[nodiscard]] bool hasFailed() const { return hasFailed_; }
    /// The first failure reported; empty if none.
    [[nodiscard]] std::string firstFailure();
    /// What the program returns. Reports an interrupt.
    [[nodiscard]] ExitStatus endSession(bool wasInterrupted);

private:
    void print(const std::string& text) TAMSEL_REQUIRES(guard_);
    void clearProgress() TAMSEL_REQUIRES(guard_);
    void failAs(const std::string& kind, const std::optional<std::string>& reason);

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    const bool json_;
    std::unique_ptr<std::FILE, Close> events_; ///< set before threads start
    Mutex guard_;
    bool hasLostEvents_ TAMSEL_GUARDED_BY(guard_) = false;
    bool isUnread_ TAMSEL_GUARDED_BY(guard_) = false; ///< the reader of standard output has ended
    bool showsProgress_ TAMSEL_GUARDED_BY(guard_) = false;
    std::string firstFailure_ TAMSEL_GUARDED_BY(guard_);
    std::set<std::string> failures_ TAMSEL_GUARDED_BY(guard_);
    std::atomic<bool> hasFailed_ = false;
};

} // namespace tamsel::capture
