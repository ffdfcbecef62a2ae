#include "support/Media.h"
#include "support/MovieProbe.h"
#include "support/Pictures.h"
#include "support/Program.h"

#include <host/Host.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

namespace tamsel::tests {

namespace {

constexpr std::uint32_t outlineColour = 0xff00e640;

struct CaptureCommand : FolderTest {
    /// A log of a phone that is moved for a while, then held, with its top lifted from a moment on.
    [[nodiscard]] std::string motionLog(double movedUntil, double liftedFrom, double length) const
    {
        std::string log
            = "time (s),rotationRate.x (rad/s),rotationRate.y (rad/s),rotationRate.z (rad/s),pitch (rad)\n";
        for (int row = 0; row <= length * 50; ++row) {
            const double time = row / 50.0;
            log += std::to_string(time) + "," + std::to_string(time < movedUntil ? std::sin(row) : 0)
                + ",0,0," + (time < liftedFrom ? "0.1" : "1.0") + "\n";
        }
        writeFile(folder.file("motion.csv"), log);
        return folder.file("motion.csv");
    }

    const std::string out = folder.file("session");
};

/// The events of that kind, a line each.
std::vector<std::string> eventsOf(const std::string& events, const std::string& kind)
{
    return linesIn(events, "{\"event\": \"" + kind + "\"");
}

/// Each file that the page names is there and not empty, and its list is in the order of time.
void expectWholePage(const std::string& folder)
{
    const std::string page = readFile(folder + "/index.html");
    const std::regex link("(?:src|href|poster)=\"([^\"]*)\"");
    std::size_t named = 0;
    for (std::sregex_iterator found(page.begin(), page.end(), link), end; found != end; ++found, ++named)
        EXPECT_NE(readFile(folder + "/" + found->str(1)), "") << found->str(1);
    EXPECT_GE(named, 3U);
    const auto timeOf = [](const std::string& entry) { return std::stod(entry.substr(10)); };
    EXPECT_TRUE(std::ranges::is_sorted(linesIn(page, "<li><time>"), {}, timeOf)) << page;
}

} // namespace

TEST_F(CaptureCommand, TakesOneStillWhenTheDeviceIsHeldStillAndTilted)
{
    const Outcome captured = outcomeOf("--json --back '" + sample() + "' capture '" + out + "' --motion '"
        + motionLog(0.4, 3, 20) + "' --location -33.8688,151.2093,-4 --record --silent");
    EXPECT_EQ(captured.status, 0) << captured.errors;
    EXPECT_EQ(count(captured.errors, "tamsel-capture:"), 0U) << captured.errors;
    const std::string events = readFile(out + "/events.jsonl");
    EXPECT_EQ(captured.output, events);

    const auto opened = eventsOf(events, "opened");
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_GE(numberIn(opened.front(), "time"), 3);
    EXPECT_LT(numberIn(opened.front(), "time"), 6) << "on a busy machine as well";
    EXPECT_EQ(eventsOf(events, "sample").size() + eventsOf(events, "video").size(), 2U);
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
    const std::string page = readFile(out + "/index.html");
    std::size_t at = 0;
    for (const char* text : {">held still<", ">tilted far enough<", ">all conditions hold",
             ">still received<", ">film complete<"})
        EXPECT_NE(at = page.find(text, at), std::string::npos) << text << " in its place in " << page;
    const std::string shot = page.substr(page.rfind("<time>", page.find(">all conditions hold")));
    EXPECT_NEAR(std::stod(shot.substr(6)), numberIn(opened.front(), "time"), 0.006);
    const std::string chart = readFile(out + "/verdicts.svg");
    EXPECT_EQ(count(chart, "; at the still: <tspan font-weight=\"bold\">yes<"), 2U);
    EXPECT_TRUE(chart.contains("tilted far enough at the end: yes")) << "the last state, however short";
}

TEST_F(CaptureCommand, WaitsForACodeAndDrawsItsOutline)
{
    const std::string sheet = testData("codes/sheet.png");
    const std::string odd = folder.file("<b> & \"session\"");
    const std::string told
        = outputOf("--back '" + sheet + "' capture '" + odd + "' --require code:pdf417,code,code:qr");
    EXPECT_EQ(count(told, "pdf417"), 1U) << told;
    EXPECT_EQ(count(told, "/index.html"), 1U) << told;
    expectWholePage(odd);
    EXPECT_GT(std::ranges::count(decoded(readFile(odd + "/contact-sheet.png")).words, outlineColour), 50);
    EXPECT_TRUE(readFile(odd + "/index.html").contains("Waited for: code:pdf417, code, code:qr."));
    EXPECT_TRUE(readFile(odd + "/verdicts.svg").contains("pdf417 in view; at the still: "));
    EXPECT_FALSE(std::filesystem::exists(odd + "/film.mp4"));
}

TEST_F(CaptureCommand, SaysWhatWasMissingWhenTheTimeIsOver)
{
    const std::string log = motionLog(1, 100, 6);
    // The simulated phone waits as long in virtual time.
    for (const char* backEnd : {"simulated", "host"}) {
        const bool isReal = std::string_view(backEnd) == "host";
        const Outcome captured = outcomeOf(std::string("--backend ") + backEnd
            + (isReal ? " --back '" + testData("codes/sheet.png") + "'" : "") + " capture '" + out
            + "' --overwrite --motion '" + log + "' --timeout 3"
            + (isReal ? " --require tilted,code:aztec,still" : ""));
        EXPECT_EQ(captured.status, 1);
        EXPECT_EQ(count(captured.errors, isReal ? "missing: tilted, code:aztec." : "missing: tilted."), 1U)
            << captured.errors;
        EXPECT_FALSE(std::filesystem::exists(out + "/still.jpg"));
        expectWholePage(out);
        EXPECT_TRUE(readFile(out + "/index.html").contains("No still was taken within 3 s"));
        const std::string chart = readFile(out + "/verdicts.svg");
        EXPECT_TRUE(chart.contains("tilted far enough; at the end: <tspan font-weight=\"bold\">no<"));
        EXPECT_EQ(chart.contains("aztec in view; at the end: "), isReal);
    }
}

TEST_F(CaptureCommand, EndsItsFilmWhenTheStillFails)
{
    // A frame every five seconds: the still gives up before the second, of which there is no film then.
    const Outcome captured = outcomeOf(
        "--back lavfi:testsrc2=size=64x48:rate=1/5 capture '" + out + "' --require none --record");
    EXPECT_EQ(captured.status, 1);
    EXPECT_TRUE(captured.errors.contains("captureImageFailed")) << captured.errors;
    EXPECT_FALSE(captured.errors.contains("repair"))
        << "the end of the film is reported: " << captured.errors;
    EXPECT_EQ(count(readFile(out + "/index.html"), ": captureImageFailed"), 2U) << "the outcome and the list";
    EXPECT_TRUE(readFile(out + "/verdicts.svg").contains(">failed still at "));
    expectWholePage(out);
}

TEST_F(CaptureCommand, KeepsAnEarlierStillUntilANewOneIsWhole)
{
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
    attempt("code --timeout 0.1", 1, "the new ones are in " + out + "/new\n");
    EXPECT_EQ(readFile(out + "/still.jpg"), "an earlier one");
    expectWholePage(out + "/new");
    attempt("none", 0, out + "/index.html\n");
    expectWholePage(out);
    EXPECT_NE(readFile(out + "/still.jpg"), "an earlier one");
    EXPECT_FALSE(std::filesystem::exists(out + "/film.mp4")) << "of another capture";
    EXPECT_FALSE(std::filesystem::exists(out + "/new-2"));
}

TEST_F(CaptureCommand, LeavesAWholeFolderWhenItIsInterrupted)
{
    const CommandResult captured = runCommand(captureProgram() + " --json --back test:320x240@30 capture '"
        + out + "' --require code --record & pid=$!; until [ -s '" + out
        + "/film.part.mp4' ]; do sleep 0.05; done; kill -INT $pid; wait $pid 2>/dev/null");
    EXPECT_EQ(captured.status, 130);
    EXPECT_EQ(MovieProbe(out + "/film.mp4").decodingErrors, "");
    expectWholePage(out);
    EXPECT_TRUE(readFile(out + "/index.html").contains("Interrupted after"));
}

TEST_F(CaptureCommand, EndsInOrderWhenNobodyReadsItsOutputAnyMore)
{
    const CommandResult captured
        = runCommand(captureProgram() + " --json --back '" + testData("codes/markup.png") + "' capture '"
            + out + "' --require code:aztec 2>/dev/null | head -1");
    EXPECT_EQ(count(captured.output, "\n"), 1U);
    const std::string page = readFile(out + "/index.html");
    EXPECT_TRUE(page.contains("in view: qr &lt;script&gt;alert(&quot;&amp;&quot;)&lt;/script&gt;\\u001b<"));
    expectWholePage(out);
}

TEST_F(CaptureCommand, LeavesAFolderToTheCaptureThatIsWritingThere)
{
    const std::string program = captureProgram() + " --back test:64x48@30 capture '" + out + "' ";
    const CommandResult both = runCommand(program + "--require code & pid=$!; until [ -e '" + out
        + "/events.jsonl' ]; do sleep 0.05; done; " + program
        + "--require none --overwrite 2>&1; echo $?; kill -INT $pid; wait $pid 2>/dev/null");
    EXPECT_EQ(both.status, 130);
    EXPECT_TRUE(both.output.contains("another capture is writing there\n2\n")) << both.output;
    EXPECT_FALSE(std::filesystem::exists(out + "/still.jpg"));
    expectWholePage(out);
}

TEST_F(CaptureCommand, RefusesWhatCannotWorkWithOneLine)
{
    const std::string log = motionLog(1, 100, 2);
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
        if (wrong.complaint == "--motion LOG" && host::Host::hasMotionSensors())
            continue;
        expectRefused(wrong.arguments, wrong.complaint);
    }
    EXPECT_EQ(readFile(folder.file("used") + "/index.html"), "somebody's page");
    EXPECT_FALSE(std::filesystem::exists(out));

    const std::string gyroOnly = folder.file("<b> & gyro.csv");
    writeFile(gyroOnly, "time (s),x (rad/s),y (rad/s),z (rad/s)\n0,0,0,0\n0.02,0,0,0\n");
    const Outcome untold
        = outcomeOf("--back test:64x48 capture " + out + " --require tilted --motion '" + gyroOnly + "'");
    EXPECT_EQ(untold.status, 1);
    EXPECT_TRUE(untold.errors.contains("no attitude")) << untold.errors;
    EXPECT_TRUE(readFile(out + "/index.html").contains("/&lt;b&gt; &amp; gyro.csv has no attitude"));
}

} // namespace tamsel::tests
