#include "support/Loopback.h"
#include "support/Media.h"
#include "support/Pictures.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace tamsel::tests {

namespace {

/// What the exiftool command, which shares nothing with this project, says of a file: one value a line, numbers plain.
std::string exif(const std::string& file, const std::string& tags)
{
    return runCommand("exiftool -q -n -s3 -f " + tags + " '" + file + "'").output;
}

/// All that it says, but for what belongs to the file as such, and for the two entries that are to change.
std::string otherTags(const std::string& file)
{
    return runCommand(
        "exiftool -a -u -G1 -s -n --System:all --File:CurrentIPTCDigest --ExifTool:ExifToolVersion "
        "--IFD0:Software --IFD0:Model --File:FileSize --File:ExifByteOrder '--QuickTime:MediaData*' "
        "--Composite:all '"
        + file + "' | sort")
        .output;
}

const std::string album = testData("image/");

struct PhotoCommands : FolderTest {
    const std::string photo = folder.file("photo.jpg");
    const std::string out = folder.file("out");
};
using StillCommand = PhotoCommands;
using AlbumCommand = PhotoCommands;

} // namespace

TEST_F(StillCommand, TakesAPhotographThatSaysWhereAndWithWhat)
{
    const Outcome still
        = outcomeOf("--json --back test:640x480@60 --interface-orientation landscapeLeft still " + photo
            + " --location -33.8688,151.2093,-4 --heading 12.5 --silent");
    EXPECT_EQ(still.status, 0);
    EXPECT_EQ(count(still.errors, "tamsel-capture:"), 0U) << still.errors;
    EXPECT_EQ(still.output,
        "{\"event\": \"sample\", \"bytes\": " + std::to_string(std::filesystem::file_size(photo))
            + ", \"source\": 1, \"exifOrientation\": 6, \"file\": \"" + photo
            + "\", \"fileOrientation\": 6}\n");
    EXPECT_EQ(exif(photo,
                  "-FileType -ImageWidth -ImageHeight -IFD0:Orientation -IFD0:Software -IFD0:Model "
                  "-ExifIFD:ExifVersion -ExifIFD:ExifImageWidth -ExifIFD:ColorSpace -ExifIFD:Flash"),
        "JPEG\n640\n480\n6\nMobile SDK. iOS 16.4\nLinux facing back\n0232\n640\n1\n32\n");
    EXPECT_EQ(
        exif(photo,
            "-GPS:GPSVersionID -GPS:GPSLatitudeRef -GPS:GPSLatitude -GPS:GPSLongitudeRef -GPS:GPSLongitude "
            "-GPS:GPSDOP -GPS:GPSAltitudeRef -GPS:GPSAltitude -GPS:GPSImgDirectionRef -GPS:GPSImgDirection"),
        "2 3 0 0\nS\n33.8688\nE\n151.2093\n0\n1\n4\nT\n12.5\n");
    EXPECT_EQ(runCommand("exiftool -q -q -validate -warning -error -s3 '" + photo + "'").output, "OK\n");
    // Now, in local time with its offset.
    const std::string taken = exif(photo, "-d %s -SubSecDateTimeOriginal");
    EXPECT_EQ(runCommand("now=$(date +%s); taken=$(exiftool -s3 -d %s -SubSecDateTimeOriginal '" + photo
                  + "'); [ $((now - ${taken%.*})) -lt 60 ] && echo near")
                  .output,
        "near\n")
        << taken;
}

TEST_F(StillCommand, StoresTheCameraAndTheOrientation)
{
    (void)outputOf(
        "--front test:64x48@60 --interface-orientation landscapeRight still " + photo + " --camera front");
    EXPECT_EQ(exif(photo, "-Orientation -Model -GPSLatitude"), "8\nLinux facing front\n-\n");
    (void)outputOf("--backend simulated --overwrite still " + photo + " --location 1,2 --flash on");
    EXPECT_EQ(
        exif(photo, "-FileType -Model -Flash -GPSAltitude"), "JPEG\nSimulated phone facing back\n9\n0\n");
}

TEST_F(PhotoCommands, NeverTouchTheirInputsOrFilesOfOthers)
{
    const std::string link = folder.file("link.jpg");
    const std::string clip = folder.file("clip.mp4");
    std::filesystem::copy_file(testData("image/generated_exif_6.jpg"), photo);
    std::filesystem::copy_file(testData("video/generated_card.mp4"), clip);
    std::filesystem::create_symlink(photo, link);
    std::filesystem::create_symlink(clip, folder.file("link.png"));
    const auto before = std::pair(readFile(photo), readFile(clip));
    for (const std::string& arguments : {"image " + photo + " " + link, "album " + link + " " + photo,
             "detect " + photo + " --annotate " + photo, "thumbnail " + clip + " " + folder.file("link.png"),
             "--back " + photo + " still " + link})
        expectRefused(arguments, "is an input of this command");
    EXPECT_EQ(std::pair(readFile(photo), readFile(clip)), before);
    writeFile(photo + ".partial", "precious");
    expectRefused("--back test:64x48@60 still " + photo);
    EXPECT_EQ(readFile(photo), before.first);
    (void)outputOf("--back test:64x48@60 still --overwrite " + photo);
    EXPECT_EQ(readFile(photo + ".partial"), "precious");
    EXPECT_NE(readFile(photo), before.first);
}

/// Under a limit of processor time, which each would exceed several times.
TEST_F(PhotoCommands, CostNoMoreThanThePicturesAreWorth)
{
    const auto boundedOutcome = [](const std::string& arguments) {
        return runCommand("ulimit -t 10; " + captureProgram() + " " + arguments + " 2>&1");
    };
    // 8 x 8 pixels and 500 texts, each of zeros of 8 MB; as a picture and as a moving one.
    const std::string zeros = pngFile(Pixels(1400, 1400));
    const std::size_t packed = zeros.find("IDAT") + 4;
    const std::string text = pngChunk(
        "zTXtComment" + std::string(2, '\0') + zeros.substr(packed, zeros.find("IEND") - 8 - packed));
    std::string texts;
    for (int count = 0; count < 500; ++count)
        texts += text;
    const std::string control = std::string("\0\0\0\0\0\0\0\x8\0\0\0\x8\0\0\0\0\0\0\0\0\0\1\0\xa\0\0", 26);
    const std::string moves
        = pngChunk("acTL" + std::string("\0\0\0\2\0\0\0\0", 8)) + pngChunk("fcTL" + control);
    writeFile(folder.file("texts.png"), pngFile(slopes(8, 8)).insert(33, texts));
    writeFile(folder.file("moving.png"), pngFile(slopes(8, 8)).insert(33, moves + texts));
    for (const std::string& command : {"image " + folder.file("texts.png") + " ",
             "--overwrite --back " + folder.file("texts.png") + " still ",
             "--overwrite --back " + folder.file("moving.png") + " still "}) {
        const CommandResult result = boundedOutcome(command + photo);
        EXPECT_EQ(result.status, 0) << command << result.output;
        EXPECT_EQ(exif(photo, "-ImageSize"), "8 8\n");
    }
    const std::string jpeg = jpegFile(slopes(1024, 1024), 0, 10);
    const std::string scan = jpeg.substr(jpeg.find("\xff\xda"), jpeg.size() - 2 - jpeg.find("\xff\xda"));
    std::string scans = jpeg.substr(0, jpeg.size() - 2);
    for (int count = 0; count < 1000; ++count)
        scans += scan;
    writeFile(folder.file("scans.jpg"), scans + jpeg.substr(jpeg.size() - 2));
    EXPECT_EQ(count(boundedOutcome("image --overwrite " + folder.file("scans.jpg") + " " + photo).output,
                  "too many scans"),
        1U);
    EXPECT_EQ(
        count(boundedOutcome("--overwrite --back " + folder.file("scans.jpg") + " still " + photo).output,
            "the camera was lost"),
        1U);
}

TEST_F(StillCommand, SaysWhatIsMissing)
{
    const std::string camera = "--overwrite --back test:64x48@60 still " + photo;
    Outcome still = outcomeOf(camera + " --flash on --torch auto --heading 3");
    EXPECT_EQ(still.status, 0);
    EXPECT_EQ(count(still.errors, "the camera has no flash"), 1U);
    EXPECT_EQ(count(still.errors, "the camera has no torch"), 1U);
    EXPECT_EQ(count(still.errors, "no location: "), 1U) << still.errors;

    still = outcomeOf(camera + " --location gpsd:127.0.0.1:1");
    EXPECT_EQ(still.status, 0);
    EXPECT_EQ(count(still.errors, "\n"), 1U) << still.errors;
    EXPECT_EQ(exif(photo, "-Model -GPSLatitude"), "Linux facing back\n-\n");

    still = outcomeOf("--overwrite --back lavfi:testsrc2=s=64x48:r=50:d=0.02 still " + photo);
    EXPECT_EQ(still.status, 1);
    EXPECT_EQ(count(still.errors, "the camera was lost"), 1U) << still.errors;
    EXPECT_EQ(count(still.errors, "in time"), 0U) << still.errors;
}

#ifdef TAMSEL_GPSD
TEST_F(StillCommand, WaitsForTheFirstFixOfADaemon)
{
    const Speaker daemon([](int turn) -> std::string {
        if (turn == 0)
            return "{\"class\":\"VERSION\",\"release\":\"3.22\",\"proto_major\":3,\"proto_minor\":14}\r\n";
        return turn < 50
            ? "" // a second without a fix
            : "{\"class\":\"TPV\",\"mode\":3,\"time\":\"2024-02-29T12:00:00.250Z\",\"lat\":-47.5,"
              "\"lon\":8.25,\"altMSL\":-12.5,\"eph\":7.5}\r\n"
              "{\"class\":\"ATT\",\"heading\":4.5}\r\n";
    });
    const Outcome still = outcomeOf("--back test:64x48@60 still " + photo
        + " --location gpsd:127.0.0.1:" + std::to_string(daemon.port()));
    EXPECT_EQ(still.status, 0);
    EXPECT_EQ(still.errors, "");
    EXPECT_EQ(exif(photo, "-GPSLatitudeRef -GPS:GPSLatitude -GPSDOP -GPSDateStamp -GPSTimeStamp"),
        "S\n47.5\n7.5\n2024:02:29\n12:00:00\n");
}
#endif

TEST_F(StillCommand, IsAsLargeAsTheInput)
{
    const std::string video = folder.file("video.mp4");
    ASSERT_TRUE(
        makeVideo("-f lavfi -i testsrc2=s=3840x2160:r=5 -t 1 -pix_fmt yuv420p -preset ultrafast", video));
    (void)outputOf("--back " + video + " still " + photo);
    EXPECT_EQ(exif(photo, "-ImageSize"), "3840 2160\n");
    (void)outputOf("--overwrite --back test:4032x3024@10 still " + photo);
    EXPECT_EQ(exif(photo, "-ImageSize"), "4032 3024\n");
}

TEST_F(StillCommand, PlaysTheShutterOfTheSoundThemeUnlessSilent)
{
    const std::string sounds = folder.file("data/sounds/freedesktop/stereo");
    const std::string bin = folder.file("bin");
    const std::string heard = folder.file("heard");
    std::filesystem::create_directories(sounds);
    std::filesystem::create_directories(bin);
    writeFile(sounds + "/camera-shutter.oga", "sound");
    writeFile(bin + "/pw-play", "#!/bin/sh\necho \"$@\" >> " + heard + "\n");
    std::filesystem::permissions(bin + "/pw-play", std::filesystem::perms::owner_all);
    const std::string still = "/usr/bin/env PATH=" + bin
        + ":/usr/bin:/bin XDG_DATA_DIRS=" + folder.file("data") + " " + captureProgram()
        + " --overwrite --back test:64x48@60 still " + folder.file("photo.jpg");
    const CommandResult told
        = runCommand(still + " --silent >/dev/null; " + still + " >/dev/null; for try in $(seq 600); do [ -s "
            + heard + " ] && break; sleep 0.1; done; cat " + heard);
    EXPECT_EQ(told.output, sounds + "/camera-shutter.oga\n") << "once, and not for the silent one";
}

TEST_F(AlbumCommand, ChangesSoftwareAndModelAndNothingElse)
{
    std::vector<std::string> files{album + "generated_exif_6.jpg", album + "generated_grey.jpg",
        album + "generated_alpha_exif_5.png", album + "generated_palette.png",
        album + "generated_alpha_exif_8.webp", album + "generated_two_frames.webp",
        album + "generated_3.tiff", album + "generated_lzw.tiff", album + "generated_turned.heic",
        album + "generated.avif"};
    for (const char* name : {"gps_north_east.jpg", "gps_north_west_small.jpg", "evil1.jpg",
             "orientation_5.jpg", "webp_orientation.webp", "png_exif.png", "truncated_pixels_exif_ok.jpg",
             "jfif_then_exif_gps_west.jpg", "phone.heic"}) {
        if (const auto file = media(std::string("photo/") + name))
            files.push_back(*file);
    }
    for (const std::string& file : files) {
        const Outcome outcome = outcomeOf("--json --overwrite album " + file + " " + out);
        EXPECT_EQ(outcome.status, 0) << file;
        EXPECT_EQ(count(outcome.errors, "tamsel-capture:"), 0U) << outcome.errors;
        const bool isTurned = file.ends_with("turned.heic"); // by its own means, not by its EXIF
        const std::string own = isTurned ? "6\n" : exif(file, "-IFD0:Orientation");
        EXPECT_EQ(count(outcome.output,
                      "\"exifOrientation\": " + (own == "-\n" ? "1" : own.substr(0, own.size() - 1)) + ","),
            1U)
            << file << ": " << outcome.output;
        EXPECT_EQ(decoded(readFile(out)), decoded(readFile(file))) << file;
        // A plain WebP file becomes an extended one, which says its size twice.
        const bool isPlainWebP = exif(file, "-FileType") == "WEBP\n";
        EXPECT_TRUE(isPlainWebP || otherTags(out) == otherTags(file)) << file;
        const std::string before = exif(file, "-IFD0:Software -IFD0:Model");
        const std::string software = before.substr(0, before.find('\n'));
        const std::string model = before.substr(before.find('\n') + 1, before.size() - before.find('\n') - 2);
        EXPECT_EQ(exif(out, "-IFD0:Software -IFD0:Model"),
            "Mobile SDK. iOS " + (software == "-" ? "16.4" : software) + "\n"
                + (model == "-" ? "Linux" : model) + " photo album\n")
            << file;
    }
}

/// FFmpeg rejects EXIF between the control chunk and the data of a frame.
TEST_F(AlbumCommand, KeepsTheFramesOfAnimations)
{
    const std::string file = folder.file("moving.png");
    const std::string movie = "ffmpeg -v error -f lavfi -i testsrc=s=32x32:r=5 -t 1 -f apng '" + file + "'";
    EXPECT_EQ(runCommand(movie).status, 0);
    (void)outputOf("album " + file + " " + out);
    const auto frames = [](const std::string& name) {
        return runCommand("ffmpeg -v error -f apng -i '" + name + "' -f framemd5 -").output;
    };
    EXPECT_EQ(count(frames(out), "\n0,"), 5U) << frames(out);
    EXPECT_EQ(frames(out), frames(file));
    EXPECT_EQ(exif(out, "-IFD0:Model"), "Linux photo album\n");
}

TEST_F(AlbumCommand, WritesWhatItCannotChangeAsItIs)
{
    writeFile(folder.file("text.jpg"), "no picture");
    writeFile(folder.file("empty"), "");
    for (const std::string& file : {album + "generated.bmp", album + "generated_two_frames.gif",
             folder.file("text.jpg"), folder.file("empty")}) {
        const Outcome outcome
            = outcomeOf("--json --overwrite album " + file + " " + out + " --orientation 3");
        EXPECT_EQ(outcome.status, 0) << file;
        EXPECT_EQ(count(outcome.errors, "tamsel-capture:"), 1U) << outcome.errors;
        EXPECT_EQ(count(outcome.errors, "unchanged"), 1U) << outcome.errors;
        EXPECT_EQ(count(outcome.output, "\"source\": 2, \"exifOrientation\": 3"), 1U) << outcome.output;
        EXPECT_TRUE(readFile(out) == readFile(file)) << file;
    }
    expectRefused(
        "album " + album + "generated_grey.jpg " + folder.file("out.png"), "keeps the kind of the image");
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
}

TEST_F(AlbumCommand, ReplacesAFileAsAWholeOrNotAtAll)
{
    const std::string result = folder.file("result.jpg");
    writeFile(photo, jpegFile(slopes(64, 64), 1));
    writeFile(result, "precious");
    const CommandResult cut = runCommand("(ulimit -f 1; " + captureProgram() + " --overwrite album " + photo
        + " " + result + " >/dev/null 2>&1); echo $?; ls " + folder.file("") + " | wc -l");
    EXPECT_EQ(cut.output, "1\n2\n");
    const CommandResult none = runCommand("(ulimit -f 1; " + captureProgram() + " album " + photo + " "
        + folder.file("new.jpg") + " >/dev/null 2>&1); echo $?; ls -A " + folder.file("") + " | wc -l");
    EXPECT_EQ(none.output, "1\n2\n") << "no part of a new file";
    EXPECT_EQ(readFile(result), "precious");
    (void)outputOf("album --overwrite " + photo + " " + result);
    EXPECT_EQ(exif(result, "-Model"), "Linux photo album\n");
}

} // namespace tamsel::tests
