#pragma once

#include <tamsel/platform/Error.h>

#include <cstddef>
#include <cstdint>
#include <expected>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Attributes in sysfs. Errors name the file.
namespace tamsel::host::iio {

constexpr double largestRaw = 2147483648.0; ///< the kernel's values are integers of 32 bits

[[nodiscard]] bool exists(const std::string& file);

/// A pipe or a missing driver must not delay a description; a reading waits for its sensor.
enum class Waiting : bool { no, yes };

/// Without white space at the end.
[[nodiscard]] std::expected<std::string, platform::Error> textIn(
    const std::string& file, Waiting waiting = Waiting::no);
[[nodiscard]] std::expected<void, platform::Error> writeText(const std::string& file, std::string_view text);

/// All numbers of a text, between spaces, commas, semicolons and brackets; absent when there is anything else.
[[nodiscard]] std::optional<std::vector<double>> numbersOf(std::string_view text);
/// So many finite numbers, none larger than `largest`.
[[nodiscard]] std::expected<std::vector<double>, platform::Error> numbersIn(
    const std::string& file, std::size_t count, double largest, Waiting waiting = Waiting::no);

/// The first of these attributes that is there, or the last one.
[[nodiscard]] std::string firstOf(const std::string& folder, std::initializer_list<std::string> names);

/// The names in a folder, in no order; none where it cannot be read.
[[nodiscard]] std::vector<std::string> namesIn(const std::string& folder);
/// Where the devices and triggers are. `root` is a prefix of /sys.
[[nodiscard]] std::string folderOfDevices(const std::string& root);

} // namespace tamsel::host::iio
