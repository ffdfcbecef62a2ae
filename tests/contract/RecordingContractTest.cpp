#include "contract/PlatformUnderTest.h"

#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/CaptureServices.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <vector>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;

namespace {

/// Writes down which recordings have ended, and whether well.
class Follower final : public AVCaptureFileOutputRecordingDelegate {
public:
    void captureOutputDidFinishRecording(
        const std::filesystem::path& url, const std::optional<Error>& error) override
    {
        const std::lock_guard lock(guard_);
        ends_.emplace_back(url, error ? error->localizedDescription : "");
    }

    using Ends = std::vector<std::pair<std::filesystem::path, std::string>>;
    [[nodiscard]] Ends ends() const
    {
        const std::lock_guard lock(guard_);
        return ends_;
    }

private:
    mutable std::mutex guard_;
    Ends ends_;
};

class RecordingContract : public testing::TestWithParam<BackEnd> {
protected:
    RecordingContract()
    {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directory(folder);
        const auto device = capture.defaultDevice(
            AVCaptureDeviceType::builtInWideAngleCamera, AVMediaType::video, AVCaptureDevicePosition::back);
        const auto microphone = capture.defaultAudioDevice();
        session->addInput(capture.makeDeviceInput(device).value());
        session->addInput(capture.makeDeviceInput(microphone).value());
        EXPECT_TRUE(session->canAddOutput(output));
        session->addOutput(output);
    }
    ~RecordingContract() override { std::filesystem::remove_all(folder); }

    [[nodiscard]] std::filesystem::path file(const char* name) const { return folder / name; }
    /// Starts a recording and waits until it holds some frames.
    void record(const std::filesystem::path& url)
    {
        const std::uint64_t wanted = session->frameLedger()->counts().recorded + 5;
        output->startRecording(url, follower);
        EXPECT_TRUE(test->runUntil([&] { return session->frameLedger()->counts().recorded >= wanted; }));
    }
    bool waitForEnds(std::size_t count)
    {
        return test->runUntil([&] { return follower->ends().size() >= count; });
    }
    /// As the platform reads it.
    [[nodiscard]] bool isMovie(const std::filesystem::path& url) const
    {
        AssetServices& assets = test->platform().assets;
        return assets.makeImageGenerator(assets.assetWithURL(url))
            ->copyCGImage({.value = 1, .timescale = 60})
            .has_value();
    }

    const std::filesystem::path folder
        = std::filesystem::temp_directory_path() / ("tamsel-recordings-" + std::to_string(::getpid()));
    std::unique_ptr<PlatformUnderTest> test = GetParam().make();
    CaptureServices& capture = test->platform().capture;
    std::shared_ptr<AVCaptureSession> session = capture.makeSession();
    std::shared_ptr<AVCaptureMovieFileOutput> output = capture.makeMovieFileOutput();
    std::shared_ptr<Follower> follower = std::make_shared<Follower>();
};

} // namespace

TEST_P(RecordingContract, LeavesAMovieWhateverEndsIt)
{
    const std::vector<std::pair<const char*, std::function<void()>>> ends{
        {"stop.mp4", [&] { output->stopRecording(); }},
        {"session.mp4", [&] { session->stopRunning(); }},
        {"input.mp4", [&] { session->removeInput(session->inputs().front()); }},
    };
    std::size_t count = 0;
    for (const auto& [name, end] : ends) {
        session->startRunning();
        record(file(name));
        output->startRecording(file("second.mp4"), follower); // changes nothing
        EXPECT_EQ(follower->ends().size(), count);
        end();
        ASSERT_TRUE(waitForEnds(++count)) << name;
        EXPECT_EQ(follower->ends().back().first, file(name));
        EXPECT_TRUE(isMovie(file(name))) << name;
        output->stopRecording();
    }
    EXPECT_EQ(follower->ends().front().second, "");
    test->runFor(50ms);
    EXPECT_EQ(follower->ends().size(), count);
}

TEST_P(RecordingContract, FailsAtOnceWhereNothingCanBeRecorded)
{
    output->startRecording(file("idle.mp4"), follower); // the session does not run
    ASSERT_TRUE(waitForEnds(1));
    session->startRunning();
    record(file("first.mp4"));
    output->stopRecording();
    ASSERT_TRUE(waitForEnds(2));
    output->startRecording(file("first.mp4"), follower); // is there already
    ASSERT_TRUE(waitForEnds(3));
    EXPECT_TRUE(isMovie(file("first.mp4")));
    const Follower::Ends ends = follower->ends();
    EXPECT_NE(ends[0].second, "");
    EXPECT_EQ(ends[1].second, "");
    EXPECT_NE(ends[2].second.find("File exists"), std::string::npos) << ends[2].second;
}

TEST_P(RecordingContract, StartsTheNextWhileTheLastIsBeingFinished)
{
    session->startRunning();
    for (int number = 0; number < 5; ++number) {
        record(file(std::to_string(number).c_str()));
        output->stopRecording();
    }
    ASSERT_TRUE(waitForEnds(5));
    for (const auto& [url, error] : follower->ends()) {
        EXPECT_EQ(error, "") << url;
        EXPECT_TRUE(isMovie(url)) << url;
    }
}

TEST_P(RecordingContract, CompletesTheFileAlsoWhenNobodyIsLeft)
{
    session->startRunning();
    record(file("released.mp4"));
    session.reset();
    output.reset();
    ASSERT_TRUE(waitForEnds(1));
    EXPECT_TRUE(isMovie(file("released.mp4")));
}

INSTANTIATE_TEST_SUITE_P(
    BackEnds, RecordingContract, testing::ValuesIn(backEnds()), testing::PrintToStringParamName());

} // namespace tamsel::tests
