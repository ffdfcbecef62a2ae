#include "support/Media.h"
#include "support/Pictures.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace tamsel::tests {

namespace {

constexpr std::uint32_t outlineColour = 0xff00e640;
constexpr std::uint32_t firstCornerColour = 0xffff3030;

struct Symbol {
    const char* kind;
    const char* value; ///< as it stands in an event
};

constexpr std::array<Symbol, 13> symbols{{
    {"code39", "TAMSEL-39"},
    {"code39Mod43", "CODE 43M"},
    {"code93", "Tamsel 93"},
    {"code128", "Tamsel-128/a"},
    {"ean8", "20123451"},
    {"ean13", "2012345678903"},
    {"interleaved2of5", "12345670"},
    {"itf14", "12345678901231"},
    {"upce", "01234565"},
    {"aztec", "Aztec of Tamsel"},
    {"dataMatrix", "Data Matrix of Tamsel"},
    {"pdf417", "PDF417 of Tamsel"},
    {"qr", R"(Größe \"8½\" \\ 日本)"},
}};

std::string fixture(const std::string& name)
{
    return testData("codes/" + name + ".png");
}

Pixels pixelsOf(const std::string& file)
{
    return decoded(readFile(file));
}

/// How an event tells such a code, up to its corners.
std::string told(const Symbol& symbol)
{
    return std::string(R"({"type": ")") + symbol.kind + R"(", "value": ")" + symbol.value
        + R"(", "corners": )";
}

using Corners = std::array<std::array<double, 2>, 4>;

/// Those of the first such code.
Corners cornersOf(const std::string& events, const Symbol& symbol)
{
    Corners corners{};
    const std::size_t at = events.find(told(symbol));
    if (at == std::string::npos)
        return corners;
    const char* text = events.c_str() + at + told(symbol).size();
    for (auto& corner : corners) {
        for (double& coordinate : corner) {
            char* end = nullptr;
            text += std::strcspn(text, "0123456789");
            coordinate = std::strtod(text, &end);
            text = end;
        }
    }
    return corners;
}

/// Where a point of a stored picture is in the upright one.
std::array<double, 2> uprightPoint(std::array<double, 2> stored, int orientation)
{
    auto [x, y] = stored;
    if (orientation == 2 || orientation == 3 || orientation == 6 || orientation == 7)
        (orientation >= 5 ? y : x) = 1 - (orientation >= 5 ? y : x);
    if (orientation == 3 || orientation == 4 || orientation == 7 || orientation == 8)
        (orientation >= 5 ? x : y) = 1 - (orientation >= 5 ? x : y);
    return orientation >= 5 ? std::array{y, x} : std::array{x, y};
}

std::uint32_t colourAt(const Pixels& picture, std::array<double, 2> place)
{
    return picture.at(std::min(static_cast<int>(place[0] * picture.width), picture.width - 1),
        std::min(static_cast<int>(place[1] * picture.height), picture.height - 1));
}

std::array<double, 2> between(std::array<double, 2> one, std::array<double, 2> other)
{
    return {(one[0] + other[0]) / 2, (one[1] + other[1]) / 2};
}

struct DetectCommand : FolderTest {
    /// A second of the sheet, 25 frames.
    [[nodiscard]] std::string makeClip() const
    {
        std::string file = folder.file("clip.mp4");
        EXPECT_TRUE(makeVideo(
            "-loop 1 -framerate 25 -i '" + fixture("sheet") + "' -t 1 -c:v libx264 -pix_fmt yuv420p", file));
        return file;
    }
};

} // namespace

TEST_F(DetectCommand, ReadsEveryKindOfCode)
{
    for (const Symbol& symbol : symbols) {
        const Outcome found = outcomeOf("--json detect '" + fixture(symbol.kind) + "'");
        EXPECT_EQ(found.status, 0) << found.errors;
        EXPECT_EQ(found.errors, "");
        EXPECT_TRUE(found.output.starts_with(R"({"event": "codes", "codes": [)" + told(symbol) + "[["))
            << found.output;
        EXPECT_TRUE(found.output.ends_with("]]}]}\n"));
        EXPECT_EQ(count(found.output, "\n"), 1U);
    }
    const Outcome controls = outcomeOf("--json detect '" + fixture("controls") + "'");
    EXPECT_EQ(count(controls.output, told({"qr", R"(a\u0000b\t\u001bÿ\")"})), 1U) << controls.output;
    const Outcome line = outcomeOf("detect '" + fixture("controls") + "'");
    EXPECT_TRUE(line.output.starts_with(R"(qr               "a\u0000b\t\u001bÿ\"" )")) << line.output;
}

TEST_F(DetectCommand, FindsAllCodesOfASheetOrTheKindsThatAreAskedFor)
{
    const std::string all = outputOf("--json detect '" + fixture("sheet") + "'");
    EXPECT_EQ(count(all, "\n"), 1U);
    EXPECT_EQ(count(all, "\"type\""), 6U);
    for (const Symbol& symbol : {symbols[5], symbols[12], symbols[10], symbols[3], symbols[11]})
        EXPECT_EQ(count(all, told(symbol)), symbol.kind == symbols[5].kind ? 2U : 1U) << symbol.kind;
    EXPECT_EQ(outputOf("--json detect '" + fixture("sheet") + "' --kinds all"), all);

    const std::string some = outputOf("--json detect --kinds qr,ean13 '" + fixture("sheet") + "'");
    EXPECT_EQ(count(some, "\"type\""), 3U);
    EXPECT_EQ(count(some, "\"type\": \"ean13\""), 2U);

    EXPECT_EQ(
        outputOf("detect --kinds aztec '" + fixture("sheet") + "'"), fixture("sheet") + ": no code found\n");
    EXPECT_EQ(outputOf("--json detect --kinds aztec '" + fixture("sheet") + "'"), "");
}

TEST_F(DetectCommand, TellsPlacesInTheStoredPictureAndDrawsThemIntoTheUprightOne)
{
    const Pixels stored = pixelsOf(fixture("sheet"));
    const std::string untagged = outcomeOf("--json detect '" + fixture("sheet") + "'").output;
    for (const int orientation : {3, 6, 7}) {
        const std::string file = folder.file("stored.png");
        const std::string drawn = folder.file("drawn.png");
        writeFile(file, pngFile(stored, orientation));
        EXPECT_EQ(outputOf("--json detect '" + file + "' --overwrite --annotate '" + drawn + "'"), untagged);
        const Pixels picture = pixelsOf(drawn);
        const Pixels upright = uprightPicture(stored, orientation);
        ASSERT_EQ(picture.width, upright.width);
        ASSERT_EQ(picture.height, upright.height);
        for (const Symbol& symbol : {symbols[3], symbols[5], symbols[10], symbols[11], symbols[12]}) {
            Corners corners = cornersOf(untagged, symbol);
            for (auto& corner : corners)
                corner = uprightPoint(corner, orientation);
            EXPECT_EQ(colourAt(picture, corners[0]), firstCornerColour) << symbol.kind << " " << orientation;
            EXPECT_EQ(colourAt(picture, corners[2]), outlineColour) << symbol.kind << " " << orientation;
            EXPECT_EQ(colourAt(picture, between(corners[2], corners[3])), outlineColour) << symbol.kind;
            const auto middle = between(corners[0], corners[2]);
            EXPECT_EQ(colourAt(picture, middle), colourAt(upright, middle)) << "the code itself";
        }
    }
    // As the person says, not the file.
    const std::string drawn = folder.file("turned.png");
    (void)outputOf("detect --orientation 8 '" + fixture("sheet") + "' --annotate '" + drawn + "'");
    EXPECT_EQ(pixelsOf(drawn).width, stored.height);
}

TEST_F(DetectCommand, PlaysAVideoOnceAndEnds)
{
    const std::string clip = makeClip();
    const Outcome found = outcomeOf("--json detect --kinds qr,ean13 '" + clip + "'");
    EXPECT_EQ(found.status, 0) << found.errors;
    EXPECT_EQ(found.errors, "");
    const std::size_t batches = count(found.output, "{\"event\": \"codes\", ");
    EXPECT_GE(batches, 2U);
    EXPECT_LE(batches, 25U) << "no frame twice";
    EXPECT_EQ(count(found.output, "\n"), batches);
    EXPECT_EQ(count(found.output, told(symbols[12])), batches);
    EXPECT_EQ(count(found.output, told(symbols[5])), 2 * batches);

    const Outcome lines = outcomeOf("detect --kinds qr,ean13 '" + clip + "'");
    EXPECT_EQ(count(lines.output, "\n"), 4U) << "each code once, and a summary: " << lines.output;
    EXPECT_EQ(count(lines.output, " times, 2 different\n"), 1U);
}

TEST_F(DetectCommand, SeesACardLargerThatTheLensNeedsFartherAway)
{
    const std::string clip = folder.file("card.mp4");
    ASSERT_TRUE(makeVideo("-ss 11 -i '" + testData("video/generated_card.mp4") + "'", clip));
    const auto widthOf = [&](const std::string& options) {
        const Outcome found = outcomeOf("--json detect --real-time --kinds pdf417 '" + clip + "' " + options);
        EXPECT_EQ(found.errors, "");
        const Corners corners = cornersOf(found.output, {"pdf417", "SAMPLE CARD 0123456789"});
        return corners[1][0] - corners[0][0];
    };
    const double width = widthOf("--minimum-focus-distance 75");
    EXPECT_NEAR(width, 0.544, 0.01);
    // At 60 degrees an object of 86 mm has a distance of 49.7 mm.
    EXPECT_NEAR(widthOf("--minimum-focus-distance 75 --minimum-object-size 86") / width, 75 / 49.65, 0.02);
}

TEST_F(DetectCommand, DrawsIntoTheFrameAsItIsShown)
{
    const std::string drawn = folder.file("drawn.png");
    const std::string still = folder.file("still.png");
    const std::string turned = folder.file("turned.mp4");
    ASSERT_TRUE(makeVideo("-i '" + makeClip() + "' -c copy -metadata:s:v rotate=90", turned));
    ASSERT_TRUE(makeVideo("-i '" + turned + "' -frames:v 1", still)); // which the program turns upright
    const Pixels expected = pixelsOf(still);
    for (const char* options : {" --seconds 0.5", " --overwrite --real-time"}) {
        const std::string found
            = outputOf("--json detect --kinds qr '" + turned + "' --annotate '" + drawn + "'" + options);
        const Pixels picture = pixelsOf(drawn);
        ASSERT_EQ(picture.width, expected.width);
        // Where nothing is drawn.
        for (const auto& place : {std::array{0.8, 0.3}, {0.7, 0.2}, {0.75, 0.9}})
            EXPECT_EQ(colourAt(picture, place) & 0x80U, colourAt(expected, place) & 0x80U);
        // The player turns it counterclockwise.
        const Corners corners = cornersOf(found, symbols[12]);
        EXPECT_EQ(colourAt(picture, uprightPoint(corners[0], 8)), firstCornerColour);
    }

    const std::string camera
        = outputOf("detect test:320x240@30 --seconds 0.3 --annotate '" + folder.file("camera.png") + "'");
    EXPECT_EQ(count(camera, " frames; codes found 0 times, 0 different\n"), 1U) << camera;
    EXPECT_EQ(pixelsOf(folder.file("camera.png")).width, 320) << "the last frame";
}

TEST_F(DetectCommand, SaysInOneLineWhatItCannotDo)
{
    writeFile(folder.file("letter.txt"), "Dear all,");
    writeFile(folder.file("letter.png"), "Dear all,");
    const std::string sheet = fixture("sheet");
    const std::string whole = readFile(sheet);
    writeFile(folder.file("cut.png"), whole.substr(0, whole.size() / 2));
    for (const std::string& arguments : std::vector<std::string>{"detect '" + sheet + "' --kinds qr,foo",
             "detect '" + sheet + "' --kinds ''", "detect '" + sheet + "' --orientation 9",
             "--backend simulated detect '" + sheet + "'", "--back test:720p detect '" + sheet + "'",
             "detect '" + sheet + "' --annotate /no/such/folder/out.png",
             "detect '" + folder.file("missing.png") + "'", "detect '" + folder.file("letter.txt") + "'",
             "detect '" + folder.file("cut.png") + "'", "detect '" + folder.file("letter.png") + "'"})
        expectRefused(arguments);
    const Outcome unknown = outcomeOf("detect x --kinds ean14");
    for (const Symbol& symbol : symbols)
        EXPECT_EQ(count(unknown.errors,
                      std::string(", ") + symbol.kind + (symbol.kind == symbols.back().kind ? "\n" : ",")),
            1U)
            << unknown.errors;

    for (const std::string& arguments :
        {std::string("detect lavfi:testsrc2=s=64x48:r=50:d=0.2"), "detect '" + sheet + "' >/dev/full"}) {
        const Outcome failed = outcomeOf(arguments);
        EXPECT_EQ(failed.status, 1) << arguments;
        EXPECT_EQ(count(failed.errors, "\n"), 1U) << failed.errors;
    }
}

#ifdef TAMSEL_FACES
TEST_F(DetectCommand, FindsAFaceUprightAndWhereverTheExifDataSaysItIsUp)
{
    const std::string portrait = testData("face/astronaut_grey.jpg");
    const Pixels upright = pixelsOf(portrait);
    // Stored on its side, 6 says that it is to be turned clockwise.
    const std::string file = folder.file("turned.jpg");
    writeFile(file, jpegFile(uprightPicture(upright, 8), 6));
    for (const auto& [picture, x, y] : {std::tuple(portrait, 0.44, 0.25), std::tuple(file, 0.25, 0.56)}) {
        const Outcome found = outcomeOf("--json detect --faces '" + picture + "'");
        std::array<double, 4> bounds{};
        ASSERT_EQ(std::sscanf(found.output.c_str(), R"({"event": "face", "bounds": [%lf, %lf, %lf, %lf]})",
                      &bounds[0], &bounds[1], &bounds[2], &bounds[3]),
            4)
            << found.output;
        EXPECT_NEAR(bounds[0] + bounds[2] / 2, x, 0.05);
        EXPECT_NEAR(bounds[1] + bounds[3] / 2, y, 0.05);
        EXPECT_EQ(count(found.output, "\n"), 1U);
    }
    EXPECT_EQ(outputOf("--json detect --faces '" + fixture("sheet") + "'"), "");
    EXPECT_EQ(count(outcomeOf("--json detect --kinds all --faces '" + portrait + "'").output, "face"), 1U);
}
#endif

} // namespace tamsel::tests
