#include "support/PipeWireDaemons.h"

#include "support/Program.h"

#include <host/pipewire/pipeWireCameras.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace tamsel::tests {

namespace {

const std::vector<std::string> programs{"/usr/bin/dbus-daemon", "/usr/bin/pipewire", "/usr/bin/wireplumber"};

} // namespace

bool PipeWireDaemons::arePossible()
{
    return std::ranges::all_of(
        programs, [](const auto& program) { return std::filesystem::exists(program); });
}

PipeWireDaemons::PipeWireDaemons()
{
    ::chmod(folder_.file("").c_str(), 0700);
    for (const char* name : {"XDG_RUNTIME_DIR", "XDG_STATE_HOME", "XDG_CONFIG_HOME", "HOME"})
        variables_.push_back(std::make_unique<Variable>(name, folder_.file("")));
    variables_.push_back(std::make_unique<Variable>("PIPEWIRE_REMOTE", "pipewire-0"));
    const std::string address = "unix:path=" + folder_.file("bus");
    variables_.push_back(std::make_unique<Variable>(Variable::sessionBus, address));
    start();
}

void PipeWireDaemons::start()
{
    const auto run = [&](std::vector<std::string> arguments, const std::string& socket) {
        std::filesystem::remove(folder_.file(socket));
        daemons_.push_back(std::make_unique<ChildProcess>(std::move(arguments)));
        if (!waitUntil([&] { return std::filesystem::exists(folder_.file(socket)); }))
            throw std::runtime_error("no " + socket);
    };
    run({programs[0], "--session", "--nofork", "--address=unix:path=" + folder_.file("bus")}, "bus");
    run({programs[1]}, "pipewire-0");
    daemons_.push_back(std::make_unique<ChildProcess>(std::vector{programs[2]}));
    // Its scripts run once it has made the default metadata.
    if (!waitUntil([] { return runCommand("pw-cli ls Metadata | grep -q '\"default\"'").status == 0; }))
        throw std::runtime_error("no session manager");
}

void PipeWireDaemons::kill()
{
    daemons_.clear();
}

std::unique_ptr<ChildProcess> PipeWireDaemons::source(
    const std::string& name, std::vector<std::string> options) const
{
    options.insert(options.begin(), {pipeWireSource(), "node.name=" + name});
    auto process = std::make_unique<ChildProcess>(std::move(options));
    const bool isListed = waitUntil([&] {
        return std::ranges::any_of(
            host::pipeWireCameras(), [&](const auto& entry) { return entry.name == name; });
    });
    return isListed ? std::move(process) : throw std::runtime_error("no camera " + name);
}

} // namespace tamsel::tests
