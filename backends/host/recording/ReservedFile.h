#pragma once

#include <tamsel/platform/Error.h>

#include <cstddef>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <span>

namespace tamsel::host {

/// A file that keeps room on its disk for what will have to be written. Errors are one line that names the file. Not
/// thread-safe.
class ReservedFile {
public:
    /// A file that is there already is an error, and is left alone.
    [[nodiscard]] static std::expected<ReservedFile, platform::Error> create(std::filesystem::path path);
    /// To read and to write.
    [[nodiscard]] static std::expected<ReservedFile, platform::Error> open(std::filesystem::path path);

    ReservedFile(ReservedFile&& other) noexcept;
    ReservedFile& operator=(ReservedFile&& other) noexcept;
    ~ReservedFile();

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::uint64_t size() const;
    /// Against every other process; false when one has it. Ends with the process.
    [[nodiscard]] bool lock() const;

    /// From now on bytes up to `end` can be written, whatever others do with the disk; the file's size stays as it is. On a
    /// file system that cannot promise that, there is room at this moment.
    [[nodiscard]] std::expected<void, platform::Error> reserve(std::uint64_t end);
    [[nodiscard]] std::expected<void, platform::Error> write(
        std::uint64_t offset, std::span<const std::byte> bytes);
    /// All of them.
    [[nodiscard]] std::expected<void, platform::Error> read(
        std::uint64_t offset, std::span<std::byte> bytes) const;
    /// Ends the file there, and gives back what is reserved behind.
    [[nodiscard]] std::expected<void, platform::Error> cut(std::uint64_t size);
    void remove();

private:
    ReservedFile(std::filesystem::path path, int descriptor);

    [[nodiscard]] std::unexpected<platform::Error> failure(int code) const;

    std::filesystem::path path_;
    int descriptor_ = -1;
    std::uint64_t reserved_ = 0;
};

} // namespace tamsel::host
