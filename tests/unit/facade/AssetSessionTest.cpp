#include "support/CaptureScreen.h"

#include <tamsel/asset/AssetProcessor.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using namespace platform;
using simulated::AssetScript;
using simulated::SimulatedAssets;

namespace {

SourceType recording(const AssetScript& script)
{
    return SourceType::asset(SimulatedAssets::makeAsset(script));
}

std::string beginning(const std::vector<std::byte>& data)
{
    std::string text;
    for (std::size_t index = 0; index < std::min<std::size_t>(4, data.size()); ++index)
        text += static_cast<char>(data[index]);
    return text;
}

} // namespace

TEST(AssetSession, DeliversEachFrameWithTheTransformOfItsRecording)
{
    CaptureScreen screen;
    const CGAffineTransform turned{0, 1, -1, 0, 48, 0};
    ASSERT_TRUE(screen.start(recording({.frames = 2, .preferredTransform = turned})).has_value());
    const auto processor = screen.manager->assetProcessor();
    ASSERT_NE(processor, nullptr);
    screen.phone.advance(250ms);
    screen.phone.setDeviceOrientation(UIDeviceOrientation::landscapeLeft);
    ASSERT_EQ(screen.client->frames.size(), 2U);
    EXPECT_EQ(screen.client->frames[0].preferredTransform(), (CGAffineTransform{0, -1, 1, 0, 0, 48}));
    EXPECT_EQ(screen.client->frames[1].preferredTransform(), screen.client->frames[0].preferredTransform());
    EXPECT_EQ(screen.client->frames[0].exifOrientation(), CGImagePropertyOrientation::leftMirrored);
    EXPECT_EQ(screen.client->frames[1].imageBuffer()->timing()->sequence, 1U);
    EXPECT_EQ(screen.manager->assetProcessor(), processor);
    screen.phone.advance(50ms);
    EXPECT_EQ(screen.manager->assetProcessor(), nullptr) << "gone with the end of the recording";
    EXPECT_EQ(screen.client->calls, (Texts{"frame", "frame"}));
    EXPECT_EQ(screen.phone.journal().texts("report"), Texts{});
}

TEST(AssetSession, ReadsTwoRecordingsAtOnceEachToItsEnd)
{
    CaptureScreen screen;
    const CGAffineTransform first{1, 0, 0, 1, 1, 0};
    const CGAffineTransform second{1, 0, 0, 1, 2, 0};
    ASSERT_TRUE(screen.start(recording({.frames = 2, .preferredTransform = first})).has_value());
    const auto processor = screen.manager->assetProcessor();
    ASSERT_TRUE(screen.start(recording({.frames = 4, .preferredTransform = second})).has_value());
    EXPECT_NE(screen.manager->assetProcessor(), processor) << "the second replaces the first";
    screen.phone.advance(350ms);
    EXPECT_EQ(screen.manager->assetProcessor(), nullptr)
        << "the end of the first clears the field, although it holds the second";
    screen.phone.advance(5s);
    std::map<double, int> frames;
    for (const OvriCaptureFrameUpdate& frame : screen.client->frames)
        ++frames[frame.preferredTransform()->tx];
    EXPECT_EQ(frames, (std::map<double, int>{{-1, 2}, {-2, 4}}));
}

TEST(AssetSession, StaysInSilenceWithoutAReadableRecording)
{
    CaptureScreen screen;
    for (const SourceType& source : {recording({.canBeOpened = false}), recording({.hasVideoTrack = false}),
             SourceType::asset(std::make_shared<AVAsset>()), SourceType::asset(nullptr)}) {
        ASSERT_TRUE(screen.start(source).has_value());
        EXPECT_EQ(screen.manager->activeType(), source);
        EXPECT_EQ(screen.manager->assetProcessor()->assetReaderTimer(), nullptr);
        screen.phone.advance(2s);
        EXPECT_NE(screen.manager->assetProcessor(), nullptr) << "set until the next start";
    }
    EXPECT_EQ(screen.client->calls, Texts{});
    EXPECT_EQ(screen.phone.journal().texts("report"), Texts{});
}

TEST(AssetSession, EndsAReadThatFailsAsAtTheEnd)
{
    for (const auto& [script, frames] :
        {std::pair(AssetScript{.canStart = false}, 0), {{.frames = 10, .failsAt = 2}, 2}}) {
        CaptureScreen screen;
        ASSERT_TRUE(screen.start(recording(script)).has_value());
        const auto processor = screen.manager->assetProcessor();
        screen.phone.advance((frames + 1) * 100ms - 1ms);
        EXPECT_NE(processor->assetReaderTimer(), nullptr);
        screen.phone.advance(1ms);
        EXPECT_EQ(processor->assetReaderTimer(), nullptr);
        EXPECT_EQ(screen.manager->assetProcessor(), nullptr);
        EXPECT_EQ(screen.client->calls, Texts(static_cast<std::size_t>(frames), "frame"));
        ASSERT_TRUE(screen.start(recording({.frames = 9})).has_value());
        screen.phone.advance(500ms);
        EXPECT_NE(screen.manager->assetProcessor(), nullptr) << "nobody ends it but its own timer";
    }
}

TEST(AssetSession, TicksOnTheRunLoopOfTheThreadThatStartsIt)
{
    CaptureScreen screen;
    screen.phone.makeQueue("client")->async([&] { (void)screen.start(recording({.frames = 3})); });
    screen.phone.advance(5s);
    EXPECT_EQ(screen.client->calls, Texts{}) << "a thread of queues has items to run, and no loop";
    EXPECT_TRUE(screen.phone.isIdle());
    screen.phone.asThread("player", [&] { (void)screen.start(recording({.frames = 3})); });
    screen.phone.advance(5s);
    EXPECT_EQ(screen.client->calls, Texts(3, "frame"));
}

TEST(AssetSession, StandsBesideACameraAndIsNotStoppedWithIt)
{
    CaptureScreen screen;
    screen.startAndRun();
    screen.frame();
    ASSERT_TRUE(screen.start(recording({.frames = 3})).has_value());
    screen.phone.advance(150ms);
    screen.frame();
    EXPECT_EQ(screen.client->frames.size(), 3U);
    EXPECT_FALSE(screen.client->frames[0].preferredTransform().has_value());
    EXPECT_TRUE(screen.client->frames[1].preferredTransform().has_value());
    screen.manager->stopAllSessions();
    screen.phone.advance(2s);
    EXPECT_EQ(screen.client->frames.size(), 5U);
}

TEST(AssetSession, EndsQuietlyWithTheManager)
{
    CaptureScreen screen;
    ASSERT_TRUE(screen.start(recording({.frames = 30})).has_value());
    screen.phone.advance(150ms);
    const std::weak_ptr<OvriSourceManager> manager = screen.manager;
    screen.manager.reset();
    EXPECT_TRUE(manager.expired()) << "the read goes on and keeps nobody alive";
    screen.phone.advance(5s);
    EXPECT_EQ(screen.client->frames.size(), 1U);
}

TEST(AssetStill, IsThePngOfTheImageAtASixtiethOfASecond)
{
    CaptureScreen screen;
    screen.startAndRun(); // a camera takes no part in it
    ASSERT_TRUE(screen.start(recording({.frames = 100, .framesPerSecond = 120})).has_value());
    screen.manager->captureStillImage(OvriImageSource::album, TamselCameraSettings{});
    EXPECT_TRUE(screen.client->samples.empty()) << "delivered on the response queue";
    screen.phone.run();
    ASSERT_EQ(screen.client->samples.size(), 1U);
    const CaptureSampleUpdate& still = *screen.client->samples[0];
    EXPECT_EQ(beginning(still.sample()), "\x89PNG");
    EXPECT_EQ(still.source(), OvriImageSource::photo);
    EXPECT_TRUE(still.isCamera());
    EXPECT_EQ(still.exifOrientation(), CGImagePropertyOrientation::right);
    const auto encoded = screen.phone.images().openImage(still.sharedSample(), {});
    ASSERT_NE(encoded, nullptr);
    EXPECT_EQ(std::to_integer<int>((*encoded->decode())->pixel(5, 7)[2]), 2) << "two frames of 120 a second";
}

TEST(AssetStill, IsEmptyWhenThereIsNoImageAndNothingWithoutARecording)
{
    CaptureScreen screen;
    screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    ASSERT_TRUE(screen.start(SourceType::stability()).has_value());
    screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    screen.phone.run();
    EXPECT_TRUE(screen.client->samples.empty());
    for (const SourceType& source : {recording({.canBeOpened = false}), recording({.frames = 0}),
             recording({.failsAt = 0}), SourceType::asset(nullptr)}) {
        ASSERT_TRUE(screen.start(source).has_value());
        screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
        screen.phone.run();
        ASSERT_EQ(screen.client->samples.size(), 1U);
        EXPECT_TRUE(screen.client->samples[0]->sample().empty());
        screen.client->samples.clear();
    }
    screen.phone.images().setEncodes(false);
    ASSERT_TRUE(screen.start(recording({})).has_value());
    screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    screen.phone.run();
    ASSERT_EQ(screen.client->samples.size(), 1U);
    EXPECT_TRUE(screen.client->samples[0]->sample().empty());
    EXPECT_EQ(screen.phone.journal().texts("report"), Texts{});
}

TEST(Thumbnail, IsTheImageOfAFileOrOneLine)
{
    simulated::Phone phone;
    phone.assets().put("clip.mp4", {.width = 20, .height = 10, .framesPerSecond = 240});
    const auto image = OvriSourceManager::provideThumbnailImage("clip.mp4", phone.platform());
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->size(), (CGSize{20, 10}));
    EXPECT_EQ(std::to_integer<int>(image->cgImage()->pixel(0, 0)[2]), 4);
    EXPECT_EQ(phone.journal().texts(), Texts{});
    EXPECT_FALSE(OvriSourceManager::provideThumbnailImage("letter.txt", phone.platform()).has_value());
    EXPECT_EQ(phone.journal().texts(), (Texts{"line the simulated recording cannot be opened"}));
}

} // namespace tamsel::tests
