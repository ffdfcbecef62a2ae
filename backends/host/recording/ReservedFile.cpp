#include <host/recording/ReservedFile.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr std::uint64_t step = std::uint64_t{1} << 20;
/// For what a file system needs beside the bytes, where it can promise nothing.
constexpr std::uint64_t margin = step;

std::unexpected<Error> failureOf(const std::filesystem::path& path, int code)
{
    return std::unexpected(
        Error{.localizedDescription = path.string() + ": " + std::strerror(code), .code = code});
}

/// Room without a change of the size; false, with the reason in errno, when there is none.
bool extend(int descriptor, std::uint64_t from, std::uint64_t to)
{
    int result = 0;
    do {
        result = ::fallocate(
            descriptor, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(from), static_cast<off_t>(to - from));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

std::expected<ReservedFile, Error> ReservedFile::create(std::filesystem::path path)
{
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0)
        return failureOf(path, errno);
    return ReservedFile(std::move(path), descriptor);
}

std::expected<ReservedFile, Error> ReservedFile::open(std::filesystem::path path)
{
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0)
        return failureOf(path, errno);
    struct stat status{};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        return std::unexpected(Error{.localizedDescription = path.string() + ": no regular file"});
    }
    return ReservedFile(std::move(path), descriptor);
}

ReservedFile::ReservedFile(std::filesystem::path path, int descriptor)
    : path_(std::move(path)),
      descriptor_(descriptor)
{
}

ReservedFile::ReservedFile(ReservedFile&& other) noexcept
    : path_(std::move(other.path_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      reserved_(other.reserved_)
{
}

ReservedFile& ReservedFile::operator=(ReservedFile&& other) noexcept
{
    std::swap(path_, other.path_);
    std::swap(descriptor_, other.descriptor_);
    std::swap(reserved_, other.reserved_);
    return *this;
}

ReservedFile::~ReservedFile()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

std::unexpected<Error> ReservedFile::failure(int code) const
{
    return failureOf(path_, code);
}

std::uint64_t ReservedFile::size() const
{
    struct stat status{};
    return ::fstat(descriptor_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool ReservedFile::lock() const
{
    return ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
}

std::expected<void, Error> ReservedFile::reserve(std::uint64_t end)
{
    if (end <= reserved_)
        return {};
    for (const std::uint64_t wanted : {(end + step - 1) / step * step, end}) {
        if (extend(descriptor_, reserved_, wanted)) {
            reserved_ = wanted;
            return {};
        }
        if (errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL) {
            struct statvfs system{};
            const std::uint64_t written = size();
            if (::fstatvfs(descriptor_, &system) == 0 && end > written
                && system.f_bavail * system.f_frsize < end - written + margin)
                return failure(ENOSPC);
            return {};
        }
        if (errno != ENOSPC && errno != EDQUOT && errno != EFBIG)
            break;
    }
    return failure(errno);
}

std::expected<void, Error> ReservedFile::write(std::uint64_t offset, std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return failure(written < 0 ? errno : ENOSPC);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        offset += static_cast<std::uint64_t>(written);
    }
    return {};
}

std::expected<void, Error> ReservedFile::read(std::uint64_t offset, std::span<std::byte> bytes) const
{
    while (!bytes.empty()) {
        const ssize_t got = ::pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return failure(errno);
        if (got == 0)
            return std::unexpected(Error{.localizedDescription = path_.string() + ": ends too early"});
        bytes = bytes.subspan(static_cast<std::size_t>(got));
        offset += static_cast<std::uint64_t>(got);
    }
    return {};
}

std::expected<void, Error> ReservedFile::cut(std::uint64_t size)
{
    if (::ftruncate(descriptor_, static_cast<off_t>(size)) != 0)
        return failure(errno);
    reserved_ = std::min(reserved_, size);
    return {};
}

void ReservedFile::remove()
{
    ::unlink(path_.c_str());
}

} // namespace tamsel::host
