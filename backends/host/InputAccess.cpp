#include <host/InputAccess.h>

#include <cerrno>

namespace tamsel::host {

InputAccess inputAccess(const std::string& path, int mode, const V4L2Calls& calls)
{
    if (calls.access(path.c_str(), mode) == 0)
        return InputAccess::readable;
    return errno == ENOENT || errno == ENOTDIR ? InputAccess::absent : InputAccess::unreadable;
}

} // namespace tamsel::host
