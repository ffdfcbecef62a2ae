#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tamsel::tests {

/// A TCP server on 127.0.0.1 that only speaks: to whoever connects, one at a time, what the script says for its next
/// turn, one turn in 20 milliseconds.
class Speaker {
public:
    explicit Speaker(std::function<std::string(int turn)> script);
    ~Speaker();
    Speaker(const Speaker&) = delete;
    Speaker& operator=(const Speaker&) = delete;

    [[nodiscard]] std::uint16_t port() const { return port_; }

private:
    Speaker(std::pair<int, std::uint16_t> listener, std::function<std::string(int)> script);

    const int listener_;
    const std::uint16_t port_;
    std::jthread thread_;
};

/// A port of 127.0.0.1 at which whoever connects gets no answer at all, for its queue is full.
class SilentPort {
public:
    SilentPort();
    ~SilentPort();
    SilentPort(const SilentPort&) = delete;
    SilentPort& operator=(const SilentPort&) = delete;

    [[nodiscard]] std::uint16_t port() const { return port_; }

private:
    std::vector<int> sockets_;
    std::uint16_t port_ = 0;
};

/// Where nobody listens.
[[nodiscard]] std::uint16_t freePort();

/// A program that runs beside the test and is killed at its end.
class ChildProcess {
public:
    explicit ChildProcess(std::vector<std::string> arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

private:
    pid_t process_ = -1;
};

} // namespace tamsel::tests
