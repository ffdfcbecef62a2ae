#pragma once

#include "support/Loopback.h"
#include "support/Media.h"
#include "support/Variable.h"

#include <memory>
#include <string>
#include <vector>

namespace tamsel::tests {

/// A PipeWire daemon and its session manager in a folder of their own, which this process and its children then use.
class PipeWireDaemons {
public:
    static constexpr const char* needed = "pipewire, wireplumber or dbus-daemon";
    /// Whether the programs for it are installed.
    [[nodiscard]] static bool arePossible();

    PipeWireDaemons();

    void start();
    void kill();
    /// From then on the sources are reached through PulseAudio's protocol, too.
    void speakPulse();

    /// A camera; see pipeWireSource.cpp. Returns once the daemon lists it.
    [[nodiscard]] std::unique_ptr<ChildProcess> source(
        const std::string& name, std::vector<std::string> options = {}) const;

    [[nodiscard]] std::string file(const std::string& name) const { return folder_.file(name); }

private:
    void run(std::vector<std::string> arguments, const std::string& socket);

    ScratchFolder folder_;
    std::vector<std::unique_ptr<Variable>> variables_;
    std::vector<std::unique_ptr<ChildProcess>> daemons_;
};

} // namespace tamsel::tests
