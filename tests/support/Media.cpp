#include "support/Media.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace tamsel::tests {

std::string testData(const std::string& file)
{
    return std::string(TAMSEL_TEST_DATA).append("/").append(file);
}

std::string sample()
{
    return testData("video/moving_cup_audio_640x480.mp4");
}

std::optional<std::string> media(const std::string& file)
{
    const char* folder = std::getenv("TAMSEL_MEDIA");
    if (!folder)
        return std::nullopt;
    const std::string path = std::string(folder) + "/" + file;
    return std::filesystem::exists(path) ? std::optional(path) : std::nullopt;
}

ScratchFolder::ScratchFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "tamsel-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

CommandResult runCommand(const std::string& command)
{
    CommandResult result{};
    std::FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 4096> block{};
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), pipe))
        result.output.append(block.data(), size);
    result.status = WEXITSTATUS(pclose(pipe));
    return result;
}

bool makeVideo(const std::string& arguments, const std::string& file)
{
    return runCommand("timeout 120 ffmpeg -v error -y " + arguments + " '" + file + "' 2>&1").status == 0;
}

bool waitUntil(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::string readFile(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void writeFile(const std::string& file, const std::string& content)
{
    std::ofstream(file, std::ios::binary) << content;
}

} // namespace tamsel::tests
