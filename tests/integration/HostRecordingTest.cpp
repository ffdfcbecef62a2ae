#include "support/HostScreen.h"
#include "support/Media.h"
#include "support/MovieProbe.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

namespace tamsel::tests {

namespace {

struct HostRecording : FolderTest {
    /// Until so many frames are in the film.
    void record(const std::string& camera, const std::string& microphone, std::uint64_t frames)
    {
        screen.emplace(host::HostConfiguration{
            .backCamera = host::HostInput{.input = camera}, .microphone = microphone});
        ASSERT_TRUE(screen->start(SourceType::cameraBack(true)));
        ASSERT_TRUE(screen->runUntil([&] { return screen->client->count > 0; }));
        screen->manager->startVideoRecording(file);
        ASSERT_TRUE(screen->runUntil([&] { return screen->manager->frameCounts().recorded >= frames; }));
    }

    const std::string file = folder.file("film.mp4");
    std::optional<HostScreen> screen;
};

} // namespace

TEST_F(HostRecording, IsCompleteAlsoWhenTheHostEndsAtOnce)
{
    record("test:640x480@60", "test:tone", 30);
    screen->manager = nullptr;
    screen.reset();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.file("")), {}), 1);
    const MovieProbe movie(file);
    EXPECT_EQ(movie.decodingErrors, "");
    EXPECT_GE(movie.frameTimes.size(), 30U);
    EXPECT_GT(movie.soundDuration, 0.3);
}

TEST_F(HostRecording, GoesOnInSilenceWithoutItsMicrophone)
{
    record("test:320x240@30", "lavfi:sine=duration=0.5", 60);
    screen->manager->stopVideoRecording();
    ASSERT_TRUE(screen->runUntil([&] { return screen->client->videos > 0; }));
    EXPECT_NE(screen->host.recordingProblem(), "");
    const MovieProbe movie(file);
    EXPECT_EQ(movie.decodingErrors, "");
    EXPECT_GE(movie.frameTimes.size(), 60U);
    EXPECT_NEAR(movie.soundDuration, movie.duration, 0.05);
}

} // namespace tamsel::tests
