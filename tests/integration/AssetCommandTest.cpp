#include "support/Media.h"
#include "support/Pictures.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>

namespace tamsel::tests {

namespace {

/// The raw RGB pixels of the first picture of a file, by another program than ours.
std::string rawPicture(const std::string& file)
{
    return runCommand("ffmpeg -v error -i '" + file + "' -frames:v 1 -f rawvideo -pix_fmt rgb24 -").output;
}

struct AssetCommand : FolderTest {
    void makeClip()
    {
        EXPECT_TRUE(
            makeVideo("-f lavfi -i testsrc2=s=90x62:r=60 -frames:v 12 -c:v qtrle -pix_fmt rgb24", clip));
    }

    const std::string clip = folder.file("clip.mov");
    const std::string out = folder.file("out.png");
};
using PictureCommand = AssetCommand;

} // namespace

TEST_F(AssetCommand, TellsEachFrameAndTheEnd)
{
    makeClip();
    for (const char* options : {" --fast", ""}) {
        const std::string told = outputOf("--json asset '" + clip + "'" + options);
        EXPECT_EQ(count(told, "\n"), 13U);
        for (int index = 0; index < 12; ++index) {
            EXPECT_EQ(count(told,
                          "{\"event\": \"frame\", \"index\": " + std::to_string(index)
                              + ", \"width\": 90, \"height\": 62, \"exifOrientation\": 5, "
                                "\"preferredTransform\": [1, 0, 0, 1, 0, 0], "
                                "\"mediaTime\": "),
                1U);
        }
        EXPECT_TRUE(told.ends_with("{\"event\": \"completed\", \"frames\": 12}\n"));
    }
    const std::string sheet = folder.file("sheet.png");
    EXPECT_EQ(outputOf("--out '" + folder.file("frames") + "' asset '" + clip
                  + "' --fast --save-every 5 --contact-sheet '" + sheet + "'"),
        "12 frames, 90 x 62 pixels\n");
    EXPECT_TRUE(std::filesystem::exists(sheet));
}

TEST_F(AssetCommand, SaysInOneLineWhatHasNoVideo)
{
    const std::string song = folder.file("song.mp4");
    ASSERT_TRUE(makeVideo("-f lavfi -i sine=d=1 -c:a aac", song));
    writeFile(folder.file("letter.mp4"), "Dear all,");
    for (const std::string& file :
        {song, folder.file("letter.mp4"), folder.file("missing.mp4"), folder.file("")}) {
        for (const char* options : {" --fast", ""})
            expectRefused("--json asset '" + file + "'" + options);
        for (const char* command : {"asset-still", "thumbnail", "image"}) {
            const Outcome outcome
                = outcomeOf("--json " + std::string(command) + " '" + file + "' '" + out + "'");
            EXPECT_EQ(outcome.status, 2) << command << " " << file;
            EXPECT_EQ(outcome.output, "");
            EXPECT_GE(count(outcome.errors, "\n"), 1U);
            EXPECT_LE(count(outcome.errors, "\n"), 2U) << outcome.errors; // a manager says its last line too
            EXPECT_FALSE(std::filesystem::exists(out));
        }
    }
}

TEST_F(PictureCommand, WritesTheStillAndTheThumbnailOfARecording)
{
    makeClip();
    const std::string expected = runCommand(
        "ffmpeg -v error -i '" + clip + "' -vf 'select=eq(n\\,1)' -frames:v 1 -f rawvideo -pix_fmt rgb24 -")
                                     .output;
    ASSERT_EQ(expected.size(), 90U * 62 * 3);
    const std::string still = outputOf("--json asset-still '" + clip + "' '" + out + "'");
    EXPECT_TRUE(rawPicture(out) == expected);
    EXPECT_TRUE(still.starts_with(
        "{\"event\": \"sample\", \"bytes\": " + std::to_string(std::filesystem::file_size(out))
        + ", \"source\": 1, \"exifOrientation\": 6, \"file\": "));

    std::filesystem::remove(out);
    const std::string thumbnail = outputOf("--json thumbnail '" + clip + "' '" + out + "'");
    EXPECT_TRUE(rawPicture(out) == expected);
    EXPECT_TRUE(thumbnail.starts_with("{\"event\": \"picture\", \"width\": 90, \"height\": 62, \"file\": "));
}

TEST_F(PictureCommand, RendersAPictureUpright)
{
    const std::string stored = folder.file("stored.png");
    // It says "right": to be turned clockwise.
    writeFile(folder.file("turned.png"), pngFile(slopes(90, 62), 6));
    writeFile(stored, pngFile(slopes(90, 62)));
    (void)outputOf("image '" + folder.file("turned.png") + "' '" + out + "'");
    const std::string expected
        = runCommand("ffmpeg -v error -i '" + stored + "' -vf transpose=clock -f rawvideo -pix_fmt rgb24 -")
              .output;
    EXPECT_TRUE(rawPicture(out) == expected);
}

} // namespace tamsel::tests
