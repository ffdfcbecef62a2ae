#include <simulated/Phone.h>

#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/CaptureServices.h>

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

using Texts = std::vector<std::string>;
using Types = std::vector<AVMetadataObjectType>;
using Numbers = std::vector<std::uint64_t>;

const AVMetadataObjectType qr = "org.iso.QRCode";

AVMetadataObjects code(std::string text, AVMetadataObjectType type = qr)
{
    return {std::make_shared<AVMetadataMachineReadableCodeObject>(
        std::move(type), std::vector<CGPoint>{}, std::move(text))};
}

/// Writes down the texts of each batch and when each frame came, on one queue.
struct Receiver final : AVCaptureMetadataOutputObjectsDelegate, AVCaptureVideoDataOutputSampleBufferDelegate {
    void captureOutputDidOutputMetadataObjects(const AVMetadataObjects& objects) override
    {
        EXPECT_TRUE(queue->isCurrent());
        std::string text;
        for (const auto& object : objects)
            text += dynamic_cast<const AVMetadataMachineReadableCodeObject&>(*object).stringValue().value();
        batches.push_back(std::exchange(text, {}));
    }
    void captureOutputDidOutputSampleBuffer(std::shared_ptr<CMSampleBuffer> sampleBuffer) override
    {
        EXPECT_EQ(sampleBuffer->imageBuffer()->timing()->captureTime, phone->now()) << "not delayed";
        ++frames;
        sampleBuffer->settle(FrameLedger::Outcome::delivered);
        if (keepsFrames)
            kept.push_back(std::move(sampleBuffer));
    }
    void captureOutputDidDropSampleBuffer(CMSampleBuffer& /*sampleBuffer*/) override { }

    simulated::Phone* phone = nullptr;
    std::shared_ptr<DispatchQueue> queue;
    Texts batches;
    std::uint64_t frames = 0;
    bool keepsFrames = false;
    std::vector<std::shared_ptr<CMSampleBuffer>> kept;
};

/// A session with a camera that looks for QR codes.
struct Detecting {
    explicit Detecting(simulated::PhoneConfiguration configuration = {}) : phone(std::move(configuration))
    {
        CaptureServices& capture = phone.platform().capture;
        receiver->phone = &phone;
        receiver->queue = phone.makeQueue("video");
        session = capture.makeSession();
        session->addInput(capture
                .makeDeviceInput(capture.defaultDevice(AVCaptureDeviceType::builtInWideAngleCamera,
                    AVMediaType::video, AVCaptureDevicePosition::back))
                .value());
        video = capture.makeVideoDataOutput();
        video->setSampleBufferDelegate(receiver, receiver->queue);
        session->addOutput(video);
        metadata = capture.makeMetadataOutput();
        session->addOutput(metadata);
        metadata->setMetadataObjectTypes({qr});
        metadata->setMetadataObjectsDelegate(receiver, receiver->queue);
    }

    void frames(int count)
    {
        for (int number = 0; number < count; ++number) {
            phone.advance(1ms);
            camera().produceFrame();
            phone.run();
        }
    }
    /// Something goes on for so long on the queue that batches come on.
    void holdUpReceiver(nanoseconds duration)
    {
        phone.delay(engine::CaptureCall::setMetadataObjectTypes, duration);
        receiver->queue->async([this] { metadata->setMetadataObjectTypes({qr}); });
        phone.run();
    }

    simulated::SimulatedCamera& camera() { return phone.camera(AVCaptureDevicePosition::back); }
    simulated::SimulatedDetector& detector() { return phone.detector(); }

    simulated::Phone phone;
    std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
    std::shared_ptr<AVCaptureSession> session;
    std::shared_ptr<AVCaptureVideoDataOutput> video;
    std::shared_ptr<AVCaptureMetadataOutput> metadata;
};

/// Writes down how it is used, and throws where it is told to.
class StrictDetector final : public engine::MetadataDetector {
public:
    class Detection final : public engine::MetadataDetection {
    public:
        explicit Detection(StrictDetector& detector) : detector_(detector) { }

        void take(const Frame& frame) override
        {
            EXPECT_FALSE(std::exchange(hasTaken_, true)) << "two frames at once";
            detector_.taken.emplace_back(frame.pixels.width(), frame.quarterTurns, frame.captureTime);
            if (detector_.failsToTake) {
                hasTaken_ = false;
                throw std::runtime_error("no memory");
            }
        }
        AVMetadataObjects detect() override
        {
            EXPECT_TRUE(std::exchange(hasTaken_, false)) << "nothing was taken";
            ++detector_.looks;
            if (detector_.failsToDetect)
                throw 5; // NOLINT: as foreign code may
            return code("found");
        }

    private:
        StrictDetector& detector_;
        bool hasTaken_ = false;
    };

    [[nodiscard]] Types detectableTypes() const override { return {"face", qr}; }
    [[nodiscard]] std::unique_ptr<engine::MetadataDetection> begin(Types types) override
    {
        begun.push_back(std::move(types));
        if (failsToBegin)
            throw std::runtime_error("no model");
        return std::make_unique<Detection>(*this);
    }

    std::vector<Types> begun;
    std::vector<std::tuple<std::size_t, int, nanoseconds>> taken;
    int looks = 0;
    bool failsToBegin = false;
    bool failsToTake = false;
    bool failsToDetect = false;
};

} // namespace

TEST(Detection, TakesTheFrameThatComesWhenTheLookBeforeIsOverAndCostsNoOther)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Detecting detecting({.seed = seed});
        detecting.camera().script().frameInterval = 30ms;
        detecting.detector().script() = {.timeToDetect = 100ms,
            .scene = [](std::uint64_t number) { return code(std::to_string(number)); }};
        detecting.session->startRunning();
        detecting.phone.advance(495ms);
        EXPECT_EQ(detecting.detector().framesExamined(), (Numbers{0, 4, 8, 12}));
        EXPECT_EQ(detecting.receiver->batches, (Texts{"0", "4", "8", "12"}));
        EXPECT_EQ(detecting.receiver->frames, 16U);
        EXPECT_EQ(detecting.session->frameLedger()->counts().dropped(), 0U);
    }
}

TEST(Detection, TellsOnceThatThingsAreGone)
{
    Detecting detecting;
    detecting.session->startRunning();
    for (const auto& objects : {AVMetadataObjects{}, code("a"), AVMetadataObjects{}, code("b")}) {
        detecting.detector().show(objects);
        detecting.frames(2);
    }
    EXPECT_EQ(detecting.receiver->batches, (Texts{"a", "a", "", "b", "b"}));
    // The next start has found nothing yet that could be gone.
    detecting.session->stopRunning();
    detecting.detector().show({});
    detecting.session->startRunning();
    detecting.frames(2);
    EXPECT_EQ(detecting.receiver->batches.size(), 5U);
}

TEST(Detection, TellsNothingAfterAStop)
{
    const auto detector = std::make_shared<StrictDetector>();
    Detecting stopping({.metadataDetector = detector});
    stopping.session->startRunning();
    stopping.camera().produceFrame();
    stopping.session->stopRunning();
    stopping.phone.run();
    EXPECT_EQ(detector->taken.size(), 1U);
    EXPECT_EQ(detector->looks, 0) << "nobody would hear of it";

    Detecting waiting; // the batch waits for its queue
    waiting.detector().show(code("a"));
    waiting.session->startRunning();
    waiting.holdUpReceiver(200ms);
    waiting.frames(1);
    EXPECT_EQ(waiting.detector().framesExamined(), Numbers{0});
    waiting.session->stopRunning();
    waiting.phone.advance(1s);
    EXPECT_EQ(waiting.receiver->batches, Texts{});
    waiting.session->startRunning();
    waiting.frames(1);
    EXPECT_EQ(waiting.receiver->batches, Texts{"a"});
}

TEST(Detection, TellsWhatIsUnderWayWhenTheDeviceIsLostBeforeWhatTheNextStartFinds)
{
    Detecting detecting;
    detecting.detector().script().timeToDetect = 100ms;
    detecting.detector().script().scene
        = [](std::uint64_t number) { return code(number == 0 ? "lost" : "next"); };
    detecting.session->startRunning();
    detecting.frames(1);
    detecting.camera().unplug();
    detecting.phone.advance(50ms);
    detecting.camera().plugIn();
    detecting.session->startRunning();
    detecting.detector().script().timeToDetect = {};
    detecting.frames(1);
    EXPECT_EQ(detecting.detector().framesExamined(), (Numbers{0, 2})) << "the loss has a number, too";
    detecting.phone.advance(1s);
    EXPECT_EQ(detecting.receiver->batches, (Texts{"lost", "next"}));
}

TEST(Detection, LetsOneBatchWaitAndPassesFramesOverMeanwhile)
{
    Detecting detecting;
    detecting.detector().script().scene = [](std::uint64_t number) { return code(std::to_string(number)); };
    detecting.video->setSampleBufferDelegate({}, nullptr);
    detecting.session->startRunning();
    detecting.holdUpReceiver(100ms);
    detecting.frames(5);
    EXPECT_EQ(detecting.detector().framesExamined(), Numbers{0});
    detecting.phone.advance(100ms);
    detecting.frames(1);
    EXPECT_EQ(detecting.receiver->batches, (Texts{"0", "5"}));
}

TEST(Detection, LooksAtFramesWhileTheClientKeepsAllBuffers)
{
    Detecting detecting({.bufferCount = 2});
    detecting.detector().show(code("a"));
    detecting.receiver->keepsFrames = true;
    detecting.session->startRunning();
    detecting.frames(5);
    EXPECT_EQ(detecting.receiver->frames, 2U);
    EXPECT_EQ(detecting.receiver->batches.size(), 5U);
    EXPECT_EQ(detecting.session->frameLedger()->counts().dropped(), 3U);
}

TEST(Detection, LooksOnlyWhileSomebodyIsThereToBeTold)
{
    Detecting detecting;
    detecting.detector().show(code("a"));
    detecting.metadata->setMetadataObjectsDelegate({}, nullptr);
    detecting.session->startRunning();
    detecting.frames(2);
    EXPECT_EQ(detecting.detector().framesExamined(), Numbers{});
    detecting.metadata->setMetadataObjectsDelegate(detecting.receiver, detecting.receiver->queue);
    detecting.frames(1);
    EXPECT_EQ(detecting.detector().framesExamined(), Numbers{2});

    detecting.detector().script().timeToDetect = 100ms;
    detecting.frames(1);
    detecting.session->removeOutput(detecting.metadata);
    detecting.phone.advance(1s);
    detecting.frames(1);
    EXPECT_EQ(detecting.detector().framesExamined(), (Numbers{2, 3}));
    EXPECT_EQ(detecting.receiver->batches, Texts{"a"});
    EXPECT_EQ(detecting.metadata->availableMetadataObjectTypes(), Types{});

    Detecting gone; // while a frame is looked at
    gone.detector().script().timeToDetect = 100ms;
    gone.detector().show(code("a"));
    gone.session->startRunning();
    gone.frames(1);
    gone.metadata->setMetadataObjectsDelegate({}, nullptr);
    gone.phone.advance(1s);
    EXPECT_EQ(gone.receiver->batches, Texts{});
    gone.metadata->setMetadataObjectsDelegate(gone.receiver, gone.receiver->queue);
    gone.frames(1);
    gone.phone.advance(1s);
    EXPECT_EQ(gone.receiver->batches, Texts{"a"});
}

TEST(Detection, AsksForEachDetectableTypeOnceFromTheNextStartOn)
{
    const auto detector = std::make_shared<StrictDetector>();
    Detecting detecting({.metadataDetector = detector});
    EXPECT_EQ(detecting.metadata->availableMetadataObjectTypes(), (Types{"face", qr}));
    detecting.metadata->setMetadataObjectTypes({qr, "org.iso.Aztec", "face", qr, "face"});
    detecting.session->startRunning();
    detecting.metadata->setMetadataObjectTypes({"org.iso.Aztec", "Face"});
    detecting.frames(1);
    EXPECT_EQ(detecting.receiver->batches.size(), 1U);
    for (int start = 0; start < 2; ++start) { // nothing of it, then nothing at all
        detecting.session->stopRunning();
        detecting.session->startRunning();
        detecting.frames(1);
        detecting.metadata->setMetadataObjectTypes({});
    }
    EXPECT_EQ(detector->begun, (std::vector<Types>{{qr, "face"}}));
    EXPECT_EQ(detecting.receiver->batches.size(), 1U);
}

TEST(Detection, SeesFramesAsTheyAreStoredAndKnowsTheirWayUp)
{
    const auto detector = std::make_shared<StrictDetector>();
    Detecting detecting({.metadataDetector = detector});
    detecting.receiver->keepsFrames = true;
    detecting.session->startRunning();
    const auto connection = detecting.video->connection(AVMediaType::video);
    for (const auto orientation :
        {AVCaptureVideoOrientation::portrait, AVCaptureVideoOrientation::landscapeRight,
            AVCaptureVideoOrientation::portraitUpsideDown, AVCaptureVideoOrientation::landscapeLeft}) {
        connection->setVideoOrientation(orientation);
        detecting.frames(1);
        const auto [width, quarterTurns, captureTime] = detector->taken.back();
        EXPECT_EQ(width, 64U);
        EXPECT_EQ(captureTime, detecting.phone.now());
        // The corner that was stored at the top left, in the frame as it is shown.
        const CVBuffer& shown = *detecting.receiver->kept.back()->imageBuffer();
        const std::size_t right = shown.width() - 1;
        const std::size_t bottom = shown.height() - 1;
        const std::array<std::pair<std::size_t, std::size_t>, 4> clockwise{
            {{0, 0}, {right, 0}, {right, bottom}, {0, bottom}}};
        const auto [x, y] = clockwise.at(static_cast<std::size_t>(quarterTurns));
        EXPECT_EQ(shown.pixel(x, y)[0], std::byte{0});
        EXPECT_EQ(shown.pixel(x, y)[1], std::byte{0});
    }
    connection->setEnabled(false); // gates live frames only
    detecting.frames(1);
    EXPECT_EQ(detector->taken.size(), 5U);
}

TEST(Detection, IsNotEndedByADetectorThatThrows)
{
    const auto detector = std::make_shared<StrictDetector>();
    Detecting detecting({.metadataDetector = detector});
    const auto faults = [&] {
        Texts texts = detecting.phone.journal().texts("detector");
        detecting.phone.journal().clear();
        return texts;
    };
    detecting.session->startRunning();
    detector->failsToTake = true;
    detecting.frames(1);
    EXPECT_EQ(faults(), Texts{"detector detection failed: no memory"});
    detector->failsToTake = false;
    detecting.frames(1);
    detector->failsToDetect = true;
    detecting.frames(2);
    EXPECT_EQ(faults(), (Texts{"detector detection failed", "detector detection failed"}));
    detector->failsToDetect = false;
    detecting.frames(1);
    EXPECT_EQ(detecting.receiver->batches, (Texts{"found", "found"})) << "what failed says nothing";

    detecting.session->stopRunning();
    detector->failsToBegin = true;
    detecting.session->startRunning();
    detecting.frames(1);
    EXPECT_EQ(faults(), Texts{"detector detection failed: no model"});
    EXPECT_EQ(detecting.receiver->batches.size(), 2U);
    EXPECT_EQ(detecting.receiver->frames, 6U);
}

TEST(SimulatedDetector, FindsWhatWasAskedForOrWhateverATestProduces)
{
    Detecting detecting;
    EXPECT_EQ(detecting.detector().detectableTypes().size(), 14U);
    AVMetadataObjects both = code("aztec ", "org.iso.Aztec");
    both.push_back(code("qr").front());
    detecting.detector().produceBatch(both);
    detecting.detector().produceBatch(code("unknown", "org.example.New"));
    both.push_back(nullptr);
    detecting.detector().show(both);
    detecting.frames(3);
    EXPECT_EQ(detecting.detector().framesExamined(), Numbers{}) << "does not run";
    detecting.session->startRunning();
    detecting.frames(3);
    EXPECT_EQ(detecting.receiver->batches, (Texts{"aztec qr", "unknown", "qr"}));
    EXPECT_EQ(detecting.detector().framesExamined(), (Numbers{0, 1, 2}));
}

} // namespace tamsel::tests
