#pragma once

#include "support/Loopback.h"
#include "support/Media.h"
#include "support/Variable.h"

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

namespace tamsel::tests {

/// A bus of its own, and services on it that a script runs or plays: of tests/data/bus, services.py on the system bus,
/// and portal.py on the session bus.
class BusServices {
public:
    static constexpr const char* needed = "dbus-daemon, xdg-desktop-portal, pipewire or python3-dbusmock";
    /// Whether the programs for both are installed.
    [[nodiscard]] static bool arePossible();

    explicit BusServices(const std::string& script = "services.py");
    ~BusServices();
    BusServices(const BusServices&) = delete;
    BusServices& operator=(const BusServices&) = delete;

    /// Carries out a command of the script, and returns its answer.
    std::string operator()(const std::string& command);
    void killBus() { daemon_.reset(); }

private:
    ScratchFolder folder_;
    Variable address_;
    std::optional<ChildProcess> daemon_;
    std::FILE* script_ = nullptr;
    std::size_t answers_ = 0;
};

} // namespace tamsel::tests
