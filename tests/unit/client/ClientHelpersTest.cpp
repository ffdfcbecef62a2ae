#include "support/CaptureScreen.h"

#include <tamsel/tamsel.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <span>

namespace tamsel::tests {

TEST(ClientHelpers, OptionsBecomeTheDictionaryThatTheOperationsRead)
{
    const auto valueOf = [](const Configurations& configurations, const std::string& key) {
        return configurations.contains(key) ? std::any_cast<double>(configurations.at(key)) : -1;
    };
    EXPECT_TRUE(Configurations(CameraOptions{}).empty());
    EXPECT_TRUE(Configurations(MotionOptions{}).empty());
    EXPECT_EQ(valueOf(CameraOptions{.minimumFocusObjectSize = 40}, "minimumFocusObjectSize"), 40);
    const Configurations motion
        = MotionOptions{.stabilityThreshold = 0.5F, .stabilityDuration = 2, .angle = 30};
    EXPECT_EQ(valueOf(motion, "stabilityThreshold"), 0.5);
    EXPECT_EQ(valueOf(motion, "stabilityDuration"), 2);
    EXPECT_EQ(valueOf(motion, "angle"), 30);
}

TEST(ClientHelpers, EveryCallReachesTheFunctionOfItsNameAndAllDelegatesInOrder)
{
    CaptureScreen screen;
    Texts calls;
    const auto note = [&calls](const char* name) {
        return [&calls, name](OvriSourceManager&, const auto&...) { calls.emplace_back(name); };
    };
    const auto callbacks = makeDelegate({.didGetFrame = note("frame"),
        .didGetSample = note("sample"),
        .didGetVideo = note("video"),
        .didGetSourceError = note("error"),
        .cameraDidSuspend = note("suspend"),
        .cameraDidResume = note("resume"),
        .didDetectStability = note("stability"),
        .didDetectFacingAngle = note("facing angle"),
        .didDetectFace = note("face"),
        .didDetectCodes = note("codes")});
    const auto silent = makeDelegate({});
    const auto all
        = std::make_shared<ForwardingDelegate>(makeDelegate({}), silent, callbacks); // one is gone at once
    all->add(screen.client);

    screen.client->onFrame = [&calls] { calls.emplace_back("frame of the next delegate"); };
    screen.client->onDetection = [&calls] { calls.emplace_back("detection of the next delegate"); };
    screen.manager->setMetadataDetection({MetadataObjectType::qr, MetadataObjectType::face}, all);
    ASSERT_TRUE(screen.manager->startSession(SourceType::cameraBack(false), all, {}, screen.view));
    screen.phone.run();
    screen.frame();
    EXPECT_EQ(calls, (Texts{"frame", "frame of the next delegate"}));
    screen.phone.detector().show({std::make_shared<platform::AVMetadataFaceObject>(platform::CGRect{}, 1)});
    screen.frame();
    std::erase_if(calls, [](const std::string& call) { return call.starts_with("frame"); });
    EXPECT_EQ(calls, (Texts{"face", "detection of the next delegate"}));

    calls.clear();
    screen.client->onFrame = nullptr;
    screen.client->onDetection = nullptr;
    screen.client->calls.clear();
    OvriSourceManager& manager = *screen.manager;
    all->sourceManagerDidGetSample(manager, nullptr);
    all->sourceManagerDidGetVideo(manager, "film.mp4");
    all->sourceManagerDidGetSourceError(manager, CameraError::videoFrameError());
    all->sourceManagerCameraDidSuspend(manager);
    all->sourceManagerCameraDidResume(manager);
    all->sourceManagerDidDetectStability(manager, true);
    all->sourceManagerDidDetectFacingAngle(manager, false);
    all->sourceManagerDidDetect(manager, std::vector<OvriMetadataMachineReadableCodeObject>{});
    EXPECT_EQ(calls,
        (Texts{"sample", "video", "error", "suspend", "resume", "stability", "facing angle", "codes"}));
    EXPECT_EQ(screen.client->calls.size(), calls.size());
}

TEST(ClientHelpers, OutlinesAreThoseOfTheLastPictureInWhichSomethingWasFound)
{
    CaptureScreen screen;
    const auto outlines = std::make_shared<DetectionOutlines>(screen.phone.platform(), 300ms);
    screen.manager->setMetadataDetection({MetadataObjectType::qr, MetadataObjectType::face}, outlines);
    screen.startAndRun();
    const auto found = [&outlines] {
        Texts texts;
        for (const DetectionOutline& outline : outlines->latest().outlines)
            texts.push_back(outline.text + " " + std::to_string(outline.corners.at(2).x).substr(0, 4));
        return texts;
    };
    EXPECT_FALSE(outlines->latest().captureTime);
    screen.phone.detector().show({simulated::code(MetadataObjectType::qr, "one", {{0.1, 0.1}, {0.1, 0.1}}),
        simulated::face({{0.25, 0.25}, {0.5, 0.5}})});
    screen.frame();
    EXPECT_EQ(found(), (Texts{" 0.75", "one 0.20"}));
    const auto moved = transformed(outlines->latest().outlines.at(1), {.a = 10, .d = 100, .tx = 1, .ty = 2});
    EXPECT_EQ(moved.corners.at(2), (platform::CGPoint{3, 22}));
    EXPECT_EQ(moved.text, "one");
    const auto timing = *screen.client->frames.back().imageBuffer()->timing();
    EXPECT_TRUE(timing.isExamined);
    EXPECT_EQ(outlines->latest().captureTime, timing.captureTime);
    screen.phone.detector().show({simulated::code(MetadataObjectType::qr, "two", {{0.1, 0.1}, {0.2, 0.1}})});
    screen.frame();
    EXPECT_EQ(found(), (Texts{"two 0.30"}));
    EXPECT_GT(outlines->latest().captureTime, timing.captureTime);
    screen.phone.detector().show({});
    screen.phone.advance(299ms);
    EXPECT_EQ(found(), (Texts{"two 0.30"}));
    screen.phone.advance(1ms);
    EXPECT_EQ(found(), Texts());
}

TEST(ClientHelpers, ASavedFileIsCompleteOrNotThere)
{
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "tamsel-saved";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    const auto names = [&folder] {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            found.insert(entry.path().filename());
        return found;
    };
    const auto save = [](const std::string& text, const std::filesystem::path& file) {
        const auto saved = saveFile(std::as_bytes(std::span(text)), file);
        return saved ? std::string() : saved.error();
    };
    const auto first = freeFile(folder, "still", ".jpg");
    EXPECT_EQ(first, folder / "still-1.jpg");
    EXPECT_EQ(save("one", first), "");
    EXPECT_EQ(freeFile(folder, "still", ".jpg"), folder / "still-2.jpg");
    EXPECT_EQ(save("two", first), "");
    std::filesystem::create_symlink("/dev/full", first.string() + ".part");
    EXPECT_EQ(save("three", first), "cannot write " + first.string() + ": No space left on device");
    std::string content;
    std::ifstream(first) >> content;
    EXPECT_EQ(content, "two");
    EXPECT_EQ(save("four", folder), "cannot write " + folder.string() + ": Is a directory");
    EXPECT_EQ(save("five", folder / "no" / "still.jpg"),
        "cannot write " + (folder / "no/still.jpg").string() + ": No such file or directory");
    EXPECT_EQ(names(), std::set<std::string>{"still-1.jpg"});
    EXPECT_FALSE(std::filesystem::exists(folder.string() + ".part"));
    std::filesystem::remove_all(folder);
}

} // namespace tamsel::tests
