#pragma once

#include <cstddef>
#include <expected>
#include <span>
#include <string>
#include <vector>

namespace tamsel::capture {

/// A whole file of at most 512 MiB. The error is one line that names it.
[[nodiscard]] std::expected<std::vector<std::byte>, std::string> readFile(const std::string& file);

/// A file that is there is replaced as a whole, or stays as it was. The error is one line that names it.
[[nodiscard]] std::expected<void, std::string> writeFile(
    std::span<const std::byte> content, const std::string& file);

} // namespace tamsel::capture
