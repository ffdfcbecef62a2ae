#include <unit/engine/DispatchSupport.h>

#include <engine/capture/DetectionStream.h>

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <utility>

namespace tamsel::tests {

using namespace platform;
using namespace engine;

namespace {

constexpr int framesOfAStart = 2000;

/// Finds the number of each frame as a face, with a fault and nothing now and then. Has no lock, and notices when it is used
/// in any other way than it may be.
class CountingDetection final : public MetadataDetection {
public:
    void take(const Frame& frame) override
    {
        EXPECT_FALSE(std::exchange(hasTaken_, true)) << "the frame before was not looked at";
        number_ = static_cast<std::int64_t>(frame.sequence);
    }
    AVMetadataObjects detect() override
    {
        EXPECT_TRUE(std::exchange(hasTaken_, false));
        if (number_ % 7 == 0)
            throw std::runtime_error("a fault");
        if (number_ % 3 == 0)
            return {};
        return {std::make_shared<AVMetadataFaceObject>(CGRect{}, number_)};
    }

private:
    bool hasTaken_ = false;
    std::int64_t number_ = 0;
};

class CountingDetector final : public MetadataDetector {
public:
    [[nodiscard]] std::vector<AVMetadataObjectType> detectableTypes() const override { return {"face"}; }
    [[nodiscard]] std::unique_ptr<MetadataDetection> begin(
        std::vector<AVMetadataObjectType> /*types*/) override
    {
        return std::make_unique<CountingDetection>();
    }
};

class OrderedReceiver final : public AVCaptureMetadataOutputObjectsDelegate {
public:
    void captureOutputDidOutputMetadataObjects(const AVMetadataObjects& objects) override
    {
        if (objects.empty())
            return;
        const auto number = dynamic_cast<const AVMetadataFaceObject&>(*objects.front()).faceID();
        EXPECT_GT(number, last_);
        last_ = number;
        ++batches;
    }

    std::atomic<int> batches = 0;

private:
    std::int64_t last_ = -1;
};

void offerFrames(DetectionStream& stream, std::uint64_t first)
{
    const CVPixelBuffer pixels(8, 8);
    for (std::uint64_t number = first; number < first + framesOfAStart; ++number) {
        if (stream.wantsFrame())
            stream.take({.pixels = pixels, .quarterTurns = 0, .captureTime = {}, .sequence = number});
        if (number % 256 == 0)
            std::this_thread::yield();
    }
}

} // namespace

TEST(DetectionThreads, KeepTheOrderWhileStartsEndAndDelegatesChange)
{
    ThreadedDispatch dispatch;
    int batches = 0;
    for (int round = 0; round < 60; ++round) {
        const auto output = std::make_shared<MetadataOutput>(
            MetadataServices{.detector = std::make_shared<CountingDetector>(),
                .queue = [&] { return dispatch.makeSerialQueue("detection"); }},
            std::make_shared<CaptureHook>());
        const auto receiver = std::make_shared<OrderedReceiver>();
        const auto queue = dispatch.makeSerialQueue("video");
        output->enterSession();
        output->setMetadataObjectTypes({"face"});
        output->setMetadataObjectsDelegate(receiver, queue);

        const std::shared_ptr<DetectionStream> first = output->beginStream();
        std::jthread driver([&] { offerFrames(*first, 0); });
        if (round % 2 == 0)
            first->close(); // in the middle, and its driver does not know yet
        else
            driver.join(); // as if the device had been lost: what is under way still arrives
        const std::shared_ptr<DetectionStream> second = output->beginStream();
        std::jthread next([&] { offerFrames(*second, framesOfAStart); });
        if (round % 3 == 0) {
            output->setMetadataObjectsDelegate({}, nullptr);
            output->setMetadataObjectsDelegate(receiver, queue);
        }
        next.join();
        if (driver.joinable())
            driver.join();
        runUntil(dispatch.mainLoop(), // items hold them
            [&] { return second.use_count() == 1 && first.use_count() == 1; });
        batches += receiver->batches;
    }
    EXPECT_GE(batches, 40) << "the first frame of each second start, where its delegate stays";
}

} // namespace tamsel::tests
