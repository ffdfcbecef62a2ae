#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tamsel::host {

/// The system calls for a V4L2 device, so that a scripted device can replace a real one. All behave like the calls of
/// the same name, `errno` included. Thread-safe.
struct V4L2Calls {
    std::function<int(const char* path, int flags)> open;
    std::function<int(int descriptor)> close;
    std::function<int(int descriptor, unsigned long request, void* argument)> ioctl;
    std::function<void*(std::size_t length, int protection, int flags, int descriptor, off_t offset)> mmap;
    std::function<int(void* address, std::size_t length)> munmap;
    std::function<int(const char* path, int mode)> access;
    /// The paths of the nodes `video0`, `video1`, …, in the order of their numbers.
    std::function<std::vector<std::string>()> nodes;
};

/// The real ones.
[[nodiscard]] V4L2Calls systemV4L2Calls();

} // namespace tamsel::host
