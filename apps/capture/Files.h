#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace tamsel::capture {

/// Whether anything has this name, also a link that leads nowhere.
[[nodiscard]] bool isThere(const std::filesystem::path& file);

/// A whole file of at most 512 MiB. The error is one line that names it.
[[nodiscard]] std::expected<std::vector<std::byte>, std::string> readFile(const std::string& file);

/// What is there is replaced as a whole, or stays as it was; no part of a new file is ever seen. A pipe is written as soon as it
/// is read, unless `interruptWrites` comes first. The error is one line that names the file.
[[nodiscard]] std::expected<void, std::string> writeFile(
    std::span<const std::byte> content, const std::string& file);

/// A file that must not be there yet, to be written bit by bit: its descriptor, or one line that names it.
[[nodiscard]] std::expected<int, std::string> createFile(const std::string& file);

/// Ends the writes that wait for a reader; later ones may wait again. Thread-safe.
void interruptWrites();

/// When one of the files is the standard output, such as /dev/stdout, text goes to the standard error from now on: it is no
/// part of the file. To be called before there are threads.
void keepTextOutOf(std::span<const std::string> files);

} // namespace tamsel::capture
