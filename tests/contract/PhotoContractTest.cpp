#include "contract/PlatformUnderTest.h"

#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/ImageServices.h>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;

namespace {

/// Follows one capture and keeps its file.
class Follower final : public AVCapturePhotoCaptureDelegate {
public:
    void captureOutputWillBeginCapture(const AVCaptureResolvedPhotoSettings& settings) override
    {
        id = settings.uniqueID;
        add("begin");
    }
    void captureOutputWillCapturePhoto(const AVCaptureResolvedPhotoSettings& /*settings*/) override
    {
        add("will");
    }
    void captureOutputDidCapturePhoto(const AVCaptureResolvedPhotoSettings& /*settings*/) override
    {
        add("did");
    }
    void captureOutputDidFinishProcessingPhoto(
        const AVCapturePhoto& photo, const std::optional<Error>& error) override
    {
        EXPECT_FALSE(error.has_value());
        file = photo.fileDataRepresentation().value_or(std::vector<std::byte>{});
        add("photo");
    }
    void captureOutputDidFinishCapture(
        const AVCaptureResolvedPhotoSettings& settings, const std::optional<Error>& error) override
    {
        EXPECT_EQ(settings.uniqueID, id);
        add(error ? "failed" : "finished");
        ++ends;
    }

    [[nodiscard]] std::string calls() const
    {
        const std::lock_guard lock(guard_);
        return calls_;
    }

    std::atomic<int> ends = 0;
    std::vector<std::byte> file; ///< once it has ended
    std::int64_t id = 0;

private:
    void add(const char* call)
    {
        const std::lock_guard lock(guard_);
        calls_.append(calls_.empty() ? "" : " ").append(call);
    }

    mutable std::mutex guard_;
    std::string calls_;
};

class PhotoContract : public testing::TestWithParam<BackEnd> {
protected:
    PhotoContract()
    {
        const auto device = capture.defaultDevice(
            AVCaptureDeviceType::builtInWideAngleCamera, AVMediaType::video, AVCaptureDevicePosition::back);
        session->addInput(capture.makeDeviceInput(device).value());
        EXPECT_TRUE(session->canAddOutput(output));
        session->addOutput(output);
    }

    std::shared_ptr<Follower> takeStill()
    {
        auto follower = std::make_shared<Follower>();
        output->capturePhoto(
            AVCapturePhotoSettings::photoSettingsWithFormat(AVVideoCodecType::jpeg), follower);
        return follower;
    }

    bool waitFor(const Follower& follower)
    {
        return test->runUntil([&] { return follower.ends > 0; });
    }

    std::unique_ptr<PlatformUnderTest> test = GetParam().make();
    CaptureServices& capture = test->platform().capture;
    std::shared_ptr<AVCaptureSession> session = capture.makeSession();
    std::shared_ptr<AVCapturePhotoOutput> output = capture.makePhotoOutput();
};

constexpr const char* wholeStill = "begin will did photo finished";

} // namespace

TEST_P(PhotoContract, MakesAFileThatStatesItsWayUp)
{
    session->startRunning();
    for (const auto& [orientation, tag] : {std::pair(AVCaptureVideoOrientation::portrait, 1),
             std::pair(AVCaptureVideoOrientation::landscapeLeft, 6)}) {
        output->connection(AVMediaType::video)->setVideoOrientation(orientation);
        const auto still = takeStill();
        ASSERT_TRUE(waitFor(*still));
        EXPECT_EQ(still->calls(), wholeStill);
        ImageServices& images = test->platform().images;
        const auto source = images.makeImageSource(still->file);
        ASSERT_TRUE(source);
        const PropertyDictionary properties = source->copyProperties();
        EXPECT_EQ(*properties.find(kCGImagePropertyOrientation), PropertyValue(tag));
        const auto data = std::make_shared<const std::vector<std::byte>>(still->file);
        const auto stored = images.openImage(data, {.appliesOrientationProperty = false});
        const auto upright = images.openImage(data, {.appliesOrientationProperty = true});
        ASSERT_TRUE(stored && upright && upright->decode().has_value());
        const CGSize size = stored->size();
        EXPECT_EQ(*properties.find(kCGImagePropertyPixelWidth),
            PropertyValue(static_cast<std::int64_t>(size.width)));
        EXPECT_EQ(upright->size(), tag == 6 ? (CGSize{size.height, size.width}) : size);
    }
}

TEST_P(PhotoContract, EndsEachOfManyOnceAndInTheirOrder)
{
    session->startRunning();
    std::vector<std::shared_ptr<Follower>> stills;
    for (int number = 0; number < 20; ++number)
        stills.push_back(takeStill());
    ASSERT_TRUE(waitFor(*stills.back()));
    for (std::size_t number = 0; number < stills.size(); ++number) {
        EXPECT_EQ(stills[number]->calls(), wholeStill);
        const std::int64_t before = number > 0 ? stills[number - 1]->id : 0;
        EXPECT_GT(stills[number]->id, before);
    }
}

TEST_P(PhotoContract, EndsWhatAStopInterrupts)
{
    for (int round = 0; round < 30; ++round) {
        session->startRunning();
        const auto first = takeStill();
        const auto second = takeStill();
        session->stopRunning();
        ASSERT_TRUE(waitFor(*first) && waitFor(*second));
        for (const auto& still : {first, second})
            EXPECT_TRUE(still->calls() == wholeStill || still->calls() == "begin will failed")
                << still->calls();
    }
    // Without a session that runs: after a while, and once.
    const auto late = takeStill();
    ASSERT_TRUE(waitFor(*late));
    EXPECT_EQ(late->calls(), "begin will failed");
    test->runFor(100ms);
    EXPECT_EQ(late->ends, 1);
}

TEST_P(PhotoContract, SaysNothingToADelegateThatIsGone)
{
    session->startRunning();
    for (int round = 0; round < 10; ++round)
        takeStill(); // nobody keeps it
    const auto kept = takeStill();
    ASSERT_TRUE(waitFor(*kept));
    EXPECT_EQ(kept->calls(), wholeStill);
    // A still under way does not keep the session, the output or the platform.
    const auto abandoned = takeStill();
    session.reset();
    output.reset();
    test.reset();
    EXPECT_LE(abandoned->ends, 1);
}

INSTANTIATE_TEST_SUITE_P(
    BackEnds, PhotoContract, testing::ValuesIn(backEnds()), testing::PrintToStringParamName());

} // namespace tamsel::tests
