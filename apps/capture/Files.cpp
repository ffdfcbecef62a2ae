#include "Files.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace tamsel::capture {

std::expected<std::vector<std::byte>, std::string> readFile(const std::string& file)
{
    constexpr std::uintmax_t largest = std::uintmax_t{1} << 29U;
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error))
        return std::unexpected(file + ": there is no such file");
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

std::expected<void, std::string> writeFile(std::span<const std::byte> content, const std::string& file)
{
    errno = 0;
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (stream)
        return {};
    return std::unexpected(
        "cannot write " + file + (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}

} // namespace tamsel::capture
