#include "support/BusServices.h"
#include "support/FakeV4L2.h"
#include "support/HostScreen.h"
#include "support/PipeWireDaemons.h"
#include "support/Program.h"

#include <host/HostServices.h>
#include <host/VideoAuthorization.h>

#include <engine/dispatch/ThreadedDispatch.h>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace tamsel::tests {

using Status = platform::AVAuthorizationStatus;
using Lines = std::vector<std::string>;

namespace {

struct PermissionLines {
    Lines lines;
};

/// A screen whose camera needs the permission of the person, the lines of its host about it, and the answers to requests.
struct PermittedScreen : PermissionLines, HostScreen {
    explicit PermittedScreen(
        host::HostConfiguration configuration = {.backCamera = host::HostInput{.input = "test:64x48@100"}})
        : HostScreen(asking(std::move(configuration)), [this](std::string_view line) {
              if (line.contains("permi") || line.contains("portal"))
                  lines.emplace_back(line);
          })
    {
    }

    static host::HostConfiguration asking(host::HostConfiguration configuration)
    {
        configuration.permission = host::PermissionSource::person;
        return configuration;
    }
    [[nodiscard]] bool becomes(Status status)
    {
        return runUntil([&] {
            return host.platform().capture.authorizationStatus(platform::AVMediaType::video) == status;
        });
    }
    void request()
    {
        host.requestVideoAccess([this](Status answer) { answers.push_back(answer); });
    }
    Status ask()
    {
        answers.clear();
        request();
        EXPECT_TRUE(runUntil([&] { return !answers.empty(); }));
        return answers.front();
    }

    std::vector<Status> answers;
};

class CameraPermission : public testing::Test {
protected:
    void SetUp() override
    {
        if (!BusServices::arePossible())
            GTEST_SKIP() << "xdg-desktop-portal, pipewire or python3-dbusmock is not installed";
        desktop_.emplace("portal.py");
    }

    std::string desktop(const std::string& command) { return (*desktop_)(command); }
    void endSession() { desktop_->killBus(); }

private:
    std::optional<BusServices> desktop_;
};

constexpr const char* withdrawn = "the permission to use cameras was withdrawn";
constexpr const char* noCamera = "camera portal: it knows no camera";

} // namespace

TEST_F(CameraPermission, IsGrantedOrRefusedByThePerson)
{
    desktop("portal start");
    {
        PermittedScreen screen;
        EXPECT_TRUE(screen.becomes(Status::notDetermined));
        EXPECT_FALSE(screen.start());
        desktop("answer denied");
        EXPECT_EQ(screen.ask(), Status::denied);
        EXPECT_FALSE(screen.start());
        EXPECT_EQ(desktop("shown 1"), "1");
        EXPECT_EQ(screen.ask(), Status::denied) << "it is remembered";
        EXPECT_EQ(desktop("shown 1"), "1");
        EXPECT_EQ(screen.lines, (Lines{noCamera, noCamera}));
    }
    desktop("answer later");
    desktop("permission yes");
    PermittedScreen screen;
    EXPECT_TRUE(screen.becomes(Status::authorized)) << "of an earlier run";
    desktop("permission none");
    EXPECT_TRUE(screen.becomes(Status::denied));
    screen.request();
    screen.request();
    EXPECT_EQ(desktop("shown 2"), "2");
    EXPECT_TRUE(screen.answers.empty());
    desktop("answer granted");
    EXPECT_TRUE(screen.runUntil([&] { return screen.answers.size() == 2; }));
    EXPECT_EQ(screen.answers, (std::vector{Status::authorized, Status::authorized}));
    EXPECT_FALSE(screen.collect(3).empty());
    screen.host.setAuthorization(platform::AVMediaType::video, Status::restricted);
    EXPECT_EQ(screen.ask(), Status::restricted);
    EXPECT_EQ(screen.lines, (Lines{withdrawn, noCamera})) << "one question";
}

TEST_F(CameraPermission, OutlivesAPortalAndAHostThatEndWhileItIsAskedFor)
{
    desktop("camera on");
    desktop("portal start");
    const auto held = std::make_shared<int>();
    {
        PermittedScreen screen;
        screen.request();
        EXPECT_EQ(desktop("shown 1"), "1");
        desktop("portal stop");
        EXPECT_TRUE(screen.runUntil([&] { return !screen.answers.empty(); }));
        EXPECT_EQ(screen.answers.front(), Status::notDetermined);
        EXPECT_EQ(screen.lines.size(), 1U) << screen.lines.front();
        desktop("portal start");
        screen.host.requestVideoAccess([held](Status) { FAIL() << "the host has ended"; });
        EXPECT_EQ(desktop("shown 2"), "2");
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
    desktop("portal stop");
    desktop("lockdown on");
    desktop("portal start");
    EXPECT_EQ(PermittedScreen().ask(), Status::restricted);
}

TEST_F(CameraPermission, EndsASessionWhenItIsWithdrawn)
{
    FakeV4L2 camera;
    camera.formats = {{V4L2_PIX_FMT_YUYV, {{64, 48, {{1, 30}}}}}};
    desktop("portal start");
    desktop("permission yes");
    PermittedScreen screen(
        {.backCamera = host::HostInput{.input = camera.path}, .systemCalls = camera.calls()});
    ASSERT_TRUE(screen.becomes(Status::authorized));
    ASSERT_TRUE(screen.start());
    EXPECT_TRUE(screen.runUntil([&] {
        return camera.push(
            {.bytes = std::vector<std::uint8_t>(64 * 48 * 4), .time = std::chrono::seconds(1)});
    }));
    EXPECT_TRUE(screen.runUntil([&] { return screen.client->count > 0 || screen.hasFailed(); }));
    EXPECT_EQ(screen.client->errors(), Lines{});
    EXPECT_GT(camera.openDescriptors(), 0U);
    desktop("permission no");
    EXPECT_TRUE(screen.runUntil([&] { return screen.hasFailed() && camera.openDescriptors() == 0; }));
    EXPECT_TRUE(screen.becomes(Status::denied));
    EXPECT_EQ(screen.lines, Lines{withdrawn});
    const int errors = screen.client->errorCount;
    screen.manager->resumeCamera();
    EXPECT_TRUE(screen.runUntil([&] { return screen.client->errorCount > errors; }));
    EXPECT_EQ(camera.openDescriptors(), 0U);

    desktop("permission yes"); // as in the settings of the desktop
    EXPECT_TRUE(screen.becomes(Status::authorized));
    endSession();
    EXPECT_EQ(screen.ask(), Status::authorized);
}

TEST_F(CameraPermission, OpensTheRemoteOfPipeWire)
{
    desktop("portal start");
    engine::ThreadedDispatch dispatch;
    host::LineWriter lines([](std::string_view) { }, nullptr);
    host::VideoAuthorization video(PermittedScreen::asking({}), dispatch, dispatch, lines);
    video.follow([] { });
    const auto open = video.pipeWireDescriptor();
    EXPECT_FALSE(open().has_value());
    desktop("permission yes");
    const auto remote = open();
    ASSERT_TRUE(remote.has_value()) << remote.error().localizedDescription;
    const host::Descriptor owner(*remote);
    sockaddr_un peer{};
    socklen_t length = sizeof peer;
    ASSERT_EQ(::getpeername(*remote, reinterpret_cast<sockaddr*>(&peer), &length), 0);
    EXPECT_TRUE(std::string_view(peer.sun_path).ends_with("/pipewire-0"));
    desktop("portal hang"); // ends with the wait
    std::thread opening([&] { EXPECT_FALSE(open().has_value()); });
    video.abandon();
    opening.join();
    video.setPolicy(Status::authorized);
    EXPECT_EQ(open(), -1) << "without the portal";
    dispatch.end();
}

#ifdef TAMSEL_PIPEWIRE
TEST_F(CameraPermission, ShowsACameraOfPipeWireOnTheConnectionOfThePortalAlone)
{
    if (!PipeWireDaemons::arePossible())
        GTEST_SKIP() << "wireplumber is not installed";
    desktop("manager start");
    desktop("source " + pipeWireSource() + " node.name=cam");
    desktop("portal start");
    PermittedScreen screen({.backCamera = host::HostInput{.input = "pipewire:cam"}});
    EXPECT_TRUE(screen.becomes(Status::notDetermined));
    EXPECT_FALSE(screen.start());
    desktop("answer granted");
    EXPECT_EQ(screen.ask(), Status::authorized);
    EXPECT_FALSE(host::Host::probe("pipewire:cam").has_value()) << "this process does not know the daemon";
    EXPECT_GE(screen.collect(3).size(), 3U);
    EXPECT_FALSE(screen.hasFailed());
    desktop("permission no");
    EXPECT_TRUE(screen.becomes(Status::denied));
    EXPECT_FALSE(screen.start());
}
#endif

TEST_F(CameraPermission, IsAskedForByTheCommandOnce)
{
    desktop("portal start");
    const std::string command = "SNAP=test " + captureProgram() + " --json --back /dev/video99 ";
    const ScratchFolder folder;
    const auto run = [&](const std::string& arguments, const std::string& meanwhile) {
        writeFile(folder.file("errors"), "");
        const int status
            = runCommand(command + arguments + " 2>'" + folder.file("errors") + "' & while ! grep -q asking '"
                + folder.file("errors") + "'; do sleep 0.01; done; " + meanwhile + "wait $!")
                  .status;
        return std::pair(status, linesIn(readFile(folder.file("errors")), "tamsel-capture: "));
    };
    const std::string asking = "tamsel-capture: asking for the permission to use the camera";
    using Result = std::pair<int, Lines>;
    EXPECT_EQ(run("frames --seconds 0.2", ""),
        (Result{2, {asking, "tamsel-capture: nobody permitted the use of the camera within 0.2 s"}}));
    EXPECT_EQ(run("frames", "kill -INT $!; "), (Result{130, {asking, "tamsel-capture: interrupted"}}));
    desktop("answer denied");
    EXPECT_EQ(
        run("frames", ""), (Result{2, {asking, "tamsel-capture: the use of the camera is not permitted"}}));

    const std::string output = folder.file("output");
    const ChildProcess watching(
        {"/bin/sh", "-c", "exec env " + command + "status --watch >'" + output + "'"});
    const auto says
        = [&](const std::string& text) { return waitUntil([&] { return readFile(output).contains(text); }); };
    EXPECT_TRUE(says(R"("permissions": {"camera": "not asked for",)"));
    desktop("permission yes");
    EXPECT_TRUE(says(R"({"event": "permission", "camera": "authorised", )"));
    desktop("permission no");
    EXPECT_TRUE(says(R"({"event": "permission", "camera": "denied", )"));
}

TEST(CameraPermissionAlone, IsThatOfTheInputsWithoutAPortal)
{
    const Variable bus(Variable::sessionBus, "unix:path=/nowhere");
    PermittedScreen screen;
    EXPECT_EQ(screen.ask(), Status::authorized);
    EXPECT_EQ(screen.lines, Lines{"camera portal: there is no session bus"});
    EXPECT_FALSE(screen.collect(3).empty());
    if (BusServices::arePossible()) {
        const BusServices desktop("portal.py");
        PermittedScreen other;
        EXPECT_EQ(other.ask(), Status::authorized);
        EXPECT_EQ(other.lines.size(), 1U);
    }

    const auto asks = [](const char* input) {
        return host::Host::asksForVideoAccess({.backCamera = host::HostInput{.input = input}});
    };
    EXPECT_EQ((std::vector{asks("/dev/video0"), asks("auto"), asks("pipewire:"), asks("test:720p")}),
        (std::vector{false, false, true, false}));
    ::setenv("SNAP", "/snap", 1);
    EXPECT_EQ((std::vector{asks("/dev/video0"), asks("auto"), asks("clip.mp4"), asks("test:720p")}),
        (std::vector{true, true, false, false}));
    ::unsetenv("SNAP");
}

} // namespace tamsel::tests
