#include "support/HostScreen.h"
#include "support/Media.h"
#include "support/Program.h"

#include <engine/record/FlightRecorder.h>
#include <simulated/ReplayedClient.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

namespace tamsel::tests {

namespace {

using nlohmann::json;

/// The rules of the trace event format, as far as a viewer relies on them. A slice must not cross another of its track.
void expectValidTrace(const json& trace)
{
    std::map<json, std::vector<std::pair<double, double>>> slices;
    std::set<json> named;
    std::set<json> used;
    for (const json& event : trace.at("traceEvents")) {
        const std::string phase = event.at("ph");
        ASSERT_TRUE(event.at("pid").is_number_integer() && event.at("tid").is_number_integer()
            && event.at("name").is_string() && event.at("args").is_object())
            << event;
        if (phase == "M") {
            ASSERT_TRUE(event.at("args").at("name").is_string());
            named.insert(event.at("tid"));
            continue;
        }
        used.insert(event.at("tid"));
        ASSERT_TRUE(event.at("ts").is_number() && event.at("cat").is_string());
        if (phase == "i")
            ASSERT_EQ(event.at("s"), "t");
        else
            slices[event.at("tid")].emplace_back(event.at("ts"), event.at("dur"));
        ASSERT_TRUE(phase == "i" || phase == "X");
    }
    EXPECT_TRUE(std::ranges::includes(named, used));
    for (auto& [track, all] : slices) {
        std::ranges::sort(all, [](auto one, auto other) {
            return std::pair(one.first, other.second) < std::pair(other.first, one.second);
        });
        std::vector<double> open;
        for (const auto& [begin, length] : all) {
            std::erase_if(open, [begin](double end) { return end <= begin + 1e-6; });
            ASSERT_TRUE(length >= 0 && (open.empty() || begin + length <= open.back() + 1e-6)) << track;
            open.push_back(begin + length);
        }
    }
}

} // namespace

TEST(FlightRecorder, RecordsALostCameraAndAFullDiskForThePhone)
{
    const ScratchFolder folder;
    const std::string disk = folder.file("disk");
    std::filesystem::create_directory(disk);
    if (runCommand("mount -t tmpfs -o size=1m tamsel " + disk + " 2>/dev/null").status != 0)
        GTEST_SKIP() << "no file system can be mounted here";
    const std::string clip = folder.file("noise.mp4");
    ASSERT_TRUE(makeVideo("-f lavfi -i 'nullsrc=s=320x240:r=30,geq=random(1)*255:128:128' -t 5 -c:v libx264 "
                          "-preset ultrafast -crf 20",
        clip));
    const auto recorder = std::make_shared<engine::FlightRecorder>();
    {
        HostScreen screen(
            {.backCamera = host::HostInput{.input = clip, .repeats = false}, .recorder = recorder});
        ASSERT_TRUE(screen.start(SourceType::cameraBack(true)));
        EXPECT_TRUE(screen.runUntil([&] { return screen.client->count >= 3; }));
        screen.manager->startVideoRecording(disk + "/film.mp4");
        EXPECT_TRUE(screen.runUntil([&] { return screen.client->videos == 1; }));
        screen.host.enterBackground();
        EXPECT_TRUE(screen.runUntil([&] { return screen.client->suspends == 1; }));
        screen.host.enterForeground();
        EXPECT_TRUE(screen.runUntil([&] { return screen.client->resumes == 1; }));
        std::filesystem::remove(clip); // unplugged: what is open plays to its end
        EXPECT_TRUE(screen.runUntil([&] { return screen.hasFailed(); }));
        screen.manager->resumeCamera();
        EXPECT_TRUE(screen.runUntil([&] { return screen.client->errorCount >= 2; }));
        screen.manager->stopCameraSession();
    }
    (void)runCommand("umount " + disk);
    const auto recording = std::make_shared<formats::FlightRecording>(recorder->recording());
    const auto kinds = [&](formats::FlightKind kind) {
        return std::ranges::count(recording->events, kind, &formats::FlightEvent::kind);
    };
    EXPECT_EQ(kinds(formats::FlightKind::cameraLost), 1);
    EXPECT_EQ(kinds(formats::FlightKind::movieFailed), 1);
    EXPECT_EQ(delegateCalls(simulated::replay(recording)), delegateCalls(*recording));
}

TEST(FlightRecorder, IsAnOptionAndACommand)
{
    const ScratchFolder folder;
    const std::string file = folder.file("session.jsonl");
    const Outcome outcome = outcomeOf(
        "--back test:480p frames --count 20 --recording " + file + " --trace " + folder.file("trace.json"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    const json trace = json::parse(readFile(folder.file("trace.json")));
    expectValidTrace(trace);
    std::map<json, std::set<json>> tracks; // of each frame
    for (const json& event : trace.at("traceEvents")) {
        if (event.at("ph") == "X")
            tracks[event.at("name")].insert(event.at("tid"));
    }
    EXPECT_GE(tracks["frame 5"].size(), 4U); // driver, video queue, session queue, response queue

    Outcome replayed = outcomeOf("replay " + file);
    EXPECT_EQ(replayed.status, 0) << replayed.errors << replayed.output;
    EXPECT_EQ(count(replayed.output, "didGetFrame"), 2 * count(readFile(file), "\"didGetFrame\""));
    ASSERT_EQ(runCommand("sed -i '0,/didGetFrame/{/didGetFrame/d}' " + file).status, 0);
    replayed = outcomeOf("replay " + file);
    EXPECT_EQ(replayed.status, 1);
    EXPECT_EQ(linesIn(replayed.output, "> ").size(), 1U) << replayed.output;
    ASSERT_EQ(runCommand("truncate -s -9 " + file).status, 0);
    replayed = outcomeOf("replay " + file);
    EXPECT_EQ(replayed.status, 2);
    EXPECT_EQ(linesIn(replayed.errors).size(), 1U) << replayed.errors;

    const std::string early = folder.file("early.jsonl");
    const std::string frames = folder.file("frames");
    const CommandResult signalled = runCommand(captureProgram()
        + " --json --back test:480p frames --recording " + early + " > " + frames
        + " & pid=$!; until test -s " + frames + "; do sleep 0.1; done; kill -QUIT $pid; " + "until test -s "
        + early + "; do sleep 0.1; done; grep -c tamselRecording " + early + "; kill $pid; wait $pid");
    EXPECT_EQ(linesIn(signalled.output).at(0), "1") << signalled.output;
}

} // namespace tamsel::tests
