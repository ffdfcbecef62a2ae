#include "support/HostScreen.h"
#include "support/Loopback.h"
#include "support/Media.h"
#include "support/Memory.h"

#include <host/microphone/HostMicrophone.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tamsel/platform/CaptureServices.h>

namespace tamsel::tests {

using namespace std::chrono_literals;
using platform::DropCause;

namespace {

using MediaCamera = FolderTest;

void expectGrowing(const std::vector<SeenFrame>& frames)
{
    for (std::size_t index = 1; index < frames.size(); ++index) {
        EXPECT_GT(frames[index].sequence, frames[index - 1].sequence);
        EXPECT_GT(frames[index].mediaTime, frames[index - 1].mediaTime);
        EXPECT_GT(frames[index].captureTime, frames[index - 1].captureTime);
    }
}

} // namespace

TEST_F(MediaCamera, ShowsEveryFrameOfAFileOncePerLoop)
{
    // One bright frame marks each beginning; a rate of 200 keeps the test short.
    const std::string file = folder.file("mark.mp4");
    ASSERT_TRUE(makeVideo(
        "-f lavfi -i \"color=black:s=64x48:r=200,format=yuv420p,geq=lum='if(eq(N,0),235,16)':cb=128:cr=128\" "
        "-frames:v 30 -c:v libx264 -bf 2 -g 12",
        file));
    HostScreen screen(file);
    const std::vector<SeenFrame> frames = screen.collect(100);
    ASSERT_GE(frames.size(), 100U);
    expectGrowing(frames);
    for (std::size_t index = 0; index < 100; ++index)
        EXPECT_EQ(frames[index].middle[1] > 128, frames[index].sequence % 30 == 0) << index;
    for (const SeenFrame& frame : frames)
        EXPECT_NEAR(frame.mediaTime, static_cast<double>(frame.sequence) / 200.0, 1e-9);
    const double played
        = std::chrono::duration<double>(frames[99].captureTime - frames[0].captureTime).count();
    EXPECT_GT(played, 0.9 * (frames[99].mediaTime - frames[0].mediaTime)) << "never ahead of its pace";
}

TEST_F(MediaCamera, ShowsEveryFrameOfAFileThatDoesNotRepeatAndIsLostThen)
{
    const std::string file = folder.file("once.mp4");
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=64x48:r=100 -frames:v 20 -c:v libx264 -bf 2", file));
    HostScreen screen({.backCamera = host::HostInput{.input = file, .repeats = false}});
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.runUntil([&] { return screen.hasFailed(); }));
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->errorCount > 0; }));
    const platform::FrameCounts counts = screen.manager->frameCounts();
    EXPECT_EQ(counts.produced, 21U) << "and the loss";
    EXPECT_EQ(counts.delivered, 20U);
    EXPECT_EQ(screen.client->frames().back().sequence, 19U);
}

TEST_F(MediaCamera, TakesOddSizesFormatsAndContainers)
{
    struct Case {
        const char* name;
        const char* arguments;
        std::size_t width;
        std::size_t height;
    };
    for (const Case& one : {
             Case{"odd.mkv",
                 "-f lavfi -i testsrc2=s=334x78:r=100:d=0.2 -vf format=gbrp,scale=333:77,format=yuv444p -c:v "
                 "ffv1",
                 333, 77},
             Case{"tiny.mkv", "-f lavfi -i color=red:s=2x2:r=100:d=0.1 -c:v ffv1", 2, 2},
             Case{"ten.mkv", "-f lavfi -i testsrc2=s=90x50:r=100:d=0.2 -pix_fmt yuv420p10le -c:v ffv1", 90,
                 50},
             Case{"grey.avi", "-f lavfi -i testsrc2=s=64x64:r=100:d=0.2 -pix_fmt gray -c:v ffv1", 64, 64},
             Case{"mpeg.ts", "-f lavfi -i testsrc2=s=128x96:r=50:d=0.2 -c:v mpeg2video", 128, 96},
             Case{"motion.avi", "-f lavfi -i testsrc2=s=128x96:r=100:d=0.2 -c:v mjpeg", 128, 96},
             Case{"picture.png", "-f lavfi -i testsrc2=s=120x90:r=1:d=1 -frames:v 1", 120, 90},
             Case{"turned.mp4",
                 "-f lavfi -i testsrc2=s=128x96:r=100:d=0.2 -c:v libx264 -metadata:s:v rotate=90", 128, 96},
             Case{"one.mp4", "-f lavfi -i testsrc2=s=64x64:r=100 -frames:v 1 -c:v libx264", 64, 64},
         }) {
        const std::string file = folder.file(one.name);
        ASSERT_TRUE(makeVideo(one.arguments, file)) << one.name;
        HostScreen screen(file);
        const std::vector<SeenFrame> frames = screen.collect(3);
        ASSERT_GE(frames.size(), 3U) << one.name;
        EXPECT_EQ(frames[0].width, one.width) << one.name;
        EXPECT_EQ(frames[0].height, one.height) << one.name;
        expectGrowing(frames);
    }
}

TEST_F(MediaCamera, KeepsColoursWhateverMatrixAndRangeAFileNames)
{
    struct Colour {
        const char* name;
        std::array<int, 3> blueGreenRed;
    };
    // One frame of each.
    const std::array colours{Colour{"0xff0000", {0, 0, 255}}, Colour{"0x0000ff", {255, 0, 0}},
        Colour{"0x00ff00", {0, 255, 0}}, Colour{"0xffffff", {255, 255, 255}},
        Colour{"0x2060c0", {0xC0, 0x60, 0x20}}};
    std::string frames;
    for (const Colour& colour : colours)
        frames += "color=c=" + std::string(colour.name) + ":s=854x46:r=100:d=0.01,format=gbrp[c"
            + std::to_string(&colour - colours.data()) + "];";
    const std::string input
        = "-f lavfi -i \"" + frames + "[c0][c1][c2][c3][c4]concat=n=5\" -vf settb=1/100,setpts=N,scale=";
    for (const char* encoding : {"out_color_matrix=bt709:out_range=tv,format=yuv420p -colorspace bt709",
             "out_color_matrix=bt601:out_range=tv,format=yuv420p -colorspace smpte170m",
             "out_color_matrix=bt2020:out_range=tv,format=yuv420p -colorspace bt2020nc",
             "out_color_matrix=bt709:out_range=pc,format=yuv420p -colorspace bt709 -color_range pc",
             "out_color_matrix=bt601:out_range=tv,format=yuv444p -colorspace smpte170m",
             "out_color_matrix=bt709:out_range=tv,format=yuv444p -colorspace bt709",
             "out_color_matrix=bt709:out_range=tv,format=yuv422p10le -colorspace bt709",
             "out_color_matrix=bt601:out_range=tv,format=yuv420p"}) {
        const std::string file = folder.file("colour.mkv");
        ASSERT_TRUE(makeVideo(input + encoding + " -c:v ffv1", file));
        HostScreen screen(file);
        const std::vector<SeenFrame> seen = screen.collect(5);
        ASSERT_GE(seen.size(), 5U);
        for (std::size_t index = 0; index < 5; ++index) {
            const Colour& colour = colours.at(seen[index].sequence % 5);
            for (const auto& pixel : {seen[index].middle, seen[index].last}) {
                for (std::size_t channel = 0; channel < 3; ++channel)
                    EXPECT_NEAR(pixel[channel], colour.blueGreenRed[channel], 4)
                        << colour.name << " " << encoding;
            }
        }
    }
}

TEST_F(MediaCamera, TellsAbsentAndUnusableInputsByOneErrorOrOneLine)
{
    writeFile(folder.file("text.mp4"), "this is no video\n");
    writeFile(folder.file("empty.mp4"), "");
    ASSERT_TRUE(makeVideo("-f lavfi -i sine=d=0.2", folder.file("sound.mp4")));
    const std::string whole = readFile(sample());
    writeFile(folder.file("cut.mp4"), whole.substr(0, 200));
    for (const char* name : {"missing.mp4", "text.mp4", "empty.mp4", "sound.mp4", "cut.mp4"}) {
        const auto probed = host::Host::probe(folder.file(name));
        ASSERT_FALSE(probed.has_value()) << name;
        EXPECT_NE(probed.error().localizedDescription.find(name), std::string::npos);
        EXPECT_EQ(probed.error().localizedDescription.find('\n'), std::string::npos);
        HostScreen screen(folder.file(name));
        ASSERT_TRUE(screen.start()) << "authorised: there is just no such device";
        ASSERT_TRUE(screen.runUntil([&] { return screen.client->errorCount > 0; }));
        EXPECT_EQ(screen.client->errors(), std::vector<std::string>{"canNotAddInput"}) << name;
    }
    for (const char* pattern :
        {"test:", "test:huge", "test:0x10", "test:720p@0", "test:720p@nan", "test:99999x1"})
        EXPECT_FALSE(host::Host::probe(pattern).has_value()) << pattern;
    EXPECT_EQ(host::Host::probe("test:1080p@60").value(), (platform::CGSize{1920, 1080}));
}

TEST_F(MediaCamera, ShowsWhatCanBeReadOfADamagedFile)
{
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=64x48:r=200:d=0.4 -c:v libx264 -g 5 -movflags faststart",
        folder.file("whole.mp4")));
    const std::string whole = readFile(folder.file("whole.mp4"));
    writeFile(folder.file("half.mp4"), whole.substr(0, whole.size() / 2));
    std::string noisy = whole;
    for (std::size_t at = whole.size() / 2; at < whole.size(); at += 97)
        noisy[at] = static_cast<char>(noisy[at] ^ 0x5A);
    writeFile(folder.file("noisy.mp4"), noisy);
    for (const char* name : {"half.mp4", "noisy.mp4"}) {
        HostScreen screen(folder.file(name));
        const std::vector<SeenFrame> frames = screen.collect(100);
        EXPECT_GE(frames.size(), 100U) << name;
        expectGrowing(frames);
    }
    // A video whose pictures cannot be decoded at all ends with one drop: no spin, no hang.
    std::string broken = whole;
    const std::size_t data = broken.find("mdat");
    ASSERT_NE(data, std::string::npos);
    std::fill(broken.begin() + static_cast<std::ptrdiff_t>(data + 8), broken.end(), '\x7F');
    writeFile(folder.file("broken.mp4"), broken);
    HostScreen screen(folder.file("broken.mp4"));
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.runUntil([&] { return screen.hasFailed(); }));
    EXPECT_EQ(screen.client->count, 0);
    EXPECT_EQ(screen.manager->frameCounts().droppedBy[static_cast<std::size_t>(DropCause::deviceLost)], 1U);
}

TEST_F(MediaCamera, ReadsStreamsAndEndsWithOneDropWhenTheyEnd)
{
    ASSERT_TRUE(
        makeVideo("-f lavfi -i testsrc2=s=64x48:r=50:d=0.2 -c:v mpeg2video", folder.file("stream.ts")));
    ASSERT_EQ(mkfifo(folder.file("pipe.ts").c_str(), 0600), 0);
    std::jthread writer([&] {
        const std::string stream = readFile(folder.file("stream.ts"));
        writeFile(folder.file("pipe.ts"), stream); // and nobody writes to the pipe any more
    });
    for (const std::string& input :
        {std::string("lavfi:testsrc2=s=64x48:r=50:d=0.2"), folder.file("pipe.ts")}) {
        HostScreen screen(input);
        ASSERT_TRUE(screen.start());
        ASSERT_TRUE(screen.runUntil([&] { return screen.hasFailed(); })) << input;
        ASSERT_TRUE(screen.runUntil([&] { return screen.manager->frameCounts().inFlight == 0; }));
        const platform::FrameCounts counts = screen.manager->frameCounts();
        EXPECT_EQ(counts.droppedBy[static_cast<std::size_t>(DropCause::deviceLost)], 1U) << input;
        EXPECT_EQ(counts.produced, 10U + 1U) << input;
    }

    // Neither is a host kept by a server that sends a byte now and then, nor by a pipe into which nobody writes.
    ASSERT_EQ(mkfifo(folder.file("silent").c_str(), 0600), 0);
    int silent = -1;
    {
        std::atomic<int> turns = 0;
        const Speaker server([&](int) {
            ++turns;
            return std::string("\n");
        });
        HostScreen waiting("tcp://127.0.0.1:" + std::to_string(server.port()));
        ASSERT_TRUE(waiting.start());
        ASSERT_TRUE(waiting.runUntil([&] { return turns > 2; }));
        HostScreen waitingForPipe(folder.file("silent"));
        ASSERT_TRUE(waitingForPipe.start());
        ASSERT_TRUE(waitingForPipe.runUntil(
            [&] { return (silent = ::open(folder.file("silent").c_str(), O_WRONLY | O_NONBLOCK)) >= 0; }));
    }
    ::close(silent);

    // A stream without an end is left at once.
    HostScreen endless("lavfi:testsrc2=s=64x48:r=100");
    ASSERT_TRUE(endless.start());
    ASSERT_TRUE(endless.runUntil([&] { return endless.client->count > 2; }));
}

TEST_F(MediaCamera, DeliversALiveStreamAsItArrives)
{
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=64x48:r=1:d=100 -c:v mpeg2video", folder.file("live.ts")));
    const std::string stream = readFile(folder.file("live.ts"));
    const Speaker camera([&](int turn) { return turn == 0 ? stream : std::string(); });
    HostScreen screen("tcp://127.0.0.1:" + std::to_string(camera.port()));
    ASSERT_TRUE(screen.start());
    // At the pace of the timestamps it takes longer than the test waits.
    EXPECT_TRUE(screen.runUntil([&] { return screen.manager->frameCounts().produced >= 90; }));
}

TEST_F(MediaCamera, OpensNoOtherFileThanTheOneThatIsNamed)
{
    ASSERT_TRUE(
        makeVideo("-f lavfi -i testsrc2=s=64x48:r=50:d=0.2 -f lavfi -i sine=duration=0.2 -c:v mpeg2video",
            folder.file("clip.ts")));
    ASSERT_TRUE(host::probeMicrophone(folder.file("clip.ts")).has_value());
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=64x48 -frames:v 3", folder.file("img%03d.png")));
    writeFile(folder.file("list.ffconcat"), "ffconcat version 1.0\nfile clip.ts\n");
    writeFile(folder.file("list.m3u8"),
        "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:0.2,\nclip.ts\n#EXT-X-ENDLIST\n");
    const platform::CGSize size{64, 48};
    for (const char* list : {"list.ffconcat", "list.m3u8", "img%03d.png"}) {
        EXPECT_NE(host::Host::probe(folder.file(list)).value_or(platform::CGSize{}), size) << list;
        EXPECT_FALSE(host::probeMicrophone(folder.file(list)).has_value()) << list;
    }
    std::filesystem::rename(folder.file("img001.png"), folder.file("img%03d.png"));
    EXPECT_EQ(host::Host::probe(folder.file("img%03d.png")), (platform::CGSize{64, 48}))
        << "a file of that name";
}

TEST_F(MediaCamera, AnswersThePermissionFromWhatIsThere)
{
    using enum platform::AVAuthorizationStatus;
    const auto status = [](host::HostConfiguration configuration) {
        HostScreen screen(std::move(configuration));
        return screen.host.platform().capture.authorizationStatus(platform::AVMediaType::video);
    };
    const host::HostInput missing{.input = "missing.mp4"};
    EXPECT_EQ(status({}), authorized);
    EXPECT_EQ(status({.backCamera = missing}), authorized);
    EXPECT_EQ(status({.backCamera = host::HostInput{.input = sample()}}), authorized);
    EXPECT_EQ(status({.backCamera = missing, .videoAuthorization = restricted}), restricted);

    // Nodes that answer by a script: 0 is closed to us, 1 is readable, others are not there.
    const auto node = [&](const char* path) { return host::HostInput{.input = path}; };
    host::V4L2Calls calls = host::systemV4L2Calls();
    calls.access = [](const char* path, int mode) {
        const bool isClosed = std::string(path) == "/dev/video0";
        errno = isClosed ? EACCES : ENOENT;
        return std::string(path) == "/dev/video1" || (isClosed && mode == F_OK) ? 0 : -1;
    };
    HostScreen closed({.backCamera = node("/dev/video0"), .systemCalls = calls});
    EXPECT_TRUE(closed.manager->isSourceAvailable(SourceType::cameraBack(false)));
    EXPECT_FALSE(closed.start()) << "there, and not for this user";
    EXPECT_EQ(status({.backCamera = node("/dev/video0"), .systemCalls = calls}), denied);
    EXPECT_EQ(
        status({.backCamera = node("/dev/video0"), .frontCamera = missing, .systemCalls = calls}), denied);
    EXPECT_EQ(
        status({.backCamera = node("/dev/video0"), .frontCamera = node("/dev/video1"), .systemCalls = calls}),
        authorized);
    EXPECT_EQ(status({.backCamera = node("/dev/video7"), .systemCalls = calls}), authorized);
    EXPECT_EQ(
        status(
            {.backCamera = node("/dev/video1"), .videoAuthorization = notDetermined, .systemCalls = calls}),
        notDetermined);
}

TEST_F(MediaCamera, LeavesNoDescriptorOrThreadBehind)
{
    for (const std::string& input :
        {sample(), std::string("test:64x48@200"), std::string("lavfi:testsrc2=s=64x48:r=100")}) {
        HostScreen screen(input);
        const auto cycle = [&] {
            screen.manager = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::photo,
                screen.host.makeQueue("response"), screen.host.platform());
            screen.client->count = 0;
            ASSERT_TRUE(screen.start());
            ASSERT_TRUE(screen.runUntil([&] { return screen.client->count > 0; }));
            screen.manager->stopCameraSession();
            screen.manager.reset();
        };
        for (int warmUp = 0; warmUp < 10; ++warmUp)
            cycle();
        const auto descriptors = countOwn("fd");
        const auto threads = countOwn("task");
        for (int number = 0; number < 40; ++number)
            cycle();
        EXPECT_TRUE(screen.runUntil([&] {
            return countOwn("fd") <= descriptors && countOwn("task") <= threads;
        })) << input;
    }
}

} // namespace tamsel::tests
