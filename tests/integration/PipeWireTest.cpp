#include "support/HostScreen.h"
#include "support/Memory.h"
#include "support/PatchPicture.h"
#include "support/PipeWireDaemons.h"
#include "support/Program.h"
#include "support/ServiceTest.h"
#include "support/V4L2Bench.h"

#include <engine/dispatch/ThreadedDispatch.h>
#include <host/ReaderThreads.h>
#include <host/pipewire/PipeWireCamera.h>
#include <host/pipewire/pipeWireInputs.h>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::tests {

namespace {

using platform::AVCaptureDevicePosition;
using platform::AVCaptureSessionPreset;
constexpr auto high = AVCaptureSessionPreset::high;
constexpr auto photo = AVCaptureSessionPreset::photo;

using PipeWire = ServiceTest<PipeWireDaemons>;

/// A driver on real threads, and what it delivers.
struct Camera {
    explicit Camera(const std::string& input,
        std::function<std::expected<int, platform::Error>()> descriptor = nullptr,
        AVCaptureDevicePosition position = AVCaptureDevicePosition::back)
    {
        host::DriverServices services{dispatch, dispatch, readers, calls};
        services.pipeWireDescriptor = std::move(descriptor);
        driver = std::make_shared<host::PipeWireCamera>(host::HostInput{.input = input}, position, services);
    }
    ~Camera() { dispatch.end(); }

    [[nodiscard]] std::string open() const
    {
        const auto opened = driver->open();
        return opened ? "" : opened.error().localizedDescription;
    }
    /// Returns why it does not start.
    [[nodiscard]] std::string start(AVCaptureSessionPreset preset = high)
    {
        sink = std::make_shared<RecordingSink>();
        sink->onNote = [this] { ++count; };
        count = 0;
        const auto started = driver->start(preset, sink);
        return started ? "" : started.error().localizedDescription;
    }
    [[nodiscard]] bool awaits(int notes) const
    {
        return waitUntil([&] { return count >= notes; });
    }

    engine::ThreadedDispatch dispatch;
    host::ReaderThreads readers;
    host::V4L2Calls calls = host::systemV4L2Calls();
    std::atomic<int> count = 0;
    std::shared_ptr<RecordingSink> sink;
    std::shared_ptr<host::PipeWireCamera> driver;
};

int grey(const platform::CVPixelBuffer& buffer)
{
    return std::to_integer<int>(*buffer.baseAddress());
}

} // namespace

TEST_F(PipeWire, DeliversEveryFrameInOrder)
{
    for (const std::vector<std::string>& memory : {{}, std::vector<std::string>{"header=no", "memory=own"}}) {
        std::vector<std::string> options{"count=60", "rate=20"};
        options.insert(options.end(), memory.begin(), memory.end());
        const auto source = services->source("cam", options);
        Camera camera("pipewire:cam");
        ASSERT_EQ(camera.open(), "");
        ASSERT_EQ(camera.start(), "");
        ASSERT_TRUE(camera.awaits(60)) << camera.count << " of 60 frames";
        camera.driver->stop();
        EXPECT_EQ(camera.sink->take(), std::vector<std::string>(60, "frame"));
        for (std::size_t number = 0; number < 60; ++number) {
            ASSERT_EQ(grey(*camera.sink->buffers.at(number)), static_cast<int>(number));
            const auto [media, capture] = camera.sink->times.at(number);
            EXPECT_EQ(media, capture - camera.sink->times.front().second) << "both of the source's clock";
        }
    }
}

TEST_F(PipeWire, ConvertsEachOfItsFormats)
{
    const std::string bt601 = "scale=out_color_matrix=bt601:out_range=tv,format=";
    const std::vector<std::pair<std::string, std::string>> formats{{"BGRx", "format=bgr0"},
        {"BGRA", "format=bgra"}, {"YUY2", bt601 + "yuyv422"}, {"NV12", bt601 + "nv12"},
        {"I420", bt601 + "yuv420p"}, {"MJPG", ""}};
    for (const auto& [name, filters] : formats) {
        const auto bytes
            = name == "MJPG" ? patchJpeg(64, 48) : patchPicture(64, 48, 64, filters, "-f rawvideo");
        writeFile(services->file("picture"), {bytes.begin(), bytes.end()});
        const auto source
            = services->source("cam", {"modes=" + name + ":64x48", "picture=" + services->file("picture")});
        Camera camera("pipewire:");
        ASSERT_EQ(camera.start(), "") << name;
        ASSERT_TRUE(camera.awaits(3));
        camera.driver->stop();
        EXPECT_EQ(patchFault(*camera.sink->buffers.at(2)), "") << name;
    }
}

TEST_F(PipeWire, TakesTheModeOfThePresetOrThatOfTheProgramThatCameFirst)
{
    const auto source
        = services->source("cam", {"modes=MJPG:320x240,YUY2:2560x1440,BGRx:640x480,YUY2:320x240"});
    const auto size = [](const Camera& camera) {
        const auto dimensions = camera.driver->description().presentationDimensions.value();
        return std::pair(dimensions.width, dimensions.height);
    };
    Camera first("pipewire:cam");
    ASSERT_EQ(first.start(photo), "");
    EXPECT_EQ(size(first), std::pair(2560.0, 1440.0));
    ASSERT_EQ(first.start(high), "");
    EXPECT_EQ(size(first), std::pair(640.0, 480.0));
    Camera second("pipewire:cam");
    ASSERT_EQ(second.start(photo), "");
    EXPECT_EQ(size(second), std::pair(640.0, 480.0));
    EXPECT_TRUE(first.awaits(3) && second.awaits(3));
}

TEST_F(PipeWire, ANodeSaysWhereItIsAndHowItIsMounted)
{
    const auto mounted = services->source("turned", {"api.libcamera.rotation=270"});
    const auto inFront = services->source("inside",
        {"api.libcamera.location=front", "node.description=Inner", "object.path=v4l2:/dev/video7",
            "api.libcamera.rotation=90"});
    const auto behind = services->source("outside", {"api.libcamera.location=back"});
    using enum platform::AVCaptureVideoOrientation;
    const auto mounting = [](const std::string& input, AVCaptureDevicePosition position) {
        const Camera camera(input, nullptr, position);
        EXPECT_EQ(camera.open(), "");
        return camera.driver->description().sensorOrientation;
    };
    EXPECT_EQ(mounting("pipewire:turned", AVCaptureDevicePosition::front), landscapeRight);
    EXPECT_EQ(mounting("pipewire:", AVCaptureDevicePosition::front), landscapeLeft);
    EXPECT_EQ(mounting("pipewire:", AVCaptureDevicePosition::back), portrait);
    const auto entries = host::pipeWireNodes(host::PipeWireKind::camera);
    const auto inner = std::ranges::find(entries, "inside", &host::PipeWireNode::name);
    ASSERT_NE(inner, entries.end());
    EXPECT_EQ(inner->title + inner->v4l2Path, "Inner/dev/video7");
    EXPECT_EQ(inner->position, AVCaptureDevicePosition::front);
}

TEST_F(PipeWire, ASlowProgramLeavesTheCameraABuffer)
{
    const std::string log = services->file("log");
    const auto source = services->source("cam", {"log=" + log});
    Camera camera("pipewire:cam");
    camera.sink = std::make_shared<RecordingSink>();
    std::atomic<int> notes = 0;
    camera.sink->onAcquire = [&] { EXPECT_TRUE(waitUntil([&] { return readFile(log).size() > 40; })); };
    camera.sink->onNote = [&] { ++notes; };
    ASSERT_TRUE(camera.driver->start(high, camera.sink));
    ASSERT_TRUE(waitUntil([&] { return notes > 100; }));
    camera.driver->stop();
    int last = -1;
    const auto journal = camera.sink->take();
    for (std::size_t index = 0, frame = 0; index < journal.size(); ++index) {
        ++last;
        if (journal[index] == "frame") {
            ASSERT_EQ(grey(*camera.sink->buffers.at(frame++)), last % 256) << "the rest is late";
        }
    }
    EXPECT_GT(std::ranges::count(journal, "late"), 20);
}

TEST_F(PipeWire, ACameraOrADaemonThatDiesIsLostAndCanComeBack)
{
    auto source = services->source("cam");
    HostScreen screen({.backCamera = host::HostInput{.input = "pipewire:cam"},
        .permission = host::PermissionSource::inputs});
    ASSERT_TRUE(screen.start());
    const auto runs = [&] {
        const int before = screen.client->count;
        return screen.runUntil([&] { return screen.client->count > before + 2; });
    };
    const auto lost = [&] {
        return screen.manager->frameCounts().droppedBy.at(
            static_cast<std::size_t>(platform::DropCause::deviceLost));
    };
    ASSERT_TRUE(runs());
    source.reset();
    ASSERT_TRUE(screen.runUntil([&] { return lost() == 1; }));
    EXPECT_EQ(Camera("pipewire:cam").open(), "pipewire:cam: PipeWire has no such camera");
    source = services->source("cam");
    screen.manager->resumeCamera();
    ASSERT_TRUE(runs());

    services->kill();
    ASSERT_TRUE(screen.runUntil([&] { return lost() == 2; }));
    EXPECT_EQ(Camera("pipewire:cam").open(), "pipewire:cam: there is no PipeWire daemon: Host is down");
    services->start();
    source = services->source("cam");
    screen.manager->resumeCamera();
    EXPECT_TRUE(runs());
}

TEST_F(PipeWire, IsReachedByADescriptorInPlaceOfItsSocket)
{
    const auto source = services->source("cam");
    const Variable elsewhere("PIPEWIRE_REMOTE", "/nowhere");
    EXPECT_FALSE(Camera("pipewire:cam").driver->isPresent());
    Camera camera("pipewire:cam", [&] {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        std::strcpy(address.sun_path, services->file("pipewire-0").c_str());
        const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return descriptor;
    });
    EXPECT_TRUE(camera.driver->isPresent());
    ASSERT_EQ(camera.start(), "");
    EXPECT_TRUE(camera.awaits(3));
}

TEST_F(PipeWire, IsTakenByTheCommandWhereV4L2HasNoCameraAndListedOnce)
{
    if (runCommand("umockdev-run --version").status != 0)
        GTEST_SKIP() << "umockdev is not installed";
    const auto inside = services->source(
        "inside", {"api.libcamera.location=front", "node.description=Inner", "object.path=v4l2:/dev/video7"});
    const auto outside = services->source("outside");
    writeFile(services->file("machine"), "P: /devices/virtual/none\nE: SUBSYSTEM=misc\n");
    // With a /dev of its own.
    const auto run = [&](const std::string& before, const std::string& arguments) {
        return linesIn(runCommand("umockdev-run --device='" + services->file("machine")
            + "' -- sh -c 'mkdir $UMOCKDEV_DIR/dev; cd $UMOCKDEV_DIR/dev; " + before + " LD_PRELOAD="
            + captureNode() + ":$LD_PRELOAD timeout 60 " + captureProgram() + " " + arguments + " 2>&1'")
                .output);
    };
    const std::string v4l2 = "echo camera >video7;";
    const auto firstLine
        = [](const std::vector<std::string>& lines) { return lines.empty() ? "" : lines.front(); };
    using Lines = std::vector<std::string>;
    const Lines alone = run("", "devices");
    ASSERT_EQ(alone.size(), 3U) << testing::PrintToString(alone);
    EXPECT_TRUE(alone[1].starts_with("back ") && alone[1].ends_with(" pipewire:outside")) << alone[1];
    EXPECT_TRUE(alone[2].starts_with("front ") && alone[2].ends_with(" pipewire:inside")) << alone[2];
    const std::string unused = "-         wide angle  -             ";
    const Lines both = run(v4l2, "--back pipewire: devices");
    ASSERT_EQ(both.size(), 3U);
    EXPECT_EQ(both[2], unused + "/dev/video7 (Inner, pipewire:inside)");
    EXPECT_EQ(run(v4l2, "--back pipewire:inside devices").back(), unused + "pipewire:outside");
    EXPECT_TRUE(firstLine(run(v4l2, "frames --count 1")).starts_with("tamsel-capture: /dev/video7: "));
    // The desktop here knows no cameras, and a program in a sandbox says so.
    const Lines inSandbox = run(v4l2 + "SNAP=1", "--json frames --count 1");
    EXPECT_TRUE(std::ranges::any_of(inSandbox, [](const std::string& line) {
        return line.starts_with(R"({"event": "frame")");
    })) << testing::PrintToString(inSandbox);
    EXPECT_EQ(
        linesIn(runCommand(captureProgram() + " --back pipewire: status").output, "  another camera").size(),
        1U);

    services->kill();
    EXPECT_EQ(run("", "--back pipewire: frames"),
        Lines{"tamsel-capture: pipewire: there is no PipeWire daemon: Host is down"});
    EXPECT_TRUE(firstLine(run(v4l2, "frames --count 1")).starts_with("tamsel-capture: /dev/video7: "));
}

TEST_F(PipeWire, StartsAndStopsLeaveNothingBehind)
{
    const auto source = services->source("cam");
    Camera camera("pipewire:cam");
    const auto cycle = [&](int frames) {
        ASSERT_EQ(camera.open(), "");
        ASSERT_EQ(camera.start(), "");
        ASSERT_TRUE(camera.awaits(frames));
        camera.driver->stop();
        camera.driver->close();
    };
    for (int warm = 0; warm < 5; ++warm)
        cycle(1);
    const auto resources = [] { return std::pair(countOwn("fd"), countOwn("task")); };
    std::pair<std::ptrdiff_t, std::ptrdiff_t> before;
    // The last stream is closed on a worker.
    const auto settles = [&] {
        return waitUntil([&] { return resources() <= before && resources().second <= before.second; });
    };
    before = resources();
    const std::size_t memory = residentKilobytes();
    const char* cycles = std::getenv("TAMSEL_PIPEWIRE_CYCLES");
    for (int index = 0; index < (cycles ? std::atoi(cycles) : 20); ++index)
        cycle(index % 3);
    EXPECT_TRUE(settles()) << resources().first << " descriptors after " << before.first << ", "
                           << resources().second << " threads after " << before.second;
    RecordProperty("kilobytes", static_cast<int>(residentKilobytes() - memory));
    if (cycles)
        std::printf("memory grew by %zd kB\n", static_cast<std::ptrdiff_t>(residentKilobytes() - memory));
}

} // namespace tamsel::tests
