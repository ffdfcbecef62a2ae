#include "support/Media.h"
#include "support/MovieProbe.h"

#include <host/ffmpeg/VideoReader.h>
#include <host/recording/HostMovieWriter.h>
#include <host/recording/MovieFacts.h>
#include <host/recording/repairMovie.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <map>
#include <random>

namespace tamsel::tests {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

/// What one thread asks the disk to keep, through the functions at the end of this file, which stand before the system's.
struct DiskLog {
    std::vector<std::string> contents; ///< of a file at each `fdatasync`
    std::map<ino_t, std::string> synced; ///< what the disk has for certain
    int foldersSynced = 0;
    int unsyncedNames = 0; ///< of files that were renamed before the disk had all of them
};
std::atomic<DiskLog*> diskLog = nullptr;

void logSync(int descriptor, bool isContent)
{
    struct stat status{};
    if (!diskLog || ::fstat(descriptor, &status) != 0)
        return;
    if (S_ISDIR(status.st_mode)) {
        ++diskLog.load()->foldersSynced;
        return;
    }
    std::string& synced = diskLog.load()->synced[status.st_ino];
    synced = readFile("/proc/self/fd/" + std::to_string(descriptor));
    if (isContent)
        diskLog.load()->contents.push_back(synced);
}

int renameLogged(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags)
{
    struct stat status{};
    if (diskLog && ::fstatat(fromFolder, from, &status, 0) == 0
        && diskLog.load()->synced[status.st_ino] != readFile(from))
        ++diskLog.load()->unsyncedNames;
    return static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

/// Records a movie of so many frames with sound.
std::unique_ptr<engine::MovieWriter> record(
    const std::string& file, int frames, std::vector<std::string> encoders = {"libx264"})
{
    host::HostMovieWriters writers(std::move(encoders));
    auto writer = writers.makeWriter({.url = file, .quarterTurns = 1, .hasSound = true});
    EXPECT_TRUE(writer->open().has_value());
    for (int number = 0; number < frames; ++number) {
        const nanoseconds time = 33ms * number;
        platform::CVPixelBuffer pixels(160, 120);
        std::mt19937 random(7);
        for (std::size_t at = 0; at < pixels.height() * pixels.bytesPerRow(); ++at)
            pixels.baseAddress()[at]
                = static_cast<std::byte>(random() % 32 + static_cast<unsigned>(number) / 2);
        const auto frame = writer->keep(pixels, nullptr);
        EXPECT_TRUE(writer->writeFrame(*frame, time).has_value());
        engine::SoundChunk sound{.samples = std::vector<float>(std::size_t{2} * 1584), .captureTime = time};
        for (std::size_t at = 0; at < sound.samples.size(); ++at)
            sound.samples[at] = 0.3F * std::sin(0.05F * static_cast<float>(at) / 2);
        EXPECT_TRUE(writer->writeSound(sound).has_value());
    }
    return writer;
}

struct MovieRecovery : FolderTest {
    const std::string file = folder.file("out.mp4");
    const std::string part = host::partOfMovie(file);
};

template <typename Value> std::string errorOf(const std::expected<Value, platform::Error>& result)
{
    return result ? "" : result.error().localizedDescription;
}

/// How many frames this project's reader decodes.
std::size_t decodedFrames(const std::string& file)
{
    const auto reader = host::VideoReader::open(file, {});
    std::size_t count = 0;
    while (reader && (*reader)->next() == host::VideoReader::Step::frame)
        ++count;
    return count;
}

} // namespace

TEST_F(MovieRecovery, CompletesWhatAKilledProcessHasLeft)
{
    for (const std::string encoder : {"libx264", "mpeg4"}) {
        for (const auto& [name, partName] : {std::pair("a.mp4", "a.part.mp4"),
                 std::pair("a.mov", "a.part.mov"), std::pair("no suffix", "no suffix.part")}) {
            const std::string whole = folder.file(name);
            (void)record(whole, 150, {encoder});
            EXPECT_EQ(MovieProbe(folder.file(partName)).decodingErrors, "");
            EXPECT_GE(decodedFrames(folder.file(partName)), 120U); // all but the last group
            writeFile(host::copyOfMovie(whole), "of a repair that was killed, too");
            // By either name.
            const auto repaired = host::repairMovie(encoder == "mpeg4" ? folder.file(partName) : whole);
            ASSERT_EQ(errorOf(repaired), "");
            EXPECT_EQ(*repaired, whole);
            const MovieProbe movie(whole);
            EXPECT_EQ(movie.decodingErrors, "");
            EXPECT_GE(movie.frameTimes.size(), 120U);
            EXPECT_NEAR(movie.soundDuration, movie.duration, 0.1);
            EXPECT_EQ(std::abs(movie.rotation), 90);
            EXPECT_EQ(movie.boxes.at(1), "moov");
            EXPECT_EQ(std::ranges::count(movie.boxes, "moof"), 0);
            // Killed between its two last steps.
            std::filesystem::rename(whole, folder.file(partName));
            ASSERT_EQ(errorOf(host::repairMovie(whole)), "");
            EXPECT_EQ(MovieProbe(whole).frameTimes, movie.frameTimes);
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.file("")), {}), 1);
            std::filesystem::remove(whole);
        }
    }
}

/// What a disk may hold when power fails between two syncs: of each sector the earlier content or the later one, and any length.
std::string tornBetween(const std::string& before, const std::string& after, std::mt19937& random)
{
    constexpr std::size_t block = 512; // a sector
    std::string torn = before;
    torn.resize(before.size() + random() % (after.size() - before.size() + 1));
    for (std::size_t begin = 0; begin < torn.size(); begin += block) {
        if (random() % 2 == 0)
            torn.replace(begin, block, after, begin, std::min(block, torn.size() - begin));
    }
    return torn;
}

TEST_F(MovieRecovery, KeepsWhatWasSyncedWhenPowerFails)
{
    DiskLog disk;
    diskLog = &disk;
    EXPECT_EQ(errorOf(record(folder.file("whole.mp4"), 200)->finish()), "");
    diskLog = nullptr;
    EXPECT_EQ(disk.foldersSynced, 2) << "with the part's name, and with the movie's";
    EXPECT_EQ(disk.unsyncedNames, 0);
    const std::vector<std::string>& synced = disk.contents;

    std::mt19937 random(11);
    std::size_t frames = 0;
    for (std::size_t at = 0; at < synced.size(); ++at) {
        writeFile(part, synced[at]);
        EXPECT_EQ(MovieProbe(part).decodingErrors, "");
        const std::size_t whole = decodedFrames(part);
        EXPECT_GE(whole, frames);
        frames = whole;
        const std::string& next = synced[std::min(at + 1, synced.size() - 1)];
        for (int trial = 0; trial < 10; ++trial) {
            writeFile(part, tornBetween(synced[at], next, random));
            EXPECT_GE(decodedFrames(part), frames) << at << ' ' << trial;
            ASSERT_EQ(errorOf(host::repairMovie(file)), "") << at << ' ' << trial;
            EXPECT_GE(decodedFrames(file), frames) << at << ' ' << trial;
            std::filesystem::remove(file);
        }
    }
    EXPECT_EQ(frames, 200U);
}

/// A damaged part gives a movie that plays, with what of it is known, or an error that leaves it as it was.
TEST_F(MovieRecovery, TakesWhatIsWholeOfADamagedPart)
{
    (void)record(file, 150);
    const std::string good = readFile(part);
    std::mt19937 random(3);
    int repaired = 0;
    for (int round = 0; round < 60; ++round) {
        std::string bad = good;
        if (round % 2 == 0)
            bad.resize(random() % bad.size());
        else
            for (int change = 0; change <= round % 4; ++change)
                bad[random() % bad.size()] = static_cast<char>(random());
        writeFile(part, bad);
        if (const std::string error = errorOf(host::repairMovie(file)); !error.empty()) {
            EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 0);
            EXPECT_TRUE(error.starts_with(folder.file("out."))) << error;
            EXPECT_TRUE(readFile(part) == bad && !std::filesystem::exists(file)) << round << ": " << error;
            continue;
        }
        ++repaired;
        EXPECT_GT(decodedFrames(file), 0U) << round;
        EXPECT_FALSE(std::filesystem::exists(part)) << round;
        std::filesystem::remove(file);
    }
    EXPECT_GT(repaired, 20);
}

TEST_F(MovieRecovery, RefusesWhatNeedsNoRepairOrMustNotBeTouched)
{
    EXPECT_EQ(errorOf(host::repairMovie(file)), file + ": No such file or directory");
    for (const std::string content : {"", "no movie",
             "\0\0\0\x10"
             "ftypisom"}) {
        writeFile(part, content);
        const std::string error = errorOf(host::repairMovie(file));
        EXPECT_TRUE(error.starts_with(part + ": ")) << error;
        EXPECT_EQ(readFile(part), content);
    }
    std::filesystem::remove(part);

    {
        const auto writer = record(file, 70);
        EXPECT_EQ(errorOf(host::repairMovie(file)), file + ": is being recorded");
        EXPECT_EQ(errorOf(host::repairMovie(part)), file + ": is being recorded");
        ASSERT_EQ(errorOf(writer->finish()), "");
    }
    EXPECT_EQ(errorOf(host::repairMovie(file)), file + ": plays already");
    writeFile(part, "somebody's");
    EXPECT_EQ(errorOf(host::repairMovie(file)),
        file + ": exists already, and " + part + " has been left unchanged");
    EXPECT_EQ(errorOf(host::repairMovie(part)),
        file + ": exists already, and " + part + " has been left unchanged");
    EXPECT_EQ(readFile(part), "somebody's");

    const std::string text = folder.file("text.mp4");
    writeFile(text, "no movie");
    EXPECT_EQ(errorOf(host::repairMovie(text)),
        text + ": there is no part to repair it from (" + folder.file("text.part.mp4") + ")");
    writeFile(text + ".recovery", "TAMSEL RECOVER 2");
    EXPECT_EQ(errorOf(host::repairMovie(text)),
        text + ": was left by an earlier version of this program, and only that version can repair it");
}

} // namespace tamsel::tests

extern "C" int fdatasync(int descriptor)
{
    const auto result = static_cast<int>(::syscall(SYS_fdatasync, descriptor));
    tamsel::tests::logSync(descriptor, true);
    return result;
}

extern "C" int fsync(int descriptor)
{
    const auto result = static_cast<int>(::syscall(SYS_fsync, descriptor));
    tamsel::tests::logSync(descriptor, false);
    return result;
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    return tamsel::tests::renameLogged(AT_FDCWD, from, AT_FDCWD, to, 0);
}

extern "C" int renameat2(
    int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept
{
    return tamsel::tests::renameLogged(fromFolder, from, toFolder, to, flags);
}
