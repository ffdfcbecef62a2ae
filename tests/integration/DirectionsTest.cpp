#include "support/HostScreen.h"
#include "support/Media.h"
#include "support/Pictures.h"

#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>

namespace tamsel::tests {

using namespace platform;

namespace {

/// A way to hold the device, by how many quarter turns clockwise it is turned from portrait.
struct Pose {
    const char* name;
    UIInterfaceOrientation interface;
    AVCaptureVideoOrientation sensor;
    int turns;
};
constexpr std::array<Pose, 4> poses{{
    {"portrait", UIInterfaceOrientation::portrait, AVCaptureVideoOrientation::portrait, 0},
    {"landscapeLeft", UIInterfaceOrientation::landscapeLeft, AVCaptureVideoOrientation::landscapeLeft, 1},
    {"portraitUpsideDown", UIInterfaceOrientation::portraitUpsideDown,
        AVCaptureVideoOrientation::portraitUpsideDown, 2},
    {"landscapeRight", UIInterfaceOrientation::landscapeRight, AVCaptureVideoOrientation::landscapeRight, 3},
}};

/// The Exif orientation of a picture that quarter turns clockwise make upright.
constexpr std::array<int, 4> exifOfTurns{1, 6, 3, 8};

/// Three places of the sheet that are black, and white when the sheet is mirrored or upside down; and three of those.
constexpr std::array<std::pair<int, int>, 6> points{
    {{463, 244}, {631, 445}, {631, 460}, {236, 244}, {68, 445}, {463, 275}}};

/// What a client has got.
struct Received {
    std::mutex guard;
    std::optional<Pixels> frame;
    std::optional<CGPoint> corner; ///< the first of the code, in the stored picture
    std::string still;
    bool hasVideo = false;

    [[nodiscard]] bool has(const std::function<bool(Received&)>& condition)
    {
        const std::lock_guard lock(guard);
        return condition(*this);
    }
};

std::shared_ptr<CallbackDelegate> delegateOf(const std::shared_ptr<Received>& received)
{
    const auto keep = [received](auto store) {
        return [received, store](OvriSourceManager&, const auto& value) {
            const std::lock_guard lock(received->guard);
            store(*received, value);
        };
    };
    return makeDelegate({
        .didGetFrame = keep([](Received& all, const OvriCaptureFrameUpdate& frame) {
            if (!all.frame)
                all.frame = Pixels(*frame.imageBuffer());
        }),
        .didGetSample = keep([](Received& all, const std::shared_ptr<CaptureSampleUpdate>& sample) {
            all.still.assign(reinterpret_cast<const char*>(sample->sample().data()), sample->sample().size());
        }),
        .didGetVideo = keep([](Received& all, const std::filesystem::path&) { all.hasVideo = true; }),
        .didDetectCodes
        = keep([](Received& all, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) {
              all.corner = codes.front().corners().front();
          }),
    });
}

/// As a screen does when its interface turns.
void turnPreview(const UIView& view, AVCaptureVideoOrientation orientation)
{
    for (const std::shared_ptr<CALayer>& layer : view.layer()->sublayers()) {
        if (const auto preview = std::dynamic_pointer_cast<AVCaptureVideoPreviewLayer>(layer))
            preview->connection()->setVideoOrientation(orientation);
    }
}

CGPoint turned(CGPoint place, int turns)
{
    for (; turns > 0; --turns)
        place = {1 - place.y, place.x};
    return place;
}

} // namespace

class Directions : public testing::TestWithParam<Pose> { };

// A sheet on the wall, upright. The device turns from portrait to each pose, its sensor with it, so the stored picture shows
// the sheet turned the other way round, counted from the pose in which stored pictures are upright.
TEST_P(Directions, EveryOutputShowsTheSceneUpright)
{
    const ScratchFolder folder;
    const Pose& mount = GetParam();
    const Pixels sheet = decoded(readFile(testData("codes/sheet.png")));
    // For encoded pictures.
    const auto expectSheet = [&](const Pixels& picture, const char* what) {
        ASSERT_EQ(picture.width, sheet.width) << what;
        ASSERT_EQ(picture.height, sheet.height) << what;
        for (const auto& [x, y] : points) {
            const auto light = [&](const Pixels& of) { return static_cast<int>(of.at(x, y) >> 8 & 0xff); };
            EXPECT_NEAR(light(picture), light(sheet), 80) << what << " at " << x << ", " << y;
        }
    };
    for (const Pose& held : poses) {
        for (const bool isFront : {false, true}) {
            SCOPED_TRACE(std::string(mount.name) + ", held " + held.name + (isFront ? ", front" : ", back"));
            const int storedTurns = (mount.turns - held.turns + 4) % 4;
            const std::string scene = folder.file("scene.png");
            writeFile(
                scene, pngFile(uprightPicture(sheet, exifOfTurns.at(static_cast<std::size_t>(storedTurns)))));
            const host::HostInput input{.input = scene, .sensorOrientation = mount.sensor};
            HostScreen screen(isFront ? host::HostConfiguration{.frontCamera = input}
                                      : host::HostConfiguration{.backCamera = input});
            screen.host.setInterfaceOrientation(held.interface);
            const auto received = std::make_shared<Received>();
            const auto delegate = delegateOf(received);
            const auto wait = [&](const std::function<bool(Received&)>& condition) {
                return screen.runUntil([&] { return received->has(condition); });
            };
            screen.manager->setMetadataDetection({MetadataObjectType::dataMatrix}, delegate);
            const auto view = std::make_shared<UIView>(CGSize{640, 480});
            const SourceType camera = isFront ? SourceType::cameraFront(true) : SourceType::cameraBack(true);
            ASSERT_TRUE(screen.manager->startSession(camera, delegate, {}, view).has_value());
            ASSERT_TRUE(wait([](Received& all) { return all.frame && all.corner; }));
            turnPreview(*view, held.sensor);
            const std::string movie
                = folder.file(std::string(held.name) + (isFront ? "-front.mp4" : "-back.mp4"));
            screen.manager->startVideoRecording(movie);
            ASSERT_TRUE(screen.runUntil([&] { return screen.manager->frameCounts().recorded >= 3; }));
            screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
            ASSERT_TRUE(wait([](Received& all) { return !all.still.empty(); }));
            screen.manager->stopVideoRecording();
            ASSERT_TRUE(wait([](Received& all) { return all.hasVideo; }));
            screen.manager->stopCameraSession();

            const std::lock_guard lock(received->guard); // codes may still come
            EXPECT_EQ(*received->frame, sheet) << "live";
            const CGPoint corner = turned(*received->corner, (4 - storedTurns) % 4);
            EXPECT_NEAR(corner.x, 0.6, 0.01) << "the code, brought upright with the picture";
            EXPECT_NEAR(corner.y, 0.45, 0.01);
            const std::string still = folder.file("still.jpg");
            writeFile(still, received->still);
            const std::string tag = runCommand("exiftool -n -s3 -Orientation '" + still + "'").output;
            expectSheet(uprightPicture(decoded(received->still), std::atoi(tag.c_str())), "still");
            const std::string shown = folder.file("shown.png"); // as a player shows it
            ASSERT_EQ(
                runCommand("ffmpeg -y -v error -i '" + movie + "' -frames:v 1 '" + shown + "'").status, 0);
            expectSheet(decoded(readFile(shown)), "movie");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Mounts, Directions, testing::ValuesIn(poses),
    [](const auto& one) { return std::string(one.param.name); });

} // namespace tamsel::tests
