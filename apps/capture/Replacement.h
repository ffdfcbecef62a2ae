#pragma once

#include "report/Console.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tamsel::capture {

/// New files in a folder, perhaps in place of earlier ones: these stay where they are until the new ones are whole, which are
/// made in a folder of their own meanwhile.
class Replacement {
public:
    /// With the names that there may be in the folder.
    Replacement(std::filesystem::path folder, std::vector<std::string> names);
    /// New files that have not been kept stay where they were made, which is reported.
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /// To be called first. New files are made in a folder of that name when anything is in their way. Throws `Unusable` when
    /// there is no place for them.
    void begin(const std::string& name, Console& console);

    /// Where a file is made, and then where it is.
    [[nodiscard]] std::string placeOf(const std::string& name) const { return (place_ / name).string(); }
    /// Where it is to be.
    [[nodiscard]] std::string targetOf(const std::string& name) const { return (folder_ / name).string(); }

    /// Puts the new files where they are to be; no earlier one is left. False, and reported, when that failed.
    bool keep();

private:
    [[nodiscard]] bool isInPlace() const { return place_ == folder_; }

    const std::filesystem::path folder_;
    const std::vector<std::string> names_;
    std::filesystem::path place_ = folder_;
    Console* console_ = nullptr; ///< set with a place
};

} // namespace tamsel::capture
