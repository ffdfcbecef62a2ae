#include "support/Media.h"
#include "support/Program.h"

#include <host/Host.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

namespace tamsel::tests {

namespace {

const std::string generated = testData("motion/generated_held_moved_held_tilted.csv");

using MotionCommand = FolderTest;

struct Verdict {
    bool holds;
    double time;
};
using Verdicts = std::vector<Verdict>;

/// The verdicts of one kind among the program's events.
Verdicts verdictsIn(const std::string& output, const std::string& event, const std::string& key)
{
    Verdicts verdicts;
    const std::string beginning = "{\"event\": \"" + event + "\", \"" + key + "\": ";
    for (const std::string& line : linesIn(output, beginning))
        verdicts.push_back({line.substr(beginning.size(), 4) == "true", numberIn(line, "time")});
    return verdicts;
}

/// "+1.2 -3.2" for what holds from 1.2 to 3.2 s.
std::string textOf(const Verdicts& verdicts)
{
    std::ostringstream text;
    for (const Verdict& verdict : verdicts)
        text << (text.tellp() > 0 ? " " : "") << (verdict.holds ? '+' : '-') << verdict.time;
    return text.str();
}

} // namespace

TEST_F(MotionCommand, DecidesOnTheGeneratedLogWhenItWasMadeTo)
{
    // Carried from 3 to 4.5 s and lifted from 12 to about 60 degrees from 8 to 9.4 s, with a tremor below 0.1 rad/s.
    const struct {
        const char* options;
        const char* stability;
        const char* facing;
    } cases[] = {
        {"", "+1.2 -3.2 +6 -8.2 +10.8", "-0.2 +9"},
        {"--stability --duration 0.4", "+0.6 -3.1 +5.2 -8.2 +10", ""},
        {"--stability --threshold 9", "+1.2", ""},
        {"--facing-angle --angle 20", "", "-0.2 +8.4"},
        {"--facing-angle --angle 91", "", "-0.2"},
        {"--facing-angle --angle -5", "", "+0.2"},
    };
    for (const auto& [options, stability, facing] : cases) {
        const std::string told = outputOf("--json motion '" + generated + "' " + options);
        EXPECT_EQ(textOf(verdictsIn(told, "stability", "stable")), stability) << options;
        EXPECT_EQ(textOf(verdictsIn(told, "facingAngle", "facing")), facing) << options;
    }
}

TEST_F(MotionCommand, DecidesAtTheTickWhenADurationHasPassed)
{
    // Ticks are a quarter of a duration apart; the phone is shaken at every twelfth and lies still at the others. A shaken
    // sample is in the window for four ticks, and four ticks later the phone has been still for the duration.
    constexpr int ticks = 480;
    for (const char* duration :
        {"0.001", "0.07", "0.1", "0.33", "0.3333333333333333", "0.8", "2.7", "1100"}) {
        const double interval = std::strtod(duration, nullptr) / 4;
        std::ostringstream log;
        log.precision(17);
        log << "t,x,y,z\n0,0,0,0\n";
        for (int tick = 1; tick <= ticks + 1; ++tick)
            log << (tick - 0.5) * interval << (tick % 12 == 0 ? ",2,0,0\n" : ",0,0,0\n");
        writeFile(folder.file("shaken.csv"), log.str());
        Verdicts verdicts
            = verdictsIn(outputOf("--json motion '" + folder.file("shaken.csv") + "' --duration " + duration),
                "stability", "stable");
        for (Verdict& verdict : verdicts)
            verdict.time = std::round(verdict.time / interval * 1000) / 1000;
        Verdicts expected{{true, 6}};
        for (int tick = 12; tick <= ticks; tick += 12) {
            expected.push_back({false, static_cast<double>(tick)});
            if (tick + 8 <= ticks)
                expected.push_back({true, static_cast<double>(tick + 8)});
        }
        EXPECT_EQ(textOf(verdicts), textOf(expected)) << "ticks, for a duration of " << duration << " s";
    }
}

TEST_F(MotionCommand, TellsHeldFromMovedOnLogsOfRealPhones)
{
    for (const auto& [name, stability, facing] :
        std::vector<std::array<const char*, 3>>{{"gyro_held_100hz", "+1.2", ""},
            {"phyphox_gyro_walk_100hz", "-1.21959", ""}, {"devicemotion_held_still_93hz", "+1.2", "-0.2"},
            {"devicemotion_arm_swing_93hz", "-0.4", "-0.2"}}) {
        const auto log = media(std::string("motion/").append(name) + ".csv");
        if (!log)
            GTEST_SKIP() << "TAMSEL_MEDIA names no folder with motion logs";
        const std::string told = outputOf("--json motion '" + *log + "'");
        EXPECT_EQ(textOf(verdictsIn(told, "stability", "stable")), stability) << name;
        EXPECT_EQ(textOf(verdictsIn(told, "facingAngle", "facing")), facing) << name;
    }
}

TEST_F(MotionCommand, TellsTheSameInRealTimeAtTheLogsOwnPace)
{
    const std::string log = folder.file("short.csv");
    std::string text = "t,x,y,z,pitch\n";
    for (int row = 0; row <= 200; ++row) { // turned ever faster from 6.2 to 7.4 s, and tilted from 6.2 s on
        text += std::to_string(5 + row * 0.02) + "," + std::to_string(std::clamp(row, 60, 120)) + ",0,0,"
            + (row >= 60 ? "1" : "0") + "\n";
    }
    writeFile(log, text);
    const std::string told = outputOf("--json motion '" + log + "' --duration 0.2 --real-time");
    const Verdicts stability = verdictsIn(told, "stability", "stable");
    const Verdicts facing = verdictsIn(told, "facingAngle", "facing");
    ASSERT_EQ(stability.size(), 3U) << told;
    EXPECT_TRUE(stability[0].holds);
    EXPECT_FALSE(stability[1].holds);
    EXPECT_GE(stability[1].time, 6.2);
    EXPECT_TRUE(stability[2].holds);
    EXPECT_GE(stability[2].time, 7.4);
    ASSERT_EQ(facing.size(), 2U);
    EXPECT_TRUE(facing[1].holds);
    EXPECT_GE(facing[1].time, 6.2);
}

TEST_F(MotionCommand, SaysInOneLineWhatIsWrong)
{
    writeFile(folder.file("backwards.csv"), "t,x,y,z\n0,0,0,0\n2,0,0,0\n1,0,0,0\n");
    writeFile(folder.file("empty.csv"), "");
    writeFile(folder.file("gyro.csv"), "t,x,y,z\n0,0,0,0\n2,0,0,0\n");
    expectRefused("motion '" + folder.file("backwards.csv") + "'", "backwards.csv:4: the time decreases\n");
    expectRefused("--back test:64x48 frames --motion '" + folder.file("empty.csv") + "'",
        "tamsel-capture: " + folder.file("empty.csv:1: the log is empty\n"));
    writeFile(folder.file("orientation.csv"), "time,seconds_elapsed,pitch\n1628772230165000123,0,1\n2,2,1\n");
    for (const auto& [arguments, missing] :
        std::vector<std::pair<std::string, std::string>>{{"sensors", "this machine has no motion sensors"},
            {"sensors --stability", "there is no gyroscope"},
            {"sensors --facing-angle", "there is no attitude"},
            {"'" + folder.file("gyro.csv") + "' --facing-angle", "gyro.csv has no attitude"},
            {"'" + folder.file("orientation.csv") + "' --stability",
                "orientation.csv has no rotation rates"}}) {
        if (arguments.starts_with("sensors") && host::Host::hasMotionSensors())
            continue;
        const Outcome outcome = outcomeOf("--json motion " + arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_TRUE(outcome.output.starts_with("{\"event\": \"error\", \"kind\": \"serviceNotAvailable\""));
        EXPECT_TRUE(outcome.errors.contains(missing)) << outcome.errors;
        EXPECT_EQ(count(outcome.output, "\n"), 1U) << outcome.output;
        EXPECT_EQ(count(outcome.errors, "\n"), 1U) << outcome.errors;
    }
    const std::string tilted = outputOf(
        "--json motion '" + folder.file("orientation.csv") + "' --plot '" + folder.file("pitch.svg") + "'");
    EXPECT_EQ(textOf(verdictsIn(tilted, "facingAngle", "facing")), "+0.2");
    EXPECT_EQ(count(readFile(folder.file("pitch.svg")), "<path "), 1U) << "no curves of what nobody measured";
}

TEST_F(MotionCommand, DrawsTheLogAndItsVerdicts)
{
    const std::string plot = folder.file("plot.svg");
    const auto plotOf = [&](const std::string& log) {
        (void)outputOf("motion '" + log + "' --overwrite --plot '" + plot + "'");
        return readFile(plot);
    };
    const std::string picture = plotOf(generated);
    EXPECT_TRUE(picture.starts_with("<svg xmlns="));
    EXPECT_TRUE(picture.ends_with("</svg>\n"));
    EXPECT_EQ(count(picture, " s: yes</title>"), 4U) << "three times held still, once tilted far enough";
    EXPECT_EQ(count(picture, " s: no</title>"), 3U);
    EXPECT_EQ(count(picture, " at the end: yes</title>"), 2U);
    EXPECT_EQ(count(picture, "stroke-dasharray"), 3U) << "the threshold on both sides, and the angle";
    EXPECT_EQ(count(picture, "<path "), 4U);
    EXPECT_EQ(count(picture, "nan") + count(picture, "inf"), 0U);

    writeFile(folder.file("wild.csv"), "t,x,y,z\n0,1e308,0,0\n1,-1e308,0,0\n2,0,0,0\n");
    EXPECT_EQ(count(plotOf(folder.file("wild.csv") + "' --threshold '1e308"), "nan"), 0U);
    writeFile(folder.file("one.csv"), "t,x,y,z\n3,1,1,1\n");
    EXPECT_EQ(count(plotOf(folder.file("one.csv")), "nan"), 0U) << "a log of a single moment";
}

TEST_F(MotionCommand, StandsBesideTheFramesOfACamera)
{
    for (const char* camera : {"--back test:64x48@10", "--backend simulated"}) {
        const Outcome outcome = outcomeOf(
            std::string("--json ").append(camera) + " frames --seconds 2.8 --motion '" + generated + "'");
        EXPECT_TRUE(outcome.status == 0 || outcome.errors.contains("dropped"))
            << "a busy machine may drop frames: " << outcome.errors;
        EXPECT_GT(count(outcome.output, "\"event\": \"frame\""), 5U);
        const Verdicts facing = verdictsIn(outcome.output, "facingAngle", "facing");
        ASSERT_EQ(facing.size(), 1U);
        EXPECT_FALSE(facing[0].holds);
        const Verdicts stability = verdictsIn(outcome.output, "stability", "stable");
        ASSERT_EQ(stability.size(), 1U);
        EXPECT_TRUE(stability[0].holds);
        EXPECT_GE(stability[0].time, 1.1);
        EXPECT_LT(
            outcome.output.find("\"event\": \"stability\""), outcome.output.rfind("\"event\": \"frame\""));
    }
}

} // namespace tamsel::tests
