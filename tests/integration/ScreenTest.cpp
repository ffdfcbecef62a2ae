#include "support/Loopback.h"
#include "support/Media.h"
#include "support/Pictures.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <unistd.h>

namespace tamsel::tests {

namespace {

constexpr int width = 960;
constexpr int height = 720;

/// The program on a display that nobody sees, of the size of its window.
class ScreenRun {
public:
    explicit ScreenRun(const std::string& arguments)
        : server_({"/bin/sh", "-c",
              "exec Xvfb -displayfd 3 -screen 0 960x720x24 -nolisten tcp 3>'" + folder_.file("display")
                  + "'"})
    {
        std::string number; // a line, once the server is ready
        EXPECT_TRUE(waitUntil([&] { return (number = readFile(folder_.file("display"))).ends_with('\n'); }));
        setenv("DISPLAY", (":" + number.substr(0, number.find('\n'))).c_str(), 1);
        EXPECT_TRUE(waitUntil([] { return runCommand("xdotool mousemove 9 9 2>&1").status == 0; }));
        program_.emplace(std::vector<std::string>{
            "/bin/sh", "-c", captureProgram() + " " + arguments + "; touch '" + folder_.file("ended") + "'"});
    }

    static void press(const char* key) { EXPECT_EQ(runCommand(std::string("xdotool key ") + key).status, 0); }
    /// What the display shows.
    [[nodiscard]] std::string shotFile() const
    {
        const std::string file = folder_.file("shot.png");
        EXPECT_EQ(runCommand("import -window root '" + file + "' 2>&1").status, 0);
        return file;
    }
    [[nodiscard]] Pixels shot() const { return decoded(readFile(shotFile())); }
    [[nodiscard]] bool hasEnded() const { return std::filesystem::exists(folder_.file("ended")); }

private:
    const ScratchFolder folder_;
    const ChildProcess server_;
    std::optional<ChildProcess> program_;
};

/// The smallest rectangle around the pixels of the outlines; empty without any.
std::array<int, 4> outlineIn(const Pixels& shot)
{
    std::array<int, 4> box{width, height, 0, 0};
    for (int y = 0; y < shot.height; ++y) {
        for (int x = 0; x < shot.width; ++x) {
            if ((shot.at(x, y) & 0xffffff) == 0x00e676)
                box = {std::min(box[0], x), std::min(box[1], y), std::max(box[2], x), std::max(box[3], y)};
        }
    }
    return box;
}

} // namespace

class Screen : public testing::Test {
protected:
    void SetUp() override
    {
        if (runCommand("which Xvfb xdotool import").status != 0 || outcomeOf("screen --help").status != 0)
            GTEST_SKIP() << "needs Xvfb, xdotool, ImageMagick, and a build with SDL2";
    }

    const ScratchFolder folder;
};

TEST_F(Screen, ShowsTheSceneUprightInEveryInterfaceAndInAMirrorForTheFrontCamera)
{
    const Pixels sheet = decoded(readFile(testData("codes/sheet.png")));
    const double scale = static_cast<double>(width) / sheet.width; // it fills the width of the window
    const double top = (height - sheet.height * scale) / 2;
    for (const auto& [interface, stored] : std::array<std::pair<const char*, int>, 4>{
             {{"portrait", 1}, {"landscapeLeft", 8}, {"portraitUpsideDown", 3}, {"landscapeRight", 6}}}) {
        const std::string scene = folder.file("scene.png"); // of a sensor that is mounted in portrait
        writeFile(scene, pngFile(uprightPicture(sheet, stored)));
        for (const bool isFront : {false, true}) {
            const ScreenRun run(std::string("--interface-orientation ") + interface + " --back '" + scene
                + "' --front '" + scene + "' screen --camera " + (isFront ? "front" : "back"));
            const Pixels expected = isFront ? uprightPicture(sheet, 2) : sheet;
            // Three places that are black, three that are white; in a mirror or upside down it is the other way round.
            const auto shows = [&](const Pixels& shot) {
                return shot.width == width
                    && std::ranges::all_of(std::array<std::pair<int, int>, 6>{{{463, 244}, {631, 445},
                                               {631, 460}, {236, 244}, {68, 445}, {463, 275}}},
                        [&](const std::pair<int, int>& place) {
                            const int x = isFront ? sheet.width - 1 - place.first : place.first;
                            const auto seen = shot.at(
                                static_cast<int>(x * scale), static_cast<int>(top + place.second * scale));
                            return (seen & 0xff) / 128 == (expected.at(x, place.second) & 0xff) / 128;
                        });
            };
            EXPECT_TRUE(waitUntil([&] { return shows(run.shot()); }))
                << interface << (isFront ? " front" : " back");
        }
    }
}

TEST_F(Screen, DrawsAnOutlineOnItsCodeWhileItMoves)
{
    const std::string clip = folder.file("moving.mp4");
    ASSERT_TRUE(makeVideo("-f lavfi -i color=white:s=640x480:r=30:d=4 -loop 1 -i '" + testData("codes/qr.png")
            + "' -filter_complex \"[0][1]overlay=x='250+200*sin(3*t)':y='170+100*cos(3*t)':shortest=1\" "
              "-pix_fmt yuv420p",
        clip));
    const ScreenRun run("--back '" + clip + "' screen");
    int left = width;
    int right = 0;
    for (int checked = 0; checked < 5;) {
        std::string file;
        ASSERT_TRUE(waitUntil([&] { return outlineIn(decoded(readFile(file = run.shotFile())))[2] > 0; }));
        const auto outline = outlineIn(decoded(readFile(file)));
        const std::string found = outcomeOf("--json detect '" + file + "'").output;
        const std::size_t corners = found.find("\"corners\": [[");
        if (corners == std::string::npos)
            continue; // the outline may lie on the code's edge so that it is not read again
        double x = 0;
        double y = 0;
        ASSERT_EQ(std::sscanf(found.c_str() + corners, "\"corners\": [[%lf, %lf]", &x, &y), 2);
        EXPECT_NEAR(outline[0], x * width, width * 0.01);
        EXPECT_NEAR(outline[1], y * height, height * 0.01);
        left = std::min(left, outline[0]);
        right = std::max(right, outline[0]);
        ++checked;
    }
    EXPECT_GT(right - left, 20) << "it moves";
}

TEST_F(Screen, DoesWhatItsKeysSay)
{
    const ScreenRun run("--back test:480p --front test:720p screen --folder '" + folder.file("") + "'");
    const auto exists = [&](const char* file) { return std::filesystem::exists(folder.file(file)); };
    ASSERT_TRUE(waitUntil([&] {
        ScreenRun::press("space"); // until the camera is ready
        return exists("still-1.jpg");
    }));
    ASSERT_TRUE(waitUntil([&] { // until there is a frame between both keys
        ScreenRun::press("r");
        EXPECT_TRUE(waitUntil([&] { return exists("movie-1.mp4") || exists("movie-1.part.mp4"); }));
        ScreenRun::press("r");
        return waitUntil([&] { return !exists("movie-1.part.mp4"); }) && exists("movie-1.mp4");
    }));
    EXPECT_GT(readFile(folder.file("movie-1.mp4")).size(), 1000U);
    ScreenRun::press("c");
    ASSERT_TRUE(waitUntil([&] {
        ScreenRun::press("space");
        for (const auto& entry : std::filesystem::directory_iterator(folder.file(""))) {
            if (entry.path().extension() == ".jpg" && decoded(readFile(entry.path())).height == 720)
                return true;
        }
        return false;
    })) << "a still of the front camera";
    EXPECT_FALSE(run.hasEnded());
    ScreenRun::press("q");
    EXPECT_TRUE(waitUntil([&] { return run.hasEnded(); }));
}

TEST_F(Screen, ZoomsAndNamesAMissingTorch)
{
    Pixels scene(800, 600); // a white square on black
    for (int y = 0; y < scene.height; ++y) {
        for (int x = 0; x < scene.width; ++x)
            scene.at(x, y) = std::max(std::abs(x - 400), std::abs(y - 300)) < 180 ? 0xffffffff : 0xff000000;
    }
    writeFile(folder.file("scene.png"), pngFile(scene));
    const ScreenRun run("--back '" + folder.file("scene.png") + "' screen");
    const auto shows = [&](int x, int y, bool isWhite) {
        return waitUntil([&] { return (run.shot().at(x, y) & 0xff) / 128 == (isWhite ? 1 : 0); });
    };
    const auto hasMessage = [&] {
        const Pixels shot = run.shot();
        for (int x = 16; x < 300; ++x) {
            if ((shot.at(x, 663) & 0xff) > 128)
                return true;
        }
        return false;
    };
    ASSERT_TRUE(shows(480, 160, true));
    ASSERT_TRUE(shows(480, 128, false));
    EXPECT_FALSE(hasMessage());
    ScreenRun::press("t");
    EXPECT_TRUE(waitUntil(hasMessage));
    ScreenRun::press("plus");
    EXPECT_TRUE(shows(480, 110, true)) << "a quarter larger";
    ScreenRun::press("minus");
    EXPECT_TRUE(shows(480, 128, false));
    EXPECT_TRUE(shows(480, 160, true));
}

} // namespace tamsel::tests
