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
#include <set>

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
/// Outputs that are standard output, and its descriptor once text goes to standard error.
std::vector<std::string> standardOutputs;
int standardOutput = -1;
bool mayReplace = false;

struct Copy {
    std::string name; ///< as given
    std::string path; ///< of the temporary file
};
std::vector<Copy> copies;

std::string shownName(const std::string& name)
{
    return name == "-" ? "standard input" : name;
}

/// Whether to go on waiting for a reader: until `interruptWrites` or a pending signal asks the program to end.
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
        // A pipe that is ready for writing has room for PIPE_BUF bytes.
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

/// Writes a temporary file in the same folder and renames it.
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
        ::fchmod(descriptor, replaced->st_mode & 07777U); // fails on file systems without modes
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

/// Writes to a pipe, a device or another special file.
bool writeSpecial(std::span<const std::byte> content, const std::string& file, bool isPipe)
{
    const Patience patience;
    int descriptor = -1;
    while ((descriptor = ::open(file.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) < 0 && isPipe
        && errno == ENXIO) { // no reader yet
        if (patience.isOver()) {
            errno = EINTR;
            return false;
        }
        ::poll(nullptr, 0, tick);
    }
    return descriptor >= 0 && closeAfter(writeAll(content, descriptor, patience), descriptor);
}

/// Whether the output and the text of the command would mix. On a device, such as a terminal, they may.
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
        isWritten = writeSpecial(content, file, S_ISFIFO(status.st_mode));
    else if (leadsToFile) // perhaps through a link
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

std::string readableInput(const std::string& name)
{
    std::error_code error;
    if (name != "-" && !files::is_fifo(name, error))
        return name;
    const auto known = std::ranges::find(copies, name, &Copy::name);
    if (known != copies.end())
        return known->path;
    // Closed at exit. The copy has no name, so it disappears with the program, however that ends.
    const files::path folder = files::temp_directory_path(error);
    std::string path = (error ? files::path("/tmp") : folder) / "tamsel-XXXXXX";
    const int copy = ::mkostemp(path.data(), O_CLOEXEC);
    const int input = name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (copy >= 0)
        ::unlink(path.c_str());
    std::vector<std::byte> block(65536);
    ssize_t count = -1;
    while (copy >= 0 && input >= 0 && (count = ::read(input, block.data(), block.size())) > 0) {
        if (!writeAll(std::span(block).first(static_cast<std::size_t>(count)), copy, {}))
            break;
    }
    if (count != 0)
        throw Unusable(shownName(name) + ": " + std::strerror(errno));
    copies.push_back({name, "/proc/self/fd/" + std::to_string(copy)});
    return copies.back().path;
}

std::string withNamesAsGiven(std::string text)
{
    for (const auto& [name, path] : copies) {
        for (std::size_t at = 0; (at = text.find(path, at)) != std::string::npos;)
            text.replace(at, path.size(), shownName(name));
    }
    return text;
}

void requireNoInput(const std::string& output, const Inputs& inputs)
{
    std::error_code error;
    for (const std::optional<std::string>& input : inputs) {
        if (input && files::is_regular_file(*input, error) && files::equivalent(*input, output, error))
            throw Unusable(output + " is an input of this command: choose another output");
    }
}

namespace {

/// Throws `Unusable` for a file that could not be written later.
void requireWritable(const std::string& output, bool exists)
{
    std::error_code error;
    const files::path target = exists ? files::canonical(output, error) : files::path(output);
    const files::path folder = target.has_parent_path() ? target.parent_path() : files::path(".");
    if (::access(folder.c_str(), W_OK | X_OK) != 0 || (exists && ::access(target.c_str(), W_OK) != 0))
        throw Unusable("cannot write " + output + ": " + std::strerror(errno));
    if (!files::is_directory(folder, error))
        throw Unusable("cannot write " + output + ": " + folder.string() + " is not a folder");
}

} // namespace

void claimOutputs(const std::vector<std::string*>& outputs, const Inputs& inputs, bool overwrites)
{
    mayReplace = overwrites;
    std::set<files::path> names;
    for (std::string* output : outputs) {
        if (output == nullptr)
            continue;
        if (*output == "-") {
            if ((::fcntl(STDOUT_FILENO, F_GETFL) & O_ACCMODE) == O_RDONLY)
                throw Unusable("standard output is closed");
            *output = "/dev/stdout";
        }
        requireNoInput(*output, inputs);
        std::error_code error;
        const files::file_status status = files::status(*output, error);
        const bool exists = files::exists(status);
        if (!names.insert(files::path(*output).lexically_normal()).second)
            throw Unusable(*output + " would be the output of two inputs");
        if (files::is_directory(status))
            throw Unusable(*output + " is a folder");
        if (isStandardOutput(*output)) {
            standardOutputs.push_back(*output);
            continue;
        }
        if (!overwrites && isThere(*output) && (files::is_regular_file(status) || !exists))
            throw Unusable(*output + " exists already: --overwrite replaces it");
        if (!exists || files::is_regular_file(status))
            requireWritable(*output, exists);
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

std::string outputOf(
    const std::string& input, const std::string& output, std::string_view ending, bool hasSeveralInputs)
{
    constexpr std::string_view mark = "{}";
    const files::path name = input == "-" ? files::path("stdin") : files::path(input).filename();
    if (output.contains(mark)) {
        std::string made = output;
        const std::string stem = name.stem();
        for (std::size_t at = 0; (at = made.find(mark, at)) != std::string::npos; at += stem.size())
            made.replace(at, mark.size(), stem);
        return made;
    }
    std::error_code error;
    if (output != "-" && files::is_directory(output, error)) {
        files::path file = files::path(output) / name;
        return ending.empty() ? file : file.replace_extension(ending);
    }
    if (hasSeveralInputs)
        throw Unusable(output + ": several inputs need a folder, or a name with {} for the name of each");
    return output;
}

std::vector<FilePair> pairsOf(std::vector<std::string> names, std::string_view ending)
{
    for (const std::string& name : names) {
        if (name.empty())
            throw Unusable("FILE needs a value");
    }
    if (names.size() < 2)
        throw Unusable("the output is missing after " + names.front());
    const std::string output = std::move(names.back());
    names.pop_back();
    std::vector<FilePair> pairs;
    for (std::string& name : names) {
        std::string made = outputOf(name, output, ending, names.size() > 1);
        pairs.push_back({std::move(name), std::move(made)});
    }
    return pairs;
}

} // namespace tamsel::capture
