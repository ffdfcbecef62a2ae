#include "support/Media.h"
#include "support/Memory.h"

#include <host/asset/HostAssets.h>
#include <host/image/HostImages.h>
#include <simulated/Phone.h>

#include <tamsel/asset/AssetProcessor.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <sstream>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;

namespace {

struct ReadFrame {
    double time;
    std::size_t width;
    std::size_t height;
    std::uint64_t sequence;
};

/// A recording read to its end on virtual time.
struct Reading {
    explicit Reading(
        const std::string& file,
        const std::function<void(const CVPixelBuffer&)>& look = [](const CVPixelBuffer&) { })
        : phone({.assets = assets, .images = std::make_shared<host::HostImages>()})
    {
        const std::shared_ptr<AVAsset> asset = assets->assetWithURL(file);
        transform = videoTrackTransform(*asset);
        const auto processor = AssetProcessor::create(phone.platform());
        processor->process(
            asset,
            [&](const std::shared_ptr<CMSampleBuffer>& sample) {
                const CVPixelBuffer& pixels = *sample->imageBuffer();
                const FrameTiming timing = pixels.timing().value();
                frames.push_back(
                    {timing.mediaTime.seconds(), pixels.width(), pixels.height(), timing.sequence});
                look(pixels);
            },
            [&] { ++ends; });
        hasBegun = processor->assetReaderTimer() != nullptr;
        while (processor->assetReaderTimer())
            phone.advance(10s);
        phone.advance(10s);
    }

    std::shared_ptr<host::HostAssets> assets = std::make_shared<host::HostAssets>();
    simulated::Phone phone;
    CGAffineTransform transform;
    bool hasBegun = false;
    int ends = 0;
    std::vector<ReadFrame> frames;
};

/// The times of the first video track's frames as they are shown, by another program than ours.
std::vector<double> timesIn(const std::string& file)
{
    const CommandResult result = runCommand(
        "ffprobe -v error -select_streams v:0 -show_entries frame=best_effort_timestamp_time -of "
        "csv=p=0 '"
        + file + "'");
    std::vector<double> times;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty())
            times.push_back(line.starts_with("N") ? std::nan("") : std::strtod(line.c_str(), nullptr));
    }
    return times;
}

void expectWhole(const std::string& file)
{
    SCOPED_TRACE(file);
    const std::vector<double> times = timesIn(file);
    const Reading reading(file);
    EXPECT_EQ(reading.ends, 1);
    ASSERT_EQ(reading.frames.size(), times.size());
    EXPECT_GT(times.size(), 0U);
    for (std::size_t index = 0; index < times.size(); ++index) {
        if (!std::isnan(times[index])) {
            EXPECT_NEAR(reading.frames[index].time, times[index], 1e-5);
        }
        EXPECT_EQ(reading.frames[index].sequence, index);
    }
}

void expectNothing(const std::string& file)
{
    SCOPED_TRACE(file);
    const Reading reading(file);
    EXPECT_FALSE(reading.hasBegun);
    EXPECT_EQ(reading.ends, 0);
    EXPECT_TRUE(reading.frames.empty());
    EXPECT_EQ(reading.transform, CGAffineTransform{});
}

/// The picture as raw BGRA, by another program than ours.
std::string rawFrame(const std::string& file, int number)
{
    return runCommand("ffmpeg -v error -i '" + file + "' -vf 'select=eq(n\\," + std::to_string(number)
        + ")' -frames:v 1 -f rawvideo -pix_fmt bgra -")
        .output;
}

std::string rawBytes(const CVPixelBuffer& pixels)
{
    std::string result;
    for (std::size_t y = 0; y < pixels.height(); ++y)
        result.append(reinterpret_cast<const char*>(pixels.pixel(0, y)), pixels.width() * 4);
    return result;
}

/// Writes nine numbers into the track header of the only track.
void setMatrix(const std::string& file, const std::array<std::int32_t, 9>& matrix)
{
    std::string content = readFile(file);
    const std::size_t header = content.find("tkhd");
    ASSERT_NE(header, std::string::npos);
    ASSERT_EQ(content.find("tkhd", header + 4), std::string::npos);
    std::size_t at = header + 4 + 40; // version 0, ISO/IEC 14496-12, 8.3.2
    for (const std::int32_t number : matrix) {
        for (const unsigned shift : {24U, 16U, 8U, 0U})
            content[at++] = static_cast<char>(static_cast<std::uint32_t>(number) >> shift);
    }
    writeFile(file, content);
}

using HostAsset = FolderTest;
using HostAssetImage = FolderTest;

constexpr const char* fewFrames = "-f lavfi -i testsrc2=s=96x64:r=30 -frames:v 20 ";

} // namespace

TEST_F(HostAsset, GivesEachFrameInTheOrderInWhichItIsShown)
{
    for (const auto& [arguments, name] :
        std::vector<std::pair<const char*, const char*>>{{"-c:v libx264 -bf 3 -g 8", "reordered.mp4"},
            {"-c:v libx264 -pix_fmt yuv420p10le", "ten-bit.mkv"}, {"-c:v libvpx-vp9", "vp9.webm"},
            {"-c:v mpeg2video -bf 2", "transport.ts"}, {"-c:v mjpeg", "mjpeg.avi"},
            {"-c:v mjpeg", "bare.mjpeg"},
            {"-c:v libx265 -x265-params log-level=none -pix_fmt yuv422p10le", "hevc.mov"},
            {"-c:v ffv1", "lossless.mkv"},
            {"-vf setpts='PTS+if(gt(N\\,5)\\,N*N*100\\,0)' -vsync vfr -c:v libx264", "variable.mp4"},
            {"-c:v libx264 -movflags frag_keyframe+empty_moov", "fragments.mp4"},
            {"-c:v prores", "prores.mov"}}) {
        const std::string file = folder.file(name);
        ASSERT_TRUE(makeVideo(std::string(fewFrames) + arguments, file)) << name;
        expectWhole(file);
    }
    expectWhole(sample());
}

TEST_F(HostAsset, ReadsRealRecordingsWhole)
{
    for (const char* name :
        {"edit_list_preroll.mp4", "fragmented.mp4", "iphone_portrait_hevc.MOV", "av1_portrait.mkv",
            "frame_counter.mp4", "pan_audio_320x240_60fps.mp4", "portrait_rot90_720p_android.mp4",
            "rotate_and_reflect.mp4", "large_length.avi", "mdat_too_long.mp4"}) {
        const auto file = media(std::string("video/") + name);
        if (!file)
            GTEST_SKIP() << "TAMSEL_MEDIA names no folder with videos";
        expectWhole(*file);
    }
    expectNothing(media("video/audio_only.mp4").value());
}

TEST_F(HostAsset, TakesTheFirstVideoTrackAndNoCoverPicture)
{
    const std::string cover = folder.file("cover.png");
    ASSERT_TRUE(makeVideo("-f lavfi -i color=red:s=200x200 -frames:v 1", cover));
    const std::string two = folder.file("two.mkv");
    ASSERT_TRUE(
        makeVideo("-f lavfi -i testsrc2=s=64x48:r=30 -f lavfi -i testsrc2=s=320x240:r=30 -map 0:v -map 1:v "
                  "-frames:v 9 -c:v libx264 -disposition:v:0 0 -disposition:v:1 default",
            two));
    const Reading first(two);
    ASSERT_EQ(first.frames.size(), 9U);
    EXPECT_EQ(first.frames[0].width, 64U);

    const std::string covered = folder.file("covered.mp4");
    ASSERT_TRUE(makeVideo("-i '" + cover + "' -f lavfi -i testsrc2=s=96x64:r=20:d=1 "
            + "-map 0 -map 1 -c:v:0 copy -c:v:1 libx264 -disposition:v:0 attached_pic",
        covered));
    const Reading behind(covered);
    ASSERT_EQ(behind.frames.size(), 20U);
    EXPECT_EQ(behind.frames[0].width, 96U);

    const std::string song = folder.file("song.mp4");
    ASSERT_TRUE(makeVideo("-i '" + cover
            + "' -f lavfi -i sine -t 1 -map 0 -map 1 -c:v copy -c:a aac -disposition:v:0 "
              "attached_pic",
        song));
    expectNothing(song);
}

TEST_F(HostAsset, ReadsAllSixNumbersOfTheDisplayMatrix)
{
    const std::string file = folder.file("moved.mp4");
    ASSERT_TRUE(makeVideo(std::string(fewFrames) + "-c:v libx264", file));
    constexpr std::int32_t one = 1 << 16;
    constexpr std::int32_t w = 1 << 30;
    struct Case {
        std::array<std::int32_t, 9> matrix;
        CGAffineTransform preferred;
    };
    for (const Case& one_ : std::vector<Case>{
             {{one, 0, 0, 0, one, 0, 0, 0, w}, {}},
             {{0, one, 0, -one, 0, 0, 64 * one, 0, w}, {0, 1, -1, 0, 64, 0}},
             {{0, -one, 0, one, 0, 0, 0, 96 * one, w}, {0, -1, 1, 0, 0, 96}},
             {{-one, 0, 0, 0, -one, 0, 96 * one, 64 * one, w}, {-1, 0, 0, -1, 96, 64}},
             {{-one, 0, 0, 0, one, 0, 96 * one, 0, w}, {-1, 0, 0, 1, 96, 0}},
             {{0, one, 0, one, 0, 0, 0, 0, w}, {0, 1, 1, 0, 0, 0}},
             {{one, 0, 0, 0, one, 0, 5 * one / 2, -3 * one, w}, {1, 0, 0, 1, 2.5, -3}},
             {{one / 2, one / 4, 0, -one / 8, 3 * one, 0, 7, -9, w},
                 {0.5, 0.25, -0.125, 3, 7 / 65536.0, -9 / 65536.0}},
             {{one, 0, 0, 0, one, 0, 10 * one, 0, w / 2}, {2, 0, 0, 2, 20, 0}},
         }) {
        setMatrix(file, one_.matrix);
        const Reading reading(file);
        EXPECT_EQ(reading.frames.size(), 20U);
        const CGAffineTransform expected = CGAffineTransformInvert(one_.preferred);
        for (const auto member : {&CGAffineTransform::a, &CGAffineTransform::b, &CGAffineTransform::c,
                 &CGAffineTransform::d, &CGAffineTransform::tx, &CGAffineTransform::ty})
            EXPECT_NEAR(reading.transform.*member, expected.*member, 1e-12);
    }
}

TEST_F(HostAsset, EndsOrStaysSilentOnWhatIsBroken)
{
    const std::string good = folder.file("good.mp4");
    ASSERT_TRUE(makeVideo(std::string(fewFrames) + "-c:v libx264 -movflags faststart", good));
    const std::string content = readFile(good);
    writeFile(folder.file("empty.mp4"), "");
    writeFile(folder.file("letter.mp4"), std::string(5000, 'a'));
    writeFile(folder.file("header.mp4"), content.substr(0, 200));
    for (const char* name : {"empty.mp4", "letter.mp4", "header.mp4", "missing.mp4", "."})
        expectNothing(folder.file(name));
    expectNothing("lavfi:testsrc2"); // no file, whatever a camera would make of it
    // Nor is a text, a picture, or a list of other files.
    writeFile(folder.file("letter.txt"), std::string(3000, 'a') + "\n");
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=64x48 -frames:v 1", folder.file("one.png")));
    std::filesystem::copy_file(folder.file("one.png"), folder.file("p%d.png"));
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=64x48 -frames:v 1", folder.file("one.jpg")));
    writeFile(folder.file("list.ffconcat"), "ffconcat version 1.0\nfile good.mp4\n");
    writeFile(folder.file("live.m3u8"), "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:0.5,\ngood.mp4\n");
    for (const char* name : {"letter.txt", "one.png", "p%d.png", "one.jpg", "list.ffconcat", "live.m3u8"})
        expectNothing(folder.file(name));

    writeFile(folder.file("half.mp4"), content.substr(0, content.size() / 2));
    const Reading half(folder.file("half.mp4"));
    EXPECT_EQ(half.ends, 1);
    EXPECT_GT(half.frames.size(), 0U);
    EXPECT_LT(half.frames.size(), 20U);

    std::string unknown = content;
    unknown.replace(unknown.find("avc1", unknown.find("stsd")), 4, "zzzz");
    writeFile(folder.file("unknown.mp4"), unknown);
    const Reading undecodable(folder.file("unknown.mp4"));
    EXPECT_EQ(undecodable.ends, 1) << "the track is there, only it cannot be decoded";
    EXPECT_TRUE(undecodable.frames.empty());

    const std::string secret = folder.file("secret.mp4");
    ASSERT_TRUE(makeVideo(std::string(fewFrames)
            + "-c:v libx264 -encryption_scheme cenc-aes-ctr -encryption_key 00112233445566778899aabbccddeeff "
              "-encryption_kid 00112233445566778899aabbccddeeff",
        secret));
    const Reading encrypted(secret);
    EXPECT_EQ(encrypted.ends, 1);
}

TEST_F(HostAsset, HoldsOneFrameAtATimeHoweverLongTheRecordingIs)
{
    const std::string file = folder.file("hour.mp4");
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=320x240:r=1 -t 3600 -c:v mpeg4", file));
    std::size_t early = 0;
    std::size_t seen = 0;
    const Reading reading(file, [&](const CVPixelBuffer&) {
        if (++seen == 100)
            early = residentKilobytes();
    });
    EXPECT_EQ(reading.frames.size(), 3600U);
    if (!keepsFreedMemory) {
        EXPECT_LT(residentKilobytes(), early + 4096);
    }
}

TEST_F(HostAssetImage, IsWhatIsShownAtASixtiethOfASecondAsItIsStored)
{
    struct Case {
        const char* arguments;
        const char* name;
        int frame;
    };
    for (const Case& one : std::vector<Case>{
             {"-f lavfi -i testsrc2=s=90x62:r=25 -c:v ffv1 -pix_fmt bgra", "25.mkv", 0},
             {"-f lavfi -i testsrc2=s=90x62:r=60 -c:v qtrle -pix_fmt rgb24 -video_track_timescale 60",
                 "60.mov", 1},
             {"-f lavfi -i testsrc2=s=90x62:r=120 -c:v qtrle -pix_fmt rgb24 -video_track_timescale 120",
                 "120.mov", 2},
             {"-f lavfi -i testsrc2=s=90x62:r=1000 -c:v qtrle -pix_fmt rgb24 -video_track_timescale 1000",
                 "1000.mov", 16},
             {"-f lavfi -i testsrc2=s=90x62:r=25,setpts=PTS+1/TB -c:v ffv1 -pix_fmt bgra", "late.mkv", 0},
             {"-f lavfi -i testsrc2=s=90x62:r=60 -frames:v 1 -c:v qtrle -pix_fmt rgb24", "single.mov", 0},
         }) {
        const std::string file = folder.file(one.name);
        ASSERT_TRUE(makeVideo(
            std::string(one.arguments) + (std::strcmp(one.name, "single.mov") == 0 ? "" : " -frames:v 30"),
            file));
        host::HostAssets assets;
        const auto image = assets.makeImageGenerator(assets.assetWithURL(file))->copyCGImage({1, 60});
        ASSERT_TRUE(image.has_value()) << one.name;
        EXPECT_TRUE(rawBytes(**image) == rawFrame(file, one.frame)) << one.name;
    }

    // A clock that starts anywhere: the frames of one reading tell which the image is.
    const std::string transport = folder.file("120.ts");
    ASSERT_TRUE(makeVideo("-f lavfi -i testsrc2=s=96x64:r=120 -frames:v 30 -c:v libx264", transport));
    std::vector<std::string> frames;
    const Reading whole(transport, [&](const CVPixelBuffer& pixels) { frames.push_back(rawBytes(pixels)); });
    EXPECT_GT(whole.frames.front().time, 1);
    host::HostAssets transports;
    const auto shown
        = transports.makeImageGenerator(transports.assetWithURL(transport))->copyCGImage({1, 60});
    ASSERT_TRUE(shown.has_value());
    EXPECT_EQ(std::ranges::find(frames, rawBytes(**shown)) - frames.begin(), 2);

    // A display matrix makes no difference, and an asset that has been read already gives the same.
    const std::string turned = folder.file("turned.mp4");
    ASSERT_TRUE(makeVideo(std::string(fewFrames) + "-c:v libx264", turned));
    setMatrix(turned, {0, 1 << 16, 0, -(1 << 16), 0, 0, 64 << 16, 0, 1 << 30});
    host::HostAssets assets;
    const auto asset = assets.assetWithURL(turned);
    ASSERT_EQ(asset->tracks(AVMediaType::video).size(), 1U);
    for (int time = 0; time < 2; ++time) {
        const auto image = assets.makeImageGenerator(asset)->copyCGImage({1, 60});
        ASSERT_TRUE(image.has_value());
        EXPECT_EQ((*image)->width(), 96U);
    }
    EXPECT_TRUE(asset->isEqual(*assets.assetWithURL(turned)));
    EXPECT_FALSE(asset->isEqual(*assets.assetWithURL(folder.file("60.mov"))));

    for (const char* none : {"missing.mov", "."}) {
        const auto image
            = assets.makeImageGenerator(assets.assetWithURL(folder.file(none)))->copyCGImage({1, 60});
        ASSERT_FALSE(image.has_value());
        EXPECT_EQ(image.error().localizedDescription.find('\n'), std::string::npos);
    }
}

} // namespace tamsel::tests
