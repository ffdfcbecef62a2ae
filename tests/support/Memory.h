#pragma once

#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tamsel::tests {

/// Sanitizers do: how much memory a process has then says nothing.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool keepsFreedMemory = true;
#elif defined(__has_feature)
inline constexpr bool keepsFreedMemory = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool keepsFreedMemory = false;
#endif

/// What this process has in memory.
inline std::size_t residentKilobytes()
{
    std::ifstream stream("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    stream >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

/// How many entries a folder of the process has: "fd" or "task".
inline std::ptrdiff_t countOwn(const std::string& what)
{
    const std::filesystem::directory_iterator entries("/proc/self/" + what);
    return std::distance(begin(entries), end(entries));
}

} // namespace tamsel::tests
