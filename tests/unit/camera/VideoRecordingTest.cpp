#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using namespace platform;
using engine::CaptureCall;
using std::chrono::nanoseconds;

namespace {

constexpr nanoseconds frameInterval = nanoseconds(1s) / 30;

simulated::PhoneConfiguration withMicrophone(simulated::PhoneConfiguration configuration = {})
{
    configuration.microphone = simulated::MicrophoneScript{};
    return configuration;
}

/// A capture screen whose camera runs at 30 frames a second and may record.
struct RecordingScreen : CaptureScreen {
    explicit RecordingScreen(
        simulated::PhoneConfiguration configuration = withMicrophone(), bool records = true)
        : CaptureScreen(std::move(configuration))
    {
        startCamera(SourceType::cameraBack(records));
    }

    void record(nanoseconds duration, const char* url = "clip.mp4")
    {
        manager->startVideoRecording(url);
        phone.advance(duration);
    }

    void stop()
    {
        manager->stopVideoRecording();
        phone.advance(1s);
    }
    /// What the client was told, without the live frames.
    [[nodiscard]] Texts results() const
    {
        Texts kept;
        std::ranges::copy_if(
            client->calls, std::back_inserter(kept), [](const std::string& call) { return call != "frame"; });
        return kept;
    }

    [[nodiscard]] simulated::SimulatedMovie movie(const char* url = "clip.mp4")
    {
        const auto found = phone.movies().movie(url);
        return found ? *found : simulated::SimulatedMovie{};
    }
};

} // namespace

TEST(VideoRecording, KeepsEveryFrameAndTheSoundFromStartToStop)
{
    RecordingScreen screen;
    screen.record(1s);
    screen.stop();

    EXPECT_EQ(screen.results(), Texts{"video clip.mp4"});
    EXPECT_EQ(screen.phone.journal().texts("startRecording"), Texts{"startRecording clip.mp4"});
    const simulated::SimulatedMovie movie = screen.movie();
    EXPECT_TRUE(movie.isComplete);
    EXPECT_TRUE(movie.settings.hasSound);
    ASSERT_EQ(movie.frameTimes.size(), 30U);
    for (std::size_t frame = 1; frame < movie.frameTimes.size(); ++frame) {
        EXPECT_EQ(movie.frameTimes[frame] - movie.frameTimes[frame - 1], frameInterval);
        EXPECT_EQ(movie.frameNumbers[frame], movie.frameNumbers[frame - 1] + 1);
    }
    EXPECT_NEAR(static_cast<double>(movie.soundLength), 48'000, 2 * 960);
    const FrameCounts counts = screen.manager->frameCounts();
    EXPECT_EQ(counts.recorded, 30U);
    EXPECT_EQ(counts.notRecorded, 0U);
    EXPECT_EQ(counts.dropped(), 0U);
    // It can be read like any other recording.
    EXPECT_NE(screen.phone.platform().assets.assetWithURL("clip.mp4"), nullptr);
}

TEST(VideoRecording, DoesNothingUnlessItIsEnabledAndFailsUnlessTheSessionRuns)
{
    {
        RecordingScreen screen(withMicrophone(), false);
        screen.record(200ms);
        screen.stop();
        EXPECT_EQ(screen.results(), Texts{});
        EXPECT_EQ(screen.phone.journal().texts("report"), Texts{});
    }
    RecordingScreen screen;
    screen.manager->pauseCamera();
    screen.manager->startVideoRecording("clip.mp4");
    screen.stop();
    EXPECT_EQ(screen.results(), (Texts{"error captureImageFailed", "error captureImageFailed"}));
    for (const std::string& report : screen.phone.journal().texts("report")) {
        EXPECT_NE(report.find("(AVCaptureSession is no running)"), std::string::npos) << report;
        EXPECT_NE(report.find("Capture image failed"), std::string::npos) << report;
    }
    EXPECT_EQ(screen.phone.journal().texts("report").size(), 2U);
    EXPECT_EQ(screen.phone.journal().texts("startRecording"), Texts{});

    CaptureScreen idle;
    idle.manager->startVideoRecording("clip.mp4");
    idle.manager->stopVideoRecording();
    idle.phone.advance(1s);
    EXPECT_EQ(idle.client->calls, Texts{});
}

TEST(VideoRecording, EndsOnceWhateverEndsIt)
{
    struct Case {
        const char* name;
        std::function<void(RecordingScreen&)> end;
        bool tellsUrl = true;
    };
    const std::vector<Case> cases{
        {"stop", [](auto& screen) { screen.manager->stopVideoRecording(); }},
        {"pause", [](auto& screen) { screen.manager->pauseCamera(); }},
        {"background", [](auto& screen) { screen.phone.enterBackground(); }},
        {"lost camera", [](auto& screen) { screen.back().unplug(); }},
        {"full disk", [](auto& screen) { screen.phone.movies().script().framesUntilFull = 20; }},
        {"stop of the camera", [](auto& screen) { screen.manager->stopCameraSession(); }, false},
        {"stop of everything", [](auto& screen) { screen.manager->stopAllSessions(); }, false},
        {"release", [](auto& screen) { screen.manager = nullptr; }, false},
        {"another session",
            [](auto& screen) { EXPECT_TRUE(screen.start(SourceType::cameraBack(false)).has_value()); },
            false},
    };
    for (const Case& one : cases) {
        RecordingScreen screen;
        screen.record(500ms);
        one.end(screen);
        screen.phone.advance(1s);
        // What comes afterwards changes nothing.
        if (screen.manager)
            screen.stop();
        const Texts results = screen.results();
        EXPECT_EQ(std::ranges::count(results, "video clip.mp4"), one.tellsUrl ? 1 : 0) << one.name;
        EXPECT_TRUE(screen.movie().isComplete) << one.name;
        EXPECT_GE(screen.movie().frameTimes.size(), 14U) << one.name;
        EXPECT_TRUE(screen.back().isStarted() || !screen.phone.microphone().isStarted()) << one.name;
    }
}

TEST(VideoRecording, IsCompleteAlsoWhenThePlatformEnds)
{
    std::shared_ptr<const simulated::SimulatedMovie> movie;
    {
        RecordingScreen screen;
        screen.phone.movies().script().timeToEncode = 50ms;
        screen.record(500ms);
        movie = screen.phone.movies().movie("clip.mp4");
        screen.manager = nullptr;
    }
    EXPECT_TRUE(movie->isComplete);
    EXPECT_EQ(movie->frameTimes.size(), 15U);
}

TEST(VideoRecording, GoesOnWithoutSoundWhenTheMicrophoneIsLost)
{
    RecordingScreen screen;
    screen.record(500ms);
    screen.phone.microphone().unplug();
    screen.phone.advance(500ms);
    EXPECT_EQ(screen.results(), Texts{});
    screen.manager->stopVideoRecording();
    screen.phone.run();
    EXPECT_EQ(screen.results(), Texts{"video clip.mp4"});
    EXPECT_EQ(screen.movie().frameTimes.size(), 30U);
    EXPECT_NEAR(static_cast<double>(screen.movie().soundLength), 24'000, 2 * 960);
    EXPECT_EQ(
        screen.phone.journal().texts("recording"), Texts{"recording the simulated microphone is not there"});
    EXPECT_FALSE(screen.phone.microphone().isStarted());
}

TEST(VideoRecording, WaitsAMomentForTheSoundOfItsLastFrames)
{
    simulated::PhoneConfiguration configuration = withMicrophone();
    configuration.microphone->chunkInterval = 200ms;
    RecordingScreen screen(std::move(configuration));
    screen.record(1s);
    screen.manager->stopVideoRecording();
    screen.phone.advance(50ms);
    EXPECT_EQ(screen.results(), Texts{});
    screen.phone.advance(200ms);
    EXPECT_EQ(screen.results(), Texts{"video clip.mp4"});
    EXPECT_EQ(screen.movie().frameTimes.size(), 30U);

    // Sound that does not come is not waited for.
    screen.phone.microphone().script().chunkInterval = 1h;
    screen.phone.advance(1s);
    screen.record(1s, "second.mp4");
    screen.manager->stopVideoRecording();
    screen.phone.advance(310ms);
    EXPECT_EQ(screen.results(), (Texts{"video clip.mp4", "video second.mp4"}));
    EXPECT_EQ(screen.movie("second.mp4").frameTimes.size(), 30U);
}

TEST(VideoRecording, ThatCannotBeWrittenEndsAtOnce)
{
    RecordingScreen screen;
    screen.phone.movies().putFile("taken.mp4");
    screen.record(100ms, "taken.mp4");
    EXPECT_EQ(screen.results(), Texts{"video taken.mp4"});
    EXPECT_EQ(screen.phone.movies().movie("taken.mp4"), nullptr); // left as it was

    screen.phone.movies().script().cannotOpen = "Permission denied";
    screen.record(100ms, "denied.mp4");
    screen.phone.movies().script().cannotOpen.reset();
    screen.phone.refuse(CaptureCall::startRecording);
    screen.record(100ms, "refused.mp4");
    EXPECT_EQ(screen.results(), (Texts{"video taken.mp4", "video denied.mp4", "video refused.mp4"}));
    EXPECT_EQ(screen.phone.journal().texts("recording"),
        (Texts{"recording taken.mp4: File exists", "recording denied.mp4: Permission denied",
            "recording refused.mp4: the camera does not run"}));

    // And nothing of it is in the way of the next.
    screen.record(500ms);
    screen.stop();
    EXPECT_EQ(screen.movie().frameTimes.size(), 15U);
}

TEST(VideoRecording, LeavesOutAndCountsWhatTheEncoderCannotKeepUpWith)
{
    RecordingScreen screen;
    screen.phone.movies().script().timeToEncode = 100ms;
    screen.record(10s);
    screen.back().dropFrame(DropCause::late); // before the recorder could see it
    screen.manager->stopVideoRecording();
    screen.phone.advance(10s);
    const FrameCounts counts = screen.manager->frameCounts();
    EXPECT_EQ(counts.recorded + counts.notRecorded, 301U);
    EXPECT_EQ(screen.movie().frameTimes.size(), counts.recorded);
    EXPECT_GT(counts.recorded, 100U);
    EXPECT_GT(counts.notRecorded, 100U);
    EXPECT_EQ(counts.dropped(), 1U);
}

TEST(VideoRecording, HearsNothingWithoutPermission)
{
    for (const auto status : {AVAuthorizationStatus::denied, AVAuthorizationStatus::notDetermined}) {
        CaptureScreen screen(withMicrophone());
        screen.phone.setAuthorization(AVMediaType::audio, status);
        screen.startAndRun(SourceType::cameraBack(true));
        EXPECT_FALSE(screen.phone.microphone().isStarted());
        screen.manager->startVideoRecording("clip.mp4");
        screen.phone.run();
        screen.frame();
        screen.manager->stopVideoRecording();
        screen.phone.run();
        ASSERT_NE(screen.phone.movies().movie("clip.mp4"), nullptr);
        EXPECT_FALSE(screen.phone.movies().movie("clip.mp4")->settings.hasSound);
    }
}

} // namespace tamsel::tests
