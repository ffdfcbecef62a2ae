#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tamsel::tests {

/// What this process asks the disk to keep while there is a log: the test program's own `fdatasync`, `fsync`, `rename` and
/// `renameat2` stand in front of the system's, which they call. One at a time.
class DiskLog {
public:
    DiskLog();
    ~DiskLog();
    DiskLog(const DiskLog&) = delete;
    DiskLog& operator=(const DiskLog&) = delete;

    /// Of each `fdatasync`, in order, the whole content of its file. Ends the log.
    [[nodiscard]] std::vector<std::string> take();

    std::size_t unsyncedNames
        = 0; ///< how often a file was renamed whose content was not what had last been synced
};

} // namespace tamsel::tests
