#include <host/sound/ShutterSound.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string_view>

extern char** environ; // NOLINT: named by POSIX

namespace tamsel::host {

namespace {

namespace fs = std::filesystem;

constexpr const char* soundName = "camera-shutter";

std::string variable(const char* name, const std::string& otherwise)
{
    const char* value
        = std::getenv(name); // NOLINT(concurrency-mt-unsafe): this code does not change the environment
    return value && *value ? value : otherwise;
}

std::vector<std::string> split(std::string_view list)
{
    std::vector<std::string> parts;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(':'), list.size());
        if (end > 0)
            parts.emplace_back(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return parts;
}

std::string findProgram(const char* name)
{
    for (const std::string& folder : split(variable("PATH", "/usr/local/bin:/usr/bin:/bin"))) {
        std::string program = folder + "/" + name;
        std::error_code error;
        if (fs::is_regular_file(program, error) && ::access(program.c_str(), X_OK) == 0)
            return program;
    }
    return {};
}

std::string findSound()
{
    const std::string home = variable("HOME", "");
    std::vector<std::string> folders{variable("XDG_DATA_HOME", home + "/.local/share")};
    for (std::string& folder : split(variable("XDG_DATA_DIRS", "/usr/local/share:/usr/share")))
        folders.push_back(std::move(folder));
    for (const std::string& theme :
        {variable("XDG_SOUND_THEME", "freedesktop"), std::string("freedesktop")}) {
        for (const std::string& folder : folders) {
            for (const char* ending : {".oga", ".ogg", ".wav"}) {
                std::string file = folder;
                file.append("/sounds/").append(theme).append("/stereo/").append(soundName).append(ending);
                std::error_code error;
                if (fs::is_regular_file(file, error))
                    return file;
            }
        }
    }
    return {};
}

} // namespace

std::vector<std::string> shutterCommand()
{
    if (std::string program = findProgram("canberra-gtk-play"); !program.empty())
        return {std::move(program), std::string("--id=") + soundName};
    const std::string sound = findSound();
    if (sound.empty())
        return {};
    for (const char* player : {"pw-play", "paplay"}) {
        if (std::string program = findProgram(player); !program.empty())
            return {std::move(program), sound};
    }
    return {};
}

ShutterSound::~ShutterSound()
{
    if (player_ != 0)
        ::waitpid(player_, nullptr, WNOHANG); // a running sound may continue when the program ends now
}

void ShutterSound::play(platform::SystemSoundID /*id*/)
{
    const MutexLock lock(guard_);
    if (!command_)
        command_ = shutterCommand();
    if (command_->empty())
        return;
    end(); // the next sound replaces a running one
    std::vector<char*> words;
    for (std::string& word : *command_)
        words.push_back(word.data());
    words.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_RDWR, 0);
    // The program may have blocked signals, which the player would inherit, and it could not be stopped then.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    if (::posix_spawn(&player_, words.front(), &actions, &attributes, words.data(), environ) != 0)
        player_ = 0;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
}

void ShutterSound::stop(platform::SystemSoundID /*id*/)
{
    const MutexLock lock(guard_);
    end();
}

/// Leaves no process behind; a running one is killed and ends at once.
void ShutterSound::end()
{
    if (player_ == 0)
        return;
    // After its end, or another wait for it, the process may not exist any more under its number.
    if (::waitpid(player_, nullptr, WNOHANG) == 0) {
        ::kill(player_, SIGKILL);
        ::waitpid(player_, nullptr, 0);
    }
    player_ = 0;
}

} // namespace tamsel::host
