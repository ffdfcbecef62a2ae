#include "Console.h"

#include "JsonLine.h"

#include <cstdio>

namespace tamsel::capture {

namespace {

std::optional<std::string> reasonOf(const MotionHelperError& error)
{
    const auto underlying = error.underlyingError();
    if (!underlying)
        return std::nullopt;
    const auto* cause = std::get_if<platform::Error>(&*underlying);
    return cause ? cause->localizedDescription : "serviceNotAvailable";
}

} // namespace

void Console::write(const std::string& line)
{
    const std::lock_guard lock(guard_);
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void Console::fail(const std::string& line)
{
    hasFailed_ = true;
    note(line);
}

void Console::note(const std::string& line)
{
    const std::lock_guard lock(guard_);
    std::fprintf(stderr, "tamsel-capture: %s\n", line.c_str());
}

void Console::writeError(std::string_view kind, const std::optional<std::string>& reason)
{
    if (json_)
        write(JsonLine("error").text("kind", kind).text("reason", reason).string());
}

void Console::fail(const CameraError& error)
{
    failAs(std::string(error.name()), error.reason());
}

void Console::fail(const MotionHelperError& error)
{
    failAs(error.isFrameworkError() ? "frameworkError" : "serviceNotAvailable", reasonOf(error));
}

void Console::failAs(const std::string& kind, const std::optional<std::string>& reason)
{
    writeError(kind, reason);
    fail(kind + (reason ? ": " + *reason : ""));
}

ExitStatus Console::endSession(bool wasInterrupted)
{
    if (wasInterrupted) {
        note("interrupted");
        return ExitStatus::interrupted;
    }
    return hasFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
