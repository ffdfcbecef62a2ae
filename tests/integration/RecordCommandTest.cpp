#include "support/Media.h"
#include "support/MovieProbe.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <sys/stat.h>

namespace tamsel::tests {

namespace {

/// What was killed, or found the disk full, lacks the sound that had not come by then.
enum class Ending : bool { regular, early };

/// A file that people's players play: whole, in one piece where there was room for that, its index first, every frame decodable.
void expectPlayable(const MovieProbe& movie, Ending ending = Ending::regular, bool hasFragments = false)
{
    EXPECT_EQ(movie.decodingErrors, "");
    const auto header = std::ranges::find(movie.boxes, "moov");
    const auto media = std::ranges::find(movie.boxes, "mdat");
    EXPECT_NE(header, movie.boxes.end());
    EXPECT_LT(header - movie.boxes.begin(), media - movie.boxes.begin());
    EXPECT_EQ(std::ranges::count(movie.boxes, "moof") > 0, hasFragments);
    ASSERT_GE(movie.frameTimes.size(), 3U); // a busy machine leaves out most of them
    EXPECT_DOUBLE_EQ(movie.frameTimes.front(), 0);
    // The last picture stays as long as the one before it.
    EXPECT_NEAR(movie.duration,
        2 * movie.frameTimes.back() - movie.frameTimes.at(movie.frameTimes.size() - 2), 0.002);
    if (movie.soundCodec.empty())
        return;
    constexpr double soundPacket = 1024 / 48'000.0;
    EXPECT_LT(movie.soundDuration, movie.duration + soundPacket);
    if (ending == Ending::regular) {
        EXPECT_GT(movie.soundDuration, movie.duration - soundPacket);
    }
}

struct RecordCommand : FolderTest {
    const std::string file = folder.file("out.mp4");
};

/// Where "a.mp4" is recorded.
std::string partOf(const std::string& file)
{
    return file.substr(0, file.size() - 4) + ".part.mp4";
}

/// Records the pattern into a file, and when there are pictures in it sends the program a signal.
CommandResult recordUntil(const std::string& file, const std::string& signal)
{
    return runCommand(captureProgram() + " --json --back test:320x240@30 record " + file
        + " --microphone test:tone & pid=$!; while kill -0 $pid && [ ! -s " + partOf(file)
        + " ]; do sleep 0.05; done; kill -" + signal + " $pid; wait $pid 2>/dev/null");
}

} // namespace

TEST_F(RecordCommand, WritesAMovieWithPictureAndSound)
{
    for (const std::string name : {"out.mp4", "out.mov", "a film.m4v"}) {
        const std::string film = folder.file(name);
        const bool isFree = name == "out.mov"; // without GPL
        const Outcome recorded = outcomeOf("--json --back test:640x480@30 record '" + film
            + "' --seconds 1 --microphone test:tone"
            + (isFree ? " --encoder none_such --encoder mpeg4" : ""));
        EXPECT_EQ(recorded.status, 0) << recorded.errors;
        EXPECT_EQ(count(recorded.errors, "tamsel-capture:"), 0U) << recorded.errors;
        const MovieProbe movie(film);
        expectPlayable(movie);
        EXPECT_EQ(movie.videoCodec, isFree ? "mpeg4" : "h264");
        EXPECT_EQ(movie.soundCodec, "aac");
        EXPECT_EQ(movie.width, 640);
        EXPECT_EQ(movie.height, 480);
        EXPECT_EQ(movie.rotation, 0);
        EXPECT_TRUE(recorded.output.starts_with("{\"event\": \"video\", \"file\": \"" + film + "\""))
            << recorded.output;
        EXPECT_NEAR(numberIn(recorded.output, "duration"), movie.duration, 0.001);
        EXPECT_EQ(numberIn(recorded.output, "frames"), static_cast<double>(movie.frameTimes.size()));
        EXPECT_GE(numberIn(recorded.output, "dropped"), 0);
    }
    // Nothing else is left.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.file("")), {}), 3);
}

TEST_F(RecordCommand, KeepsTheSoundOfAFileWithItsPicture)
{
    const std::string clip = folder.file("clip.mp4");
    ASSERT_TRUE(makeFlashingClip(clip, 3.4));
    (void)outputOf("--back " + clip + " record " + file + " --seconds 6");
    expectPlayable(MovieProbe(file));
    const std::vector<double> flashes = flashTimes(file);
    const std::vector<double> beeps = beepTimes(file);
    EXPECT_GE(flashes.size(), 4U);
    const auto matched = std::ranges::count_if(flashes, [&](double flash) {
        return std::ranges::any_of(beeps, [&](double beep) { return std::abs(beep - flash) < 0.04; });
    });
    EXPECT_GE(matched, std::ssize(flashes) - 1) << "a busy machine may miss the first frame of one";
}

TEST_F(RecordCommand, ReplacesNothingUnlessItIsToldTo)
{
    writeFile(file, "something else");
    const std::string camera = "--back test:64x48@30 record '" + file + "' --seconds 0.5";
    expectRefused(camera, "--overwrite");
    EXPECT_EQ(readFile(file), "something else");
    EXPECT_TRUE(outputOf(camera + " --overwrite").contains("no sound"));
    expectPlayable(MovieProbe(file));
    EXPECT_EQ(MovieProbe(file).soundCodec, "");

    for (const std::string& target :
        {folder.file("missing/out.mp4"), std::string("/proc/out.mp4"), folder.file("")}) {
        const Outcome recorded = outcomeOf("--back test:64x48@30 record '" + target + "' --seconds 0.5");
        EXPECT_NE(recorded.status, 0);
        EXPECT_EQ(count(recorded.errors, target), 1U) << recorded.errors;
        EXPECT_EQ(count(recorded.output, "frames"), 0U) << recorded.output;
    }
    expectRefused("--back test:64x48@30 record " + folder.file("silent.mp4") + " --seconds 0.5 --microphone "
            + folder.file("nothing.wav"),
        "nothing.wav");
}

TEST_F(RecordCommand, LosesNoFileForARecordingThatDoesNotCome)
{
    std::filesystem::copy_file(sample(), file);
    const std::string record = " record '" + file + "' --overwrite --seconds 0.5";
    const Outcome unable = outcomeOf("--back test:64x48@30" + record + " --encoder nope");
    EXPECT_EQ(unable.status, 1);
    EXPECT_TRUE(unable.errors.contains("nope")) << unable.errors;
    expectRefused("--back '" + file + "'" + record, "is an input of this command");
    expectRefused(
        "--back test:64x48@30" + record + " --microphone '" + file + "'", "is an input of this command");
    EXPECT_EQ(readFile(file), readFile(sample()));

    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    expectRefused("--back test:64x48@30 record '" + pipe + "' --overwrite", "is not a regular file");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));

    const std::string live = folder.file("live.mp4");
    const CommandResult both = runCommand("(" + captureProgram() + " --back test:64x48@30 record " + live
        + " >/dev/null & first=$!; while [ ! -e " + partOf(live) + " ]; do sleep 0.05; done; "
        + captureProgram() + " --back test:64x48@30 record " + live
        + " --overwrite --seconds 1; echo second $?; while [ ! -s " + partOf(live)
        + " ]; do sleep 0.05; done; kill -INT $first; wait $first; echo first $?) 2>&1");
    EXPECT_TRUE(both.output.contains("live.mp4 is being recorded")) << both.output;
    EXPECT_TRUE(both.output.contains("second 2\n")) << both.output;
    EXPECT_TRUE(both.output.contains("first 130\n")) << both.output;
    expectPlayable(MovieProbe(live));
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(live).parent_path()))
        EXPECT_NE(entry.path().stem().extension(), ".new") << "nothing came: " << entry.path();
}

TEST_F(RecordCommand, SaysOnceThatItsCameraWasLost)
{
    const Outcome recorded = outcomeOf("--back lavfi:testsrc2=s=64x48:r=50:d=1 record " + file);
    EXPECT_EQ(recorded.status, 1);
    EXPECT_EQ(recorded.errors, "tamsel-capture: the camera was lost\n");
    expectPlayable(MovieProbe(file));
}

TEST_F(RecordCommand, LeavesAWholeFileWhenItIsInterrupted)
{
    for (const char* signal : {"INT", "TERM", "HUP", "USR1"}) {
        const std::string film = folder.file(std::string(signal) + ".mp4");
        const CommandResult recorded = recordUntil(film, signal);
        EXPECT_EQ(recorded.status, signal == std::string("USR1") ? 1 : 130);
        EXPECT_EQ(count(recorded.output, "\"video\""), 1U) << recorded.output;
        expectPlayable(MovieProbe(film));
    }
}

TEST_F(RecordCommand, CanBeRepairedAfterItWasKilled)
{
    EXPECT_NE(recordUntil(file, "KILL").status, 0);
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(MovieProbe(partOf(file)).decodingErrors, "");
    expectRefused("--back test:64x48 record " + file, "repair");

    const std::string repaired = outputOf("--json repair " + file);
    const MovieProbe movie(file);
    expectPlayable(movie, Ending::early);
    EXPECT_EQ(movie.soundCodec, "aac");
    EXPECT_EQ(numberIn(repaired, "frames"), static_cast<double>(movie.frameTimes.size()));
    expectRefused("repair " + file);
    expectPlayable(MovieProbe(file), Ending::early);
    expectRefused("repair " + folder.file("nothing.mp4"));
}

TEST_F(RecordCommand, FillsADiskWithAFileThatPlays)
{
    const std::string disk = folder.file("disk");
    std::filesystem::create_directory(disk);
    if (runCommand("mount -t tmpfs -o size=8m tamsel " + disk + " 2>/dev/null").status != 0)
        GTEST_SKIP() << "no file system can be mounted here";
    const std::string clip = folder.file("noise.mp4");
    const bool isMade = makeVideo(
        "-f lavfi -i 'nullsrc=s=640x360:r=30,geq=random(1)*255:128:128' -t 2 -c:v libx264 -preset "
        "ultrafast -crf 20",
        clip);
    writeFile(disk + "/out.mp4", "an earlier one");
    const Outcome recorded = outcomeOf("--json --back " + clip + " record " + disk
        + "/out.mp4 --seconds 60 --microphone test:tone --overwrite");
    const MovieProbe movie(disk + "/out.new.mp4");
    const std::string left = runCommand("ls " + disk + "; cat " + disk + "/out.mp4").output;
    (void)runCommand("umount " + disk);
    ASSERT_TRUE(isMade);
    EXPECT_EQ(recorded.status, 1);
    EXPECT_EQ(count(recorded.errors, "No space left on device"), 1U) << recorded.errors;
    EXPECT_EQ(count(recorded.output, "\"video\""), 1U) << recorded.output;
    expectPlayable(movie, Ending::early, true);
    EXPECT_EQ(left, "out.mp4\nout.new.mp4\nan earlier one");
}

TEST_F(RecordCommand, WorksWithTheThreadsThatItGets)
{
    std::filesystem::permissions(folder.file(""), std::filesystem::perms::all);
    // Of a user whom nobody else is; a limit does not bind the superuser.
    const std::string limited
        = "ASAN_OPTIONS=detect_leaks=0 timeout 60 setpriv --reuid 54321 --clear-groups prlimit --nproc=";
    if (runCommand(limited + "64 " + captureProgram() + " --help").status != 0)
        GTEST_SKIP() << "this user cannot run the program for another one";
    const auto fileOf = [&](int threads) { return folder.file(std::to_string(threads) + ".mp4"); };
    const auto recordWith = [&](int threads) {
        return runCommand("exec 2>&1; " + limited + std::to_string(threads) + " " + captureProgram()
            + " --back test:320x240@30 record " + fileOf(threads) + " --seconds 0.5 --microphone test:tone");
    };
    const CommandResult refused = recordWith(1);
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.output, "tamsel-capture: the system has no thread left for this program\n");
    for (const int threads : {3, 5}) {
        const CommandResult recorded = recordWith(threads);
        EXPECT_LE(recorded.status, 1) << threads << ": " << recorded.output;
        const bool isHeard = !recorded.output.contains("test:tone: the system has no thread left");
        EXPECT_EQ(recorded.status, isHeard ? 0 : 1) << threads << ": " << recorded.output;
        const MovieProbe movie(fileOf(threads));
        EXPECT_EQ(movie.decodingErrors, "") << threads;
        EXPECT_EQ(movie.videoCodec, "h264");
    }
}

TEST_F(RecordCommand, RecordsTheSimulatedPhone)
{
    (void)outputOf("--backend simulated --json record " + file + " --seconds 10");
    const MovieProbe movie(file);
    expectPlayable(movie);
    EXPECT_EQ(movie.soundCodec, "aac");
    EXPECT_NEAR(movie.duration, 10, 1 / 30.0);
}

} // namespace tamsel::tests
