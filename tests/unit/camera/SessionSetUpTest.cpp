#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using namespace platform;
using engine::CaptureCall;

namespace {

/// The journal without the calls whose place among the others is not promised.
Texts orderedCalls(simulated::Phone& phone)
{
    Texts texts = phone.journal().texts();
    std::erase_if(texts, [](const std::string& text) { return text.starts_with("setSampleBufferDelegate"); });
    return texts;
}

/// From the first text that begins so.
Texts from(const Texts& texts, std::string_view beginning)
{
    const auto found
        = std::ranges::find_if(texts, [&](const std::string& text) { return text.starts_with(beginning); });
    return {found, texts.end()};
}

/// Only the texts that begin with one of these.
Texts only(const Texts& texts, const Texts& beginnings)
{
    Texts kept;
    std::ranges::copy_if(texts, std::back_inserter(kept), [&](const std::string& text) {
        return std::ranges::any_of(
            beginnings, [&](const std::string& begin) { return text.starts_with(begin); });
    });
    return kept;
}

struct Setup : testing::TestWithParam<std::uint64_t> {
    simulated::PhoneConfiguration seeded(simulated::PhoneConfiguration configuration = {})
    {
        configuration.seed = GetParam();
        return configuration;
    }
};

} // namespace

TEST_P(Setup, PutsTheSessionTogetherInOrderAndStartsItOnce)
{
    CaptureScreen screen(seeded({.microphone = simulated::MicrophoneScript{}}));
    screen.startAndRun(SourceType::cameraBack(true));

    const Texts calls = orderedCalls(screen.phone);
    EXPECT_EQ(only(calls, {"authorization", "beginConfiguration", "setSessionPreset"}),
        (Texts{"authorizationStatus video", "beginConfiguration", "setSessionPreset photo"}));
    EXPECT_EQ(only(calls, {"default", "makeDeviceInput"}),
        (Texts{"defaultDevice triple back", "defaultDevice dualWide back", "defaultDevice wideAngle back",
            "makeDeviceInput video", "defaultAudioDevice", "makeDeviceInput audio"}));
    Texts expected{"canAddInput video", "addInput video", "canAddInput audio", "addInput audio"};
    for (const char* output :
        {"AVCaptureVideoDataOutput", "AVCaptureMovieFileOutput", "AVCapturePhotoOutput"}) {
        expected.push_back("canAddOutput " + std::string(output));
        expected.push_back("addOutput " + std::string(output));
    }
    for (int connection = 0; connection < 3; ++connection)
        expected.insert(expected.end(),
            {"setEnabled true", "setAutomaticallyAdjustsVideoMirroring false",
                "setVideoOrientation portrait"});
    expected.insert(expected.end(), {"commitConfiguration", "startRunning"});
    EXPECT_EQ(from(calls, "canAddInput"), expected);
    EXPECT_EQ(
        screen.phone.journal().texts("setSampleBufferDelegate"), Texts{"setSampleBufferDelegate delegate"});
    Texts settings = screen.phone.settings().texts("set");
    std::ranges::sort(settings);
    EXPECT_EQ(settings,
        (Texts{"setAlwaysDiscardsLateVideoFrames yes", "setHighResolutionCaptureEnabled yes",
            "setMovieFragmentInterval invalid", "setVideoSettings BGRA"}));
    EXPECT_TRUE(screen.back().isStarted());
    EXPECT_EQ(screen.back().preset(), AVCaptureSessionPreset::photo);
    EXPECT_TRUE(screen.phone.isIdle());
    EXPECT_EQ(screen.phone.now(), 0ns);
}

TEST_P(Setup, LeavesOutTheMicrophoneAndTheMovieOutputUnlessVideoIsRecorded)
{
    CaptureScreen screen(
        seeded({.microphone = simulated::MicrophoneScript{}}), CameraConfiguration::SessionPreset::none);
    screen.startAndRun(SourceType::cameraFront(false));
    EXPECT_EQ(screen.phone.journal().texts("addInput"), Texts{"addInput video"});
    EXPECT_EQ(screen.phone.journal().texts("default"), Texts{"defaultDevice wideAngle front"});
    EXPECT_EQ(screen.phone.journal().texts("setSessionPreset"), Texts{"setSessionPreset high"});
    EXPECT_EQ(screen.phone.journal().texts("addOutput"),
        (Texts{"addOutput AVCaptureVideoDataOutput", "addOutput AVCapturePhotoOutput"}));
}

TEST_P(Setup, GoesOnWithoutAMicrophoneThatIsMissingRefusedOrNotAccepted)
{
    for (const auto refused :
        {CaptureCall::makeDeviceInput, CaptureCall::canAddInput, CaptureCall::setEnabled}) {
        const bool isMissing = refused == CaptureCall::setEnabled;
        CaptureScreen screen(seeded({.microphone = isMissing
                ? std::nullopt
                : std::optional<simulated::MicrophoneScript>(simulated::MicrophoneScript{})}));
        screen.phone.refuse(refused, 1, isMissing ? "nothing" : "audio");
        screen.startAndRun(SourceType::cameraBack(true));
        EXPECT_EQ(screen.phone.journal().texts("addInput"), Texts{"addInput video"});
        EXPECT_TRUE(screen.back().isStarted());
        EXPECT_EQ(screen.client->calls, Texts{});
    }
}

TEST_P(Setup, EndsWithOneErrorWhenTheSessionRefusesAPart)
{
    struct Case {
        CaptureCall call;
        const char* detail;
        const char* error;
        const char* report;
        std::size_t added;
    };
    for (const Case& one :
        {
            Case{CaptureCall::makeDeviceInput, "video", "canNotAddInput", "Couldn't add capture device input",
                0},
            Case{CaptureCall::canAddInput, "video", "canNotAddInput", "Couldn't add capture device input", 0},
            Case{CaptureCall::canAddOutput, "AVCaptureVideoDataOutput", "canNotAddVideoOutput",
                "Couldn't add video output", 1},
            Case{CaptureCall::canAddOutput, "AVCaptureMovieFileOutput", "canNotAddVideoOutput",
                "Couldn't add video output", 2},
            Case{CaptureCall::canAddOutput, "AVCapturePhotoOutput", "canNotAddPhotoOutput",
                "Couldn't add photo output", 3},
        }) {
        CaptureScreen screen(seeded());
        int visible = 0;
        screen.phone.platform().notificationCenter.addObserver(screen.client,
            "TamselCameraDidBecomeVisibleNotification", [&](const Notification&) { ++visible; });
        screen.phone.refuse(one.call, 1, one.detail);
        screen.startAndRun(SourceType::cameraBack(true));

        EXPECT_EQ(screen.client->calls, Texts{"error " + std::string(one.error)});
        EXPECT_EQ(screen.phone.journal().texts("report"),
            Texts{"report flow error: " + std::string(one.report) + " (AVCaptureSession)"});
        EXPECT_EQ(screen.phone.journal().texts("add").size(), one.added);
        EXPECT_EQ(screen.phone.journal().texts("commit").size(), 1U);
        EXPECT_EQ(screen.phone.journal().texts("start"), Texts{});
        EXPECT_EQ(screen.phone.journal().texts("setVideoOrientation"), Texts{});
        EXPECT_EQ(visible, 0);
        EXPECT_FALSE(screen.back().isStarted());
    }
}

TEST_P(Setup, TellsOfAnAbsentOrHeldDeviceOnce)
{
    for (const bool isAbsent : {true, false}) {
        CaptureScreen screen(seeded());
        screen.back().script().isPresent = !isAbsent;
        screen.back().script().isHeldByAnotherProcess = !isAbsent;
        screen.startAndRun();
        EXPECT_EQ(screen.client->calls, Texts{"error canNotAddInput"});
        EXPECT_EQ(screen.phone.journal().texts("makeDeviceInput").size(), isAbsent ? 0U : 1U);
    }
}

TEST_P(Setup, ReportsNothingWhenNobodyIsLeftToHearOfTheFailure)
{
    CaptureScreen screen(seeded());
    screen.phone.refuse(CaptureCall::canAddOutput);
    ASSERT_TRUE(screen.start().has_value());
    screen.phone.runUntil([&] { return !screen.phone.journal().texts("canAddOutput").empty(); });
    screen.manager.reset();
    screen.phone.run();
    EXPECT_EQ(screen.phone.journal().texts("report"), Texts{});
    EXPECT_EQ(screen.phone.journal().texts("commit").size(), 1U);
}

TEST_P(Setup, FinishesOnceTheSessionIsTogetherAlthoughTheManagerHasGone)
{
    CaptureScreen screen(seeded());
    int visible = 0;
    screen.phone.platform().notificationCenter.addObserver(
        screen.client, "TamselCameraDidBecomeVisibleNotification", [&](const Notification&) { ++visible; });
    ASSERT_TRUE(screen.start().has_value());
    screen.phone.runUntil([&] { return screen.phone.journal().texts("setVideoOrientation").size() == 2; });
    screen.manager.reset();
    screen.phone.run();
    EXPECT_EQ(screen.phone.journal().texts("commit").size(), 1U);
    EXPECT_EQ(screen.phone.journal().texts("startRunning").size(), 1U);
    EXPECT_EQ(visible, 0) << "the camera has gone by then";
    EXPECT_FALSE(screen.back().isOpen()) << "its end gives the device back";
    EXPECT_TRUE(screen.phone.isIdle());
}

TEST_P(Setup, NeverBeginsWhenTheManagerGoesBeforeTheMainQueueRuns)
{
    CaptureScreen screen(seeded());
    ASSERT_TRUE(screen.start().has_value());
    screen.manager.reset();
    screen.phone.run();
    EXPECT_EQ(screen.phone.journal().texts(),
        (Texts{"authorizationStatus video", "line \"Source Manager deinit\""}));
}

TEST_P(Setup, PostsTheVisibleNotificationOnTheMainQueueWithTheCameraOnceItRuns)
{
    CaptureScreen screen(seeded());
    screen.back().script().timeToStart = 300ms;
    int visible = 0;
    screen.phone.platform().notificationCenter.addObserver(
        screen.client, "TamselCameraDidBecomeVisibleNotification", [&](const Notification& notification) {
            ++visible;
            EXPECT_NE(std::static_pointer_cast<Camera>(notification.object), nullptr);
            EXPECT_TRUE(screen.phone.platform().dispatch.mainQueue()->isCurrent());
            EXPECT_TRUE(screen.back().isStarted());
            EXPECT_EQ(screen.phone.now(), 300ms);
        });
    ASSERT_TRUE(screen.start().has_value());
    screen.phone.advance(299ms);
    EXPECT_EQ(visible, 0);
    screen.phone.advance(1ms);
    EXPECT_EQ(visible, 1);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Setup, testing::Range<std::uint64_t>(1, 9));

TEST(DeviceChoice, TakesTheLastKindThatIsThere)
{
    using Type = AVCaptureDeviceType;
    const auto chosen = [](std::vector<Type> types, std::string version) {
        simulated::PhoneConfiguration configuration{.systemVersion = std::move(version)};
        configuration.cameras.clear();
        for (const Type type : types)
            configuration.cameras.push_back({.type = type});
        CaptureScreen screen(configuration);
        screen.startAndRun();
        for (std::size_t number = 0; number < types.size(); ++number) {
            if (screen.phone.camera(AVCaptureDevicePosition::back, number).isStarted())
                return std::optional(types[number]);
        }
        return std::optional<Type>();
    };
    const Type wide = Type::builtInWideAngleCamera;
    const Type dual = Type::builtInDualWideCamera;
    const Type triple = Type::builtInTripleCamera;
    EXPECT_EQ(chosen({triple, dual, wide}, "16.4"), wide);
    EXPECT_EQ(chosen({wide, dual, triple}, "13.0"), wide);
    EXPECT_EQ(chosen({triple, dual}, "13"), dual);
    EXPECT_EQ(chosen({triple}, "16.4"), triple);
    EXPECT_EQ(chosen({triple}, "12.9"), std::nullopt);
    EXPECT_EQ(chosen({triple, wide}, "12.9"), wide);
}

} // namespace tamsel::tests
