#include "support/Media.h"
#include "support/MovieProbe.h"
#include "support/Pictures.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

namespace tamsel::tests {

namespace {

constexpr std::uint32_t outlineColour = 0xff00e640;

/// A log of a phone that is moved for a while, then held, with its top lifted from a moment on.
std::string motionLog(const ScratchFolder& folder, double movedUntil, double liftedFrom, double length)
{
    std::string log
        = "time (s),rotationRate.x (rad/s),rotationRate.y (rad/s),rotationRate.z (rad/s),pitch (rad)\n";
    for (int row = 0; row <= length * 50; ++row) {
        const double time = row / 50.0;
        log += std::to_string(time) + "," + std::to_string(time < movedUntil ? std::sin(row) : 0) + ",0,0,"
            + (time < liftedFrom ? "0.1" : "1.0") + "\n";
    }
    const std::string file = folder.file("motion.csv");
    writeFile(file, log);
    return file;
}

/// The events of that kind, a line each.
std::vector<std::string> eventsOf(const std::string& events, const std::string& kind)
{
    return linesIn(events, "{\"event\": \"" + kind + "\"");
}

/// Each file that the page names is there, and not empty.
void expectWholePage(const std::string& folder)
{
    const std::string page = readFile(folder + "/index.html");
    std::size_t named = 0;
    for (const char* attribute : {"src=\"", "href=\""}) {
        for (std::size_t at = page.find(attribute); at != std::string::npos;
            at = page.find(attribute, at + 1)) {
            const std::size_t start = page.find('"', at) + 1;
            const std::string name = page.substr(start, page.find('"', start) - start);
            std::error_code error;
            EXPECT_GT(std::filesystem::file_size(folder + "/" + name, error), 0U) << name;
            EXPECT_FALSE(error) << name;
            ++named;
        }
    }
    EXPECT_GE(named, 3U);
}

bool showsOutlines(const std::string& sheet)
{
    return std::ranges::count(decoded(readFile(sheet)).words, outlineColour) > 50;
}

} // namespace

TEST(CaptureCommand, TakesOneStillWhenTheDeviceIsHeldStillAndTilted)
{
    const ScratchFolder folder;
    const std::string out = folder.file("session");
    const Outcome captured = outcomeOf("--json --back '" + sample() + "' capture '" + out + "' --motion '"
        + motionLog(folder, 0.4, 3, 20) + "' --location -33.8688,151.2093,-4 --record --silent");
    EXPECT_EQ(captured.status, 0) << captured.errors;
    EXPECT_EQ(count(captured.errors, "tamsel-capture:"), 0U) << captured.errors;
    const std::string events = readFile(out + "/events.jsonl");
    EXPECT_EQ(captured.output, events);

    const auto opened = eventsOf(events, "opened");
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_GE(numberIn(opened.front(), "time"), 3);
    EXPECT_LT(numberIn(opened.front(), "time"), 6) << "on a busy machine as well";
    EXPECT_LT(events.find("\"stable\": true"), events.find("\"facing\": true"));
    EXPECT_LT(events.find("\"facing\": true"), events.find("opened"));
    ASSERT_EQ(eventsOf(events, "sample").size(), 1U);
    ASSERT_EQ(eventsOf(events, "video").size(), 1U);
    const auto summary = eventsOf(events, "summary");
    ASSERT_EQ(summary.size(), 1U);
    EXPECT_TRUE(summary.front().contains("\"taken\": true"));
    EXPECT_EQ(numberIn(summary.front(), "produced"),
        numberIn(summary.front(), "delivered") + numberIn(summary.front(), "dropped")
            + numberIn(summary.front(), "gated"));

    EXPECT_EQ(runCommand("exiftool -q -n -s3 -ImageWidth -GPSLatitude '" + out + "/still.jpg'").output,
        "640\n-33.8688\n");
    const MovieProbe film(out + "/film.mp4");
    EXPECT_EQ(film.decodingErrors, "");
    EXPECT_GT(film.duration, 2);
    EXPECT_NE(film.soundCodec, "") << "the sound of the clip";
    expectWholePage(out);
    EXPECT_TRUE(readFile(out + "/verdicts.svg").contains("still taken at"));
}

TEST(CaptureCommand, WaitsForACodeAndDrawsItsOutline)
{
    const ScratchFolder folder;
    const std::string sheet = testData("codes/sheet.png");
    const std::string out = folder.file("<b> & \"session\"");
    const Outcome captured
        = outcomeOf("--back '" + sheet + "' capture '" + out + "' --require code:pdf417,code,code:qr");
    EXPECT_EQ(captured.status, 0) << captured.errors;
    EXPECT_EQ(count(captured.output, "pdf417"), 1U) << captured.output;
    EXPECT_EQ(count(captured.output, "/index.html"), 1U) << captured.output;
    expectWholePage(out);
    EXPECT_TRUE(showsOutlines(out + "/contact-sheet.png"));
    const std::string page = readFile(out + "/index.html");
    EXPECT_FALSE(page.contains("<b>"));
    EXPECT_TRUE(page.contains("/&lt;b&gt; &amp; ")) << "the path in an event";
    EXPECT_TRUE(page.contains("Waited for: code:pdf417, code, code:qr."));
    EXPECT_TRUE(readFile(out + "/verdicts.svg").contains("pdf417 in view"));
    EXPECT_FALSE(std::filesystem::exists(out + "/film.mp4"));
}

TEST(CaptureCommand, SaysWhatWasMissingWhenTheTimeIsOver)
{
    const ScratchFolder folder;
    const std::string out = folder.file("session");
    const std::string log = motionLog(folder, 1, 100, 6);
    // The simulated phone waits as long in virtual time.
    for (const char* backEnd : {"simulated", "host"}) {
        const bool isReal = std::string_view(backEnd) == "host";
        const Outcome captured = outcomeOf(std::string("--backend ") + backEnd
            + (isReal ? " --back test:64x48@30" : "") + " capture '" + out + "' --overwrite --motion '" + log
            + "' --timeout 3" + (isReal ? " --require tilted,code:aztec,still" : ""));
        EXPECT_EQ(captured.status, 1);
        EXPECT_EQ(count(captured.errors, isReal ? "missing: tilted, code:aztec." : "missing: tilted."), 1U)
            << captured.errors;
        EXPECT_FALSE(std::filesystem::exists(out + "/still.jpg"));
        expectWholePage(out);
        EXPECT_TRUE(readFile(out + "/index.html").contains("No still was taken within 3 s"));
        EXPECT_EQ(readFile(out + "/verdicts.svg").contains("no aztec"), isReal);
    }
}

TEST(CaptureCommand, EndsItsFilmWhenTheStillFails)
{
    const ScratchFolder folder;
    const std::string out = folder.file("session");
    // A frame every five seconds: the still gives up before the second, of which there is no film then.
    const Outcome captured = outcomeOf(
        "--back lavfi:testsrc2=size=64x48:rate=1/5 capture '" + out + "' --require none --record");
    EXPECT_EQ(captured.status, 1);
    EXPECT_TRUE(captured.errors.contains("captureImageFailed")) << captured.errors;
    EXPECT_FALSE(captured.errors.contains("repair")) << "the end of the film is told: " << captured.errors;
    EXPECT_TRUE(readFile(out + "/index.html").contains("No still was taken: captureImageFailed"));
    expectWholePage(out);
}

TEST(CaptureCommand, KeepsAnEarlierStillUntilANewOneIsWhole)
{
    const ScratchFolder folder;
    const std::string out = folder.file("session");
    const std::string capture = "--back test:64x48@30 capture '" + out + "' --overwrite --require ";
    std::filesystem::create_directories(out + "/index.html");
    writeFile(out + "/still.jpg", "an earlier one");
    writeFile(out + "/film.mp4", "an earlier one");
    const auto attempt = [&](const std::string& conditions, int status, const std::string& said) {
        const Outcome captured = outcomeOf(capture + conditions);
        EXPECT_EQ(captured.status, status) << captured.errors;
        EXPECT_TRUE((captured.output + captured.errors).contains(said)) << captured.output << captured.errors;
    };
    attempt("none", 2, "index.html is a folder");
    std::filesystem::remove(out + "/index.html");
    attempt("code --timeout 0.1", 1, "what came now is in " + out + "/new\n");
    EXPECT_EQ(readFile(out + "/still.jpg"), "an earlier one");
    expectWholePage(out + "/new");
    attempt("none", 0, out + "/index.html\n");
    expectWholePage(out);
    EXPECT_NE(readFile(out + "/still.jpg"), "an earlier one");
    EXPECT_FALSE(std::filesystem::exists(out + "/film.mp4")) << "of another capture";
    EXPECT_FALSE(std::filesystem::exists(out + "/new-2"));
}

TEST(CaptureCommand, LeavesAWholeFolderWhenItIsInterrupted)
{
    const ScratchFolder folder;
    const std::string out = folder.file("session");
    const CommandResult captured = runCommand(captureProgram() + " --json --back test:320x240@30 capture '"
        + out + "' --require code --record & pid=$!; until [ -s '" + out
        + "/film.part.mp4' ]; do sleep 0.05; done; kill -INT $pid; wait $pid 2>/dev/null");
    EXPECT_EQ(captured.status, 130);
    EXPECT_EQ(MovieProbe(out + "/film.mp4").decodingErrors, "");
    expectWholePage(out);
    EXPECT_TRUE(readFile(out + "/index.html").contains("Interrupted after"));
}

TEST(CaptureCommand, EndsInOrderWhenNobodyReadsItsOutputAnyMore)
{
    const ScratchFolder folder;
    const std::string out = folder.file("session");
    const std::string sheet = testData("codes/sheet.png");
    const CommandResult captured = runCommand(captureProgram() + " --json --back '" + sheet + "' capture '"
        + out + "' --require code:aztec 2>/dev/null | head -1");
    EXPECT_EQ(count(captured.output, "\n"), 1U);
    EXPECT_TRUE(readFile(out + "/index.html").contains("Interrupted after"));
    expectWholePage(out);
}

TEST(CaptureCommand, LeavesAFolderToTheCaptureThatIsWritingThere)
{
    const ScratchFolder folder;
    const std::string out = folder.file("session");
    const std::string program = captureProgram() + " --back test:64x48@30 capture '" + out + "' ";
    const CommandResult both = runCommand(program + "--require code & pid=$!; until [ -e '" + out
        + "/events.jsonl' ]; do sleep 0.05; done; " + program
        + "--require none --overwrite 2>&1; echo $?; kill -INT $pid; wait $pid 2>/dev/null");
    EXPECT_EQ(both.status, 130);
    EXPECT_TRUE(both.output.contains("another capture is writing there\n2\n")) << both.output;
    EXPECT_FALSE(std::filesystem::exists(out + "/still.jpg"));
    expectWholePage(out);
}

TEST(CaptureCommand, RefusesWhatCannotWorkWithOneLine)
{
    const ScratchFolder folder;
    const std::string out = folder.file("session");
    const std::string log = motionLog(folder, 1, 100, 2);
    writeFile(folder.file("file"), "in the way");
    std::filesystem::create_directory(folder.file("used"));
    writeFile(folder.file("used") + "/index.html", "somebody's page");
    struct Case {
        std::string arguments;
        std::string complaint;
    };
    const std::vector<Case> cases{
        {"--back test:64x48 capture", "needs FOLDER"},
        {"--back test:64x48 capture " + out, "--motion LOG"},
        {"--back test:64x48 capture " + out + " --require still,code:pdf", "'code:pdf'"},
        {"--back test:64x48 capture " + out + " --require code:", "'code:'"},
        {"--back test:64x48 capture " + out + " --require ''", "needs a value"},
        {"--back test:64x48 capture " + out + " --require none --timeout 0", "from 0.001 to 1000000000"},
        {"--back test:64x48 capture " + out + " --require none --microphone test:tone", "--record"},
        {"--back test:64x48 capture " + out + " --motion " + folder.file("nothing.csv"), "nothing.csv"},
        {"--backend simulated capture " + out + " --require face", "no codes and faces"},
        {"--back test:64x48 capture " + folder.file("file") + "/session --require none", "folder"},
        {"--back test:64x48 capture " + folder.file("used") + " --require none", "--overwrite"},
    };
    for (const Case& wrong : cases) {
        const Outcome captured = outcomeOf(wrong.arguments);
        EXPECT_EQ(captured.status, 2) << wrong.arguments;
        EXPECT_EQ(count(captured.errors, "\n"), 1U) << captured.errors;
        EXPECT_TRUE(captured.errors.contains(wrong.complaint)) << captured.errors;
    }
    EXPECT_EQ(readFile(folder.file("used") + "/index.html"), "somebody's page");
    EXPECT_FALSE(std::filesystem::exists(out));

    const std::string gyroOnly = folder.file("gyro.csv");
    writeFile(gyroOnly, "time (s),x (rad/s),y (rad/s),z (rad/s)\n0,0,0,0\n0.02,0,0,0\n");
    const Outcome untold
        = outcomeOf("--back test:64x48 capture " + out + " --require tilted --motion " + gyroOnly);
    EXPECT_EQ(untold.status, 1);
    EXPECT_TRUE(untold.errors.contains("no attitude")) << untold.errors;
}

} // namespace tamsel::tests
