#pragma once

#include "support/Loopback.h"
#include "support/Media.h"

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

namespace tamsel::tests {

/// Another address of the system bus for this process, until the end.
class BusAddress {
public:
    explicit BusAddress(const std::string& address);
    ~BusAddress();
    BusAddress(const BusAddress&) = delete;
    BusAddress& operator=(const BusAddress&) = delete;

private:
    std::optional<std::string> before_;
};

/// A bus of its own, and services on it that a script plays: tests/data/bus/services.py.
class SystemServices {
public:
    /// Whether the programs for it are installed.
    [[nodiscard]] static bool arePossible();

    SystemServices();
    ~SystemServices();
    SystemServices(const SystemServices&) = delete;
    SystemServices& operator=(const SystemServices&) = delete;

    /// Carries out a command of the script, and returns its answer.
    std::string operator()(const std::string& command);
    void killBus() { daemon_.reset(); }

private:
    ScratchFolder folder_;
    BusAddress address_;
    std::optional<ChildProcess> daemon_;
    std::FILE* script_ = nullptr;
    std::size_t answers_ = 0;
};

} // namespace tamsel::tests
