#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace tamsel::tests {

/// The sample that ships with the project.
[[nodiscard]] inline std::string sample()
{
    return std::string(TAMSEL_TEST_DATA) + "/video/moving_cup_audio_640x480.mp4";
}

/// A file of the folder that TAMSEL_MEDIA names; absent when there is no such folder.
[[nodiscard]] inline std::optional<std::string> media(const std::string& file)
{
    const char* folder = std::getenv("TAMSEL_MEDIA");
    if (!folder)
        return std::nullopt;
    const std::string path = std::string(folder) + "/" + file;
    return std::filesystem::exists(path) ? std::optional(path) : std::nullopt;
}

/// A folder of its own for one test, removed afterwards.
class ScratchFolder {
public:
    ScratchFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tamsel-test-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

struct CommandResult {
    int status;
    std::string output;
};

/// Runs a shell command and takes its standard output.
[[nodiscard]] inline CommandResult runCommand(const std::string& command)
{
    CommandResult result{};
    std::FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 4096> block{};
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), pipe))
        result.output.append(block.data(), size);
    result.status = WEXITSTATUS(pclose(pipe));
    return result;
}

/// A video made by the ffmpeg command from its test sources.
[[nodiscard]] inline bool makeVideo(const std::string& arguments, const std::string& file)
{
    return runCommand("ffmpeg -v error -y " + arguments + " '" + file + "' 2>&1").status == 0;
}

[[nodiscard]] inline std::string readFile(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace tamsel::tests
