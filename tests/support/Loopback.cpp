#include "support/Loopback.h"

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace tamsel::tests {

namespace {

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

std::pair<int, std::uint16_t> listen(int backlog)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), size) != 0
        || ::listen(listener, backlog) != 0
        || ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no port to listen at");
    return {listener, ntohs(address.sin_port)};
}

bool isReadableSoon(int descriptor)
{
    pollfd polled{descriptor, POLLIN, 0};
    return ::poll(&polled, 1, 20) > 0;
}

void speak(const std::stop_token& stop, int connection, const std::function<std::string(int)>& script)
{
    for (int turn = 0; !stop.stop_requested(); ++turn) {
        const std::string words = script(turn);
        if (::send(connection, words.data(), words.size(), MSG_NOSIGNAL) != std::ssize(words))
            return;
        char heard = 0;
        if (isReadableSoon(connection) && ::recv(connection, &heard, 1, 0) <= 0)
            return;
    }
}

} // namespace

Speaker::Speaker(std::function<std::string(int)> script) : Speaker(listen(8), std::move(script)) { }

Speaker::Speaker(std::pair<int, std::uint16_t> listener, std::function<std::string(int)> script)
    : listener_(listener.first),
      port_(listener.second),
      thread_([descriptor = listener.first, script = std::move(script)](const std::stop_token& stop) {
          while (!stop.stop_requested()) {
              if (!isReadableSoon(descriptor))
                  continue;
              const int connection = ::accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC);
              if (connection < 0)
                  continue;
              speak(stop, connection, script);
              ::close(connection);
          }
      })
{
}

Speaker::~Speaker()
{
    thread_.request_stop();
    thread_.join();
    ::close(listener_);
}

SilentPort::SilentPort()
{
    const auto [listener, port] = listen(0);
    port_ = port;
    sockets_.push_back(listener);
    const sockaddr_in address = loopback(port);
    for (int filler = 0; filler < 4; ++filler) {
        sockets_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        ::connect(sockets_.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
}

SilentPort::~SilentPort()
{
    for (const int descriptor : sockets_)
        ::close(descriptor);
}

std::uint16_t freePort()
{
    const auto [listener, port] = listen(1);
    ::close(listener);
    return port;
}

ChildProcess::ChildProcess(std::vector<std::string> arguments)
{
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    process_ = ::fork();
    if (process_ != 0)
        return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL); // also when the test crashes
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (const int descriptor : {0, 1, 2})
        ::dup2(nowhere, descriptor);
    ::execv(pointers.front(), pointers.data());
    ::_exit(127);
}

ChildProcess::~ChildProcess()
{
    if (process_ <= 0)
        return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

} // namespace tamsel::tests
