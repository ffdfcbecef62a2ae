#pragma once

#include "report/Console.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tamsel::capture {

/// New files in a folder that may replace earlier ones. These stay until the new files are complete, which are written to a
/// subfolder until then.
class Replacement {
public:
    /// With the names of all files that may be written.
    Replacement(std::filesystem::path folder, std::vector<std::string> names);
    /// Reports the subfolder if its files were not kept.
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /// Call it first. Creates the subfolder `name` when earlier files exist. Throws `Unusable`.
    void begin(const std::string& name, Console& console);

    /// The current path of a file.
    [[nodiscard]] std::string placeOf(const std::string& name) const { return (place_ / name).string(); }
    /// Its final path.
    [[nodiscard]] std::string targetOf(const std::string& name) const { return (folder_ / name).string(); }

    /// Moves the new files to their final paths and removes all earlier ones. False, and reported, on failure.
    bool keep();

private:
    [[nodiscard]] bool isInPlace() const { return place_ == folder_; }

    const std::filesystem::path folder_;
    const std::vector<std::string> names_;
    std::filesystem::path place_ = folder_;
    Console* console_ = nullptr; ///< set with a subfolder
};

} // namespace tamsel::capture
