#include "support/DiskLog.h"

#include "support/Media.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <map>
#include <mutex>

namespace tamsel::tests {

namespace {

std::mutex guard;
DiskLog* log = nullptr;
std::vector<std::string> contents;
std::map<ino_t, std::string> synced;

void logSync(int descriptor, bool isData)
{
    const std::lock_guard lock(guard);
    struct stat status{};
    if (!log || ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return;
    std::string content = readFile("/proc/self/fd/" + std::to_string(descriptor));
    if (isData)
        contents.push_back(content);
    synced[status.st_ino] = std::move(content);
}

void logName(const char* file)
{
    const std::lock_guard lock(guard);
    struct stat status{};
    if (!log || ::stat(file, &status) != 0)
        return;
    const auto found = synced.find(status.st_ino);
    if (found == synced.end() || found->second != readFile(file))
        ++log->unsyncedNames;
}

} // namespace

DiskLog::DiskLog()
{
    const std::lock_guard lock(guard);
    log = this;
    contents.clear();
    synced.clear();
}

DiskLog::~DiskLog()
{
    const std::lock_guard lock(guard);
    log = nullptr;
}

std::vector<std::string> DiskLog::take()
{
    const std::lock_guard lock(guard);
    log = nullptr;
    return std::move(contents);
}

} // namespace tamsel::tests

extern "C" int fdatasync(int descriptor)
{
    const auto result = static_cast<int>(::syscall(SYS_fdatasync, descriptor));
    tamsel::tests::logSync(descriptor, true);
    return result;
}

extern "C" int fsync(int descriptor)
{
    const auto result = static_cast<int>(::syscall(SYS_fsync, descriptor));
    tamsel::tests::logSync(descriptor, false);
    return result;
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    tamsel::tests::logName(from);
    return static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

extern "C" int renameat2(
    int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept
{
    tamsel::tests::logName(from);
    return static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}
