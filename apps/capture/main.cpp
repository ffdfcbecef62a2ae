#include "commands/commands.h"
#include "options/Unusable.h"

#include <tamsel/version.h>

#include <host/HostParts.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace tamsel::capture {

namespace {

std::string versionText()
{
    const host::HostParts parts = host::hostParts();
    std::string text = "tamsel-capture " + std::string(version()) + "\nback ends: host, simulated\nFFmpeg: "
        + parts.ffmpegVersion + ", " + parts.ffmpegLicence + "\nencoders of movies:";
    for (const std::string& name : parts.encoders)
        text += (name == parts.encoders.front() ? " " : ", ") + name;
    for (const auto& [name, isBuiltIn] : parts.optionalParts)
        text += "\n" + std::string(name) + (isBuiltIn ? ": yes" : ": no");
    return text + "\n";
}

ExitStatus run(int argumentCount, const char* const* arguments)
{
    Program program;
    for (const auto add : {addCapture, addStatus, addDevices, addFrames, addStill, addRecord, addRepair,
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
    }
    return ExitStatus::done;
}

} // namespace

} // namespace tamsel::capture

int main(int argumentCount, char** arguments)
{
    using namespace tamsel::capture;
    // A reader that ends and a limit of file size show as errors of a write.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // These wait until there is a session that they can move to the background and back.
    sigset_t later;
    sigemptyset(&later);
    sigaddset(&later, SIGUSR1);
    sigaddset(&later, SIGUSR2);
    sigprocmask(SIG_BLOCK, &later, nullptr);
    const ExitStatus status = run(argumentCount, arguments);
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return static_cast<int>(status);
    if (errno == EPIPE || status == ExitStatus::unread)
        return static_cast<int>(ExitStatus::unread);
    std::fprintf(stderr, "tamsel-capture: the output cannot be written\n");
    return static_cast<int>(status == ExitStatus::done ? ExitStatus::failed : status);
}
