#include "report/Console.h"

#include "Files.h"
#include "report/Utf8.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

namespace {

constexpr const char* eraseLine = "\r\033[K";

std::optional<std::string> reasonOf(const MotionHelperError& error)
{
    const auto underlying = error.underlyingError();
    if (!underlying)
        return std::nullopt;
    const auto* cause = std::get_if<platform::Error>(&*underlying);
    return cause ? cause->localizedDescription : "serviceNotAvailable";
}

} // namespace

bool Console::keepEvents(const std::string& file)
{
    const auto descriptor = createFile(file);
    if (!descriptor) {
        fail(descriptor.error());
        return false;
    }
    events_.reset(::fdopen(*descriptor, "w"));
    return true;
}

void Console::writeEvent(std::string_view name, const Json& members)
{
    if (!wantsEvents())
        return;
    const std::string line = lineOf(event(name, members)) + "\n";
    bool isLost = false;
    {
        const MutexLock lock(guard_); // for both, so that they have the same order
        if (json_)
            print(line);
        if (events_) {
            std::fputs(line.c_str(), events_.get());
            std::fflush(events_.get());
            isLost = std::ferror(events_.get()) != 0 && !std::exchange(hasLostEvents_, true);
        }
    }
    if (isLost)
        fail("not all events could be written to their file");
}

void Console::write(const std::string& line)
{
    if (json_)
        return;
    const MutexLock lock(guard_);
    print(printable(withNamesAsGiven(line)) + "\n");
}

/// When the reader has ended, the session ends as if it had been interrupted.
void Console::print(const std::string& text)
{
    clearProgress();
    errno = 0;
    std::fputs(text.c_str(), stdout);
    if (std::fflush(stdout) == 0 || errno != EPIPE || std::exchange(isUnread_, true))
        return;
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    if (sigismember(&blocked, SIGTERM) == 1) {
        ::kill(::getpid(), SIGTERM);
    } else { // there is no session to end
        ::signal(SIGPIPE, SIG_DFL);
        ::raise(SIGPIPE);
    }
}

bool Console::isAbandoned()
{
    pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    const MutexLock lock(guard_);
    isUnread_ = isUnread_ || (::poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0);
    return isUnread_;
}

void Console::fail(const std::string& line)
{
    {
        const MutexLock lock(guard_);
        if (!hasFailed_)
            firstFailure_ = line;
        hasFailed_ = true;
        if (!failures_.insert(line).second)
            return; // each sample of a missing sensor fails the same way
    }
    note(line);
}

std::string Console::firstFailure()
{
    const MutexLock lock(guard_);
    return firstFailure_;
}

void Console::note(const std::string& line)
{
    const MutexLock lock(guard_);
    clearProgress();
    std::fprintf(stderr, "tamsel-capture: %s\n", printable(withNamesAsGiven(line)).c_str());
}

void Console::showProgress(const std::string& line)
{
    const MutexLock lock(guard_);
    std::fprintf(stderr, "%s%s", eraseLine, printable(line).c_str());
    showsProgress_ = true;
}

void Console::clearProgress()
{
    if (std::exchange(showsProgress_, false))
        std::fputs(eraseLine, stderr);
}

void Console::endProgress()
{
    const MutexLock lock(guard_);
    if (std::exchange(showsProgress_, false))
        std::fputc('\n', stderr);
}

void Console::writeError(std::string_view kind, const std::optional<std::string>& reason)
{
    writeEvent("error", {{"kind", kind}, {"reason", textOf(reason)}});
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
    {
        const MutexLock lock(guard_);
        if (isUnread_)
            return ExitStatus::unread;
    }
    if (wasInterrupted) {
        note("interrupted");
        return ExitStatus::interrupted;
    }
    return hasFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
