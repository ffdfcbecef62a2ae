#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <span>
#include <string>

namespace tamsel {

/// Writes a file, such as the bytes of a sample. It is written under another name beside it and then renamed, so a file of
/// this name is always complete; an earlier one is replaced. The error is one line that names the file. Thread-safe, but
/// not for one file at the same time.
[[nodiscard]] std::expected<void, std::string> saveFile(
    std::span<const std::byte> content, const std::filesystem::path& file);

/// The first of "name-1.jpg", "name-2.jpg" and so on that does not exist, for the ending ".jpg". Creates nothing.
[[nodiscard]] std::filesystem::path freeFile(
    const std::filesystem::path& folder, const std::string& name, const std::string& ending);

} // namespace tamsel
