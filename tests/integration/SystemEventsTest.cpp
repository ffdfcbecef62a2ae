#include "support/BusServices.h"
#include "support/HostScreen.h"
#include "support/Program.h"
#include "support/ServiceTest.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <array>
#include <atomic>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace tamsel::tests {

using host::FollowedEvents;
using platform::UIDeviceOrientation;
using platform::UIInterfaceOrientation;

namespace {

using SystemEvents = ServiceTest<BusServices>;

host::HostConfiguration following(FollowedEvents followed)
{
    return {.backCamera = host::HostInput{.input = "test:64x48@100"}, .followed = followed};
}

constexpr FollowedEvents nothing{
    .deviceOrientation = false, .sleep = false, .lock = false, .userSwitch = false};

} // namespace

TEST_F(SystemEvents, TurnWithTheDeviceAndObeyTheProgram)
{
    (*services)("sensors right-up");
    HostScreen screen(following({.interfaceOrientation = true}));
    const platform::Platform& phone = screen.host.platform();
    const auto becomes = [&](UIDeviceOrientation device, UIInterfaceOrientation interface) {
        return screen.runUntil([&] {
            return phone.device.orientation() == device
                && phone.application.statusBarOrientation() == interface;
        });
    };
    EXPECT_TRUE(becomes(UIDeviceOrientation::landscapeLeft, UIInterfaceOrientation::landscapeRight));
    // The word names the edge that points up. The device's orientation is named by its top, the interface's by its
    // home side.
    struct Case {
        const char* word;
        UIDeviceOrientation device;
        UIInterfaceOrientation interface;
    };
    for (const Case& one : {Case{"normal", UIDeviceOrientation::portrait, UIInterfaceOrientation::portrait},
             Case{"left-up", UIDeviceOrientation::landscapeRight, UIInterfaceOrientation::landscapeLeft},
             Case{"undefined", UIDeviceOrientation::unknown, UIInterfaceOrientation::landscapeLeft},
             Case{"right-up", UIDeviceOrientation::landscapeLeft, UIInterfaceOrientation::landscapeRight},
             Case{"sideways", UIDeviceOrientation::landscapeLeft, UIInterfaceOrientation::landscapeRight},
             Case{"bottom-up", UIDeviceOrientation::portraitUpsideDown,
                 UIInterfaceOrientation::portraitUpsideDown}}) {
        (*services)(std::string("hold ") + one.word);
        EXPECT_TRUE(becomes(one.device, one.interface)) << one.word;
    }

    (*services)("sensors stop");
    (*services)("sensors none");
    (*services)("sensors stop");
    (*services)("sensors left-up");
    EXPECT_TRUE(becomes(UIDeviceOrientation::landscapeRight, UIInterfaceOrientation::landscapeLeft))
        << "it was claimed again";
    screen.host.setDeviceOrientation(UIDeviceOrientation::faceUp);
    (*services)("hold right-up");
    EXPECT_TRUE(becomes(UIDeviceOrientation::faceUp, UIInterfaceOrientation::landscapeRight));
}

TEST_F(SystemEvents, TurnWithTheAccelerometerOfTheRealService)
{
    const ScratchFolder folder;
    if ((*services)("proxy " + folder.file("")) == "missing")
        GTEST_SKIP() << "iio-sensor-proxy or umockdev is not installed";
    HostScreen screen(following({}));
    // The service takes the acceleration for gravity: it points to the edge that is down.
    for (const auto& [acceleration, expected] : std::vector<std::pair<const char*, UIDeviceOrientation>>{
             {"981,0,0", UIDeviceOrientation::landscapeRight},
             {"0,981,0", UIDeviceOrientation::portraitUpsideDown},
             {"-981,0,0", UIDeviceOrientation::landscapeLeft}, {"0,-981,0", UIDeviceOrientation::portrait}}) {
        (*services)(std::string("turn ") + acceleration);
        EXPECT_TRUE(screen.runUntil([&] { return screen.host.platform().device.orientation() == expected; }))
            << acceleration;
    }
}

TEST_F(SystemEvents, OfTheDeviceAreReportedByTheCommand)
{
    (*services)("sensors right-up");
    const ScratchFolder folder;
    const std::string output = folder.file("output");
    const ChildProcess watching({"/bin/sh", "-c",
        "exec '" + captureProgram() + "' --json --back test:64x48 status --watch >'" + output + "'"});
    const auto says = [&](const std::string& event) {
        return waitUntil([&] { return readFile(output).contains(event); });
    };
    EXPECT_TRUE(says(R"({"event": "status", )"));
    (*services)("hold left-up");
    EXPECT_TRUE(says(R"({"event": "orientation", "device": "landscapeRight", )"));
}

TEST_F(SystemEvents, SuspendWhileAnyReasonHolds)
{
    (*services)("logind start");
    HostScreen screen(following({}));
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->count > 2; }));
    EXPECT_NE((*services)("delays 1"), "never");
    const auto suspendsTo
        = [&](int number) { return screen.runUntil([&] { return screen.client->suspends == number; }); };
    const auto resumesTo
        = [&](int number) { return screen.runUntil([&] { return screen.client->resumes == number; }); };
    // Until the session has been found.
    ASSERT_TRUE(screen.runUntil([&] {
        (*services)("lock on");
        return screen.client->suspends == 1;
    }));
    (*services)("sleep on");
    EXPECT_NE((*services)("delays 0"), "never") << "nothing runs";
    (*services)("lock off");
    (*services)("active off");
    screen.host.enterBackground();
    (*services)("sleep off");
    EXPECT_NE((*services)("delays 1"), "never") << "for the next time";
    (*services)("active on");
    EXPECT_EQ(screen.client->resumes, 0);
    screen.host.enterForeground();
    EXPECT_TRUE(resumesTo(1));
    EXPECT_EQ(screen.client->suspends, 1);

    (*services)("locked_hint on"); // as desktops report a lock of their own
    EXPECT_TRUE(suspendsTo(2));
    (*services)("locked_hint off");
    EXPECT_TRUE(resumesTo(2));

    (*services)("sleep on");
    EXPECT_TRUE(suspendsTo(3));
    (*services)("logind stop");
    (*services)("logind start");
    EXPECT_TRUE(resumesTo(3)) << "it is asked again";
    EXPECT_NE((*services)("delays 1"), "never");
    (*services)("sleep on");
    EXPECT_TRUE(suspendsTo(4));
    services->killBus();
    EXPECT_TRUE(resumesTo(4)) << "nobody else would end it";
}

TEST_F(SystemEvents, AreFollowedOneByOne)
{
    (*services)("logind start");
    const std::array<std::pair<std::string, bool FollowedEvents::*>, 3> events{
        {{"sleep", &FollowedEvents::sleep}, {"lock", &FollowedEvents::lock},
            {"active", &FollowedEvents::userSwitch}}};
    const auto set = [&](const std::string& event, bool begins) {
        (*services)(event + ((event == "active") != begins ? " on" : " off"));
    };
    for (const auto& [event, follows] : events) {
        FollowedEvents followed = nothing;
        followed.*follows = true;
        HostScreen screen(following(followed));
        ASSERT_TRUE(screen.start());
        ASSERT_TRUE(screen.runUntil([&] { return screen.client->count > 2; }));
        EXPECT_TRUE(screen.runUntil([&] {
            set(event, true);
            return screen.client->suspends == 1;
        })) << event;
        for (const auto& [other, unused] : events)
            set(other, other != event);
        EXPECT_TRUE(screen.runUntil([&] { return screen.client->resumes == 1; }))
            << event << ", while the others hold";
        for (const auto& [other, unused] : events)
            set(other, false);
    }
}

TEST_F(SystemEvents, DelaySleepUntilMoviesAreComplete)
{
    ScratchFolder folder;
    (*services)("logind start");
    HostScreen screen(host::HostConfiguration{.backCamera = host::HostInput{.input = "test:1080p"}});
    ASSERT_TRUE(screen.start(SourceType::cameraBack(true)));
    EXPECT_NE((*services)("delays 1"), "never");
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->count > 2; }));
    screen.manager->startVideoRecording(folder.file("film.mp4"));
    const int before = screen.client->count;
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->count > before + 30; }));
    (*services)("sleep on");
    std::string released;
    std::thread waiting([&] { released = (*services)("delays 0"); });
    EXPECT_TRUE(screen.runUntil([&] { return screen.client->videos == 1; }));
    waiting.join();
    struct stat film{};
    ASSERT_EQ(::stat(folder.file("film.mp4").c_str(), &film), 0);
    const double completed
        = static_cast<double>(film.st_ctim.tv_sec) + static_cast<double>(film.st_ctim.tv_nsec) * 1e-9;
    EXPECT_LE(completed - std::stod(released), 0) << "seconds";
    EXPECT_FALSE(host::Host::probe(folder.file("film.mp4")).value_or(platform::CGSize{}).width == 0);
}

TEST(SystemBus, MayBeAbsentSilentOrBroken)
{
    const Speaker silent([](int) { return ""; });
    const Speaker nonsense([](int) { return "nonsense\r\n"; });
    const SilentPort unanswered;
    const auto at = [](std::uint16_t port) { return "tcp:host=127.0.0.1,port=" + std::to_string(port); };
    struct Case {
        std::string address;
        std::size_t lines;
    };
    for (const auto& [address, expected] : {Case{"unix:path=/nowhere", 0}, Case{at(freePort()), 1},
             Case{at(silent.port()), 0}, Case{at(unanswered.port()), 0}, Case{at(nonsense.port()), 1}}) {
        const Variable bus(Variable::systemBus, address);
        std::atomic<std::size_t> lines = 0;
        HostScreen screen(
            following({}), [&](std::string_view line) { lines += line.starts_with("system bus: ") ? 1 : 0; });
        ASSERT_TRUE(screen.start());
        EXPECT_TRUE(screen.runUntil([&] { return screen.client->count > 5 && lines >= expected; }))
            << address;
        screen.manager->stopCameraSession();
        EXPECT_EQ(lines, expected) << address;
    }
}

} // namespace tamsel::tests
