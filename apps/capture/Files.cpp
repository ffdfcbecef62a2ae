#include "Files.h"

#include "options/Unusable.h"

#include <host/InputAccess.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
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
bool mayReplace = false;
std::string standardInput; ///< the name of its copy, once it has been read
constexpr const char* standardInputAsGiven = "standard input";

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
    const auto rename = [&] {
        return mayReplace
            ? std::rename(partial.c_str(), target.c_str()) == 0
            : ::renameat2(AT_FDCWD, partial.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0
                || ((errno == EINVAL || errno == ENOSYS) && !isThere(target)
                    && std::rename(partial.c_str(), target.c_str()) == 0);
    };
    if (closeAfter(writeAll(content, descriptor, {}), descriptor) && rename())
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

std::string readableInput(const std::string& named)
{
    if (named != "-")
        return named;
    if (!standardInput.empty())
        return standardInput;
    // Closed with the program. It has no name, so it goes when the program goes, however that ends.
    std::FILE* copy = std::tmpfile();
    if (copy == nullptr)
        throw Unusable(std::string(standardInputAsGiven) + ": " + std::strerror(errno));
    std::array<char, 65536> block{};
    ssize_t count = 0;
    while ((count = ::read(STDIN_FILENO, block.data(), block.size())) > 0) {
        if (std::fwrite(block.data(), 1, static_cast<std::size_t>(count), copy)
            != static_cast<std::size_t>(count))
            break;
    }
    if (count != 0 || std::fflush(copy) != 0)
        throw Unusable(std::string(standardInputAsGiven) + ": " + std::strerror(errno));
    standardInput = "/proc/self/fd/" + std::to_string(::fileno(copy));
    return standardInput;
}

std::string withNamesAsGiven(std::string text)
{
    for (std::size_t at = 0;
        !standardInput.empty() && (at = text.find(standardInput, at)) != std::string::npos;)
        text.replace(at, standardInput.size(), standardInputAsGiven);
    return text;
}

void claimOutputs(
    const std::vector<std::string*>& outputs, const std::vector<std::string>& inputs, bool overwrites)
{
    mayReplace = overwrites;
    for (std::string* output : outputs) {
        if (*output == "-")
            *output = "/dev/stdout";
        std::error_code error;
        const files::file_status status = files::status(*output, error);
        for (const std::string& input : inputs) {
            if (files::is_regular_file(input, error) && files::equivalent(input, *output, error))
                throw Unusable(*output + " is an input of this command: choose another output");
        }
        if (files::is_directory(status))
            throw Unusable(*output + " is a folder");
        if (isStandardOutput(*output))
            standardOutputs.push_back(*output);
        else if (!overwrites && isThere(*output)
            && (files::is_regular_file(status) || !files::exists(status)))
            throw Unusable(*output + " exists: --overwrite replaces it");
    }
    if (standardOutputs.empty())
        return;
    standardOutput = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (standardOutput >= 0)
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
    else
        standardOutput = STDOUT_FILENO;
}

std::string endingOf(const std::string& file)
{
    std::string ending = files::path(file).extension();
    std::ranges::transform(ending, ending.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return ending;
}

void requireEnding(const std::string& output, std::initializer_list<std::string_view> endings)
{
    std::error_code error;
    const files::file_status status = files::status(output, error);
    if (output == "-" || output.starts_with("/dev/")
        || (files::exists(status) && !files::is_regular_file(status)))
        return;
    if (std::ranges::find(endings, endingOf(output)) != endings.end())
        return;
    std::string kinds;
    for (const std::string_view ending : endings)
        kinds.append(kinds.empty() ? "" : ", ").append(ending);
    throw Unusable(output + ": this command writes " + kinds);
}

std::string outputOf(const std::string& input, const std::string& outputs, std::string_view ending)
{
    constexpr std::string_view mark = "{}";
    const files::path name = input == "-" ? files::path("stdin") : files::path(input).filename();
    if (const std::size_t at = outputs.find(mark); at != std::string::npos)
        return std::string(outputs).replace(at, mark.size(), name.stem().string());
    files::path file = name;
    if (!ending.empty())
        file.replace_extension(ending);
    return (files::path(outputs) / file).string();
}

std::vector<FilePair> pairsOf(std::vector<std::string> names, std::string_view ending)
{
    if (names.size() < 2)
        throw Unusable("an output is missing behind " + names.front());
    const std::string output = std::move(names.back());
    names.pop_back();
    std::error_code error;
    const bool isFolder = files::is_directory(output, error);
    const bool isPattern = output.contains("{}");
    if (names.size() > 1 && !isFolder && !isPattern)
        throw Unusable(output + ": several inputs need a folder, or a name with {} for the name of each");
    std::vector<FilePair> pairs;
    for (std::string& name : names) {
        std::string made = isFolder || isPattern ? outputOf(name, output, ending) : output;
        if (std::ranges::find(pairs, made, &FilePair::output) != pairs.end())
            throw Unusable(made + " would be the output of two inputs");
        pairs.push_back({std::move(name), std::move(made)});
    }
    return pairs;
}

} // namespace tamsel::capture
