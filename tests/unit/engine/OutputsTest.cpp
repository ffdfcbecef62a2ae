// The photo and the movie output by themselves, without the library's camera.

#include <simulated/Phone.h>

#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/CaptureServices.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;

namespace {

/// Writes down the calls of a still.
class StillFollower final : public AVCapturePhotoCaptureDelegate {
public:
    void captureOutputWillBeginCapture(const AVCaptureResolvedPhotoSettings& settings) override
    {
        id = settings.uniqueID;
        calls += "begin ";
    }
    void captureOutputWillCapturePhoto(const AVCaptureResolvedPhotoSettings&) override { calls += "will "; }
    void captureOutputDidCapturePhoto(const AVCaptureResolvedPhotoSettings&) override { calls += "did "; }
    void captureOutputDidFinishProcessingPhoto(
        const AVCapturePhoto& photo, const std::optional<Error>& error) override
    {
        calls += !error && photo.fileDataRepresentation() ? "photo " : "no photo ";
    }
    void captureOutputDidFinishCapture(
        const AVCaptureResolvedPhotoSettings& settings, const std::optional<Error>& error) override
    {
        EXPECT_EQ(settings.uniqueID, id);
        calls += error ? "failed" : "finished";
    }

    std::string calls;
    std::int64_t id = 0;
};

/// Writes down which recordings have ended, and whether well.
struct MovieFollower final : AVCaptureFileOutputRecordingDelegate {
    void captureOutputDidFinishRecording(
        const std::filesystem::path& url, const std::optional<Error>& error) override
    {
        ends.emplace_back(url.string(), !error);
    }

    std::vector<std::pair<std::string, bool>> ends;
};

struct Outputs : testing::Test {
    Outputs()
    {
        phone.camera(AVCaptureDevicePosition::back).script().frameInterval = 5ms;
        session->addInput(input);
        session->addOutput(photo);
        session->addOutput(movie);
    }

    std::shared_ptr<StillFollower> takeStill()
    {
        auto follower = std::make_shared<StillFollower>();
        photo->capturePhoto(
            AVCapturePhotoSettings::photoSettingsWithFormat(AVVideoCodecType::jpeg), follower);
        return follower;
    }

    simulated::Phone phone;
    CaptureServices& capture = phone.platform().capture;
    std::shared_ptr<AVCaptureSession> session = capture.makeSession();
    std::shared_ptr<AVCaptureInput> input
        = capture
              .makeDeviceInput(capture.defaultDevice(AVCaptureDeviceType::builtInWideAngleCamera,
                  AVMediaType::video, AVCaptureDevicePosition::back))
              .value();
    std::shared_ptr<AVCapturePhotoOutput> photo = capture.makePhotoOutput();
    std::shared_ptr<AVCaptureMovieFileOutput> movie = capture.makeMovieFileOutput();
};

} // namespace

TEST_F(Outputs, EndEachStillOnceAndInOrder)
{
    session->startRunning();
    std::int64_t last = 0;
    std::vector<std::shared_ptr<StillFollower>> stills;
    for (int number = 0; number < 5; ++number) {
        stills.push_back(takeStill());
        takeStill(); // nobody keeps its delegate
    }
    phone.advance(1s);
    for (const auto& still : stills) {
        EXPECT_EQ(still->calls, "begin will did photo finished");
        EXPECT_GT(still->id, std::exchange(last, still->id));
    }
    const auto interrupted = takeStill();
    session->stopRunning();
    phone.run();
    EXPECT_EQ(interrupted->calls, "begin will failed");
    const auto late = takeStill(); // fails after a while
    phone.advance(10s);
    EXPECT_EQ(late->calls, "begin will failed");
}

TEST_F(Outputs, EndAMovieWhateverEndsIt)
{
    const auto follower = std::make_shared<MovieFollower>();
    movie->startRecording("idle.mp4", follower); // the session does not run
    phone.run();
    ASSERT_EQ(follower->ends.size(), 1U);
    EXPECT_FALSE(follower->ends.back().second);
    const std::vector<std::pair<std::string, std::function<void()>>> ends{
        {"stop.mp4", [&] { movie->stopRecording(); }},
        {"session.mp4", [&] { session->stopRunning(); }},
        {"input.mp4", [&] { session->removeInput(input); }},
    };
    for (const auto& [name, end] : ends) {
        session->startRunning();
        movie->startRecording(name, follower);
        phone.advance(100ms);
        movie->startRecording("second.mp4", follower); // changes nothing
        const std::size_t before = follower->ends.size();
        end();
        phone.advance(1s);
        ASSERT_EQ(follower->ends.size(), before + 1) << name;
        movie->stopRecording(); // what has ended
        phone.advance(1s);
        EXPECT_EQ(follower->ends.size(), before + 1) << name;
        EXPECT_EQ(follower->ends.back().first, name);
        EXPECT_TRUE(phone.movies().movie(name)->isComplete) << name;
    }
}

} // namespace tamsel::tests
