#include "support/HostScreen.h"
#include "support/Media.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

namespace tamsel::tests {

using namespace std::chrono_literals;
using namespace platform;
using Manager = OvriSourceManager;
using Status = AVAuthorizationStatus;

TEST(HostQueries, FollowAFileThatComesAndGoes)
{
    const std::filesystem::path file = std::filesystem::path(testing::TempDir()) / "camera.mp4";
    std::filesystem::remove(file);
    HostScreen screen(file.string());
    Manager& manager = *screen.manager;
    Platform& platform = screen.host.platform();
    const auto isThere = [&] { return manager.isSourceAvailable(SourceType::cameraBack(false)); };
    EXPECT_FALSE(isThere());
    EXPECT_TRUE(Manager::isCameraAuthorized(platform)) << "nobody denies what is not there";
    std::filesystem::copy_file(sample(), file);
    EXPECT_TRUE(isThere());
    EXPECT_FALSE(manager.isSourceAvailable(SourceType::cameraFront(false)));
    EXPECT_FALSE(manager.isSourceAvailable(SourceType::stability()));

    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->count > 0; }));
    EXPECT_EQ(manager.imageResolution(), (CGSize{640, 480}));
    EXPECT_TRUE(manager.canCaptureStillImage());
    std::filesystem::remove(file);
    EXPECT_FALSE(isThere());
}

TEST(HostQueries, ReportCamerasThatAppearAndDisappear)
{
    const ScratchFolder folder;
    const std::string file = folder.file("camera.mp4");
    HostScreen screen({.backCamera = host::HostInput{.input = file},
        .frontCamera = host::HostInput{.input = "test:64x48"}});
    std::vector<std::string> changes;
    const auto record = [&](const host::CameraChange& change) {
        EXPECT_EQ(change.position, AVCaptureDevicePosition::back);
        EXPECT_EQ(screen.host.cameras().size(), change.isPresent ? 2U : 1U) << "queries answer for now";
        EXPECT_TRUE(change.isPresent || !change.isPermitted);
        changes.push_back(change.name + (change.isPermitted ? " +" : change.isPresent ? " denied" : " -"));
    };
    screen.host.setCameraObserver(record);
    std::filesystem::copy_file(sample(), folder.file("other.mp4"));
    writeFile(folder.file("beside"), "");
    const auto change = [&](const std::function<void()>& make, const std::string& expected) {
        make();
        EXPECT_TRUE(screen.runUntil([&] { return !changes.empty(); }));
        EXPECT_EQ(changes, std::vector<std::string>{file + expected});
        changes.clear();
    };
    change([&] { std::filesystem::rename(folder.file("other.mp4"), file); }, " +");
    change([&] { std::filesystem::remove(file); }, " -");
    change([&] { std::filesystem::create_symlink(file, file); }, " denied"); // nobody can open that
    const ScratchFolder elsewhere;
    const std::string target = elsewhere.file("camera.mp4");
    change(
        [&] {
            std::filesystem::remove(file);
            std::filesystem::create_symlink(target, file);
        },
        " -");
    std::filesystem::copy_file(sample(), target); // noticed with the next change of permissions beside it
    change([&] { std::filesystem::permissions(folder.file("beside"), std::filesystem::perms::none); }, " +");
    screen.host.setCameraObserver(nullptr);
    std::filesystem::remove(file);
    screen.host.setCameraObserver(record);
    change([&] { std::filesystem::copy_file(sample(), file); }, " +");
}

TEST(HostQueries, FollowAPolicyAtOnce)
{
    HostScreen screen(host::HostConfiguration{
        .videoAuthorization = Status::notDetermined, .audioAuthorization = Status::denied});
    Platform& platform = screen.host.platform();
    EXPECT_TRUE(Manager::isMissingCameraPermission(platform));
    EXPECT_TRUE(Manager::isMissingMicPermission(platform));
    EXPECT_FALSE(screen.start());
    screen.host.setAuthorization(AVMediaType::video, std::nullopt);
    screen.host.setAuthorization(AVMediaType::audio, Status::authorized);
    EXPECT_TRUE(Manager::isCameraAuthorized(platform));
    EXPECT_TRUE(Manager::isMicAuthorized(platform));
    screen.host.setAuthorization(AVMediaType::video, Status::restricted);
    EXPECT_TRUE(Manager::isCameraRestricted(platform));
}

TEST(HostQueries, AreAnsweredOnAnyThreadWhileCamerasComeAndGo)
{
    HostScreen screen("test:64x48@200");
    std::atomic<bool> isOver = false;
    std::atomic<int> large = 0;
    std::vector<std::jthread> askers;
    for (int number = 0; number < 3; ++number) {
        askers.emplace_back([&] {
            while (!isOver) {
                const Manager& manager = *screen.manager;
                const CGSize size = manager.imageResolution();
                EXPECT_TRUE((size == CGSize{} || size == CGSize{64, 48}));
                large += size == CGSize{} ? 0 : 1;
                (void)manager.isCameraActive();
                (void)manager.canCaptureStillImage();
                (void)Manager::isMissingMicPermission(screen.host.platform());
                EXPECT_TRUE(manager.isSourceAvailable(SourceType::cameraBack(true)));
                screen.manager->prefersAspectFillCameraPreview();
            }
        });
    }
    for (int session = 0; session < 10; ++session) {
        const int before = screen.client->count;
        EXPECT_TRUE(screen.start());
        EXPECT_TRUE(screen.runUntil([&] { return screen.client->count > before; }));
        screen.manager->stopCameraSession();
        EXPECT_TRUE(screen.runUntil([&] { return !screen.manager->canRecordVideo(); }));
    }
    isOver = true;
    askers.clear();
    EXPECT_GT(large, 0);
}

} // namespace tamsel::tests
