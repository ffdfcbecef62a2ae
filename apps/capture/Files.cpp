#include "Files.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace tamsel::capture {

std::expected<std::vector<std::byte>, std::string> readFile(const std::string& file)
{
    constexpr std::uintmax_t largest = std::uintmax_t{1} << 29U;
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        const bool isThere = std::filesystem::exists(file, error);
        return std::unexpected(file + (isThere ? ": is no regular file" : ": there is no such file"));
    }
    if (std::filesystem::file_size(file, error) > largest)
        return std::unexpected(file + ": is too large for a picture");
    std::ifstream stream(file, std::ios::binary);
    std::vector<std::byte> data;
    std::array<char, 65536> block{};
    do {
        stream.read(block.data(), block.size());
        const auto bytes = std::as_bytes(std::span(block)).first(static_cast<std::size_t>(stream.gcount()));
        data.insert(data.end(), bytes.begin(), bytes.end());
    } while (stream);
    if (stream.bad() || !stream.eof())
        return std::unexpected(file + ": cannot be read");
    return data;
}

namespace {

bool writeStraight(std::span<const std::byte> content, const std::string& file)
{
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    stream.close();
    return static_cast<bool>(stream);
}

/// A new file in place of the old one, or nothing: an image may be written over the one that it was made from.
bool replaceFile(std::span<const std::byte> content, const std::filesystem::path& file)
{
    // A name of its own: a file that somebody has put there, or another writer, is never touched.
    std::string partial = file.string() + ".XXXXXX";
    const int descriptor = ::mkstemp(partial.data());
    if (descriptor < 0)
        return false;
    ::close(descriptor);
    std::error_code error;
    const std::filesystem::file_status old = std::filesystem::status(file, error);
    if (writeStraight(content, partial)) {
        std::filesystem::permissions(partial, old.permissions(), error);
        std::filesystem::rename(partial, file, error);
        if (!error)
            return true;
        errno = error.value();
    }
    const int reason = errno;
    std::filesystem::remove(partial, error);
    errno = reason;
    return false;
}

} // namespace

std::expected<void, std::string> writeFile(std::span<const std::byte> content, const std::string& file)
{
    errno = 0;
    std::error_code error;
    // Through a link; what is there and is no regular file is written to as it stands.
    const bool isThere = std::filesystem::is_regular_file(file, error);
    const std::filesystem::path target
        = isThere ? std::filesystem::canonical(file, error) : std::filesystem::path(file);
    const bool isNew = !std::filesystem::exists(std::filesystem::symlink_status(file, error));
    if (isThere && !error ? replaceFile(content, target) : writeStraight(content, file))
        return {};
    const int reason = errno;
    if (isNew)
        std::filesystem::remove(file, error); // half a file is worse than none
    errno = reason;
    return std::unexpected(
        "cannot write " + file + (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}

} // namespace tamsel::capture
