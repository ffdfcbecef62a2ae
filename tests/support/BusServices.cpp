#include "support/BusServices.h"

#include "support/Program.h"

#include <filesystem>
#include <stdexcept>
#include <vector>

namespace tamsel::tests {

namespace {

constexpr const char* daemonProgram = "/usr/bin/dbus-daemon";

} // namespace

bool BusServices::arePossible()
{
    return std::filesystem::exists(daemonProgram)
        && std::filesystem::exists("/usr/libexec/xdg-desktop-portal")
        && runCommand("pipewire --version && /usr/bin/python3 -c 'import dbusmock' 2>&1").status == 0;
}

BusServices::BusServices(const std::string& script)
    : address_(script == "portal.py" ? Variable::sessionBus : Variable::systemBus,
          "unix:path=" + folder_.file("bus"))
{
    writeFile(folder_.file("bus.conf"),
        "<busconfig><listen>unix:path=" + folder_.file("bus")
            + "</listen><auth>EXTERNAL</auth><policy context='default'><allow send_destination='*'/>"
              "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>");
    daemon_.emplace(
        std::vector<std::string>{daemonProgram, "--nofork", "--config-file=" + folder_.file("bus.conf")});
    if (!waitUntil([&] { return std::filesystem::exists(folder_.file("bus")); }))
        throw std::runtime_error("no bus");
    script_ = ::popen(("/usr/bin/python3 " + testData("bus/" + script) + " " + folder_.file("") + " >"
                          + folder_.file("answers") + " 2>&1")
                          .c_str(),
        "w");
}

BusServices::~BusServices()
{
    ::pclose(script_);
}

std::string BusServices::operator()(const std::string& command)
{
    std::fprintf(script_, "%s\n", command.c_str());
    std::fflush(script_);
    std::vector<std::string> lines;
    const bool hasAnswer = waitUntil([&] {
        lines = linesIn(readFile(folder_.file("answers")));
        return lines.size() > answers_;
    });
    return hasAnswer ? lines.at(answers_++) : "no answer";
}

} // namespace tamsel::tests
