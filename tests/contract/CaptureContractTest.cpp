#include "contract/PlatformUnderTest.h"

#include <tamsel/camera/VideoFrameHandler.h>
#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/CaptureServices.h>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <utility>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;

namespace {

/// Receives frames on its queue, and may keep them.
class Receiver final : public AVCaptureVideoDataOutputSampleBufferDelegate {
public:
    void captureOutputDidOutputSampleBuffer(std::shared_ptr<CMSampleBuffer> sampleBuffer) override
    {
        sampleBuffer->settle(FrameLedger::Outcome::delivered);
        {
            const std::lock_guard lock(guard);
            timings.push_back(sampleBuffer->imageBuffer()->timing().value());
            if (keeps)
                kept.push_back(sampleBuffer->imageBuffer());
        }
        ++frames;
    }
    void captureOutputDidDropSampleBuffer(CMSampleBuffer& sampleBuffer) override
    {
        EXPECT_EQ(sampleBuffer.imageBuffer(), nullptr);
        ++drops;
    }

    std::atomic<int> frames = 0;
    std::atomic<int> drops = 0;
    std::atomic<bool> keeps = false;
    std::mutex guard;
    std::vector<FrameTiming> timings;
    std::vector<std::shared_ptr<CVPixelBuffer>> kept;
};

/// A session with the back camera and a video data output, put together and not started.
struct Session {
    explicit Session(
        PlatformUnderTest& given, AVCaptureDevicePosition position = AVCaptureDevicePosition::back)
        : test(given),
          capture(given.platform().capture),
          session(capture.makeSession()),
          queue(given.makeQueue("frames"))
    {
        const auto device = capture.defaultDevice(
            AVCaptureDeviceType::builtInWideAngleCamera, AVMediaType::video, position);
        input = capture.makeDeviceInput(device).value();
        output->setSampleBufferDelegate(receiver, queue);
    }

    void add()
    {
        session->beginConfiguration();
        EXPECT_TRUE(session->canAddInput(input));
        session->addInput(input);
        EXPECT_TRUE(session->canAddOutput(output));
        session->addOutput(output);
        session->commitConfiguration();
    }

    bool runUntilFrames(int count)
    {
        const int wanted = receiver->frames + count;
        return test.runUntil([&] { return receiver->frames >= wanted; });
    }

    /// What has been posted to the frames' queue so far has run.
    void drain()
    {
        std::atomic<bool> isDrained = false;
        queue->async([&] { isDrained = true; });
        ASSERT_TRUE(test.runUntil([&] { return isDrained.load(); }));
    }

    PlatformUnderTest& test;
    CaptureServices& capture;
    std::shared_ptr<AVCaptureSession> session;
    std::shared_ptr<DispatchQueue> queue;
    std::shared_ptr<AVCaptureInput> input;
    std::shared_ptr<AVCaptureVideoDataOutput> output = capture.makeVideoDataOutput();
    std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
};

class CaptureContract : public testing::TestWithParam<BackEnd> {
protected:
    std::unique_ptr<PlatformUnderTest> test = GetParam().make();
};

} // namespace

TEST_P(CaptureContract, NumbersFramesAndLetsTheirTimesGrowOverAllStarts)
{
    Session session(*test);
    session.add();
    for (int start = 0; start < 3; ++start) {
        session.session->startRunning();
        EXPECT_TRUE(session.session->isRunning());
        ASSERT_TRUE(session.runUntilFrames(5));
        session.session->stopRunning();
        EXPECT_FALSE(session.session->isRunning());
    }
    session.drain();
    const std::lock_guard lock(session.receiver->guard);
    const std::vector<FrameTiming>& timings = session.receiver->timings;
    for (std::size_t index = 1; index < timings.size(); ++index) {
        EXPECT_GT(timings[index].sequence, timings[index - 1].sequence);
        EXPECT_GT(timings[index].captureTime, timings[index - 1].captureTime);
        EXPECT_GT(timings[index].mediaTime.seconds(), timings[index - 1].mediaTime.seconds());
    }
}

TEST_P(CaptureContract, DeliversNothingAfterAStopAndStartsAgainAtOnce)
{
    Session session(*test);
    session.add();
    for (int start = 0; start < 20; ++start) {
        session.session->startRunning();
        ASSERT_TRUE(session.runUntilFrames(1));
        session.session->stopRunning();
        const int before = session.receiver->frames;
        session.drain();
        EXPECT_LE(session.receiver->frames, before + 1) << "at most the one that was being delivered";
        const int after = session.receiver->frames;
        test->runFor(20ms);
        EXPECT_EQ(session.receiver->frames, after);
    }
    session.drain();
    const FrameCounts counts = session.session->frameLedger()->counts();
    EXPECT_EQ(counts.inFlight, 0U);
    EXPECT_EQ(counts.delivered, static_cast<std::uint64_t>(session.receiver->frames));
}

TEST_P(CaptureContract, StartsAtTheCommitAndForgetsAStartWithoutACamera)
{
    Session session(*test);
    session.session->beginConfiguration();
    session.session->startRunning();
    EXPECT_FALSE(session.session->isRunning());
    session.session->commitConfiguration(); // no camera yet
    session.add();
    test->runFor(20ms);
    EXPECT_FALSE(session.session->isRunning());

    session.session->beginConfiguration();
    session.session->beginConfiguration();
    session.session->startRunning();
    session.session->commitConfiguration();
    EXPECT_FALSE(session.session->isRunning());
    session.session->commitConfiguration();
    EXPECT_TRUE(session.session->isRunning());
    EXPECT_TRUE(session.runUntilFrames(2));

    session.session->stopRunning();
    session.session->beginConfiguration();
    session.session->startRunning();
    session.session->stopRunning(); // thought better of it
    session.session->commitConfiguration();
    EXPECT_FALSE(session.session->isRunning());
    session.session->commitConfiguration(); // one too many
    session.session->startRunning();
    EXPECT_TRUE(session.session->isRunning());
}

TEST_P(CaptureContract, StartsOnReturnWhenAskedInTheBackground)
{
    Session session(*test);
    session.add();
    test->enterBackground();
    session.session->startRunning();
    EXPECT_FALSE(session.session->isRunning());
    test->enterForeground();
    EXPECT_TRUE(session.runUntilFrames(1));
    session.session->stopRunning();

    test->enterBackground();
    session.session->startRunning();
    session.session->stopRunning();
    test->enterForeground();
    test->runFor(20ms);
    EXPECT_FALSE(session.session->isRunning());
}

TEST_P(CaptureContract, GivesADeviceToTheSessionThatAddsItLast)
{
    Session first(*test);
    first.add();
    first.session->startRunning();
    ASSERT_TRUE(first.runUntilFrames(2));

    Session second(*test);
    second.add();
    EXPECT_FALSE(first.session->isRunning());
    first.drain();
    const int before = first.receiver->frames;
    second.session->startRunning();
    EXPECT_TRUE(second.runUntilFrames(3));
    first.session->startRunning();
    EXPECT_FALSE(first.session->isRunning()) << "another has the device";
    EXPECT_TRUE(second.session->isRunning());
    EXPECT_EQ(first.receiver->frames, before);

    // Given back, it may be had again.
    second.session->removeInput(second.input);
    EXPECT_FALSE(second.session->isRunning());
    first.session->startRunning();
    EXPECT_TRUE(first.runUntilFrames(1));

    // A session that is dropped without a word leaves the device at once.
    first.session.reset();
    first.output.reset();
    Session third(*test);
    third.add();
    third.session->startRunning();
    EXPECT_TRUE(third.runUntilFrames(1));
}

TEST_P(CaptureContract, DecidesWhatCanBeAdded)
{
    Session session(*test);
    Session front(*test, AVCaptureDevicePosition::front);
    EXPECT_FALSE(session.session->canAddInput(nullptr));
    EXPECT_FALSE(session.session->canAddInput(std::make_shared<AVCaptureInput>()));
    EXPECT_FALSE(session.session->canAddOutput(nullptr));
    session.add();
    EXPECT_FALSE(session.session->canAddInput(session.input));
    EXPECT_FALSE(session.session->canAddInput(front.input)) << "one camera a session";
    session.session->addInput(front.input);
    EXPECT_EQ(session.session->inputs().size(), 1U);
    EXPECT_FALSE(session.session->canAddOutput(session.output));
    EXPECT_FALSE(session.session->canAddOutput(front.output)) << "one output of a kind";
    EXPECT_FALSE(front.session->canAddOutput(session.output)) << "an output is in one session";
    EXPECT_TRUE(session.session->canAddOutput(session.capture.makePhotoOutput()));
    front.session->removeOutput(session.output); // not its own
    EXPECT_FALSE(front.session->canAddOutput(session.output));
    session.session->removeOutput(session.output);
    EXPECT_TRUE(front.session->canAddOutput(session.output));
}

TEST_P(CaptureContract, ConnectsOutputsAndPreviewsWhileThereIsACamera)
{
    Session session(*test);
    const auto photo = session.capture.makePhotoOutput();
    const auto metadata = session.capture.makeMetadataOutput();
    const auto preview = session.capture.makePreviewLayer(session.session);
    session.session->addOutput(photo);
    EXPECT_EQ(photo->connection(AVMediaType::video), nullptr);
    EXPECT_EQ(preview->connection(), nullptr);
    session.add();
    session.session->addOutput(metadata);
    for (const auto& connection : {photo->connection(AVMediaType::video),
             session.output->connection(AVMediaType::video), preview->connection()}) {
        ASSERT_NE(connection, nullptr);
        EXPECT_TRUE(connection->isEnabled());
        EXPECT_EQ(connection->videoOrientation(), AVCaptureVideoOrientation::portrait);
    }
    EXPECT_EQ(photo->connection(AVMediaType::audio), nullptr);
    EXPECT_EQ(metadata->connection(AVMediaType::video), nullptr);
    photo->connection(AVMediaType::video)->setVideoOrientation(AVCaptureVideoOrientation::landscapeLeft);
    EXPECT_EQ(
        photo->connection(AVMediaType::video)->videoOrientation(), AVCaptureVideoOrientation::landscapeLeft);
    session.session->removeInput(session.input);
    EXPECT_EQ(photo->connection(AVMediaType::video), nullptr);
    EXPECT_EQ(preview->connection(), nullptr);
    session.session.reset();
    EXPECT_EQ(preview->connection(), nullptr);
}

TEST_P(CaptureContract, GatesWhatADisabledConnectionOrAMissingDelegateKeepsBack)
{
    Session session(*test);
    session.add();
    session.output->connection(AVMediaType::video)->setEnabled(false);
    session.session->startRunning();
    const auto gated = [&](std::uint64_t more) {
        const auto before = session.session->frameLedger()->counts().gated;
        return test->runUntil(
            [&] { return session.session->frameLedger()->counts().gated >= before + more; });
    };
    EXPECT_TRUE(gated(3));
    EXPECT_EQ(session.receiver->frames, 0);
    EXPECT_EQ(session.receiver->drops, 0);
    session.output->connection(AVMediaType::video)->setEnabled(true);
    EXPECT_TRUE(session.runUntilFrames(1));
    session.output->setSampleBufferDelegate({}, nullptr);
    EXPECT_TRUE(gated(3));
    // Also frames that find no buffer.
    session.receiver->keeps = true;
    session.output->setSampleBufferDelegate(session.receiver, session.queue);
    ASSERT_TRUE(test->runUntil([&] { return session.receiver->drops > 0; }));
    session.output->setSampleBufferDelegate({}, nullptr);
    EXPECT_TRUE(gated(3));
}

TEST_P(CaptureContract, CountsALostFrameBeforeItsLossIsReported)
{
    Session session(*test);
    session.add();
    const auto ledger = session.session->frameLedger();
    const auto handler = std::make_shared<VideoFrameHandler>(test->platform());
    std::vector<VideoFrameHandler::Result> kept;
    std::atomic<std::uint64_t> losses = 0;
    handler->setCompletion([&](VideoFrameHandler::Result result) {
        if (std::holds_alternative<CameraError>(result)) {
            const FrameCounts counts = ledger->counts();
            EXPECT_EQ(counts.dropped(), ++losses);
            EXPECT_EQ(counts.droppedBy[static_cast<std::size_t>(DropCause::noReceiver)], 0U);
        }
        kept.push_back(std::move(result));
    });
    handler->setIsActive(true);
    session.output->setSampleBufferDelegate(handler, session.queue);
    session.session->startRunning();
    EXPECT_TRUE(test->runUntil([&] { return losses >= 5; }));
    session.session->stopRunning();
    session.drain();
    const FrameCounts counts = ledger->counts();
    EXPECT_GT(counts.droppedBy[static_cast<std::size_t>(DropCause::noBuffer)], 0U);
    EXPECT_EQ(counts.produced, counts.delivered + counts.dropped() + counts.gated + counts.inFlight);

    const auto pixels = std::get<std::shared_ptr<CMSampleBuffer>>(kept.front())->imageBuffer();
    kept.clear();
    session.session.reset();
    session.output.reset();
    test.reset(); // the platform ends before what the client keeps
    EXPECT_NE(pixels->pixel(0, 0), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    BackEnds, CaptureContract, testing::ValuesIn(backEnds()), testing::PrintToStringParamName());

} // namespace tamsel::tests
