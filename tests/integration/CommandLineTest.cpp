#include "support/Media.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <tuple>
#include <vector>

namespace tamsel::tests {

namespace {

const std::string program = captureProgram();

using CommandLine = FolderTest;

} // namespace

TEST_F(CommandLine, WritesNothingButOneJsonObjectALine)
{
    for (const std::string& cameras :
        {"--back " + sample(), std::string("--backend simulated"), std::string("--back test:64x48")}) {
        const auto frames = linesIn(outputOf("--json " + cameras + " frames --count 5"));
        ASSERT_EQ(frames.size(), 6U);
        for (std::size_t index = 0; index < 5; ++index)
            EXPECT_TRUE(
                frames[index].starts_with("{\"event\": \"frame\", \"index\": " + std::to_string(index)));
        EXPECT_TRUE(frames[5].starts_with("{\"event\": \"summary\""));
        EXPECT_TRUE(frames[5].contains("\"delivered\": 5"));

        const auto devices = linesIn(outputOf("--json " + cameras + " devices"));
        EXPECT_GE(devices.size(), 1U);
        for (const std::string& device : devices)
            EXPECT_TRUE(device.starts_with("{\"event\": \"device\", \"position\": ")) << device;
    }
    const std::string turned = outputOf("--json --back test:640x480@5 --device-orientation landscapeRight "
                                        "--interface-orientation landscapeLeft frames --count 1");
    EXPECT_TRUE(turned.starts_with(
        "{\"event\": \"frame\", \"index\": 0, \"width\": 480, \"height\": 640, \"exifOrientation\": 2, "
        "\"preferredTransform\": null, \"mediaTime\": "))
        << turned;
}

TEST_F(CommandLine, RefusesWrongUsageAndUnusableInputsWithOneLine)
{
    for (const char* arguments : {"", "frame", "--json", "--frobnicate frames", "frames --count 0",
             "frames --count 1.5", "frames --seconds -1", "frames --seconds nan", "frames --save-every",
             "--preset best frames", "--device-orientation up frames", "devices --count 3",
             "--backend simulated --back x frames", "--back missing.mp4 frames", "--back test:4 frames",
             "--back /dev/video99 frames", "--back /dev/null frames", "--back '' frames",
             "--back no-such-protocol://x frames", "--back . frames", "frames --motion", "status now",
             "--back /nowhere.mp4 status", "asset", "asset a b", "asset a --seconds 3", "asset-still a",
             "image a b c", "image --fast a b", "--backend simulated asset a", "motion", "motion a b",
             "motion nowhere.csv", "motion sensors a", "motion sensors --plot x.svg",
             "--backend simulated motion sensors", "--backend simulated motion a --real-time",
             "motion a --threshold -1", "motion a --duration 0", "motion a --duration 1e-300",
             "motion a --angle up", "--back test:64x48 still", "--back test:64x48 still a.jpg b.jpg",
             "--back test:64x48 still a.jpg --location 91,0", "--back test:64x48 still a.jpg --heading north",
             "--back test:64x48 still a.jpg --flash maybe", "--back test:64x48 still a.jpg --loud", "detect",
             "detect test:4", "detect a --kinds ''", "record film.avi --back test:64x48", "image a.jpg b.gif",
             "image a b c", "image a b -", "image '' b.png", "detect ''", "image /dev/zero b.png",
             "--back test:64x48 frames --camera front", "album missing.jpg new", "album a",
             "album a b --orientation 9", "--count=3 frames", "record - --back test:64x48",
             "capture - --require none", "--back test:64x48 still /no/such/folder/a.jpg",
             "asset-still a /no/such/folder/b.png", "motion a --plot /no/such/folder/b.svg",
             "--back test:64x48 frames --contact-sheet /no/such/folder/sheet.png",
             "--back test:64x48 --minimum-object-size 9 frames", "--minimum-focus-distance 0 frames"})
        expectRefused(arguments);
}

TEST_F(CommandLine, FailsWithALineWhenThereWasAnErrorOrTooLittle)
{
    const Outcome ended = outcomeOf("--json --back lavfi:testsrc2=s=64x48:r=50:d=0.2 frames --count 50");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(numberIn(ended.output, "deviceLost"), 1);
    EXPECT_GE(count(ended.output,
                  R"({"event": "error", "kind": "videoFrameError", "reason": "Video frame error"})"),
        1U);
    EXPECT_EQ(count(ended.errors, "tamsel-capture: the camera was lost"), 1U);

    const Outcome tooShort = outcomeOf("--json --back test:64x48@100 frames --count 1000000 --seconds 0.2");
    EXPECT_EQ(tooShort.status, 1);
    EXPECT_EQ(count(tooShort.errors, "tamsel-capture: only "), 1U);
}

TEST_F(CommandLine, SavesPicturesThatOtherProgramsRead)
{
    (void)outputOf("--back " + sample() + " --out " + folder.file("frames")
        + " frames --count 5 --save-every 2 " + "--contact-sheet " + folder.file("sheet.png"));
    for (const auto& [file, size] : {std::pair{"frames/frame-000000.png", "640,480"},
             {"frames/frame-000004.png", "640,480"}, {"sheet.png", "1000,384"}}) {
        const CommandResult probed = runCommand(
            "ffprobe -v error -show_entries stream=width,height -of csv=p=0 '" + folder.file(file) + "'");
        EXPECT_EQ(probed.output, std::string(size) + "\n") << file;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.file("frames/frame-000001.png")));
    // No frame of an earlier session is replaced, and none is added.
    const std::string again
        = "--back test:64x48 --out " + folder.file("frames") + " frames --count 2 --save-every 1";
    std::filesystem::remove(folder.file("frames/frame-000000.png"));
    expectRefused(again);
    EXPECT_FALSE(std::filesystem::exists(folder.file("frames/frame-000000.png")));
    (void)outputOf(again + " --overwrite");
    EXPECT_TRUE(std::filesystem::exists(folder.file("frames/frame-000000.png")));
}

TEST_F(CommandLine, ShowsWhatOthersHaveWrittenAsText)
{
    const std::string bidirectional = "\u202e";
    const std::string file = folder.file("a\033[31m\n\xff" + bidirectional + ".jpg");
    const std::string shown = R"(a\u001b[31m\u000a\xff\u202e.jpg)";
    std::filesystem::copy_file(testData("image/generated_exif_6.jpg"), file);
    ASSERT_EQ(runCommand("exiftool -q -overwrite_original -GPSLatitude=1 -GPSLongitude=2 -GPSLongitudeRef=E "
                         "-GPSLatitudeRef#='\033' '"
                  + file + "'")
                  .status,
        0);
    struct Case {
        std::string arguments;
        std::string shown;
    };
    for (const Case& foreign :
        std::vector<Case>{{"image '" + file + "' '" + file + ".png'", shown + ".png: "},
            {"image '" + file + "x' out.png", shown + "x: "}, {"album '" + file + "' '" + file + "'", shown},
            {"album '" + file + "' '" + folder.file("out") + "'", R"(1.00000 \u001b)"},
            {"--back '" + file + "' devices", shown}, {"--back '" + file + "' status", shown},
            {"--json --back '" + file + "' devices",
                R"(a\u001b[31m\n)"
                "\ufffd"
                R"(\u202e.jpg)"},
            {"detect '" + file + "'", shown + ": no code"}, {"'fra\033mes'", R"('fra\u001bmes')"}}) {
        const Outcome outcome = outcomeOf(foreign.arguments);
        const std::string told = outcome.output + outcome.errors;
        EXPECT_TRUE(told.contains(foreign.shown)) << foreign.arguments << ": " << told;
        EXPECT_FALSE(told.contains('\033') || told.contains(bidirectional)) << told;
    }
}

TEST_F(CommandLine, WritesPipesAndTheStandardOutputAsTheyStand)
{
    const std::string in = testData("image/generated_exif_6.jpg");
    const std::string out = folder.file("out.png");
    const std::string all = folder.file("all");
    writeFile(all, "before");
    (void)outputOf("image '" + in + "' '" + out + "'");
    const std::string picture = readFile(out);
    const std::string image = program + " image '" + in + "' ";
    EXPECT_TRUE(runCommand(image + "/dev/stdout 2>'" + folder.file("text") + "' | cat").output == picture);
    EXPECT_EQ(readFile(folder.file("text")), "/dev/stdout: 13 x 19 pixels\n");
    EXPECT_EQ(runCommand(image + "/dev/stdout >>'" + all + "' 2>/dev/null").status, 0);
    EXPECT_TRUE(readFile(all) == "before" + picture);

    const std::string pipe = "'" + folder.file("pipe") + "'";
    ASSERT_EQ(runCommand("mkfifo " + pipe).status, 0);
    EXPECT_TRUE(runCommand(image + pipe + " >/dev/null & cat " + pipe + "; wait $!").output == picture);
    // Nobody reads it: on the main thread, and on the client's queue.
    for (const std::string& command :
        {image + pipe, program + " --back test:64x48 frames --count 1 --contact-sheet " + pipe,
            program + " --back test:64x48 still " + pipe}) {
        const CommandResult ended = runCommand(command
            + " >/dev/null 2>&1 & for try in $(seq 600); do kill -INT $! 2>/dev/null || break; sleep 0.1; "
              "done; "
              "kill -KILL $! 2>/dev/null; wait $!");
        EXPECT_TRUE(ended.status == 1 || ended.status == 130) << command << ": " << ended.status;
    }
}

TEST_F(CommandLine, ReadsStandardInputAndPipesLikeFiles)
{
    for (const auto& [command, file, out] : {std::tuple("detect ", testData("codes/qr.png"), ""),
             {"motion ", testData("motion/generated_held_moved_held_tilted.csv"), ""},
             {"asset --fast ", sample(), ""}, {"thumbnail ", sample(), " -"},
             {"image -- ", testData("image/generated_exif_6.jpg"), " -"},
             {"album ", testData("image/generated_exif_6.jpg"), " -"}}) {
        const std::string expected = runCommand(program + " " + command + "'" + file + "'" + out).output;
        EXPECT_NE(expected, "");
        for (const char* input : {"-", "/dev/stdin"}) {
            const CommandResult read
                = runCommand("cat '" + file + "' | " + program + " " + command + input + out);
            EXPECT_EQ(read.status, 0) << command << input;
            EXPECT_TRUE(read.output == expected) << command << input;
        }
    }
}

TEST_F(CommandLine, EndsQuietlyWithoutAReaderAndFailsWithClosedStreams)
{
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(runCommand("mkfifo " + pipe).status, 0);
    const std::string picture = "'" + testData("codes/qr.png") + "'";
    for (const std::string& arguments : {std::string("--help"), "detect " + picture + " " + picture,
             std::string("--json --back test:64x48 frames"), std::string("--back test:64x48 status")}) {
        const CommandResult unread = runCommand("exec 3<>" + pipe + " 4>" + pipe + " 3<&-; exec 2>&1; "
            + program + " " + arguments + " >&4; echo $?");
        EXPECT_EQ(unread.output, "141\n") << arguments;
    }
    for (const auto& [arguments, status] : {std::pair("image " + picture + " - >&-", 2),
             {"detect " + picture + " >&-", 1}, {std::string("detect - <&-"), 2}}) {
        const CommandResult closed = runCommand("exec 2>&1; " + program + " " + arguments);
        EXPECT_EQ(closed.status, status) << arguments << closed.output;
    }
}

TEST_F(CommandLine, EndsWhenThereAreTooFewDescriptors)
{
    for (const char* command : {"still out.jpg", "status", "frames --count 2"}) {
        for (const int descriptors : {5, 8, 9, 10, 12}) {
            const CommandResult ended = runCommand("cd '" + folder.file("")
                + "'; exec 2>&1 >/dev/null; ulimit -n " + std::to_string(descriptors)
                + "; exec timeout -s KILL 30 " + program + " --back test:64x48@30 " + command);
            EXPECT_TRUE(ended.status == 0 || (ended.status <= 2 && !ended.output.empty()))
                << command << " with " << descriptors << ": " << ended.status << " " << ended.output;
        }
    }
}

TEST_F(CommandLine, WaitsForTheFirstCameraThatComes)
{
    if (runCommand("umockdev-run --version").status != 0)
        GTEST_SKIP() << "umockdev is not installed";
    writeFile(folder.file("machine.umockdev"), "P: /devices/virtual/none\nE: SUBSYSTEM=misc\n");
    // Has a /dev of its own, in which the first node is no camera.
    writeFile(folder.file("run.sh"),
        "mkdir $UMOCKDEV_DIR/dev; cd $UMOCKDEV_DIR/dev; : >video0 >$2\nLD_PRELOAD=" + captureNode()
            + ":$LD_PRELOAD timeout 60 " + program + " --back auto $1 2>$2 &\n"
            + "while kill -0 $! && ! grep -q 'waiting for a camera' $2; do sleep 0.01; done\neval \"$3\"; "
              "wait $!\n");
    const auto run = [&](const std::string& arguments, const std::string& meanwhile) {
        const int status = runCommand("umockdev-run --device='" + folder.file("machine.umockdev")
            + "' -- sh '" + folder.file("run.sh") + "' '" + arguments + "' '" + folder.file("errors") + "' '"
            + meanwhile + "'")
                               .status;
        return std::pair(status, linesIn(readFile(folder.file("errors"))));
    };
    using Result = std::pair<int, std::vector<std::string>>;
    const std::string waiting = "tamsel-capture: waiting for a camera";
    EXPECT_EQ(run("frames --seconds 0.2", ""),
        (Result{2, {waiting, "tamsel-capture: no camera came within 0.2 s"}}));
    const std::string still = "still " + folder.file("still.jpg");
    EXPECT_EQ(run(still, "kill -INT $!"), (Result{130, {waiting, "tamsel-capture: interrupted"}}));
    // A new node, and one that can be opened after a change of its permission.
    for (const char* begins : {"echo camera >new; mv new video3", "echo camera >video0; chmod 600 video0"}) {
        const auto [status, errors] = run(still, begins);
        EXPECT_EQ(status, 2);
        ASSERT_EQ(errors.size(), 2U);
        EXPECT_TRUE(errors[1].starts_with("tamsel-capture: /dev/video")) << errors[1];
    }
}

TEST_F(CommandLine, FollowsSignals)
{
    const std::string output = folder.file("output");
    // The shell waits for what it has seen in the output before it sends the next signal.
    const auto await = [&](const std::string& text) {
        return "while ! grep -q '" + text + "' '" + output + "' 2>/dev/null; do sleep 0.01; done; ";
    };
    const CommandResult result = runCommand(program + " --json --back test:64x48@100 frames >'" + output
        + "' 2>/dev/null & process=$!; " + await("frame") + "kill -USR1 $process; " + await("suspend")
        + "kill -USR2 $process; " + await("resume") + "kill -INT $process; wait $process");
    EXPECT_EQ(result.status, 130);
    const std::string told = readFile(output);
    EXPECT_EQ(count(told, "{\"event\": \"suspend\"}\n"), 1U);
    EXPECT_EQ(count(told, "{\"event\": \"resume\"}\n"), 1U);
    EXPECT_TRUE(linesIn(told).back().starts_with("{\"event\": \"summary\""));
}

} // namespace tamsel::tests
