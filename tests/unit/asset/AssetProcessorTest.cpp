#include "support/CaptureScreen.h"

#include <tamsel/asset/AssetProcessor.h>
#include <tamsel/platform/RunLoops.h>

#include <gtest/gtest.h>

namespace tamsel::tests {

using namespace platform;
using simulated::AssetScript;
using simulated::SimulatedAssets;

namespace {

/// One read, and when its calls came.
struct Read {
    explicit Read(simulated::Phone& given) : phone(given), processor(AssetProcessor::create(given.platform()))
    {
    }

    void start(const AssetScript& script)
    {
        processor->process(
            SimulatedAssets::makeAsset(script),
            [this](const std::shared_ptr<CMSampleBuffer>& sample) {
                EXPECT_TRUE(held.expired()) << "one frame at a time";
                held = sample;
                note("frame " + std::to_string(sample->imageBuffer()->timing()->sequence));
            },
            [this] { note("end"); });
    }

    void note(const std::string& what)
    {
        const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(phone.now()).count();
        calls.push_back(std::to_string(time) + " " + what);
    }

    simulated::Phone& phone;
    std::shared_ptr<AssetProcessor> processor;
    std::weak_ptr<CMSampleBuffer> held;
    Texts calls;
};

} // namespace

TEST(AssetProcessor, EndsAReadThatFailsAsAtTheEnd)
{
    simulated::Phone phone;
    Read unstarted(phone);
    unstarted.start({.canStart = false});
    EXPECT_NE(unstarted.processor->assetReaderTimer(), nullptr);
    phone.advance(5s);
    EXPECT_EQ(unstarted.calls, (Texts{"100 end"}));
    EXPECT_EQ(unstarted.processor->assetReaderTimer(), nullptr);

    simulated::Phone other;
    Read broken(other);
    broken.start({.frames = 10, .failsAt = 2});
    other.advance(5s);
    EXPECT_EQ(broken.calls, (Texts{"100 frame 0", "200 frame 1", "300 end"}));
}

TEST(AssetProcessor, TicksOnTheRunLoopOfTheThreadThatStartsIt)
{
    simulated::Phone phone;
    const auto processor = AssetProcessor::create(phone.platform());
    RunLoop* loop = nullptr;
    RunLoop* tickLoop = nullptr;
    phone.asThread("player", [&] {
        loop = &phone.platform().runLoops.current();
        processor->process(
            SimulatedAssets::makeAsset({.frames = 1}), [](const auto&) {},
            [&] { tickLoop = &phone.platform().runLoops.current(); });
    });
    phone.advance(1s);
    EXPECT_EQ(tickLoop, loop);
    EXPECT_NE(loop, &phone.platform().runLoops.current());
}

TEST(AssetProcessor, WaitsForeverWhereNoLoopRuns)
{
    simulated::Phone phone;
    Read read(phone);
    phone.makeQueue("client")->async([&] { read.start({.frames = 3}); });
    phone.advance(5s);
    EXPECT_EQ(read.calls, Texts{}) << "a thread of queues has items to run, and no loop";
    EXPECT_TRUE(phone.isIdle());
}

} // namespace tamsel::tests
