#include "support/Media.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <string>

namespace tamsel::tests {

TEST(StatusCommand, AnswersEverythingThatCanBeAsked)
{
    const std::string motion = testData("motion/generated_held_moved_held_tilted.csv");
    const Outcome host = outcomeOf("--json --back '" + sample()
        + "' --front test:320x240 status --microphone test:tone --motion '" + motion + "'");
    EXPECT_EQ(host.status, 0) << host.errors;
    EXPECT_EQ(host.errors, "");
    EXPECT_EQ(count(host.output, "\n"), 1U);
    for (const char* part : {R"("permissions": {"camera": "authorised", "microphone": "authorised"})",
             R"("cameraBack": true, "cameraFront": true, "stability": true, "facingAngle": false)",
             R"("canCaptureStillImage": true, "canRecordVideo": true, "width": 640, "height": 480)",
             R"("width": 320, "height": 240)", R"("attitude": true, "microphone": true)"})
        EXPECT_EQ(count(host.output, part), 1U) << part << " in " << host.output;

    const Outcome simulated = outcomeOf("--backend simulated --json status");
    EXPECT_EQ(simulated.status, 0) << simulated.errors;
    EXPECT_EQ(count(simulated.output, R"("width": 640, "height": 480)"), 2U) << simulated.output;
    EXPECT_EQ(count(simulated.output, R"("microphone": false)"), 1U) << simulated.output;
}

TEST(StatusCommand, IsATableForAPerson)
{
    const Outcome status = outcomeOf("--back test:640x480 status");
    EXPECT_EQ(status.status, 0);
    EXPECT_EQ(
        count(status.output, "back camera   yes            640 x 480    yes    yes   test:640x480\n"), 1U)
        << status.output;
    EXPECT_EQ(count(status.output, "front camera  no "), 1U);
    EXPECT_EQ(count(status.output, "motion        no             there are no motion sensors\n"), 1U);
    EXPECT_EQ(count(status.output, "delivered"), 1U);
}

TEST(StatusCommand, ReportsChangesUntilItIsInterruptedOrNobodyReads)
{
    const ScratchFolder folder;
    const std::string file = folder.file("camera.mp4");
    const std::string output = folder.file("output");
    const auto watch = [&](const std::string& options) {
        const auto await = [&](const std::string& text) {
            return "while ! grep -q '" + text + "' '" + output + "'; do sleep 0.01; done; ";
        };
        const CommandResult result = runCommand(": >'" + output + "'; timeout 60 " + captureProgram()
            + " --back '" + file + "' " + options + " status --watch >'" + output + "' & "
            + await("Permission\\|status") + "cp '" + sample() + "' '" + folder.file("new") + "'; mv '"
            + folder.file("new") + "' '" + file + "'; " + await("is present\\|present\": true") + "rm '"
            + file + "'; " + await("is gone\\|present\": false") + "kill -TERM $!; wait $!");
        EXPECT_EQ(result.status, 130);
        return readFile(output);
    };
    const std::string table = watch("");
    EXPECT_EQ(count(table, " s  back camera: " + file + " is present\n"), 1U) << table;
    EXPECT_EQ(count(table, " s  back camera: " + file + " is gone\n"), 1U) << table;
    const std::vector<std::string> events = linesIn(watch("--json"));
    ASSERT_EQ(events.size(), 3U);
    EXPECT_TRUE(events[0].starts_with(R"({"event": "status", )"));
    EXPECT_TRUE(events[1].starts_with(R"({"event": "camera", "position": "back", "name": ")" + file
        + R"(", "present": true, "permitted": true, "time": )"))
        << events[1];

    (void)runCommand("{ timeout 60 " + captureProgram()
        + " --json --back test:64x48 status --watch; echo $? >'" + output + "'; } | head -n 1");
    EXPECT_EQ(readFile(output), "141\n") << "the reader has ended, and nothing changes";
}

} // namespace tamsel::tests
