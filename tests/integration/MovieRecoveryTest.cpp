#include "support/Media.h"
#include "support/MovieProbe.h"

#include <host/recording/HostMovieWriter.h>
#include <host/recording/MovieFile.h>
#include <host/recording/repairMovie.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>
#include <ranges>

namespace tamsel::tests {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

/// Starts a movie of so many frames with sound, and leaves it as a killed process would.
void leaveMovie(const std::string& file, int frames, std::vector<std::string> encoders)
{
    host::HostMovieWriters writers(std::move(encoders));
    const auto writer = writers.makeWriter({.url = file, .quarterTurns = 1, .hasSound = true});
    ASSERT_TRUE(writer->open().has_value());
    std::mt19937 random(7);
    for (int number = 0; number < frames; ++number) {
        const nanoseconds time = 33ms * number;
        platform::CVPixelBuffer pixels(320, 240);
        for (std::size_t at = 0; at < pixels.height() * pixels.bytesPerRow(); ++at)
            pixels.baseAddress()[at] = static_cast<std::byte>(random());
        const auto frame = writer->keep(pixels, nullptr);
        ASSERT_TRUE(writer->writeFrame(*frame, time).has_value());
        engine::SoundChunk sound{.samples = std::vector<float>(2 * 1584), .captureTime = time};
        for (std::size_t at = 0; at < sound.samples.size(); ++at)
            sound.samples[at] = 0.3F * std::sin(0.05F * static_cast<float>(at / 2));
        ASSERT_TRUE(writer->writeSound(sound).has_value());
    }
}

std::string errorOf(const std::expected<void, platform::Error>& result)
{
    return result ? "" : result.error().localizedDescription;
}

/// Puts a movie and what stands beside it into another place.
void copyMovie(const std::string& from, const std::string& to)
{
    for (const char* suffix : {"", ".recovery"})
        std::filesystem::copy_file(
            from + suffix, to + suffix, std::filesystem::copy_options::overwrite_existing);
}

} // namespace

TEST(MovieRecovery, CompletesWhatAKilledProcessHasLeft)
{
    const ScratchFolder folder;
    for (const std::string encoder : {"libx264", "mpeg4"}) {
        for (const char* suffix : {".mp4", ".mov"}) {
            const std::string file = folder.file(encoder + suffix);
            leaveMovie(file, 60, {encoder});
            ASSERT_NE(MovieProbe(file).decodingErrors, "");
            EXPECT_EQ(errorOf(host::repairMovie(file)), "");
            const MovieProbe movie(file);
            EXPECT_EQ(movie.decodingErrors, "");
            EXPECT_GE(movie.frameTimes.size(), 55U); // the encoder held the last ones
            EXPECT_NEAR(movie.soundDuration, movie.duration, 0.1);
            EXPECT_EQ(std::abs(movie.rotation), 90);
            EXPECT_EQ(movie.boxes.at(1), "moov");
            EXPECT_FALSE(std::filesystem::exists(file + ".recovery"));
        }
    }
}

TEST(MovieRecovery, GoesOnWhereverFinishingWasKilled)
{
    const ScratchFolder folder;
    const std::string left = folder.file("left.mp4");
    const std::string whole = folder.file("whole.mp4");
    const std::string file = folder.file("out.mp4");
    leaveMovie(left, 12, {"libx264"});
    copyMovie(left, whole);
    ASSERT_EQ(errorOf(host::repairMovie(whole)), "");
    const std::string expected = readFile(whole);
    for (int steps = 0;; ++steps) {
        copyMovie(left, file);
        bool isDone = false;
        for (int round = 0; round < 2 && !isDone; ++round) { // killed twice
            const auto movie = host::MovieFile::resume(file);
            ASSERT_TRUE(movie.has_value()) << movie.error().localizedDescription;
            for (int step = 0; step < steps && !isDone; ++step)
                isDone = (*movie)->finishStep().value();
        }
        if (!isDone) {
            ASSERT_EQ(errorOf(host::repairMovie(file)), "") << "after " << steps << " steps";
        }
        ASSERT_TRUE(readFile(file) == expected) << "after " << steps << " steps";
        if (isDone && steps > 3)
            break;
    }
    EXPECT_EQ(MovieProbe(file).decodingErrors, "");

    // Killed when the index had been made and was not yet noted.
    copyMovie(left, file);
    EXPECT_FALSE(host::MovieFile::resume(file).value()->finishStep().value());
    std::filesystem::copy_file(
        left + ".recovery", file + ".recovery", std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(errorOf(host::repairMovie(file)), "");
    EXPECT_TRUE(readFile(file) == expected);
}

TEST(MovieRecovery, TakesWhatIsWholeOfWhatIsThere)
{
    const ScratchFolder folder;
    const std::string left = folder.file("left.mp4");
    const std::string file = folder.file("out.mp4");
    leaveMovie(left, 20, {"libx264"});
    const auto size = std::filesystem::file_size(left + ".recovery");
    std::mt19937 random(3);
    int repaired = 0;
    for (int round = 0; round < 10; ++round) {
        copyMovie(left, file);
        if (round % 2 == 0)
            std::filesystem::resize_file(file + ".recovery", random() % size);
        else
            std::filesystem::resize_file(file, random() % std::filesystem::file_size(file));
        const std::string error = errorOf(host::repairMovie(file));
        if (!error.empty()) {
            EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 0);
            EXPECT_TRUE(error.starts_with(file)) << error;
            EXPECT_TRUE(std::filesystem::exists(file + ".recovery")); // for another try
            continue;
        }
        ++repaired;
        EXPECT_EQ(MovieProbe(file).decodingErrors, "") << "round " << round;
    }
    EXPECT_GT(repaired, 2);
}

/// A damaged side file gives a movie that plays, with what of it is known, or an error that leaves all there is as it was.
TEST(MovieRecovery, SurvivesAnyDamage)
{
    const ScratchFolder folder;
    const std::string left = folder.file("left.mp4");
    const std::string file = folder.file("out.mp4");
    leaveMovie(left, 90, {"libx264"}); // the second whole picture comes after two seconds
    std::mt19937 random(5);
    int shorter = 0;
    for (const int steps : {0, 1, 3}) { // without an index; with one; while it is being moved to the front
        for (const auto movie = host::MovieFile::resume(left); const int step : std::views::iota(0, steps))
            ASSERT_FALSE((*movie)->finishStep().value()) << step;
        const std::string good = readFile(left + ".recovery");
        const std::string media = readFile(left);
        copyMovie(left, file);
        ASSERT_EQ(errorOf(host::repairMovie(file)), "");
        const std::string whole = readFile(file);
        for (int round = 0; round < 60; ++round) {
            std::string bad = good;
            for (int change = 0; change < 1 + round % 4; ++change)
                bad[random() % bad.size()] = static_cast<char>(random());
            writeFile(file, media);
            writeFile(file + ".recovery", bad);
            if (const std::string error = errorOf(host::repairMovie(file)); !error.empty()) {
                EXPECT_TRUE(readFile(file) == media && readFile(file + ".recovery") == bad)
                    << steps << ' ' << round << ": " << error;
            } else if (readFile(file) != whole && ++shorter <= 5) { // looking at all of them takes long
                const MovieProbe movie(file);
                EXPECT_EQ(movie.decodingErrors, "") << steps << ' ' << round;
                EXPECT_GE(movie.frameTimes.size(), 10U) << steps << ' ' << round;
            }
        }
    }
    EXPECT_GT(shorter, 5);
}

TEST(MovieRecovery, RefusesWhatNeedsNoRepairOrMustNotBeTouched)
{
    const ScratchFolder folder;
    const std::string file = folder.file("out.mp4");
    EXPECT_EQ(errorOf(host::repairMovie(file)), file + ": No such file or directory");
    host::HostMovieWriters writers;
    const auto writer = writers.makeWriter({.url = file});
    ASSERT_TRUE(writer->open().has_value());
    EXPECT_EQ(errorOf(host::repairMovie(file)), file + ": is being recorded");
    const auto frame = writer->keep(platform::CVPixelBuffer(64, 48), nullptr);
    ASSERT_TRUE(writer->writeFrame(*frame, 1s).has_value());
    ASSERT_EQ(errorOf(writer->finish()), "");
    EXPECT_EQ(errorOf(host::repairMovie(file)), file + ": plays already");
    writeFile(folder.file("text.mp4"), "no movie");
    EXPECT_EQ(errorOf(host::repairMovie(folder.file("text.mp4"))),
        folder.file("text.mp4") + ": there is nothing to repair it from (" + folder.file("text.mp4.recovery")
            + ")");
}

} // namespace tamsel::tests
