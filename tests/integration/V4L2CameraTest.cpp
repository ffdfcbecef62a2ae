#include "support/FakeV4L2.h"
#include "support/HostScreen.h"
#include "support/PatchPicture.h"
#include "support/V4L2Bench.h"

#include <engine/dispatch/ThreadedDispatch.h>
#include <host/InputAccess.h>
#include <host/v4l2/V4L2Camera.h>
#include <host/v4l2/V4L2Nodes.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

namespace tamsel::tests {

namespace {

using namespace std::chrono_literals;
using Journal = std::vector<std::string>;
using platform::AVCaptureSessionPreset;
constexpr v4l2_fract rate30{1, 30};

class V4L2CameraTest : public testing::Test {
protected:
    V4L2CameraTest() { fake_.formats = {{V4L2_PIX_FMT_YUYV, {{64, 48, {rate30}}}}}; }
    ~V4L2CameraTest() override
    {
        camera_.reset();
        EXPECT_EQ(fake_.mistakes(), Journal{});
        EXPECT_EQ(fake_.openDescriptors(), 0u);
        EXPECT_EQ(fake_.mappings(), 0u);
    }

    std::unique_ptr<host::V4L2Camera> makeCamera(
        engine::EventSources& sources, std::optional<host::LedTorch> torch = std::nullopt)
    {
        engine::CameraDescription description;
        description.maxZoomFactor = 8;
        return std::make_unique<host::V4L2Camera>(fake_.path, std::move(description), sources, fake_.calls(),
            std::move(torch), [this](std::string_view line) { lines_.emplace_back(line); });
    }

    void start(AVCaptureSessionPreset preset = AVCaptureSessionPreset::high)
    {
        if (!camera_)
            camera_ = makeCamera(sources_);
        const auto opened = camera_->open();
        ASSERT_TRUE(opened) << opened.error().localizedDescription;
        const auto started = camera_->start(preset, sink_);
        ASSERT_TRUE(started) << started.error().localizedDescription;
    }

    /// A new one instead of the last.
    void startAnew()
    {
        camera_ = makeCamera(sources_);
        start();
    }

    /// What the sink notes of one frame after the other.
    Journal deliver(const std::vector<FakeV4L2::Frame>& frames)
    {
        for (const FakeV4L2::Frame& each : frames) {
            fake_.push(each);
            sources_.run();
        }
        return sink_->take();
    }

    FakeV4L2::Frame frame(std::chrono::microseconds time = 1s)
    {
        const v4l2_pix_format format = fake_.format();
        return {std::vector<std::uint8_t>(std::size_t{format.bytesperline} * format.height), time};
    }

    FakeV4L2 fake_;
    HandFiredSources sources_;
    std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
    Journal lines_;
    std::unique_ptr<host::V4L2Camera> camera_;
};

Journal lost(int error)
{
    return {"lose " + std::to_string(error)};
}

using Settings = std::vector<std::pair<std::uint32_t, std::int32_t>>;
constexpr std::uint32_t zoomId = V4L2_CID_ZOOM_ABSOLUTE;
constexpr std::uint32_t torchId = V4L2_CID_FLASH_LED_MODE;

v4l2_queryctrl control(
    std::uint32_t id, std::uint32_t type, int minimum, int maximum, int step = 1, std::uint32_t flags = 0)
{
    return {id, type, {}, minimum, maximum, step, minimum, flags, {}};
}

v4l2_queryctrl zoom(int minimum, int maximum, int step, std::uint32_t flags = 0)
{
    return control(zoomId, V4L2_CTRL_TYPE_INTEGER, minimum, maximum, step, flags);
}

const v4l2_queryctrl autofocus = control(V4L2_CID_FOCUS_AUTO, V4L2_CTRL_TYPE_BOOLEAN, 0, 1);

} // namespace

TEST_F(V4L2CameraTest, ANodeThatIsNoFreeCameraIsRefusedWithOneLine)
{
    camera_ = makeCamera(sources_);
    const auto refusal = [&] {
        const auto opened = camera_->open();
        return opened ? std::string("opened") : opened.error().localizedDescription;
    };
    fake_.failures = {{VIDIOC_REQBUFS, EBUSY}};
    EXPECT_EQ(refusal(), "/dev/video7: cannot be taken: Device or resource busy");
    fake_.failures.clear();
    fake_.capabilities = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING; // though another node of it captures
    EXPECT_EQ(refusal(), "/dev/video7: captures no video: Operation not supported");
    fake_.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_READWRITE;
    EXPECT_EQ(refusal(), "/dev/video7: does not stream: Operation not supported");
    fake_.failures = {{VIDIOC_QUERYCAP, ENOTTY}};
    EXPECT_EQ(refusal(), "/dev/video7: is not a video device: Inappropriate ioctl for device");
    fake_.unplug();
    EXPECT_EQ(refusal(), "/dev/video7: cannot be opened: No such file or directory");
    EXPECT_FALSE(camera_->isPresent());
    EXPECT_EQ(camera_->start(AVCaptureSessionPreset::high, sink_).error().code, EBADF);

    host::V4L2Camera real("/dev/null", {}, sources_);
    EXPECT_TRUE(real.isPresent());
    EXPECT_EQ(real.open().error().code, ENOTTY) << "by the real calls";
}

TEST_F(V4L2CameraTest, AnAutomaticCameraIsTheDeviceThatIsThere)
{
    fake_.unplug();
    camera_ = std::make_unique<host::V4L2Camera>(
        host::automaticNode, engine::CameraDescription{}, sources_, fake_.calls());
    EXPECT_FALSE(camera_->isPresent());
    EXPECT_EQ(camera_->open().error().localizedDescription, "auto: finds no camera: No such device");
    for (const char* node : {"/dev/video7", "/dev/video2"}) {
        fake_.path = node;
        fake_.plugIn();
        EXPECT_TRUE(camera_->isPresent());
        start();
        EXPECT_EQ(deliver({frame()}), Journal{"frame"}) << node;
        fake_.unplug();
        sources_.run();
        EXPECT_EQ(sink_->take(), lost(ENODEV)) << node;
    }
}

TEST_F(V4L2CameraTest, ItsTorchIsAWritableLightThatGoesOutWithIt)
{
    const ScratchFolder lights;
    const auto add = [&](const std::string& name, const std::string& maximum) {
        std::filesystem::create_directory(lights.file(name));
        writeFile(lights.file(name + "/max_brightness"), maximum);
        writeFile(lights.file(name + "/brightness"), "0\n");
    };
    const auto find = [&] { return host::LedTorch::find(lights.file("")); };
    add("input3::capslock", "1\n");
    add("a:flash", "bright\n");
    std::filesystem::create_directory(lights.file("white:torch"));
    EXPECT_FALSE(find()) << "none can be switched";
    EXPECT_FALSE(host::LedTorch::find(lights.file("nothing")));
    add("white:flash", "31\n");
    camera_ = makeCamera(sources_, find());
    EXPECT_TRUE(camera_->description().hasTorch);
    const auto brightness = [&] { return readFile(lights.file("white:flash/brightness")); };
    start();
    using enum platform::AVCaptureTorchMode;
    for (const auto& [mode, expected] :
        {std::pair(on, "31\n"), {off, "0\n"}, {on, "31\n"}, {automatic, "0\n"}, {on, "31\n"}}) {
        camera_->setTorchMode(mode);
        EXPECT_EQ(brightness(), expected);
    }
    camera_->stop();
    EXPECT_EQ(brightness(), "0\n");

    // The device's own comes first, until it fails.
    constexpr std::uint32_t intensity = V4L2_CID_FLASH_TORCH_INTENSITY;
    fake_.controls
        = {control(torchId, V4L2_CTRL_TYPE_MENU, V4L2_FLASH_LED_MODE_NONE, V4L2_FLASH_LED_MODE_TORCH),
            control(intensity, V4L2_CTRL_TYPE_INTEGER, 5, 95, 10)};
    camera_ = makeCamera(sources_, find());
    start();
    camera_->setTorchMode(on);
    EXPECT_EQ(fake_.takeSettings(), (Settings{{intensity, 95}, {torchId, V4L2_FLASH_LED_MODE_TORCH}}));
    camera_->close();
    EXPECT_EQ(fake_.takeSettings(), (Settings{{torchId, V4L2_FLASH_LED_MODE_NONE}}));
    EXPECT_EQ(brightness(), "0\n");
    start();
    fake_.failures = {{VIDIOC_S_CTRL, EIO}};
    camera_->setTorchMode(on);
    EXPECT_EQ(lines_,
        (Journal{"/dev/video7: does not set its torch's intensity: Input/output error",
            "/dev/video7: does not set its torch: Input/output error"}));
    camera_->setTorchMode(off);
    camera_->setTorchMode(on);
    EXPECT_EQ(brightness(), "31\n");
    fake_.failures.clear();
    for (const bool hasTorch : {true, false}) { // among the modes of the flash
        startAnew();
        EXPECT_EQ(camera_->description().hasTorch, hasTorch);
        fake_.controls.front().maximum = V4L2_FLASH_LED_MODE_FLASH;
    }
}

TEST_F(V4L2CameraTest, ItsLensZoomsInItsStepsAndTheRestIsDigital)
{
    fake_.controls = {zoom(100, 350, 100), autofocus};
    camera_ = makeCamera(sources_);
    camera_->setZoomFactor(2);
    EXPECT_EQ(camera_->description().maxZoomFactor, 8) << "what is known before it is opened";
    ASSERT_TRUE(camera_->open());
    EXPECT_EQ(fake_.takeSettings(), Settings{}) << "it does not run yet";
    start();
    EXPECT_EQ(fake_.takeSettings(), (Settings{{V4L2_CID_FOCUS_AUTO, 1}, {zoomId, 200}}));
    EXPECT_EQ(camera_->description().maxZoomFactor, 24);

    auto slope = frame(); // of luminance, as wide as the picture
    std::ranges::fill(slope.bytes, std::uint8_t{128});
    for (std::size_t at = 0; at < slope.bytes.size(); at += 2)
        slope.bytes[at] = static_cast<std::uint8_t>(16 + at % fake_.format().bytesperline / 2 * 3);
    struct Zoom {
        double factor;
        int lens;
        std::optional<platform::CGRect> visible;
        int firstColumn; ///< of the lens's picture
    };
    for (const auto& [factor, lens, visible, firstColumn] :
        {Zoom{1, 100, std::nullopt, 0}, {2, 200, {{{16, 12}, {32, 24}}}, 0},
            {2.5, 200, {{{19, 14}, {26, 19}}}, 6}, {3.5, 300, {{{68 / 3., 50 / 3.}, {18, 14}}}, 4},
            {24, 300, {{{92 / 3., 68 / 3.}, {8 / 3., 2}}}, 28}, {0.5, 100, std::nullopt, 0}}) {
        camera_->setZoomFactor(factor);
        EXPECT_EQ(fake_.takeSettings(), (Settings{{zoomId, lens}}));
        EXPECT_EQ(deliver({slope}), Journal{"frame"});
        EXPECT_EQ(sink_->visiblePart, visible) << factor;
        EXPECT_NEAR(
            std::to_integer<int>(*sink_->buffers.back()->pixel(0, 0)), firstColumn * 3 * 255 / 219, 4);
    }
    EXPECT_EQ(lines_, Journal{});
}

TEST_F(V4L2CameraTest, ASessionZoomsWithTheLensForASmallObject)
{
    fake_.controls = {zoom(100, 350, 100), control(V4L2_CID_FOCUS_AUTO, V4L2_CTRL_TYPE_BUTTON, 0, 0)};
    std::atomic<int> lines = 0;
    HostScreen screen({.backCamera = host::HostInput{.input = fake_.path, .minimumFocusDistance = 200},
                          .systemCalls = fake_.calls()},
        [&](std::string_view line) { lines += line.contains("for its autofocus"); });
    ASSERT_TRUE(screen.manager->startSession(
        SourceType::cameraBack(false), screen.client, {{"minimumFocusObjectSize", 173.2}}, nullptr));
    ASSERT_TRUE(screen.runUntil([&] { return fake_.push(frame()) || screen.hasFailed(); }));
    EXPECT_EQ(fake_.takeSettings(), (Settings{{zoomId, 200}}));
    EXPECT_TRUE(screen.runUntil([&] { return screen.client->count > 0 || screen.hasFailed(); }));
    EXPECT_EQ(screen.client->errors(), Journal{});
    EXPECT_TRUE(screen.runUntil([&] { return lines == 1; }));
}

TEST_F(V4L2CameraTest, AControlThatIsOffIsAbsentAndABrokenOneIsReportedToo)
{
    const Journal senseless{"/dev/video7: has no sensible range for its zoom: Numerical result out of range"};
    for (const auto& [made, expected] : {std::pair(zoom(100, 300, 1, V4L2_CTRL_FLAG_DISABLED), Journal{}),
             {zoom(100, 300, 1, V4L2_CTRL_FLAG_INACTIVE), {}},
             {zoom(100, 300, 1, V4L2_CTRL_FLAG_READ_ONLY), {}}, {zoom(100, 99, 1), senseless},
             {zoom(100, 300, 0), senseless}, {zoom(100, 300, -1), senseless}, {zoom(0, 300, 1), senseless},
             {zoom(100, INT32_MAX, 1), senseless},
             {control(zoomId, V4L2_CTRL_TYPE_BUTTON, 100, 300), senseless}}) {
        fake_.controls = {made};
        startAnew();
        EXPECT_EQ(camera_->description().maxZoomFactor, 8);
        EXPECT_EQ(std::exchange(lines_, {}), expected);
        EXPECT_EQ(fake_.takeSettings(), Settings{});
    }

    fake_.controls = {zoom(100, 350, 100), autofocus};
    fake_.failures = {{VIDIOC_QUERYCTRL, EIO}};
    startAnew();
    EXPECT_EQ(std::exchange(lines_, {}).front(), "/dev/video7: does not report its zoom: Input/output error");
    fake_.failures = {{VIDIOC_S_CTRL, EBUSY}};
    startAnew();
    const Journal unset{"/dev/video7: does not set its autofocus: Device or resource busy",
        "/dev/video7: does not set its zoom: Device or resource busy"};
    EXPECT_EQ(lines_, unset);
    EXPECT_EQ(camera_->description().maxZoomFactor, 8);
    EXPECT_EQ(deliver({frame()}), Journal{"frame"});
    EXPECT_FALSE(sink_->visiblePart);
    camera_->setZoomFactor(2);
    camera_->stop();
    start();
    EXPECT_EQ(deliver({frame()}), Journal{"frame"});
    EXPECT_EQ(sink_->visiblePart, (platform::CGRect{{16, 12}, {32, 24}})) << "digital alone";
    EXPECT_EQ(lines_, unset) << "once";

    fake_.failures.clear(); // a device that comes back is asked again, one that is gone is not blamed
    fake_.unplug();
    camera_->setZoomFactor(3);
    sources_.run();
    fake_.plugIn();
    camera_->stop();
    start();
    EXPECT_EQ(fake_.takeSettings(), (Settings{{V4L2_CID_FOCUS_AUTO, 1}, {zoomId, 300}}));
    fake_.unplug();
    camera_->setZoomFactor(2);
    EXPECT_EQ(lines_, unset);
}

TEST_F(V4L2CameraTest, AnOpenCameraHoldsTheDeviceUntilItIsClosed)
{
    const auto other = makeCamera(sources_);
    camera_ = makeCamera(sources_);
    ASSERT_TRUE(camera_->open());
    EXPECT_EQ(other->open().error().code, EBUSY) << "opened, not started";
    start();
    camera_->stop();
    EXPECT_EQ(other->open().error().code, EBUSY) << "stopped";
    camera_->close();
    EXPECT_EQ(camera_->start(AVCaptureSessionPreset::high, sink_).error().code, EBADF);
    EXPECT_TRUE(other->open());
}

TEST_F(V4L2CameraTest, AStartThatFailsHalfwayLeavesNothingBehindAndTheNextOneWorks)
{
    camera_ = makeCamera(sources_);
    ASSERT_TRUE(camera_->open());
    const auto failsWith = [&](int number) {
        const auto started = camera_->start(AVCaptureSessionPreset::high, sink_);
        EXPECT_EQ(started ? 0 : started.error().code, number);
        EXPECT_EQ(fake_.mappings(), 0u);
        EXPECT_FALSE(sources_.isArmed());
    };
    for (const auto& [request, number] :
        std::map<unsigned long, int>{{0, ENOMEM}, {VIDIOC_S_FMT, EIO}, {VIDIOC_QUERYBUF, EINVAL},
            {VIDIOC_QBUF, EIO}, {VIDIOC_STREAMON, ENOSPC}, {VIDIOC_REQBUFS, EBUSY}}) {
        fake_.failures = {{request, number}};
        failsWith(number);
    }
    fake_.failures.clear();
    sources_.refuses = true;
    failsWith(ENOTSUP);
    sources_.refuses = false;
    fake_.correct = [](v4l2_pix_format& pixels) { pixels.pixelformat = V4L2_PIX_FMT_H264; };
    failsWith(ENOTSUP);
    fake_.correct = nullptr;
    start();
}

TEST_F(V4L2CameraTest, FramesArriveWithTheDevicesTimeWhichAlwaysGrows)
{
    start();
    bool wasArmed = false;
    sink_->onNote = [&] { wasArmed = sources_.isArmed() && fake_.queuedBuffers() == 4; };
    fake_.push(frame(1s));
    sources_.run();
    EXPECT_TRUE(wasArmed) << "the next event can be waited for while this frame is handed on";
    sink_->onNote = nullptr;
    for (const auto time : {1033ms, 1000ms, 1066ms})
        fake_.push(frame(time));
    sources_.run();
    const std::vector<std::pair<std::int64_t, std::int64_t>> expected{{0, 1'000'000'000},
        {33'000'000, 1'033'000'000}, {33'000'001, 1'033'000'001}, {66'000'000, 1'066'000'000}};
    EXPECT_EQ(sink_->times, expected);

    const auto before = std::chrono::steady_clock::now().time_since_epoch().count();
    auto unknownClock = frame(5s);
    unknownClock.flags = V4L2_BUF_FLAG_TIMESTAMP_UNKNOWN;
    fake_.push(unknownClock);
    sources_.run();
    EXPECT_GE(sink_->times.back().second, before);
}

TEST_F(V4L2CameraTest, FramesThatTheDeviceMissedAreToldAsLate)
{
    start();
    for (int count = 0; count < 7; ++count)
        fake_.push(frame()); // no buffer is left for three of them
    sources_.run();
    EXPECT_EQ(sink_->take(), Journal(4, "frame"));
    EXPECT_EQ(deliver({frame()}), (Journal{"late", "late", "late", "frame"}));

    std::vector<FakeV4L2::Frame> renumbered;
    for (const std::uint32_t sequence : {0u, 0u, 0x80000000u, 0xffffffffu, 1u})
        renumbered.emplace_back(frame()).sequence = sequence;
    EXPECT_EQ(deliver(renumbered), (Journal{"frame", "frame", "frame", "frame", "late", "frame"}))
        << "a counter that stands or starts anew is no gap, one that turns over has one";
}

TEST_F(V4L2CameraTest, AFrameWithoutAPlaceIsDroppedAndItsBufferGoesBack)
{
    start();
    sink_->hasBuffers = false;
    EXPECT_EQ(deliver(std::vector(12, frame())), Journal(12, "noBuffer"));
    sink_->hasBuffers = true;
    EXPECT_EQ(deliver({frame()}), Journal{"frame"});
    EXPECT_EQ(fake_.queuedBuffers(), 4u);
}

TEST_F(V4L2CameraTest, BrokenFramesAreSkippedAndStreamingGoesOn)
{
    start();
    auto flagged = frame();
    flagged.flags |= V4L2_BUF_FLAG_ERROR;
    auto shortened = frame();
    shortened.bytes.resize(48 * 64 * 2 - 1);
    auto oversized = frame();
    oversized.bytes.resize(1 << 20);
    EXPECT_EQ(deliver({flagged, shortened, oversized, {}, frame()}), Journal{"frame"});

    camera_->stop();
    fake_.formats = {{V4L2_PIX_FMT_MJPEG, {{64, 48, {rate30}}}}};
    start();
    const auto picture = patchJpeg(64, 48);
    auto cut = picture;
    cut.resize(picture.size() - 8);
    auto padded = picture;
    padded.resize(picture.size() + 500);
    auto scrambled = picture;
    std::fill(scrambled.begin() + 2, scrambled.end() - 2, std::uint8_t{0x5a});
    auto repeated = picture; // its only scan
    const auto scan = std::ranges::search(picture, std::array<std::uint8_t, 2>{0xff, 0xda}).begin();
    for (int count = 0; count < 64; ++count)
        repeated.insert(repeated.end() - 2, scan, picture.end() - 2);
    EXPECT_EQ(
        deliver({{cut}, {scrambled}, {repeated}, {{0xff, 0xd8, 0xff, 0xd9}}, {patchJpeg(32, 48)}, {padded}}),
        Journal{"frame"});
    EXPECT_EQ(fake_.queuedBuffers(), 4u);
}

TEST_F(V4L2CameraTest, AnUnpluggedDeviceIsLostOnceAndTriedAnewByTheNextStart)
{
    start();
    fake_.push(frame());
    fake_.unplug();
    EXPECT_LT(sources_.run(), 3);
    EXPECT_EQ(sink_->take(), lost(ENODEV));
    EXPECT_FALSE(sources_.isArmed());
    EXPECT_FALSE(camera_->isPresent());
    camera_->stop();
    EXPECT_EQ(fake_.openDescriptors(), 0u) << "the node's name is free for the device when it comes back";
    EXPECT_EQ(camera_->start(AVCaptureSessionPreset::high, sink_).error().code, ENOENT);

    fake_.plugIn();
    start();
    EXPECT_EQ(deliver({frame()}), Journal{"frame"});

    camera_->stop();
    fake_.unplug(); // nobody notices
    fake_.plugIn();
    start();
    camera_->stop();
    for (const auto& [request, number] :
        {std::pair(VIDIOC_DQBUF, EIO), {VIDIOC_QBUF, EIO}, {VIDIOC_QBUF, EAGAIN}}) {
        start();
        fake_.failures = {{request, number}};
        fake_.push(frame());
        EXPECT_EQ(sources_.run(), 1);
        EXPECT_EQ(sink_->take(), lost(EIO));
        fake_.failures.clear();
    }
    start();

    int wakes = 0; // a wake without a frame is nothing, wakes without end are a loss
    for (; wakes < 100 && sources_.isArmed(); ++wakes)
        sources_.fire();
    EXPECT_GT(wakes, 5);
    EXPECT_LT(wakes, 50);
    EXPECT_EQ(sink_->take(), lost(EIO));
}

TEST_F(V4L2CameraTest, AStreamMayEndBeginAnewOrDieWithItsCameraWhileAFrameIsConverted)
{
    start();
    const auto next = std::make_shared<RecordingSink>();
    sink_->onAcquire = [&] {
        // Another thread, which would hang if it waited for this conversion.
        std::thread([&] {
            camera_->stop();
            EXPECT_TRUE(camera_->start(AVCaptureSessionPreset::photo, next));
        }).join();
    };
    EXPECT_EQ(deliver({frame()}), Journal{}) << "a frame came after the stop";
    EXPECT_EQ(fake_.queuedBuffers(), 4u);
    fake_.push(frame());
    sources_.run();
    EXPECT_EQ(next->take(), Journal{"frame"});

    for (const bool isDestroyed : {false, true}) {
        start();
        sink_->onAcquire = [&] {
            std::thread([&] {
                camera_->close();
                if (isDestroyed)
                    camera_.reset();
            }).join();
            EXPECT_GT(fake_.mappings(), 0u) << "memory that is read must stay";
            EXPECT_TRUE(makeCamera(sources_)->open()) << "a closed camera holds the device no longer";
        };
        EXPECT_EQ(deliver({frame()}), Journal{});
        EXPECT_EQ(fake_.mappings(), 0u);
        EXPECT_EQ(fake_.openDescriptors(), 0u);
    }
}

TEST_F(V4L2CameraTest, OnRealThreadsFramesComeInOrderUntilTheDeviceIsLost)
{
    std::optional<engine::ThreadedDispatch> dispatch(3);
    camera_ = makeCamera(*dispatch);
    std::vector<std::shared_ptr<RecordingSink>> sinks;
    for (const bool isLast : {false, false, true}) {
        const auto notes = std::make_shared<std::atomic<int>>(0);
        sink_ = sinks.emplace_back(std::make_shared<RecordingSink>());
        sink_->onNote = [notes] { ++*notes; };
        start();
        for (int count = 1; count <= 20; ++count) {
            ASSERT_TRUE(fake_.push(frame(count * 10ms)));
            if (count % 4 == 0) {
                ASSERT_TRUE(waitUntil([&] { return *notes >= count; }));
            }
        }
        if (isLast) {
            fake_.unplug();
            EXPECT_TRUE(waitUntil([&] { return *notes > 20; }));
        } else {
            fake_.push(frame(1s)); // may meet the stop
            camera_->stop();
        }
    }
    camera_.reset();
    dispatch.reset();
    for (const auto& sink : sinks) {
        EXPECT_TRUE(std::ranges::is_sorted(sink->times));
        EXPECT_LE(sink->times.size(), 21u);
    }
    Journal journal(20, "frame");
    journal.push_back(lost(ENODEV).front());
    EXPECT_EQ(sink_->take(), journal);
}

TEST_F(V4L2CameraTest, NodesAreListedThatCaptureAndTheirAccessIsKnown)
{
    const auto folder = std::filesystem::path(testing::TempDir()) / "nodes";
    std::filesystem::create_directories(folder);
    for (const char* name : {"video10", "video2", "video3", "video", "videos1", "vbi0"})
        std::ofstream(folder / name).put('x');
    host::V4L2Calls calls = fake_.calls();
    calls.open = [&, open = calls.open](const char* node, int flags) {
        const bool isOfMetadata = std::string_view(node).ends_with("video3");
        fake_.capabilities
            = isOfMetadata ? V4L2_CAP_META_CAPTURE : V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
        fake_.path = node;
        return open(node, flags);
    };
    calls.nodes = [&] { return host::videoNodes(folder); };
    EXPECT_EQ(host::captureNodes(calls), (Journal{folder / "video2", folder / "video10"}));
    EXPECT_EQ(host::videoNodes(folder / "missing"), Journal{});

    const auto access = [&](int error) {
        calls.access = [error](const char*, int) {
            errno = error;
            return error == 0 ? 0 : -1;
        };
        return host::inputAccess("/dev/video0", R_OK | W_OK, calls);
    };
    EXPECT_EQ(access(0), host::InputAccess::readable);
    EXPECT_EQ(access(ENOENT), host::InputAccess::absent);
    EXPECT_EQ(access(EACCES), host::InputAccess::unreadable);
}

} // namespace tamsel::tests
