#include "support/HostScreen.h"
#include "support/Media.h"
#include "support/MovieProbe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

namespace tamsel::tests {

using namespace std::chrono_literals;

namespace {

/// A screen that records into a file, once frames have come.
struct RecordingHost : HostScreen {
    RecordingHost(const std::string& camera, std::optional<std::string> microphone)
        : HostScreen(host::HostConfiguration{
              .backCamera = host::HostInput{.input = camera}, .microphone = std::move(microphone)})
    {
        EXPECT_TRUE(start(SourceType::cameraBack(true)));
        EXPECT_TRUE(runUntil([&] { return client->count > 0; }));
        manager->startVideoRecording(file);
    }

    /// Until so many frames are in the film.
    bool record(std::uint64_t frames)
    {
        return runUntil([&] { return manager->frameCounts().recorded >= frames || client->videos > 0; });
    }

    const std::shared_ptr<const ScratchFolder> folder = std::make_shared<ScratchFolder>();
    const std::string file = folder->file("film.mp4");
};

} // namespace

TEST(HostRecording, IsCompleteAlsoWhenTheHostEndsAtOnce)
{
    std::optional<RecordingHost> screen(std::in_place, "test:640x480@60", "test:tone");
    ASSERT_TRUE(screen->record(30));
    const auto folder = screen->folder;
    const std::string file = screen->file;
    screen->manager = nullptr;
    screen.reset();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder->file("")), {}), 1);
    const MovieProbe movie(file);
    EXPECT_EQ(movie.decodingErrors, "");
    EXPECT_GE(movie.frameTimes.size(), 30U);
    EXPECT_GT(movie.soundDuration, 0.3);
}

TEST(HostRecording, EndsOnceWithItsCamera)
{
    RecordingHost screen("lavfi:testsrc2=s=320x240:r=30:d=1.5", "test:tone");
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->videos > 0; }));
    screen.manager->stopVideoRecording(); // the session has stopped
    ASSERT_TRUE(screen.runUntil(
        [&] { return std::ranges::count(screen.client->errors(), "captureImageFailed") == 1; }));
    EXPECT_EQ(screen.client->videos, 1);
    const MovieProbe movie(screen.file);
    EXPECT_EQ(movie.decodingErrors, "");
    EXPECT_GE(movie.frameTimes.size(), 20U);
    EXPECT_EQ(movie.frameTimes.size(), screen.manager->frameCounts().recorded);
}

TEST(HostRecording, GoesOnInSilenceWithoutItsMicrophone)
{
    RecordingHost screen("test:320x240@30", "lavfi:sine=duration=0.5");
    ASSERT_TRUE(screen.record(60));
    screen.manager->stopVideoRecording();
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->videos > 0; }));
    EXPECT_NE(screen.host.recordingProblem(), "");
    const MovieProbe movie(screen.file);
    EXPECT_EQ(movie.decodingErrors, "");
    EXPECT_GE(movie.frameTimes.size(), 60U);
    EXPECT_NEAR(movie.soundDuration, movie.duration, 0.05);
}

} // namespace tamsel::tests
