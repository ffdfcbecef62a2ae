#include <host/recording/MoviePart.h>

#include <host/ffmpeg/failure.h>
#include <host/recording/copyMovie.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>

namespace tamsel::host {

namespace files = std::filesystem;
using platform::Error;

namespace {

constexpr const char* mark = ".part";
constexpr std::uint8_t hidden = 'n'; // in place of the "m" of "moof"

/// Syncs new and changed names in the file's folder; some file systems cannot, and need not.
void syncFolderOf(const files::path& file)
{
    const files::path folder = file.has_parent_path() ? file.parent_path() : files::path(".");
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

/// For reading and writing, and locked if the file system supports locks.
int createFile(const files::path& path)
{
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor >= 0)
        ::flock(descriptor, LOCK_EX | LOCK_NB);
    return descriptor;
}

/// False, with the reason in errno, when a file of the new name exists.
bool renameToFree(const files::path& from, const files::path& to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    if (isThere(to)) { // the file system can only replace
        errno = EEXIST;
        return false;
    }
    return std::rename(from.c_str(), to.c_str()) == 0;
}

} // namespace

bool isThere(const files::path& file)
{
    std::error_code error;
    return files::exists(files::symlink_status(file, error));
}

files::path MoviePart::pathOf(const files::path& movie)
{
    files::path path = movie.parent_path() / movie.stem();
    path += mark;
    path += movie.extension();
    return path;
}

files::path MoviePart::copyOf(const files::path& movie)
{
    files::path path = pathOf(movie);
    path += ".tmp";
    return path;
}

std::optional<files::path> MoviePart::movieOf(const files::path& part)
{
    files::path movie = part.parent_path() / part.stem();
    if (movie.extension() == mark) {
        movie.replace_extension();
        movie += part.extension();
    } else if (part.extension() != mark) {
        return std::nullopt;
    }
    return movie;
}

std::expected<MoviePart, Error> MoviePart::create(files::path movie)
{
    const files::path path = pathOf(movie);
    for (const files::path& name : {movie, path, copyOf(movie)}) {
        if (isThere(name))
            return failure(name.string(), std::strerror(EEXIST), EEXIST);
    }
    const int descriptor = createFile(path);
    if (descriptor < 0)
        return failure(movie.string(), std::strerror(errno), errno);
    syncFolderOf(path);
    return MoviePart(std::move(movie), descriptor);
}

std::expected<MoviePart, Error> MoviePart::open(files::path movie)
{
    const int descriptor = ::open(pathOf(movie).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return failure(movie.string(), std::strerror(errno), errno);
    MoviePart part(std::move(movie), descriptor);
    struct stat status{};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return failure(part.path_.string(), "is not a regular file");
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return failure(part.movie_.string(), "is being recorded", EWOULDBLOCK);
    return part;
}

MoviePart::MoviePart(files::path movie, int descriptor)
    : movie_(std::move(movie)),
      path_(pathOf(movie_)),
      descriptor_(descriptor)
{
}

MoviePart::MoviePart(MoviePart&& other) noexcept
    : movie_(std::move(other.movie_)),
      path_(std::move(other.path_)),
      descriptor_(std::exchange(other.descriptor_, -1))
{
}

MoviePart::~MoviePart()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

const char* MoviePart::container() const
{
    std::string suffix = movie_.extension().string();
    std::ranges::transform(suffix, suffix.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return suffix == ".mov" ? "mov" : "mp4";
}

std::expected<void, Error> MoviePart::result(bool isDone) const
{
    if (isDone)
        return {};
    return failure(movie_.string(), std::strerror(errno), errno);
}

bool MoviePart::writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) const
{
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written == 0)
            errno = ENOSPC;
        if (written == 0 || (written < 0 && errno != EINTR))
            return false;
        const auto count = static_cast<std::size_t>(std::max<ssize_t>(0, written));
        bytes = bytes.subspan(count);
        offset += count;
    }
    return ::fdatasync(descriptor_) == 0;
}

std::expected<void, Error> MoviePart::append(std::span<std::uint8_t> fragment)
{
    constexpr std::size_t letter
        = 4; // the first of the box's name: one byte is written completely or not at all
    const bool isBox = fragment.size() > letter && fragment[letter] == 'm';
    if (isBox)
        fragment[letter] = hidden;
    auto added = result(writeAt(size_, fragment));
    if (added && isBox)
        added = result(writeAt(size_ + letter, std::array<std::uint8_t, 1>{'m'}));
    if (added)
        size_ += fragment.size();
    else
        ::ftruncate(descriptor_, static_cast<off_t>(size_)); // to free its room; it would not be read
    return added;
}

void MoviePart::remove() const
{
    ::unlink(path_.c_str());
}

std::expected<void, Error> MoviePart::complete(std::optional<std::uint64_t> packets, const Check& check)
{
    const files::path path = copyOf(movie_);
    ::unlink(path.c_str()); // of an attempt that was killed: it did not exist when this part was made
    const MoviePart copy(movie_, createFile(path));
    auto done = result(copy.descriptor_ >= 0);
    if (done)
        done = copyMovie(
            {.from = path_, .to = path, .movie = movie_, .container = container(), .packets = packets});
    if (done && check)
        done = check(path);
    if (done)
        done = result(::fsync(copy.descriptor_) == 0 && std::rename(path.c_str(), path_.c_str()) == 0);
    if (!done)
        ::unlink(path.c_str());
    else
        ::dup3(copy.descriptor_, descriptor_, O_CLOEXEC); // its lock is in effect now
    return done;
}

std::expected<void, Error> MoviePart::publish() const
{
    if (!renameToFree(path_, movie_))
        return failure(movie_.string(),
            std::strerror(errno) + std::string("; the movie is in ") + path_.string(), errno);
    syncFolderOf(movie_);
    return {};
}

} // namespace tamsel::host
