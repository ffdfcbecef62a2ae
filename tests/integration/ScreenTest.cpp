#include "support/Loopback.h"
#include "support/Media.h"
#include "support/Pictures.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace tamsel::tests {

namespace {

/// A display that nobody sees, of the size of the window, and the program in it.
class ScreenRun {
public:
    explicit ScreenRun(const std::string& options)
        : server_({"/usr/bin/Xvfb", display_, "-screen", "0", "960x720x24", "-nolisten", "tcp"}),
          program_({"/bin/sh", "-c",
              "until xdotool mousemove 9 9; do :; done; " + captureProgram() + " " + options + "; touch '"
                  + folder_.file("ended") + "'"})
    {
    }

    static std::string display()
    {
        int number = 100 + getpid() % 10'000;
        while (std::filesystem::exists("/tmp/.X11-unix/X" + std::to_string(number)))
            ++number;
        setenv("DISPLAY", (":" + std::to_string(number)).c_str(), 1);
        return ":" + std::to_string(number);
    }
    static void press(const std::string& key) { EXPECT_EQ(runCommand("xdotool key " + key).status, 0); }
    [[nodiscard]] std::string shotFile() const
    {
        const std::string file = folder_.file("shot.png");
        (void)runCommand("import -window root '" + file + "' 2>&1");
        return file;
    }
    [[nodiscard]] Pixels shot() const { return decoded(readFile(shotFile())); }
    [[nodiscard]] bool hasEnded() const { return std::filesystem::exists(folder_.file("ended")); }

private:
    const ScratchFolder folder_;
    const std::string display_ = display();
    const ChildProcess server_;
    const ChildProcess program_;
};

bool isPossible()
{
    return runCommand("which Xvfb xdotool").status == 0 && outcomeOf("screen --help").status == 0;
}

/// The smallest rectangle around the pixels of the outline.
std::array<int, 4> outlineIn(const Pixels& shot)
{
    std::array<int, 4> box{shot.width, shot.height, 0, 0};
    for (int y = 0; y < shot.height; ++y) {
        for (int x = 0; x < shot.width; ++x) {
            if ((shot.at(x, y) & 0xffffff) == 0x00e676)
                box = {std::min(box[0], x), std::min(box[1], y), std::max(box[2], x), std::max(box[3], y)};
        }
    }
    return box;
}

} // namespace

// The preview of a front camera is a mirror.
TEST(Screen, ShowsTheSceneUprightInEveryInterfaceAndMirroredOfTheFrontCamera)
{
    if (!isPossible())
        GTEST_SKIP() << "needs Xvfb, xdotool and a build with SDL2";
    const ScratchFolder folder;
    const Pixels sheet = decoded(readFile(testData("codes/sheet.png")));
    const std::array<std::pair<const char*, int>, 4> interfaces{
        {{"portrait", 1}, {"landscapeLeft", 8}, {"portraitUpsideDown", 3}, {"landscapeRight", 6}}};
    for (const auto& [interface, stored] : interfaces) {
        for (const bool isFront : {false, true}) {
            const std::string scene = folder.file("scene.png");
            writeFile(
                scene, pngFile(uprightPicture(sheet, stored))); // as a sensor mounted in portrait stores it
            const ScreenRun run(std::string("--interface-orientation ") + interface + " --back '" + scene
                + "' --front '" + scene + "' screen --camera " + (isFront ? "front" : "back"));
            const Pixels expected = isFront ? uprightPicture(sheet, 2) : sheet;
            const auto shows = [&](const Pixels& shot) {
                const double scale = 960.0 / sheet.width; // as wide as the window
                const double top = (720 - sheet.height * scale) / 2;
                int same = 0;
                // What the texts of the screen do not cover.
                for (const auto& [x, y] :
                    {std::pair{40, 100}, {120, 160}, {200, 240}, {460, 60}, {650, 420}, {350, 400}}) {
                    const auto seen = shot.at(static_cast<int>(x * scale), static_cast<int>(top + y * scale));
                    same += std::abs(
                                static_cast<int>(seen & 0xff) - static_cast<int>(expected.at(x, y) & 0xff))
                        < 60;
                }
                return same == 6;
            };
            EXPECT_TRUE(waitUntil([&] {
                const Pixels shot = run.shot();
                return shot.width == 960 && shows(shot);
            })) << interface << (isFront ? " front" : " back");
        }
    }
}

TEST(Screen, DrawsAnOutlineOnItsCodeWhileItMoves)
{
    if (!isPossible())
        GTEST_SKIP() << "needs Xvfb, xdotool and a build with SDL2";
    const ScratchFolder folder;
    const std::string clip = folder.file("moving.mp4");
    ASSERT_TRUE(makeVideo("-f lavfi -i color=white:s=640x480:r=30:d=4 -loop 1 -i '" + testData("codes/qr.png")
            + "' -filter_complex \"[0][1]overlay=x='250+200*sin(3*t)':y='170+100*cos(3*t)':shortest=1\" "
              "-pix_fmt yuv420p",
        clip));
    const ScreenRun run("--back '" + clip + "' screen");
    int left = 0;
    int right = 960;
    for (int checked = 0; checked < 6;) {
        ASSERT_TRUE(waitUntil([&] { return outlineIn(run.shot())[2] > 0; }));
        const std::string file = run.shotFile();
        const auto outline = outlineIn(decoded(readFile(file)));
        const auto found = linesIn(outcomeOf("--json detect '" + file + "'").output, "{\"event\": \"code\"");
        if (outline[2] == 0 || found.empty())
            continue;
        ++checked;
        ADD_FAILURE() << found.front() << outline[0] << " " << outline[1] << " " << outline[2] << " "
                      << outline[3];
        left = std::max(left, outline[0]);
        right = std::min(right, outline[0]);
    }
    EXPECT_GT(left - right, 50) << "it moved";
}

TEST(Screen, DoesWhatItsKeysSay)
{
    if (!isPossible())
        GTEST_SKIP() << "needs Xvfb, xdotool and a build with SDL2";
    const ScratchFolder folder;
    const ScreenRun run(
        "--back test:720p --front test:480p screen --require none --folder '" + folder.file("") + "'");
    const auto exists = [&](const char* file) { return std::filesystem::exists(folder.file(file)); };
    ASSERT_TRUE(waitUntil([&] {
        ScreenRun::press("space"); // until the camera is ready
        return exists("still-1.jpg");
    }));
    ASSERT_TRUE(waitUntil([&] {
        ScreenRun::press("r");
        return waitUntil([&] { return exists("movie-1.mp4") || exists("movie-1.part.mp4"); });
    }));
    ScreenRun::press("q"); // completes the movie first
    ASSERT_TRUE(waitUntil([&] { return run.hasEnded(); }));
    EXPECT_TRUE(exists("movie-1.mp4"));
    EXPECT_GT(readFile(folder.file("movie-1.mp4")).size(), 1000U);
}

} // namespace tamsel::tests
