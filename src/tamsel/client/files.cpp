#include <tamsel/client/files.h>

#include <cerrno>
#include <fstream>
#include <system_error>

namespace tamsel {

std::expected<void, std::string> saveFile(
    std::span<const std::byte> content, const std::filesystem::path& file)
{
    std::filesystem::path partial = file;
    partial += ".part";
    errno = 0;
    std::ofstream stream(partial, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    stream.close();
    std::error_code error(stream ? 0 : errno, std::generic_category());
    if (stream)
        std::filesystem::rename(partial, file, error);
    if (stream && !error)
        return {};
    std::error_code ignored;
    std::filesystem::remove(partial, ignored);
    return std::unexpected("cannot write " + file.string() + (error ? ": " + error.message() : ""));
}

std::filesystem::path freeFile(
    const std::filesystem::path& folder, const std::string& name, const std::string& ending)
{
    for (int number = 1;; ++number) {
        std::filesystem::path file = folder / (name + "-" + std::to_string(number) + ending);
        if (std::error_code error; !std::filesystem::exists(file, error))
            return file;
    }
}

} // namespace tamsel
