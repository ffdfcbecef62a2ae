#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace tamsel::tests {

using namespace platform;

namespace {

std::shared_ptr<const AVMetadataObject> face(std::int64_t id)
{
    return std::make_shared<AVMetadataFaceObject>(CGRect{{0.1, 0.2}, {0.3, 0.4}}, id);
}

std::shared_ptr<const AVMetadataObject> code(AVMetadataObjectType type, std::optional<std::string> value)
{
    return std::make_shared<AVMetadataMachineReadableCodeObject>(std::move(type),
        std::vector<CGPoint>{{0.5, 0.25}, {0.75, 0.25}, {0.625, 0.5}, {-0.5, 1.5}}, std::move(value));
}

const std::string qr = "org.iso.QRCode";

/// A screen that hears of faces and QR codes.
struct DetectingScreen : CaptureScreen {
    explicit DetectingScreen(simulated::PhoneConfiguration configuration = {})
        : CaptureScreen(std::move(configuration))
    {
        manager->setFaceMetadataDetection(client);
        manager->setMetadataDetection({MetadataObjectType::qr}, client);
    }

    /// What the client is told of while these objects are before the camera for one frame.
    Texts told(AVMetadataObjects objects)
    {
        phone.detector().produceBatch(std::move(objects));
        frame();
        return calls();
    }
    Texts calls()
    {
        client->frames.clear();
        std::erase(client->calls, "frame");
        return std::exchange(client->calls, {});
    }
};

} // namespace

TEST(MetadataDetection, TellsTheFirstFaceThenAllCodesOfABatchOnTheResponseQueue)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        DetectingScreen screen({.seed = seed});
        screen.client->onDetection = [&] { EXPECT_TRUE(screen.responseQueue->isCurrent()); };
        screen.startAndRun();
        EXPECT_EQ(screen.told({code(qr, "first"), face(7), code("org.iso.Aztec", "second"),
                      std::make_shared<AVMetadataObject>("org.example.Cat"), face(8)}),
            (Texts{"face", "codes 2"}));
        EXPECT_EQ(screen.told({face(9), face(7)}), Texts{"face"});
        EXPECT_EQ(screen.told({code(qr, "third")}), Texts{"codes 1"});
        EXPECT_EQ(screen.told({std::make_shared<AVMetadataObject>("org.example.Cat")}), Texts{});
        EXPECT_EQ(screen.told({}), Texts{});

        ASSERT_EQ(screen.client->faces.size(), 2U);
        EXPECT_EQ(screen.client->faces[0].face()->faceID(), 7);
        EXPECT_EQ(screen.client->faces[1].face()->faceID(), 9);
        ASSERT_EQ(screen.client->codes.size(), 3U);
        EXPECT_EQ(screen.client->codes[0].value(), "first");
        EXPECT_EQ(screen.client->codes[1].value(), "second");
        EXPECT_EQ(screen.client->codes[1].type(), MetadataObjectType::aztec);
    }
}

TEST(MetadataDetection, PassesOnWhatIsKnownOfACode)
{
    DetectingScreen screen;
    screen.startAndRun();
    EXPECT_EQ(screen.told({code("org.example.New", "text"), code(qr, std::nullopt), code(qr, "")}),
        Texts{"codes 3"});
    const auto& codes = screen.client->codes;
    EXPECT_EQ(codes[0].type(), std::nullopt);
    EXPECT_EQ(codes[0].value(), "text");
    EXPECT_EQ(codes[1].type(), MetadataObjectType::qr);
    EXPECT_EQ(codes[1].value(), std::nullopt);
    EXPECT_EQ(codes[2].value(), "");
    for (const OvriMetadataMachineReadableCodeObject& each : codes) {
        ASSERT_EQ(each.corners().size(), 4U);
        EXPECT_EQ(each.corners()[2].x, 0.625);
        EXPECT_EQ(each.corners()[3].x, -0.5);
        EXPECT_EQ(each.corners()[3].y, 1.5);
    }
}

TEST(MetadataDetection, AddsKindsUpForTheNextCameraAndTellsTheLastDelegate)
{
    CaptureScreen screen;
    const auto earlier = std::make_shared<RecordingClient>();
    const auto asked = [&] {
        Texts texts = screen.phone.journal().texts("setMetadataObjectTypes");
        screen.phone.journal().clear();
        return texts;
    };
    const AVMetadataObjects scene{face(1), code("org.gs1.EAN-13", "4006381333931")};
    screen.phone.detector().show(scene);
    screen.manager->setFaceMetadataDetection(earlier);
    screen.startAndRun();
    EXPECT_EQ(asked(), Texts{"setMetadataObjectTypes face"});
    screen.frame();
    EXPECT_EQ(earlier->calls, Texts{"face"});

    screen.manager->setMetadataDetection({MetadataObjectType::qr, MetadataObjectType::ean13}, screen.client);
    screen.manager->setFaceMetadataDetection(screen.client);
    screen.frame();
    EXPECT_EQ(std::ranges::count(screen.client->calls, "face"), 1);
    EXPECT_EQ(screen.client->codes.size(), 0U) << "what runs looks for what it was started with";
    EXPECT_EQ(earlier->calls.size(), 1U);

    screen.manager->stopCameraSession();
    screen.phone.run();
    screen.startAndRun(SourceType::cameraFront(false));
    EXPECT_EQ(asked(), Texts{"setMetadataObjectTypes face org.iso.QRCode org.gs1.EAN-13 face"});
    screen.front().produceFrame();
    screen.phone.run();
    ASSERT_EQ(screen.client->codes.size(), 1U);
    EXPECT_EQ(screen.client->codes.front().value(), "4006381333931");

    screen.manager->stopCameraSession();
    screen.phone.run();
    screen.manager->setMetadataDetection({}, earlier);
    screen.startAndRun();
    screen.frame();
    EXPECT_EQ(earlier->calls, (Texts{"face", "face", "codes 1"})) << "an empty list changes the delegate";
}

TEST(MetadataDetection, LooksTheDelegateUpBeforeEachCall)
{
    DetectingScreen screen;
    screen.startAndRun();
    const AVMetadataObjects batch{face(1), code(qr, "text")};
    screen.client->onDetection = [&] { screen.manager->setMetadataDelegate({}); };
    EXPECT_EQ(screen.told(batch), Texts{"face"}) << "cleared by the face call";
    EXPECT_EQ(screen.told(batch), Texts{}) << "nobody is told";

    const auto next = std::make_shared<RecordingClient>();
    screen.manager->setMetadataDelegate(screen.client);
    screen.client->onDetection = [&] { screen.manager->setMetadataDelegate(next); };
    EXPECT_EQ(screen.told(batch), Texts{"face"});
    EXPECT_EQ(next->calls, Texts{"codes 1"});

    // A delegate that goes away while a frame is looked at.
    screen.phone.detector().script().timeToDetect = 100ms;
    auto passing = std::make_shared<RecordingClient>();
    screen.manager->setMetadataDelegate(passing);
    EXPECT_EQ(screen.told(batch), Texts{});
    passing.reset();
    screen.phone.advance(1s);
    EXPECT_EQ(screen.calls(), Texts{});
}

} // namespace tamsel::tests
