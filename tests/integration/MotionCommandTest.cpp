#include "support/Media.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <vector>

namespace tamsel::tests {

namespace {

const std::string generated = testData("motion/generated_held_moved_held_tilted.csv");

struct Verdict {
    bool holds;
    double time;
};
using Verdicts = std::vector<Verdict>;

/// The verdicts of one kind among the program's events.
Verdicts verdictsIn(const std::string& output, const std::string& event, const std::string& key)
{
    Verdicts verdicts;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::string beginning = "{\"event\": \"" + event + "\", \"" + key + "\": ";
        if (!line.starts_with(beginning))
            continue;
        const std::size_t time = line.find("\"time\": ");
        verdicts.push_back(
            {line.substr(beginning.size(), 4) == "true", std::strtod(&line[time + 8], nullptr)});
    }
    return verdicts;
}

/// The rules once more, written down in the simplest way and from the raw text, to compare with.
class Replay {
public:
    explicit Replay(const std::string& file)
    {
        std::istringstream text(readFile(file));
        std::string line;
        std::getline(text, line);
        std::map<std::string, std::size_t> columns;
        const std::vector<std::string> titles = cells(line);
        for (std::size_t index = 0; index < titles.size(); ++index)
            columns[titles[index].substr(0, titles[index].find(' '))] = index;
        while (std::getline(text, line)) {
            const std::vector<std::string> row = cells(line);
            const auto number = [&](std::initializer_list<const char*> names) {
                for (const char* name : names) {
                    if (columns.contains(name))
                        return std::strtod(row.at(columns[name]).c_str(), nullptr);
                }
                return 0.0;
            };
            const double product = number({"attitude.w"}) * number({"attitude.x"})
                + number({"attitude.y"}) * number({"attitude.z"});
            rows_.push_back({number({"t", "time", "timestamp", "Time"}), number({"x", "X", "rotationRate.x"}),
                number({"y", "Y", "rotationRate.y"}), number({"z", "Z", "rotationRate.z"}),
                std::asin(2 * product)});
        }
    }

    [[nodiscard]] Verdicts stability(double threshold, double duration) const
    {
        Verdicts verdicts;
        std::vector<std::pair<double, Row>> window;
        double stableSince = 0;
        forEachTick(duration * 0.25, [&](double now, double time, const Row& row) {
            window.emplace_back(now, row);
            std::vector<std::pair<double, Row>> kept;
            for (const auto& entry : window) {
                if (entry.first > now - duration)
                    kept.push_back(entry);
            }
            window = kept;
            if (window.size() < 2)
                return;
            bool isStable = true;
            for (const auto& [when, entry] : window) {
                const Row& oldest = window[0].second;
                isStable = isStable
                    && std::hypot(entry.x - oldest.x, entry.y - oldest.y, entry.z - oldest.z) <= threshold;
            }
            const bool isSilent = !verdicts.empty() && verdicts.back().holds == isStable;
            if (!isStable) {
                stableSince = 0;
                if (!isSilent)
                    verdicts.push_back({false, time});
            } else if (stableSince == 0) {
                stableSince = now;
            } else if (now - stableSince >= duration && !isSilent) {
                verdicts.push_back({true, time});
            }
        });
        return verdicts;
    }

    [[nodiscard]] Verdicts facingAngle(double degrees) const
    {
        Verdicts verdicts;
        forEachTick(0.2, [&](double, double time, const Row& row) {
            const bool isFacing = row.pitch >= degrees * 3.141592653589793 / 180.0;
            if (verdicts.empty() || verdicts.back().holds != isFacing)
                verdicts.push_back({isFacing, time});
        });
        return verdicts;
    }

private:
    struct Row {
        double time, x, y, z, pitch;
    };

    static std::vector<std::string> cells(const std::string& line)
    {
        std::vector<std::string> result;
        std::istringstream stream(line);
        for (std::string cell; std::getline(stream, cell, ',');) {
            std::erase(cell, '"');
            std::erase(cell, '\r');
            result.push_back(cell);
        }
        return result;
    }

    template <typename Body> void forEachTick(double interval, Body body) const
    {
        const double first = rows_.front().time;
        for (int tick = 1; std::round(tick * interval * 1e9) <= std::round((rows_.back().time - first) * 1e9);
            ++tick) {
            const double offset = std::round(tick * interval * 1e9);
            const Row* newest = rows_.data();
            for (const Row& row : rows_) {
                if (std::round((row.time - first) * 1e9) <= offset)
                    newest = &row;
            }
            body(500'000'000 + offset / 1e9, first + offset / 1e9, *newest);
        }
    }

    std::vector<Row> rows_;
};

void expectSame(const Verdicts& told, const Verdicts& expected)
{
    ASSERT_EQ(told.size(), expected.size());
    for (std::size_t index = 0; index < told.size(); ++index) {
        EXPECT_EQ(told[index].holds, expected[index].holds);
        EXPECT_NEAR(told[index].time, expected[index].time, 1e-9);
    }
}

/// How many verdicts there were.
std::size_t compareWithReplay(const std::string& log, bool hasPitch)
{
    const Replay replay(log);
    std::size_t count = 0;
    for (const auto& [threshold, duration] : std::vector<std::pair<double, double>>{
             {0.3, 0.8}, {0.1, 0.4}, {0.05, 1}, {1, 0.33}, {0.5, 2.7}, {0, 0.1}}) {
        std::ostringstream options;
        options << " --stability --threshold " << threshold << " --duration " << duration;
        SCOPED_TRACE(log + options.str());
        const Outcome outcome = outcomeOf("--json motion '" + log + "'" + options.str());
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        const Verdicts told = verdictsIn(outcome.output, "stability", "stable");
        expectSame(told, replay.stability(threshold, duration));
        EXPECT_TRUE(verdictsIn(outcome.output, "facingAngle", "facing").empty());
        count += told.size();
    }
    for (const double angle : {-5.0, 0.0, 12.0, 20.0, 45.0, 91.0}) {
        if (!hasPitch)
            continue;
        std::ostringstream options;
        options << " --facing-angle --angle " << angle;
        SCOPED_TRACE(log + options.str());
        const Outcome outcome = outcomeOf("--json motion '" + log + "'" + options.str());
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        const Verdicts told = verdictsIn(outcome.output, "facingAngle", "facing");
        expectSame(told, replay.facingAngle(angle));
        EXPECT_TRUE(verdictsIn(outcome.output, "stability", "stable").empty());
        count += told.size();
    }
    return count;
}

} // namespace

TEST(MotionCommand, DecidesAsTheRulesDoOnTheGeneratedLog)
{
    EXPECT_GT(compareWithReplay(generated, true), 30U);
    const Outcome both = outcomeOf("motion '" + generated + "'");
    EXPECT_EQ(both.status, 0);
    EXPECT_EQ(count(both.output, "held still"), 3U);
    EXPECT_EQ(count(both.output, "moved"), 2U);
    EXPECT_EQ(count(both.output, " tilted far enough"), 2U) << both.output;
}

TEST(MotionCommand, DecidesAsTheRulesDoOnLogsOfRealPhones)
{
    std::size_t verdicts = 0;
    for (const auto& [name, hasPitch] : std::vector<std::pair<const char*, bool>>{{"gyro_held_100hz", false},
             {"phyphox_gyro_walk_100hz", false}, {"devicemotion_held_still_93hz", true},
             {"devicemotion_arm_swing_93hz", true}}) {
        const auto log = media(std::string("motion/").append(name) + ".csv");
        if (!log)
            GTEST_SKIP() << "TAMSEL_MEDIA names no folder with motion logs";
        verdicts += compareWithReplay(*log, hasPitch);
    }
    EXPECT_GT(verdicts, 100U);
}

TEST(MotionCommand, TellsTheSameInRealTimeAtTheLogsOwnPace)
{
    const ScratchFolder folder;
    const std::string log = folder.file("short.csv");
    std::string text = "t,x,y,z,pitch\n";
    for (int row = 0; row <= 85; ++row)
        text += std::to_string(5 + row * 0.02) + ",0," + (row > 40 ? "2" : "0") + ",0,"
            + (row > 20 ? "1" : "0") + "\n";
    writeFile(log, text);
    const Outcome outcome = outcomeOf("--json motion '" + log + "' --duration 0.2 --real-time");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    const Verdicts stability = verdictsIn(outcome.output, "stability", "stable");
    const Verdicts facing = verdictsIn(outcome.output, "facingAngle", "facing");
    ASSERT_EQ(stability.size(), 3U)
        << outcome.output; // the step is over after a window, and still again after two
    EXPECT_TRUE(stability[0].holds);
    EXPECT_FALSE(stability[1].holds);
    EXPECT_TRUE(stability[2].holds);
    EXPECT_GE(stability[1].time, 5.82);
    ASSERT_EQ(facing.size(), 2U);
    EXPECT_TRUE(facing[1].holds);
    EXPECT_GE(facing[1].time, 5.42);
}

TEST(MotionCommand, SaysInOneLineWhatIsWrong)
{
    const ScratchFolder folder;
    writeFile(folder.file("backwards.csv"), "t,x,y,z\n0,0,0,0\n2,0,0,0\n1,0,0,0\n");
    writeFile(folder.file("empty.csv"), "");
    writeFile(folder.file("gyro.csv"), "t,x,y,z\n0,0,0,0\n2,0,0,0\n");
    const auto refused = [&](const std::string& arguments) {
        const Outcome outcome = outcomeOf(arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_EQ(outcome.output, "") << arguments;
        EXPECT_EQ(count(outcome.errors, "\n"), 1U) << arguments << ": " << outcome.errors;
        return outcome.errors;
    };
    EXPECT_EQ(refused("motion '" + folder.file("backwards.csv") + "'"),
        "tamsel-capture: " + folder.file("backwards.csv") + ":4: time runs backwards\n");
    EXPECT_EQ(refused("--back test:64x48 frames --motion '" + folder.file("empty.csv") + "'"),
        "tamsel-capture: " + folder.file("empty.csv") + ":1: the log is empty\n");
    for (const char* arguments : {"motion", "motion --stability", "motion a b", "motion nowhere.csv",
             "motion sensor --plot x.svg", "--backend simulated motion sensor", "motion a --threshold -1",
             "motion a --threshold nan", "motion a --duration 0", "motion a --duration 1e-300",
             "motion a --angle up", "motion a --count 3", "--backend simulated motion a --real-time",
             "frames --motion", "motion sensor a"})
        (void)refused(arguments);

    const Outcome sensor = outcomeOf("--json motion sensor --stability");
    EXPECT_EQ(sensor.status, 1);
    EXPECT_EQ(
        count(sensor.output,
            "{\"event\": \"error\", \"kind\": \"frameworkError\", \"reason\": \"serviceNotAvailable\"}\n"),
        1U);
    const Outcome pitch = outcomeOf("--json motion '" + folder.file("gyro.csv") + "' --facing-angle");
    EXPECT_EQ(pitch.status, 1);
    EXPECT_EQ(count(pitch.output, "serviceNotAvailable"), 1U);
    const Outcome unasked = outcomeOf("--json motion '" + folder.file("gyro.csv") + "'");
    EXPECT_EQ(unasked.status, 0) << "a verdict that the log has nothing for is not asked for by itself";
    EXPECT_EQ(count(unasked.output, "\n"), 1U);
    const Outcome unwritable
        = outcomeOf("motion '" + generated + "' --plot '" + folder.file("no/x.svg") + "'");
    EXPECT_EQ(unwritable.status, 1);
}

TEST(MotionCommand, DrawsTheLogAndItsVerdicts)
{
    const ScratchFolder folder;
    const std::string plot = folder.file("plot.svg");
    ASSERT_EQ(outcomeOf("motion '" + generated + "' --plot '" + plot + "'").status, 0);
    const std::string picture = readFile(plot);
    EXPECT_TRUE(picture.starts_with("<svg xmlns="));
    EXPECT_TRUE(picture.ends_with("</svg>\n"));
    EXPECT_EQ(count(picture, ">held still</text>"), 3U);
    EXPECT_EQ(count(picture, ">moved</text>"), 2U);
    EXPECT_EQ(count(picture, ">tilted far enough</text>"), 1U);
    EXPECT_EQ(count(picture, "stroke-dasharray"), 3U) << "the threshold on both sides, and the angle";
    EXPECT_EQ(count(picture, "<path "), 4U);
    EXPECT_EQ(count(picture, "nan") + count(picture, "inf"), 0U);

    writeFile(folder.file("wild.csv"), "t,x,y,z\n0,1e308,0,0\n1,-1e308,0,0\n2,0,0,0\n");
    ASSERT_EQ(
        outcomeOf("motion '" + folder.file("wild.csv") + "' --threshold 1e308 --plot '" + plot + "'").status,
        0);
    EXPECT_EQ(count(readFile(plot), "nan"), 0U);
    writeFile(folder.file("one.csv"), "t,x,y,z\n3,1,1,1\n");
    ASSERT_EQ(outcomeOf("motion '" + folder.file("one.csv") + "' --plot '" + plot + "'").status, 0);
    EXPECT_EQ(count(readFile(plot), "nan"), 0U) << "a log of a single moment";
}

TEST(MotionCommand, StandsBesideTheFramesOfACamera)
{
    for (const char* camera : {"--back test:64x48@50", "--backend simulated"}) {
        const Outcome outcome = outcomeOf(
            std::string("--json ").append(camera) + " frames --seconds 2 --motion '" + generated + "'");
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_GT(count(outcome.output, "\"event\": \"frame\""), 20U);
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
