// Preloaded into the command: a file with content answers like a node that captures, until frames are requested.

#include <linux/videodev2.h>

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdarg>

extern "C" int ioctl(int descriptor, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    struct stat status{};
    if (request == VIDIOC_QUERYCAP && ::fstat(descriptor, &status) == 0 && status.st_size > 0) {
        auto& answer = *static_cast<v4l2_capability*>(argument);
        answer = {};
        answer.capabilities = answer.device_caps = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
        return 0;
    }
    static const auto next = reinterpret_cast<int (*)(int, unsigned long, ...)>(::dlsym(RTLD_NEXT, "ioctl"));
    return next(descriptor, request, argument);
}
