#include <host/InputAccess.h>

#include <cerrno>
#include <system_error>

namespace tamsel::host {

InputAccess inputAccess(const std::string& path, int mode, const V4L2Calls& calls)
{
    if (calls.access(path.c_str(), mode) == 0)
        return InputAccess::readable;
    return errno == ENOENT || errno == ENOTDIR ? InputAccess::absent : InputAccess::unreadable;
}

std::string whyNoFile(const std::filesystem::path& path)
{
    using enum std::filesystem::file_type;
    std::error_code error;
    switch (std::filesystem::status(path, error).type()) {
    case regular:
        return {};
    case directory:
        return "is a folder";
    case fifo:
        return "is a pipe, not a file";
    case character:
    case block:
        return "is a device, not a file";
    case socket:
        return "is a socket, not a file";
    case not_found:
        return "there is no such file";
    default:
        return error ? error.message() : "is not a file";
    }
}

} // namespace tamsel::host
