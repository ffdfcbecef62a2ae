#include "support/CaptureScreen.h"
#include "support/Media.h"
#include "support/MovieProbe.h"

#include <host/recording/HostMovieWriter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>

namespace tamsel::tests {

using namespace std::chrono_literals;
using engine::MovieWriter;
using engine::SoundChunk;
using platform::CVPixelBuffer;
using std::chrono::nanoseconds;

namespace {

struct MovieWriterTest : FolderTest {
    const std::string file = folder.file("out.mp4");
};

std::unique_ptr<engine::MovieFrame> keepGrey(
    MovieWriter& writer, std::size_t width, std::size_t height, int grey)
{
    CVPixelBuffer pixels(width, height);
    std::fill_n(pixels.baseAddress(), pixels.height() * pixels.bytesPerRow(), static_cast<std::byte>(grey));
    return writer.keep(pixels, nullptr);
}

/// Frames of one size at these times.
void writeFrames(MovieWriter& writer, const std::vector<nanoseconds>& times, std::size_t width = 64,
    std::size_t height = 48)
{
    for (const nanoseconds time : times) {
        const auto frame = keepGrey(writer, width, height, static_cast<int>(time / 10ms % 256));
        ASSERT_NE(frame, nullptr);
        ASSERT_TRUE(writer.writeFrame(*frame, time).has_value());
    }
}

std::string errorOf(const std::expected<void, platform::Error>& result)
{
    return result ? "" : result.error().localizedDescription;
}

} // namespace

TEST_F(MovieWriterTest, KeepsTheTimesOfTheFrames)
{
    for (const std::string encoder : {"libx264", "mpeg4"}) {
        host::HostMovieWriters writers({encoder});
        std::filesystem::remove(file);
        const std::string begun = runCommand("date -u +%FT%T").output;
        const auto writer = writers.makeWriter({.url = file});
        ASSERT_TRUE(writer->open().has_value());
        const std::vector<nanoseconds> times{5s, 5010ms, 5100ms, 6s, 6001ms, 9s, 9040ms};
        writeFrames(*writer, times);
        EXPECT_EQ(errorOf(writer->finish()), "");
        const MovieProbe movie(file);
        EXPECT_EQ(movie.decodingErrors, "");
        ASSERT_EQ(movie.frameTimes.size(), times.size());
        for (std::size_t frame = 0; frame < times.size(); ++frame)
            EXPECT_NEAR(movie.frameTimes[frame],
                std::chrono::duration<double>(times[frame] - times.front()).count(), 0.0001);
        EXPECT_NEAR(movie.duration, 4.08, 0.001); // the last frame lasts as long as the one before
        const std::string created
            = runCommand("ffprobe -v error -show_entries format_tags=creation_time -of csv=p=0 " + file)
                  .output;
        EXPECT_GE(created, begun);
        EXPECT_LE(created, runCommand("date -u +%FT%T.999999Z").output);
    }
}

TEST_F(MovieWriterTest, TakesWhatACameraMayGive)
{
    host::HostMovieWriters writers;
    struct Case {
        std::size_t width;
        std::size_t height;
        std::vector<nanoseconds> times;
    };
    for (const Case& one : {Case{641, 361, {1s, 2s}}, Case{2, 2, {1s}}, Case{1280, 3, {0s, 1s}}}) {
        std::filesystem::remove(file);
        const auto writer = writers.makeWriter({.url = file, .hasSound = true});
        ASSERT_TRUE(writer->open().has_value());
        writeFrames(*writer, one.times, one.width, one.height);
        EXPECT_EQ(errorOf(writer->finish()), "");
        const MovieProbe movie(file);
        EXPECT_EQ(movie.decodingErrors, "");
        EXPECT_EQ(movie.frameTimes.size(), one.times.size());
        EXPECT_EQ(movie.width, static_cast<int>(one.width & ~1U));
        EXPECT_EQ(movie.height, static_cast<int>(one.height & ~1U));
        EXPECT_NEAR(movie.soundDuration, movie.duration, 0.001); // of silence
    }

    std::filesystem::remove(file);
    const auto writer = writers.makeWriter({.url = file});
    ASSERT_TRUE(writer->open().has_value());
    writeFrames(*writer, {1s, 2s});
    const auto larger = keepGrey(*writer, 128, 96, 0);
    EXPECT_NE(errorOf(writer->writeFrame(*larger, 3s)), "");
    EXPECT_EQ(errorOf(writer->finish()), "");
    EXPECT_EQ(MovieProbe(file).frameTimes.size(), 2U);
}

TEST_F(MovieWriterTest, LeavesOthersFilesAloneAndNoEmptyOnes)
{
    host::HostMovieWriters writers;
    writeFile(file, "something");
    EXPECT_EQ(errorOf(writers.makeWriter({.url = file})->open()), file + ": File exists");
    EXPECT_EQ(readFile(file), "something");
    std::filesystem::remove(file);
    const std::string part = folder.file("out.part.mp4");
    for (const std::string& other : {part, part + ".tmp"}) {
        writeFile(other, "somebody's");
        EXPECT_EQ(errorOf(writers.makeWriter({.url = file})->open()), other + ": File exists");
        EXPECT_EQ(readFile(other), "somebody's");
        std::filesystem::remove(other);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("")));

    const auto late = writers.makeWriter({.url = file});
    ASSERT_TRUE(late->open().has_value());
    writeFrames(*late, {1s, 2s});
    writeFile(file, "meanwhile");
    EXPECT_EQ(errorOf(late->finish()), file + ": File exists; the movie is in " + part);
    EXPECT_EQ(readFile(file), "meanwhile");
    EXPECT_EQ(MovieProbe(part).frameTimes.size(), 2U);
    std::filesystem::remove(file);
    std::filesystem::remove(part);

    const auto writer = writers.makeWriter({.url = file, .hasSound = true});
    ASSERT_TRUE(writer->open().has_value());
    ASSERT_TRUE(writer->writeSound({.samples = std::vector<float>(960), .captureTime = 1s}).has_value());
    EXPECT_EQ(errorOf(writer->finish()), file + ": no frame was recorded");

    host::HostMovieWriters none({"no_such_encoder", "aac"});
    const auto unable = none.makeWriter({.url = file});
    ASSERT_TRUE(unable->open().has_value());
    const auto frame = keepGrey(*unable, 64, 48, 0);
    EXPECT_NE(errorOf(unable->writeFrame(*frame, 1s)).find("no_such_encoder"), std::string::npos);
    EXPECT_NE(errorOf(unable->finish()), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("")));
}

/// Ten minutes with a microphone whose clock runs 200 ppm fast and whose chunks come with wrong times, on a phone with virtual
/// time. Each time that the frames' numbers begin again there is a beep.
TEST_F(MovieWriterTest, KeepsPictureAndSoundTogether)
{
    constexpr nanoseconds interval = nanoseconds(1s) / 30;
    constexpr double period = 256 * std::chrono::duration<double>(interval).count();
    const double first = std::chrono::duration<double>(interval).count(); // the time of frame 0
    simulated::PhoneConfiguration configuration;
    configuration.movieWriters = std::make_shared<host::HostMovieWriters>();
    configuration.microphone = simulated::MicrophoneScript{.clockError = 200,
        .jitter = [](std::uint64_t chunk) { return nanoseconds((chunk * 7919 % 61) * 100'000) - 3ms; },
        .sound =
            [first](double time) {
                const bool isHeard = time > 1 && std::fmod(time - first, period) < 0.1;
                return !isHeard ? 0.0F : static_cast<long>(time * 2000) % 2 == 0 ? 0.5F : -0.5F;
            }};
    CaptureScreen screen(std::move(configuration));
    screen.back().script().frameInterval = interval;
    screen.client->onFrame = [&] { screen.client->frames.clear(); };
    screen.startAndRun(SourceType::cameraBack(true));
    screen.phone.advance(500ms);
    screen.manager->startVideoRecording(file);
    screen.phone.advance(5min);
    screen.manager->stopVideoRecording();
    screen.phone.advance(1s);
    ASSERT_EQ(std::ranges::count(screen.client->calls, "video " + file), 1);

    std::vector<double> falls;
    double before = 0;
    const std::vector<Brightness> frames = brightnessOf(file);
    EXPECT_EQ(frames.size(), 9'000U);
    for (const Brightness& frame : frames) {
        if (frame.value < before - 20)
            falls.push_back(frame.time);
        before = frame.value;
    }
    const std::vector<double> beeps = beepTimes(file);
    ASSERT_EQ(falls.size(), 35U);
    ASSERT_EQ(beeps.size(), falls.size());
    double worst = 0;
    for (std::size_t at = 0; at < falls.size(); ++at)
        worst = std::max(worst, std::abs(beeps[at] - falls[at]));
    EXPECT_LT(worst, 0.006);
    RecordProperty("worst_offset_ms", std::to_string(worst * 1e3));
    const MovieProbe movie(file);
    EXPECT_NEAR(movie.soundDuration, 300, 0.04);
    EXPECT_NEAR(movie.duration, 300, 0.04);
}

/// Sound that begins before the picture and after it, stops for a while, comes twice, and ends early.
TEST_F(MovieWriterTest, FillsAndCutsSoundThatDoesNotFit)
{
    host::HostMovieWriters writers;
    const auto writer = writers.makeWriter({.url = file, .hasSound = true});
    ASSERT_TRUE(writer->open().has_value());
    // A beep of 50 ms at each full second, 10 s of picture from 100.5 s on.
    const auto chunkAt = [](nanoseconds time) {
        SoundChunk chunk{.samples = {}, .captureTime = time};
        for (int at = 0; at < 960; ++at) {
            const nanoseconds moment = time + nanoseconds(1s) * at / 48'000;
            const float value = moment % 1s < 50ms ? (at / 24 % 2 == 0 ? 0.5F : -0.5F) : 0.0F;
            chunk.samples.insert(chunk.samples.end(), 2, value);
        }
        return chunk;
    };
    for (nanoseconds time = 99s; time < 108s; time += 20ms) {
        if (time >= 103500ms && time < 105500ms)
            continue; // the device pauses
        ASSERT_TRUE(writer->writeSound(chunkAt(time)).has_value());
        if (time == 106500ms) {
            ASSERT_TRUE(writer->writeSound(chunkAt(106s)).has_value()); // late, and not needed any more
        }
        if (time >= 100500ms)
            writeFrames(*writer, {time});
    }
    for (nanoseconds time = 108s; time < 110500ms; time += 20ms)
        writeFrames(*writer, {time});
    EXPECT_EQ(errorOf(writer->finish()), "");
    const MovieProbe movie(file);
    EXPECT_EQ(movie.decodingErrors, "");
    EXPECT_NEAR(movie.duration, 10, 0.001);
    EXPECT_NEAR(movie.soundDuration, 10, 0.025);
    const std::vector<double> beeps = beepTimes(file);
    const std::vector<double> expected{0.5, 1.5, 2.5, 5.5, 6.5};
    ASSERT_EQ(beeps.size(), expected.size());
    for (std::size_t at = 0; at < expected.size(); ++at)
        EXPECT_NEAR(beeps[at], expected[at], 0.005);

    // It ends with the picture, also when frames come quickly again after a long interval.
    const std::string hurried = folder.file("hurried.mp4");
    host::HostMovieWriters immediate({"mpeg4"});
    const auto other = immediate.makeWriter({.url = hurried, .hasSound = true});
    ASSERT_TRUE(other->open().has_value());
    for (nanoseconds time = 0s; time < 3s; time += 20ms)
        ASSERT_TRUE(other->writeSound(chunkAt(time)).has_value());
    writeFrames(*other, {0ms, 20ms, 1020ms, 1040ms});
    EXPECT_EQ(errorOf(other->finish()), "");
    EXPECT_NEAR(MovieProbe(hurried).duration, 1.06, 0.001);
    EXPECT_NEAR(MovieProbe(hurried).soundDuration, 1.06, 0.025);
}

} // namespace tamsel::tests
