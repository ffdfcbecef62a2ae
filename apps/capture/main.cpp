#include "commands/commands.h"
#include "options/Unusable.h"

#include <tamsel/version.h>

#include <host/HostParts.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

namespace {

#ifdef TAMSEL_SCREEN
constexpr bool hasScreen = true;
#else
constexpr bool hasScreen = false;
void addScreen(Program& /*program*/) { }
#endif

std::string versionText()
{
    const host::HostParts parts = host::hostParts();
    std::string text = "tamsel-capture " + std::string(version()) + "\nback ends: host, simulated\nFFmpeg: "
        + parts.ffmpegVersion + ", " + parts.ffmpegLicence + "\nencoders of movies:";
    for (const std::string& name : parts.encoders)
        text += (name == parts.encoders.front() ? " " : ", ") + name;
    for (const auto& [name, isBuiltIn] : parts.optionalParts)
        text += "\n" + std::string(name) + (isBuiltIn ? ": yes" : ": no");
    text += hasScreen ? "\na screen: yes" : "\na screen: no";
    return text + "\n";
}

ExitStatus run(int argumentCount, const char* const* arguments)
{
    Program program;
    for (const auto add :
        {addCapture, addStatus, addDevices, addFrames, addStill, addRecord, addScreen, addRepair, addReplay,
            addDetect, addMotion, addAsset, addAssetStill, addThumbnail, addImage, addAlbum, addGenerate})
        add(program);
    program.app.set_version_flag(
        "--version", versionText, "show the version, the FFmpeg libraries and the optional parts");
    try {
        readCommandLine(program, argumentCount, arguments);
        return program.run();
    } catch (const CLI::CallForHelp&) {
        std::fputs(program.app.help().c_str(), stdout);
    } catch (const CLI::CallForVersion& version) {
        std::fputs(version.what(), stdout);
    } catch (const Unusable& problem) {
        Console(false).note(problem.what());
        return ExitStatus::unusable;
    } catch (const Interrupted&) {
        return Console(program.global.json).endSession(true);
    }
    return ExitStatus::done;
}

/// A file must not get the number of a standard stream that is closed. Reading and writing these still fails.
void openClosedStreams()
{
    for (const auto& [stream, mode] :
        {std::pair{STDIN_FILENO, O_WRONLY}, {STDOUT_FILENO, O_RDONLY}, {STDERR_FILENO, O_RDONLY}}) {
        if (::fcntl(stream, F_GETFD) < 0)
            (void)::open("/dev/null", mode); // the lowest free number, which is this one
    }
}

} // namespace

} // namespace tamsel::capture

int main(int argumentCount, char** arguments)
{
    using namespace tamsel::capture;
    openClosedStreams();
    // A reader that has ended and a limit of file size are reported as errors of a write.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // Blocked until a session handles them.
    sigset_t later;
    sigemptyset(&later);
    sigaddset(&later, SIGUSR1);
    sigaddset(&later, SIGUSR2);
    sigprocmask(SIG_BLOCK, &later, nullptr);
    const ExitStatus status = run(argumentCount, arguments);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return static_cast<int>(status);
    pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    const bool isUnread = ::poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
    if (isUnread || status == ExitStatus::unread)
        return static_cast<int>(ExitStatus::unread);
    std::fprintf(stderr, "tamsel-capture: the output cannot be written\n");
    return static_cast<int>(status == ExitStatus::done ? ExitStatus::failed : status);
}
