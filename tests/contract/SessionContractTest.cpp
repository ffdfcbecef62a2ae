#include "contract/PlatformUnderTest.h"

#include <tamsel/facade/OvriSourceManager.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;

namespace {

/// Counts what comes.
class Screen final : public OvriSourceToSession {
public:
    void sourceManagerDidGetFrame(
        OvriSourceManager& manager, const OvriCaptureFrameUpdate& /*frame*/) override
    {
        ++frames;
        if (hasOneCamera) {
            EXPECT_EQ(manager.frameCounts().delivered, static_cast<std::uint64_t>(frames));
        }
    }
    void sourceManagerDidGetSample(
        OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& /*sample*/) override
    {
        ++stillEnds;
    }
    void sourceManagerDidGetSourceError(OvriSourceManager& /*manager*/, const SourceError& error) override
    {
        stillEnds += std::get<CameraError>(error) == CameraError::captureImageFailed() ? 1 : 0;
    }

    std::atomic<bool> hasOneCamera = false; ///< so all frames are in the ledger
    std::atomic<int> frames = 0;
    std::atomic<int> stillEnds = 0;
};

class SessionContract : public testing::TestWithParam<BackEnd> {
protected:
    void start(bool isFront)
    {
        const SourceType type = isFront ? SourceType::cameraFront(false) : SourceType::cameraBack(false);
        EXPECT_TRUE(manager->startSession(type, screen, {}, view).has_value());
    }
    bool runUntilFrames()
    {
        const int wanted = screen->frames + 2;
        return test->runUntil([&] { return screen->frames >= wanted; });
    }

    std::unique_ptr<PlatformUnderTest> test = GetParam().make();
    std::shared_ptr<DispatchQueue> responseQueue = test->makeQueue("response");
    std::shared_ptr<Screen> screen = std::make_shared<Screen>();
    std::shared_ptr<UIView> view = std::make_shared<UIView>(CGSize{30, 40});
    std::shared_ptr<OvriSourceManager> manager = OvriSourceManager::create(
        {}, CameraConfiguration::SessionPreset::photo, responseQueue, test->platform());
};

} // namespace

TEST_P(SessionContract, LosesNoCameraThatIsStartedOnceTheLastOneHasStopped)
{
    std::atomic<int> told = 0;
    for (int round = 0; round < 20; ++round) {
        // In the first round none is held, in each of the others one runs.
        manager->stopCameraSession();
        manager->whenCameraStopped([&, round] {
            EXPECT_TRUE(responseQueue->isCurrent());
            EXPECT_FALSE(manager->canCaptureStillImage()) << "none is held";
            start(round % 2 == 0);
            ++told;
        });
        ASSERT_TRUE(test->runUntil([&] { return told > round; }));
        ASSERT_TRUE(runUntilFrames()) << "round " << round;
    }
    EXPECT_EQ(told, 20);
}

TEST_P(SessionContract, KeepsACameraThatIsStoppedBeforeItRuns)
{
    std::atomic<int> told = 0;
    screen->hasOneCamera = true;
    start(false);
    manager->stopCameraSession();
    manager->whenCameraStopped([&told] { ++told; });
    ASSERT_TRUE(runUntilFrames());
    EXPECT_EQ(told, 0);
    manager->stopCameraSession();
    EXPECT_TRUE(test->runUntil([&told] { return told > 0; }));
}

TEST_P(SessionContract, EndsEachStillThatWasAskedForBeforeAStop)
{
    for (int round = 1; round <= 20; ++round) {
        start(false);
        ASSERT_TRUE(runUntilFrames());
        std::atomic<bool> hasStopped = false;
        manager->captureStillImage(OvriImageSource::photo, std::nullopt);
        manager->captureStillImage(OvriImageSource::photo, std::nullopt);
        manager->stopCameraSession();
        manager->whenCameraStopped([&hasStopped] { hasStopped = true; });
        ASSERT_TRUE(test->runUntil([&] { return hasStopped && screen->stillEnds >= 2 * round; }));
        EXPECT_EQ(screen->stillEnds, 2 * round);
    }
}

INSTANTIATE_TEST_SUITE_P(
    BackEnds, SessionContract, testing::ValuesIn(backEnds()), testing::PrintToStringParamName());

} // namespace tamsel::tests
