// The host's pictures: what they say of themselves, how they decode, and what PNG files hold.

#include "support/Media.h"
#include "support/Pictures.h"

#include <host/image/HostImages.h>
#include <host/image/inflate.h>
#include <simulated/SimulatedImages.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <thread>

namespace tamsel::tests {

namespace {

using namespace platform;
using namespace std::string_literals;

constexpr CIImageOptions asStored{.appliesOrientationProperty = false};
constexpr CIImageOptions turned{.appliesOrientationProperty = true};

std::shared_ptr<const EncodedImage> open(const std::string& file, const CIImageOptions& options = asStored)
{
    return host::HostImages().openImage(imageData(file), options);
}

CGSize sizeOf(const Pixels& picture)
{
    return {static_cast<double>(picture.width), static_cast<double>(picture.height)};
}

struct Format {
    const char* name;
    std::string (*file)(const Pixels&, int);
    int tolerance = 0;
};

const std::vector<Format> formats{
    {"JPEG", [](const Pixels& picture, int orientation) { return jpegFile(picture, orientation); }, 6},
    {"PNG", &pngFile}, {"WebP", &webPFile}, {"TIFF", &tiffFile}};

/// `slopes(80, 64)`, to be turned clockwise; its Exif data says counterclockwise.
std::string turnedHeic()
{
    return readFile(testData("image/generated_turned.heic"));
}

TEST(Images, AreTurnedUprightOnceAndOnlyWhenAsked)
{
    const Pixels picture = slopes(45, 37); // more than a tile, and no multiple of one
    for (const Format& format : formats) {
        for (int orientation = 0; orientation <= 9; ++orientation) {
            SCOPED_TRACE(std::string(format.name) + " " + std::to_string(orientation));
            const std::string file = format.file(picture, orientation);
            const auto stored = open(file);
            const auto upright = open(file, turned);
            ASSERT_TRUE(stored && upright);
            const Pixels expected = uprightPicture(picture, orientation == 9 ? 1 : orientation);
            EXPECT_EQ(stored->size(), sizeOf(picture));
            EXPECT_EQ(upright->size(), sizeOf(expected));
            const auto storedPixels = stored->decode();
            const auto uprightPixels = upright->decode();
            ASSERT_TRUE(storedPixels && uprightPixels);
            EXPECT_LE(difference(Pixels(**storedPixels), picture), format.tolerance);
            EXPECT_LE(difference(Pixels(**uprightPixels), expected), format.tolerance);
        }
    }
}

TEST(Images, TheOrientationOfAHeicFileIsItsTransformation)
{
#ifndef TAMSEL_HEIF
    GTEST_SKIP() << "libheif is missing";
#endif
    const std::string file = turnedHeic();
    const Pixels stored = decoded(file);
    EXPECT_LE(difference(stored, slopes(80, 64)), 8);
    EXPECT_EQ(open(file)->size(), sizeOf(stored));
    for (const auto& [property, argument, orientation] : {std::tuple("irot", '\0', 1), {"irot", '\1', 8},
             {"irot", '\2', 3}, {"irot", '\3', 6}, {"imir", '\0', 4}, {"imir", '\1', 2}}) {
        std::string other = file;
        other.replace(other.find("irot"), 5, property + std::string(1, argument));
        EXPECT_EQ(*host::HostImages()
                      .makeImageSource(std::as_bytes(std::span(other)))
                      ->copyProperties()
                      .find(kCGImagePropertyOrientation),
            PropertyValue(orientation));
        const Pixels upright = uprightPicture(stored, orientation);
        EXPECT_EQ(decoded(other, turned), upright) << property << +argument;
        EXPECT_EQ(open(other, turned)->size(), sizeOf(upright)) << property << +argument;
    }
}

TEST(Images, PhotographsOfPhonesComeUpright)
{
    if (!media("photo/orientation_1.jpg"))
        GTEST_SKIP() << "TAMSEL_MEDIA names no folder with photo/";
    const Pixels first = decoded(readFile(*media("photo/orientation_1.jpg")), turned);
    for (int orientation = 2; orientation <= 8; ++orientation) {
        const auto path = media("photo/orientation_" + std::to_string(orientation) + ".jpg");
        const Pixels other = decoded(readFile(*path), turned);
        ASSERT_EQ(sizeOf(other), sizeOf(first)) << orientation;
        // The number that is drawn into each differs, the scene does not.
        std::size_t same = 0;
        for (std::size_t index = 0; index < first.words.size(); ++index) {
            const auto red
                = [&](const Pixels& picture) { return static_cast<int>(picture.words[index] >> 16 & 0xff); };
            same += std::abs(red(first) - red(other)) < 40 ? 1 : 0;
        }
        EXPECT_GT(static_cast<double>(same), 0.9 * static_cast<double>(first.words.size())) << orientation;
    }
    EXPECT_EQ(sizeOf(decoded(readFile(*media("photo/webp_orientation.webp")), turned)), (CGSize{240, 320}));
    EXPECT_EQ(sizeOf(decoded(readFile(*media("photo/truncated_pixels_exif_ok.jpg")), turned)),
        (CGSize{3024, 4032}));
#ifdef TAMSEL_HEIF
    EXPECT_EQ(sizeOf(decoded(readFile(*media("photo/phone.heic")), turned)), (CGSize{1080, 1920}));
#endif
}

TEST(Images, EveryKindOfPixelBecomesBgraWithItsAlpha)
{
    const ScratchFolder folder;
    // A PNG file of one row, in this pixel format of ffmpeg; its gamma changes no colour.
    const auto png = [&](const std::string& format, int width, const std::string& row) {
        writeFile(folder.file("row"), row);
        EXPECT_TRUE(makeVideo("-f rawvideo -pix_fmt " + format + " -s " + std::to_string(width) + "x1 -i '"
                + folder.file("row") + "' -frames:v 1",
            folder.file("row.png")));
        return decoded(readFile(folder.file("row.png")).insert(33, pngChunk("gAMA\0\1\x86\xa0"s))).words;
    };
    using Words = std::vector<std::uint32_t>;
    EXPECT_EQ(png("gray", 2, "\x20\xf0"), (Words{0xff202020, 0xfff0f0f0})) << "grey";
    EXPECT_EQ(png("monob", 8, "\xa0"),
        (Words{
            0xffffffff, 0xff000000, 0xffffffff, 0xff000000, 0xff000000, 0xff000000, 0xff000000, 0xff000000}));
    EXPECT_EQ(png("ya8", 2, "\x20\x80\xf0\0"s), (Words{0x80202020, 0x00f0f0f0})) << "grey with alpha";
    const std::string palette = "\3\2\1\x40\7\x8\x9\xff" + std::string(1016, '\0');
    EXPECT_EQ(png("pal8", 2, "\1\0"s + palette), (Words{0xff090807, 0x40010203})) << "palette with alpha";
    EXPECT_EQ(png("rgba64be", 1, "\x12\x7f\x34\x81\x56\0\x80\0"s), (Words{0x80123456}))
        << "16 bits, with alpha";
    const Pixels seeThrough = slopes(9, 5, 0x80);
    EXPECT_EQ(decoded(webPFile(seeThrough)), seeThrough);
    const auto flat = [](const std::vector<std::uint8_t>& channels) {
        return decoded(flatJpegFile(8, 8, channels)).words.at(27);
    };
    EXPECT_EQ(flat({0x40}), 0xff404040);
    // Stored as programs with the Adobe marker do: 255 is no ink.
    EXPECT_EQ(flat({255, 255, 255, 51}), 0xff333333);
    EXPECT_EQ(flat({255, 0, 0, 255}), 0xffff0000);
    std::string withoutMarker = flatJpegFile(8, 8, {0, 255, 255, 0});
    withoutMarker.replace(withoutMarker.find("Adobe"), 5, "adobe");
    // What was stored is then a red's luma and colour differences, 76, 85 and 255, to be taken as inks.
    EXPECT_EQ(decoded(withoutMarker).words.at(27), 0xffb3aa00);
}

TEST(Images, FilesOfOtherProgramsDecodeToTheSamePixels)
{
    const ScratchFolder folder;
    Pixels picture = slopes(64, 48);
    for (std::uint32_t& word : picture.words)
        word = (word & 0xff808080) | (word & 0x00808080) >> 1 | (word & 0x00808080) >> 2; // few colours
    writeFile(folder.file("in.png"), pngFile(picture));
    struct Case {
        const char* file;
        const char* arguments;
        int tolerance = 0;
    };
    for (const Case& one : {Case{"interlaced.png", "-flags +ildct"}, Case{"a.bmp", "-pix_fmt bgr24"},
             Case{"b.bmp", "-pix_fmt bgra"}, Case{"a.tiff", "-compression_algo lzw"},
             Case{"b.tiff", "-compression_algo deflate -pix_fmt rgb48le"},
             Case{"c.tiff", "-compression_algo packbits -pix_fmt rgba"}, Case{"a.webp", "-lossless 1"},
             Case{"a.gif",
                 "-vf 'split[a][b];[a]palettegen=reserve_transparent=0[p];[b][p]paletteuse=dither=none'", 2},
             Case{"a.jpg", "-pix_fmt yuvj444p -q:v 1", 32}}) {
        SCOPED_TRACE(one.file);
        const std::string file = folder.file(one.file);
        ASSERT_TRUE(makeVideo("-i '" + folder.file("in.png") + "' -frames:v 1 " + one.arguments, file));
        EXPECT_LE(difference(decoded(readFile(file)), picture), one.tolerance);
    }
}

TEST(Images, OpeningLooksAtNoPixels)
{
    // 12 megapixels of which only the header is whole.
    std::string png = pngFile(Pixels(4000, 3000));
    const std::size_t pixels = png.find("IDAT") + 4;
    std::fill(png.begin() + static_cast<std::ptrdiff_t>(pixels), png.end(), '\x55');
    const auto image = open(png);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), (CGSize{4000, 3000}));
    const auto result = image->decode();
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().localizedDescription.find('\n'), std::string::npos);
}

TEST(Images, TheDataLivesAsLongAsThePicture)
{
    ImageData data = imageData(webPFile(slopes(5, 3)));
    const std::weak_ptr<const std::vector<std::byte>> watch = data;
    auto image = host::HostImages().openImage(std::move(data), asStored);
    EXPECT_TRUE(image->decode());
    image = nullptr;
    EXPECT_TRUE(watch.expired());
}

TEST(Images, WhatIsNoPictureDoesNotOpen)
{
    EXPECT_FALSE(host::HostImages().openImage(nullptr, turned));
    EXPECT_FALSE(open(""));
    EXPECT_FALSE(open("BM is how this text begins, and it goes on for longer than a header"));
    EXPECT_FALSE(open(std::string(1000, '\0')));
    EXPECT_FALSE(open(readFile(sample()))) << "a video";
    EXPECT_FALSE(open("\xff\xd8\xff\xd9"));
    const auto sized
        = [](const char* size) { return pngFile(slopes(5, 3)).replace(16, 8, std::string(size, 8)); };
    EXPECT_FALSE(open(sized("\0\0\0\0\0\0\0\1")));
    struct Case {
        const char* size;
        const char* reason;
    };
    for (const Case& large : {Case{"\0\0\x20\0\0\0\x20\1", "8192 x 8193 pixels; up to 67108864"},
             {"\0\0\0\1\0\xf\x42\x41", "1 x 1000001 pixels; up to 67108864 are decoded, and up to 1000000"},
             {"\xff\xff\xff\xff\xff\xff\xff\xff", "4294967295 x 4294967295"}}) {
        const auto image = open(sized(large.size));
        ASSERT_TRUE(image);
        const auto pixels = image->decode();
        ASSERT_FALSE(pixels);
        EXPECT_NE(pixels.error().localizedDescription.find(large.reason), std::string::npos);
    }
}

TEST(Images, AreWhatTheyAreWhateverFollowsThePixels)
{
    const Pixels picture = slopes(45, 37);
    std::string video(9'000'000, ' '); // as phones put behind a photograph
    std::mt19937 random(5);
    std::ranges::generate(video, [&] { return static_cast<char>(random()); });
    for (const Format& format : formats)
        EXPECT_LE(difference(decoded(format.file(picture, 0) + video), picture), format.tolerance)
            << format.name;
    // More rows than the header says.
    std::string png = pngFile(picture);
    png[23] = 20;
    const std::string header = png.substr(12, 17);
    png.replace(8, 25, pngChunk(header));
    const Pixels part = decoded(png);
    ASSERT_EQ(sizeOf(part), (CGSize{45, 20}));
    EXPECT_EQ(part.words, std::vector(picture.words.begin(), picture.words.begin() + 45 * 20));
}

TEST(Images, OfAJpegCutShortTheBeginningIsThere)
{
    const Pixels picture = slopes(64, 256);
    const std::string file = jpegFile(picture, 0, 90);
    const std::size_t start = file.find("\xff\xda");
    const Pixels half = decoded(file.substr(0, start + (file.size() - start) / 2));
    ASSERT_EQ(sizeOf(half), sizeOf(picture));
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            ASSERT_NEAR(half.at(x, y) >> 8 & 0xff, picture.at(x, y) >> 8 & 0xff, 12) << x << " " << y;
    EXPECT_GT(difference(half, picture), 64);
}

TEST(Images, DamagedFilesGiveAnErrorOrAPicture)
{
    const Pixels picture = slopes(45, 37);
    std::vector<std::string> files;
    for (const Format& format : formats)
        files.push_back(format.file(picture, 6));
    for (const char* name :
        {"generated_turned.heic", "generated.avif", "generated.bmp", "generated_two_frames.gif"})
        files.push_back(readFile(testData(std::string("image/") + name)));
    testing::internal::CaptureStderr(); // of which nothing here may write
    std::mt19937 random(3);
    int opened = 0;
    int failed = 0;
    for (const std::string& file : files) {
        for (int attempt = 0; attempt < 120; ++attempt) {
            std::string damaged = file;
            if (attempt % 2 == 0)
                damaged.resize(random() % file.size());
            else
                for (int change = 0; change < 4; ++change)
                    damaged[random() % file.size()] = static_cast<char>(random());
            const auto image = open(damaged, turned);
            if (!image)
                continue;
            ++opened;
            const auto result = image->decode();
            if (result) {
                EXPECT_EQ(UIImage(*result).size(), image->size());
            } else {
                ++failed;
                EXPECT_FALSE(result.error().localizedDescription.empty());
            }
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_GT(opened, 200);
    EXPECT_GT(failed, 50);
    // Neither is pixels that were not read handed out.
    for (const Format& format : formats) {
        if (std::string(format.name) == "JPEG")
            continue;
        const std::string file = format.file(picture, 0);
        EXPECT_EQ(decoded(file.substr(0, file.size() * 2 / 3)), Pixels()) << format.name;
    }
}

TEST(Images, ManyThreadsMayDecodeAtOnce)
{
    const Pixels picture = slopes(45, 37);
    std::vector<std::shared_ptr<const EncodedImage>> images;
    std::vector<Pixels> expected;
    for (const Format& format : formats)
        images.push_back(open(format.file(picture, 7), turned));
#ifdef TAMSEL_HEIF
    images.push_back(open(turnedHeic(), turned));
#endif
    for (const auto& image : images)
        expected.emplace_back(*image->decode().value());
    std::vector<std::jthread> threads;
    std::atomic<int> different = 0;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            host::HostImages services;
            for (int round = 0; round < 5; ++round) {
                for (std::size_t image = 0; image < images.size(); ++image) {
                    const auto result = images[image]->decode();
                    different += result && Pixels(**result) == expected[image] ? 0 : 1;
                }
                different += open(pngFile(picture)) ? 0 : 1;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(different, 0);
}

TEST(PngRepresentation, HoldsEveryPixelExactly)
{
    std::mt19937 random(11);
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 5}, {65, 2}, {2, 65}, {127, 33}}) {
        for (const bool isOpaque : {true, false}) {
            Pixels picture = slopes(width, height);
            for (std::uint32_t& word : picture.words) {
                if (random() % 3 == 0) // noise on parts, so that each filter has its rows
                    word ^= static_cast<std::uint32_t>(random()) & 0x00ffffff;
            }
            if (!isOpaque)
                picture.words.back() &= 0xfeffffff; // one pixel is enough
            const std::string file = pngFile(picture);
            EXPECT_EQ(decoded(file), picture) << width << " x " << height;
            constexpr std::size_t colourType = 25;
            EXPECT_EQ(file[colourType], isOpaque ? 2 : 6);
            for (const char* chunk : {"iCCP", "sRGB", "gAMA", "cHRM"})
                EXPECT_EQ(file.find(chunk), std::string::npos);
        }
    }
}

TEST(PngRepresentation, OfTheSimulatedPhoneIsARealFile)
{
    const Pixels picture = slopes(190, 130); // more than one stored block
    const auto file = simulated::SimulatedImages().pngRepresentation(UIImage(picture.buffer()));
    ASSERT_TRUE(file);
    const std::string text(reinterpret_cast<const char*>(file->data()), file->size());
    EXPECT_EQ(decoded(text), picture);
    const std::size_t data = text.find("IDAT") + 4;
    const auto rows = host::inflate(std::span(*file).subspan(data, text.find("IEND") - 8 - data), 1 << 20);
    ASSERT_TRUE(rows) << "its sum is checked, too";
    EXPECT_EQ(rows->size(), (190U * 3 + 1) * 130);
}

TEST(PngRepresentation, IsAbsentWithoutPixels)
{
    host::HostImages images;
    EXPECT_FALSE(images.pngRepresentation(UIImage(nullptr)));
    EXPECT_FALSE(images.pngRepresentation(UIImage(std::make_shared<CVPixelBuffer>(0, 7))));
    EXPECT_FALSE(images.pngRepresentation(UIImage(std::make_shared<CVPixelBuffer>(7, 0))));
}

} // namespace

} // namespace tamsel::tests
