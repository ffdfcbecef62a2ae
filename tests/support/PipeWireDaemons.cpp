#include "support/PipeWireDaemons.h"

#include "support/Program.h"

#include <host/pipewire/pipeWireInputs.h>

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

void PipeWireDaemons::run(std::vector<std::string> arguments, const std::string& socket)
{
    std::filesystem::remove(file(socket));
    daemons_.push_back(std::make_unique<ChildProcess>(std::move(arguments)));
    if (!waitUntil([&] { return std::filesystem::exists(file(socket)); }))
        throw std::runtime_error("no " + socket);
}

void PipeWireDaemons::start()
{
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

void PipeWireDaemons::speakPulse()
{
    std::string modules;
    for (const char* name : {"protocol-native", "client-node", "adapter", "metadata", "protocol-pulse"})
        modules += std::string("{ name = libpipewire-module-") + name + " } ";
    writeFile(file("pulse.conf"),
        "context.modules = [ " + modules
            + "]\ncontext.spa-libs = { audio.convert.* = audioconvert/libspa-audioconvert"
              " support.* = support/libspa-support }\n");
    const std::string socket = "pulse/native-pipewire-0";
    variables_.push_back(std::make_unique<Variable>("PULSE_SERVER", "unix:" + file(socket)));
    run({programs[1], "-c", file("pulse.conf")}, socket);
}

std::unique_ptr<ChildProcess> PipeWireDaemons::source(
    const std::string& name, std::vector<std::string> options) const
{
    options.insert(options.begin(), {pipeWireSource(), "node.name=" + name});
    auto process = std::make_unique<ChildProcess>(std::move(options));
    const bool isListed = waitUntil([&] {
        using enum host::PipeWireKind;
        const auto isIt = [&](const auto& node) { return node.name == name; };
        return std::ranges::any_of(host::pipeWireNodes(camera), isIt)
            || std::ranges::any_of(host::pipeWireNodes(microphone), isIt);
    });
    return isListed ? std::move(process) : throw std::runtime_error("no node " + name);
}

} // namespace tamsel::tests
