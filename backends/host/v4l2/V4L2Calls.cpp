#include <host/v4l2/V4L2Calls.h>

#include <host/v4l2/V4L2Nodes.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace tamsel::host {

V4L2Calls systemV4L2Calls()
{
    return {
        .open = [](const char* path, int flags) { return ::open(path, flags); },
        .close = [](int descriptor) { return ::close(descriptor); },
        .ioctl = [](int descriptor, unsigned long request,
                     void* argument) { return ::ioctl(descriptor, request, argument); },
        .mmap = [](std::size_t length, int protection, int flags, int descriptor,
                    off_t offset) { return ::mmap(nullptr, length, protection, flags, descriptor, offset); },
        .munmap = [](void* address, std::size_t length) { return ::munmap(address, length); },
        .access = [](const char* path, int mode) { return ::access(path, mode); },
        .nodes = [] { return videoNodes("/dev"); },
    };
}

} // namespace tamsel::host
