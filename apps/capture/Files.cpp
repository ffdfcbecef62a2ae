#include "Files.h"

#include <host/InputAccess.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tamsel::capture {

namespace files = std::filesystem;

bool isThere(const files::path& file)
{
    std::error_code error;
    return files::exists(files::symlink_status(file, error));
}

std::expected<std::vector<std::byte>, std::string> readFile(const std::string& file)
{
    constexpr std::uintmax_t largest = std::uintmax_t{1} << 29U;
    if (const std::string reason = host::whyNoFile(file); !reason.empty())
        return std::unexpected(file + ": " + reason);
    std::error_code error;
    if (files::file_size(file, error) > largest)
        return std::unexpected(file + ": is too large for a picture");
    std::ifstream stream(file, std::ios::binary);
    std::vector<std::byte> data;
    std::array<char, 65536> block{};
    do {
        stream.read(block.data(), block.size());
        const auto bytes = std::as_bytes(std::span(block)).first(static_cast<std::size_t>(stream.gcount()));
        data.insert(data.end(), bytes.begin(), bytes.end());
    } while (stream);
    if (stream.bad() || !stream.eof())
        return std::unexpected(file + ": cannot be read");
    return data;
}

namespace {

constexpr int tick = 20; // milliseconds

std::atomic<unsigned> interruptions = 0;
/// Files that are the standard output, by the names that were given, and where it is since text goes elsewhere.
std::vector<std::string> standardOutputs;
int standardOutput = -1;

/// Waits for readers until the program is asked to end: by `interruptWrites`, or by a signal that has not been handled yet.
class Patience {
public:
    [[nodiscard]] bool isOver() const
    {
        sigset_t pending;
        sigpending(&pending);
        return before_ != interruptions
            || std::ranges::any_of(std::array{SIGHUP, SIGINT, SIGTERM},
                [&](int signal) { return sigismember(&pending, signal) == 1; });
    }

private:
    const unsigned before_ = interruptions;
};

bool writeAll(std::span<const std::byte> content, int descriptor, const Patience& patience)
{
    while (!content.empty()) {
        pollfd entry{.fd = descriptor, .events = POLLOUT, .revents = 0};
        if (::poll(&entry, 1, tick) != 1) {
            if (patience.isOver()) {
                errno = EINTR;
                return false;
            }
            continue;
        }
        // A pipe that can be written has room for so much.
        const ssize_t count
            = ::write(descriptor, content.data(), std::min<std::size_t>(content.size(), PIPE_BUF));
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return false;
        content = content.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

bool closeAfter(bool isWritten, int descriptor)
{
    const int reason = errno;
    const bool isClosed = ::close(descriptor) == 0;
    if (!isWritten)
        errno = reason;
    return isWritten && isClosed;
}

/// A file with a name of its own until it is whole.
bool writeWhole(std::span<const std::byte> content, const files::path& target, const struct stat* replaced)
{
    if (replaced != nullptr && ::access(target.c_str(), W_OK) != 0)
        return false;
    static std::atomic<unsigned> number = 0;
    files::path partial;
    int descriptor = -1;
    do {
        partial = target.parent_path()
            / (".tamsel-" + std::to_string(::getpid()) + "-" + std::to_string(++number));
        descriptor = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (descriptor < 0 && errno == EEXIST);
    if (descriptor < 0)
        return false;
    if (replaced != nullptr)
        ::fchmod(descriptor, replaced->st_mode & 07777U); // where the file system has modes
    if (closeAfter(writeAll(content, descriptor, {}), descriptor)
        && std::rename(partial.c_str(), target.c_str()) == 0)
        return true;
    const int reason = errno;
    ::unlink(partial.c_str());
    errno = reason;
    return false;
}

/// A pipe, a device, or what else is no regular file.
bool writeStraight(std::span<const std::byte> content, const std::string& file, bool isPipe)
{
    const Patience patience;
    int descriptor = -1;
    while ((descriptor = ::open(file.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) < 0 && isPipe
        && errno == ENXIO) { // nobody reads it
        if (patience.isOver()) {
            errno = EINTR;
            return false;
        }
        ::poll(nullptr, 0, tick);
    }
    return descriptor >= 0 && closeAfter(writeAll(content, descriptor, patience), descriptor);
}

/// Of a device, such as a terminal, text and files are no parts.
bool isStandardOutput(const std::string& file)
{
    struct stat status{};
    struct stat output{};
    return ::stat(file.c_str(), &status) == 0 && ::fstat(STDOUT_FILENO, &output) == 0
        && output.st_dev == status.st_dev && output.st_ino == status.st_ino && !S_ISCHR(status.st_mode);
}

} // namespace

std::expected<void, std::string> writeFile(std::span<const std::byte> content, const std::string& file)
{
    struct stat status{};
    const bool leadsToFile = ::stat(file.c_str(), &status) == 0;
    std::error_code error;
    bool isWritten = false;
    errno = 0;
    if (std::ranges::find(standardOutputs, file) != standardOutputs.end())
        isWritten = writeAll(content, standardOutput, {});
    else if (leadsToFile && !S_ISREG(status.st_mode))
        isWritten = writeStraight(content, file, S_ISFIFO(status.st_mode));
    else if (leadsToFile) // through a link
        isWritten = writeWhole(content, files::canonical(file, error), &status);
    else
        isWritten = writeWhole(content, file, nullptr);
    if (isWritten)
        return {};
    const std::string reason = errno == EINTR ? "interrupted" : std::strerror(errno);
    return std::unexpected("cannot write " + file + ": " + reason);
}

std::expected<int, std::string> createFile(const std::string& file)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0)
        return std::unexpected(file + ": " + std::strerror(errno));
    return descriptor;
}

void interruptWrites()
{
    ++interruptions;
}

void keepTextOutOf(std::span<const std::string> files)
{
    std::ranges::copy_if(files, std::back_inserter(standardOutputs), isStandardOutput);
    if (standardOutputs.empty())
        return;
    standardOutput = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (standardOutput >= 0)
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
    else
        standardOutput = STDOUT_FILENO;
}

} // namespace tamsel::capture
