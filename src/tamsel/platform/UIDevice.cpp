#include <tamsel/platform/UIDevice.h>

#include <charconv>
#include <tuple>

namespace tamsel::platform {

bool isSystemVersionAtLeast(const UIDevice& device, int major, int minor)
{
    const std::string version = device.systemVersion();
    const char* const end = version.data() + version.size();
    int haveMajor = 0;
    int haveMinor = 0;
    const auto first = std::from_chars(version.data(), end, haveMajor);
    if (first.ec == std::errc{} && first.ptr != end && *first.ptr == '.')
        std::from_chars(first.ptr + 1, end, haveMinor);
    return std::tie(haveMajor, haveMinor) >= std::tie(major, minor);
}

} // namespace tamsel::platform
