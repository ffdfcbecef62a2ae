#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>

namespace tamsel::tests {

/// A file among the data of the tests.
[[nodiscard]] std::string testData(const std::string& file);

/// The sample that ships with the project.
[[nodiscard]] std::string sample();

/// A file of the folder that TAMSEL_MEDIA names; absent when there is no such folder.
[[nodiscard]] std::optional<std::string> media(const std::string& file);

/// A folder of its own for one test, removed afterwards.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/// A test with files of its own.
struct FolderTest : testing::Test {
    const ScratchFolder folder;
};

struct CommandResult {
    int status;
    std::string output;
};

/// Runs a shell command and takes its standard output.
[[nodiscard]] CommandResult runCommand(const std::string& command);

/// A video made by the ffmpeg command from its test sources.
[[nodiscard]] bool makeVideo(const std::string& arguments, const std::string& file);

/// False after a time that no test should take.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition);

[[nodiscard]] std::string readFile(const std::string& file);
void writeFile(const std::string& file, const std::string& content);

} // namespace tamsel::tests
