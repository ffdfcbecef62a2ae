#include "support/Ear.h"
#include "support/HostScreen.h"
#include "support/Memory.h"
#include "support/MovieProbe.h"
#include "support/PipeWireDaemons.h"
#include "support/Program.h"
#include "support/ServiceTest.h"

#include <engine/dispatch/monotonicNow.h>
#include <host/ReaderThreads.h>
#include <host/microphone/HostMicrophone.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace tamsel::tests {

namespace {

using namespace std::chrono_literals;

using PipeWireMicrophone = ServiceTest<PipeWireDaemons>;

/// A start of a microphone, and what it delivers.
struct Listening {
    explicit Listening(const std::string& input)
    {
        auto microphone = host::makeHostMicrophone(input, {.readers = readers});
        EXPECT_TRUE(microphone.has_value() && (*microphone)->isPresent());
        auto started = (*microphone)->start(ear);
        EXPECT_TRUE(started.has_value());
        stream = std::move(*started);
    }
    [[nodiscard]] bool hears(std::chrono::nanoseconds length) const
    {
        return waitUntil([&] { return ear->heard() >= length || ear->losses > 0; }) && ear->losses == 0;
    }

    host::ReaderThreads readers;
    std::shared_ptr<Ear> ear = std::make_shared<Ear>();
    std::unique_ptr<engine::SoundStream> stream;
};

} // namespace

TEST_F(PipeWireMicrophone, DeliversEverySampleOnceAndWithItsTime)
{
    const auto source = services->source("mic", {"sound=numbers", "delay=1000000000"});
    const Listening listening("pipewire:mic");
    ASSERT_TRUE(listening.hears(3s)) << listening.ear->reason();
    EXPECT_GT(listening.ear->youngest(), 850ms) << "as the source says";
    EXPECT_LT(listening.ear->worstStep(), 0.0021);
    std::optional<int> last;
    for (const engine::SoundChunk& chunk : listening.ear->chunks()) {
        for (std::size_t at = 0; at < chunk.length(); ++at) {
            const float left = chunk.samples[2 * at];
            if (!last && left == 0)
                continue; // before the source begins
            const int number = static_cast<int>(left * (1 << 23));
            ASSERT_EQ(number, last.value_or(number - 1) + 1);
            ASSERT_EQ(chunk.samples[2 * at + 1], -left);
            last = number;
        }
    }
    EXPECT_GT(last.value_or(0), 100'000);
}

TEST_F(PipeWireMicrophone, HearsTheDefaultSourceWhateverItsFormatIsAndWhicheverItIs)
{
    auto source = services->source("first", {"sound=tone"});
    const Listening listening("pipewire:");
    ASSERT_TRUE(listening.hears(2s)) << listening.ear->reason();
    EXPECT_NEAR(frequencyOf(*listening.ear), 1000, 30);
    EXPECT_NEAR(loudest(*listening.ear), 0.5, 0.01);
    for (const engine::SoundChunk& chunk : listening.ear->chunks())
        ASSERT_EQ(chunk.samples[100], chunk.samples[101]);
    auto other = services->source("second", {"sound=tone"});
    source.reset();
    EXPECT_TRUE(listening.hears(listening.ear->heard() + 1s)) << listening.ear->reason();
    other.reset();
    EXPECT_TRUE(waitUntil([&] { return listening.ear->losses == 1; }));
    EXPECT_EQ(listening.ear->reason(), "pipewire: has gone");
}

TEST_F(PipeWireMicrophone, IsLostWithItsSourceOrTheDaemon)
{
    auto source = services->source("mic", {"sound=tone"});
    const auto other = services->source("other", {"sound=tone"});
    const std::string film = services->file("film.mp4");
    {
        HostScreen screen(
            {.backCamera = host::HostInput{.input = "test:64x48@30"}, .microphone = "pipewire:mic"});
        ASSERT_TRUE(screen.start(SourceType::cameraBack(true)));
        ASSERT_TRUE(screen.runUntil([&] { return screen.client->count > 0; }));
        screen.manager->startVideoRecording(film);
        const auto recorded = [&] { return screen.manager->frameCounts().recorded; };
        ASSERT_TRUE(screen.runUntil([&] { return recorded() > 60; }));
        EXPECT_EQ(screen.host.recordingProblem(), "");
        source.reset();
        ASSERT_TRUE(screen.runUntil([&] { return !screen.host.recordingProblem().empty(); }));
        EXPECT_EQ(screen.host.recordingProblem(), "pipewire:mic: has gone");
        const auto before = recorded();
        ASSERT_TRUE(screen.runUntil([&] { return recorded() > before + 10; }));
        screen.manager->stopVideoRecording();
        ASSERT_TRUE(screen.runUntil([&] { return screen.client->videos > 0; }));
    }
    const MovieProbe movie(film);
    EXPECT_EQ(movie.decodingErrors, "");
    EXPECT_NEAR(movie.soundDuration, movie.duration, 0.05);

    const Listening absent("pipewire:mic");
    const Listening last("pipewire:");
    ASSERT_TRUE(last.hears(100ms)) << last.ear->reason();
    services->kill();
    const Listening none("pipewire:");
    EXPECT_TRUE(waitUntil([&] { return absent.ear->losses + last.ear->losses + none.ear->losses == 3; }));
    EXPECT_EQ(absent.ear->reason(), "pipewire:mic: PipeWire has no such microphone");
    EXPECT_EQ(last.ear->reason(), "pipewire: the PipeWire daemon has ended");
    EXPECT_EQ(none.ear->reason(), "pipewire: there is no PipeWire daemon: Host is down");
}

/// Also when the source is silent.
TEST_F(PipeWireMicrophone, StartsAndStopsLeaveNothingBehind)
{
    const auto source = services->source("mic", {"sound=tone"});
    const auto silent = services->source("silent", {"sound=tone", "count=0"});
    const auto cycle = [&](int index) {
        const Listening idle("pipewire:silent");
        const Listening listening("pipewire:mic");
        if (index % 3 > 0) {
            ASSERT_TRUE(listening.hears(std::chrono::milliseconds(index % 3))) << listening.ear->reason();
        }
        EXPECT_EQ(idle.ear->losses, 0);
    };
    cycle(1);
    const std::ptrdiff_t descriptors = countOwn("fd");
    const std::ptrdiff_t threads = countOwn("task");
    for (int index = 0; index < 20; ++index)
        cycle(index);
    EXPECT_EQ(countOwn("fd"), descriptors);
    EXPECT_EQ(countOwn("task"), threads);
}

/// The FFmpeg libraries wait for its source, and cannot be interrupted.
TEST_F(PipeWireMicrophone, ASuspendedSourceOfPulseAudioBlocksOnlyAThreadThatNothingWaitsFor)
{
    services->speakPulse();
    std::thread([] { }).join(); // with the first thread ThreadSanitizer starts one of its own
    const std::ptrdiff_t threads = countOwn("task");
    const auto becomes
        = [&](std::ptrdiff_t more) { return waitUntil([&] { return countOwn("task") == threads + more; }); };
    {
        const auto source = services->source("mic", {"sound=tone"});
        {
            const Listening listening("pulse:mic");
            ASSERT_TRUE(listening.hears(1s)) << listening.ear->reason();
            EXPECT_NEAR(frequencyOf(*listening.ear), 1000, 30);
        }
        EXPECT_TRUE(becomes(0)) << "its source delivers";
    }
    const auto source = services->source("silent", {"sound=tone", "count=60"});
    {
        const Listening listening("pulse:silent");
        ASSERT_TRUE(listening.hears(300ms)) << listening.ear->reason();
        std::chrono::nanoseconds heard{};
        int silent = 0; // looks, a millisecond apart
        EXPECT_TRUE(waitUntil([&] {
            silent = listening.ear->heard() == std::exchange(heard, listening.ear->heard()) ? silent + 1 : 0;
            return silent > 300;
        }));
    }
    services->kill();
    EXPECT_TRUE(becomes(0));
}

} // namespace tamsel::tests
