#include "support/Ear.h"
#include "support/Loopback.h"
#include "support/Media.h"
#include "support/MovieProbe.h"

#include <host/HostCamera.h>
#include <host/ReaderThreads.h>
#include <host/microphone/HostMicrophone.h>

#include <engine/dispatch/ThreadedDispatch.h>
#include <engine/dispatch/monotonicNow.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <vector>

namespace tamsel::tests {

using namespace std::chrono_literals;
using engine::SoundChunk;
using std::chrono::nanoseconds;

namespace {

using Microphone = FolderTest;

/// Listens until it has heard so much, or the sound is lost.
std::shared_ptr<Ear> hear(const std::string& input, nanoseconds length)
{
    host::ReaderThreads readers;
    auto ear = std::make_shared<Ear>();
    const auto microphone = host::makeHostMicrophone(input, {.readers = readers});
    EXPECT_TRUE(microphone.has_value() && (*microphone)->isPresent());
    const auto stream = (*microphone)->start(ear);
    EXPECT_TRUE(stream.has_value()) << (stream ? "" : stream.error().localizedDescription);
    EXPECT_TRUE(waitUntil([&] { return ear->heard() >= length || ear->losses > 0; })) << input;
    return ear;
}

/// Keeps when the frames that turn bright were captured.
class Eye final : public engine::FrameSink {
public:
    std::shared_ptr<platform::CVPixelBuffer> acquireBuffer(std::size_t width, std::size_t height) override
    {
        return std::make_shared<platform::CVPixelBuffer>(width, height);
    }
    void deliver(engine::CapturedFrame frame) override
    {
        EXPECT_LE(frame.captureTime, engine::monotonicNow());
        const platform::CVPixelBuffer& pixels = *frame.buffer;
        const bool isBright
            = std::to_integer<int>(*pixels.pixel(pixels.width() / 2, pixels.height() / 2)) > 128;
        const std::lock_guard lock(guard_);
        if (isBright && !std::exchange(wasBright_, isBright))
            flashes_.push_back(secondsOf(frame.captureTime));
        wasBright_ = isBright;
    }
    void drop(std::optional<platform::DropCause>) override { }
    void lose(const platform::Error&) override { }

    [[nodiscard]] std::vector<double> flashes() const
    {
        const std::lock_guard lock(guard_);
        return flashes_;
    }

private:
    mutable std::mutex guard_;
    bool wasBright_ = true;
    std::vector<double> flashes_;
};

} // namespace

TEST_F(Microphone, HearsTestSounds)
{
    const auto tone = hear("test:tone@1000", 500ms);
    EXPECT_NEAR(frequencyOf(*tone), 1000, 10);
    EXPECT_LT(tone->worstStep(), 1e-6);
    EXPECT_NEAR(frequencyOf(*hear("test:tone", 500ms)), 440, 8);
    const std::vector<double> beeps = hear("test:beeps", 2200ms)->beeps();
    ASSERT_EQ(beeps.size(), 3U);
    EXPECT_NEAR(beeps[1] - beeps[0], 1, 0.001);
    host::ReaderThreads readers;
    for (const char* wrong :
        {"test:", "test:tune", "test:tone@", "test:tone@0", "test:tone@x", "test:tone@nan"}) {
        const auto refused = host::makeHostMicrophone(wrong, {.readers = readers});
        ASSERT_FALSE(refused.has_value()) << wrong;
        EXPECT_TRUE(refused.error().localizedDescription.starts_with(wrong));
    }
}

TEST_F(Microphone, PlaysAFileInALoop)
{
    const std::string mono = folder.file("mono.wav");
    ASSERT_TRUE(makeVideo("-f lavfi -i sine=frequency=1000:sample_rate=44100 -t 0.5 -ac 1", mono));
    const auto sine = hear(mono, 1600ms);
    EXPECT_NEAR(frequencyOf(*sine), 1000, 10);
    EXPECT_LT(sine->worstStep(), 0.002);
    EXPECT_EQ(sine->losses, 0);
    const double heard = static_cast<double>(sine->chunks().size());
    EXPECT_GT(heard, 10);
    EXPECT_FLOAT_EQ(sine->chunks().front().samples[100], sine->chunks().front().samples[101]);
    EXPECT_NEAR(loudest(*sine), 0.125, 0.01); // as it is in the file

    const std::string surround = folder.file("surround.flac");
    ASSERT_TRUE(makeVideo(
        "-f lavfi -i 'sine=frequency=1000' -t 0.5 -af 'volume=7,pan=5.1|c0=c0|c1=c0|c2=c0|c3=c0|c4=c0|c5=c0'",
        surround));
    const auto all = hear(surround, 300ms);
    EXPECT_LT(loudest(*all), 0.95); // nothing is cut off
    EXPECT_GT(loudest(*all), 0.5);

    const std::string clip = folder.file("clip.mp4");
    ASSERT_TRUE(makeFlashingClip(clip, 2));
    EXPECT_TRUE(host::hasSound(clip));
    const std::vector<double> beeps = hear(clip, 3500ms)->beeps();
    ASSERT_GE(beeps.size(), 3U);
    for (std::size_t at = 1; at < beeps.size(); ++at)
        EXPECT_NEAR(beeps[at] - beeps[at - 1], 1, 0.03);

    EXPECT_FALSE(host::hasSound(folder.file("nothing.mp4")));
    EXPECT_FALSE(host::hasSound("test:tone"));
    const std::string silent = folder.file("silent.mp4");
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=64x48 -t 0.5", silent));
    EXPECT_FALSE(host::hasSound(silent));
    for (const std::string& input : {folder.file("nothing.mp4"), silent, std::string("alsa:no_such_card")}) {
        const auto probed = host::probeMicrophone(input);
        ASSERT_FALSE(probed.has_value());
        EXPECT_TRUE(probed.error().localizedDescription.starts_with(input));
    }
}

TEST_F(Microphone, IsLostWhenAStreamEnds)
{
    const auto ear = hear("lavfi:sine=frequency=500:duration=0.5", 1200ms);
    EXPECT_EQ(ear->losses, 1);
    EXPECT_NEAR(frequencyOf(*ear), 500, 10);
    EXPECT_LT(ear->worstStep(), 0.002);
}

/// A camera and a microphone on the same file: what belongs together is heard when it is seen, loop after loop, though the
/// lengths of the tracks differ.
TEST_F(Microphone, FollowsTheCameraThatPlaysTheSameFile)
{
    struct Case {
        const char* name;
        const char* rate;
        const char* options;
    };
    for (const Case& one : {Case{"short_sound.mp4", "25", "-af atrim=end=2.2"},
             Case{"late_sound.mp4", "30", "-af asetpts=PTS+0.3/TB,adelay=0 -t 2.5"},
             Case{"long_sound.mkv", "30", "-af apad=pad_dur=0.4"}}) {
        const std::string clip = folder.file(one.name);
        ASSERT_TRUE(makeFlashingClip(clip, 2.5, one.rate, one.options)) << one.name;
        const std::vector<double> beepsInFile = beepTimes(clip);
        const std::vector<double> flashesInFile = flashTimes(clip);
        ASSERT_FALSE(beepsInFile.empty() || flashesInFile.empty());
        const double offset = std::remainder(beepsInFile.front() - flashesInFile.front(), 1);
        engine::ThreadedDispatch dispatch;
        host::ReaderThreads readers;
        const host::V4L2Calls calls = host::systemV4L2Calls();
        const auto camera = host::makeHostCamera(
            {.input = clip}, platform::AVCaptureDevicePosition::back, {dispatch, dispatch, readers, calls});
        ASSERT_TRUE(camera.has_value());
        const auto microphone = host::makeHostMicrophone(clip, {.readers = readers, .camera = camera->clock});
        const auto ear = std::make_shared<Ear>();
        const auto eye = std::make_shared<Eye>();
        nanoseconds begun{};
        {
            const auto stream = (*microphone)->start(ear);
            ASSERT_TRUE(stream.has_value());
            ASSERT_TRUE(camera->driver->open().has_value());
            begun = engine::monotonicNow();
            ASSERT_TRUE(camera->driver->start(platform::AVCaptureSessionPreset::high, eye).has_value());
            EXPECT_TRUE(waitUntil([&] { return eye->flashes().size() > 5; })) << one.name;
            camera->driver->stop();
        }
        std::vector<double> flashes = eye->flashes();
        ASSERT_GT(flashes.size(), 5U) << one.name;
        flashes.resize(5); // the sound of the last may not have come
        const std::vector<double> beeps = ear->beeps();
        for (const SoundChunk& chunk : ear->chunks())
            EXPECT_GT(chunk.captureTime + chunk.duration(), begun) << "the camera does not play yet";
        int matched = 0;
        for (const double flash : flashes) {
            for (const double beep : beeps) {
                if (std::abs(beep - offset - flash) < 0.012)
                    ++matched;
            }
        }
        EXPECT_GE(matched, static_cast<int>(flashes.size()) - 1) << one.name;
    }
}

TEST_F(Microphone, EndsWhereverItIsReleased)
{
    const std::string clip = folder.file("clip.mp4");
    ASSERT_TRUE(makeFlashingClip(clip, 1));
    for (const std::string& input : {std::string("test:tone"), clip, std::string("lavfi:sine")}) {
        host::ReaderThreads readers;
        const auto microphone = host::makeHostMicrophone(input, {.readers = readers});
        for (const unsigned wanted : {0U, 0U, 1U, 2U, 3U}) {
            const auto first = std::make_shared<Ear>();
            const auto second = std::make_shared<Ear>();
            auto one = (*microphone)->start(first);
            const auto other = (*microphone)->start(second);
            EXPECT_TRUE(waitUntil([&] { return first->chunks().size() >= wanted; }));
            one->reset();
            const std::size_t heard = first->chunks().size();
            EXPECT_TRUE(waitUntil([&] { return second->chunks().size() >= heard + 3; }));
            EXPECT_LE(first->chunks().size(), heard + 1) << input;
        }
    }

    // Also while it is being opened: by a server that sends a byte now and then, and a pipe into which nobody writes.
    std::atomic<int> turns = 0;
    const Speaker server([&](int) {
        ++turns;
        return std::string("\n");
    });
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    int writer = -1;
    const auto isServed = [&] { return turns > 2; };
    const auto isPipeOpen = [&] { return (writer = ::open(pipe.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; };
    const auto ear = std::make_shared<Ear>();
    {
        host::ReaderThreads readers;
        const auto slow = host::makeHostMicrophone(
            "tcp://127.0.0.1:" + std::to_string(server.port()), {.readers = readers});
        const auto silent = host::makeHostMicrophone(pipe, {.readers = readers});
        const auto one = (*slow)->start(ear);
        const auto other = (*silent)->start(ear);
        EXPECT_TRUE(waitUntil(isServed) && waitUntil(isPipeOpen));
    }
    ::close(writer);
    EXPECT_EQ(ear->losses, 0);
}

} // namespace tamsel::tests
