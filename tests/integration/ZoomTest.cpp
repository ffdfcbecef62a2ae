#include "support/HostScreen.h"
#include "support/Media.h"
#include "support/Pictures.h"

#include <engine/capture/turnPixels.h>
#include <host/DigitalZoom.h>
#include <host/ffmpeg/FrameConverter.h>
#include <host/ffmpeg/enlarge.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

namespace {

/// A frame of a format, with the picture of slow slopes.
host::OwnedFrame frameOf(AVPixelFormat format, int width, int height)
{
    host::OwnedFrame frame(av_frame_alloc());
    frame->format = format;
    frame->width = width;
    frame->height = height;
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    std::vector<std::uint8_t> picture;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            picture.insert(picture.end(),
                {static_cast<std::uint8_t>(x * 200 / width), static_cast<std::uint8_t>(y * 200 / height),
                    static_cast<std::uint8_t>((x + y) * 200 / (width + height)), 255});
    }
    const host::OwnedScaler scaler(sws_getContext(
        width, height, AV_PIX_FMT_BGRA, width, height, format, SWS_BILINEAR, nullptr, nullptr, nullptr));
    const std::array<const std::uint8_t*, 1> rows{picture.data()};
    const std::array<int, 1> stride{width * 4};
    EXPECT_EQ(
        sws_scale(scaler.get(), rows.data(), stride.data(), 0, height, frame->data, frame->linesize), height);
    return frame;
}

std::string lastPixel(const std::string& file)
{
    return runCommand(
        "ffmpeg -v error -i '" + file + "' -frames:v 1 -f rawvideo -pix_fmt rgb24 - | tail -c 3")
        .output;
}

bool isBlue(const std::string& rgb)
{
    return rgb.size() == 3 && static_cast<unsigned char>(rgb[0]) < 60
        && static_cast<unsigned char>(rgb[2]) > 200;
}

} // namespace

TEST(Zoom, ShowsTheSamePartOfEveryFormat)
{
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_YUYV422,
             AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV420P10LE,
             AV_PIX_FMT_RGB24, AV_PIX_FMT_BGR0, AV_PIX_FMT_GBRP, AV_PIX_FMT_GRAY8, AV_PIX_FMT_MONOBLACK}) {
        for (const auto& [width, height, factor] :
            {std::tuple(320, 240, 2.0), {1280, 720, 3.7}, {66, 50, 8.0}}) {
            const host::OwnedFrame frame = frameOf(format, width, height);
            const auto w = static_cast<std::size_t>(width);
            const auto h = static_cast<std::size_t>(height);
            host::DigitalZoom zoom;
            EXPECT_FALSE(zoom.partOf(w, h));
            zoom.set(1 + 1e-4);
            EXPECT_FALSE(zoom.partOf(w, h)) << "not by a pixel";
            zoom.set(factor);
            const auto part = zoom.partOf(w, h);
            ASSERT_TRUE(part);
            EXPECT_NEAR(part->size.width, width / factor, 2);
            EXPECT_NEAR(part->origin.x * 2 + part->size.width, width, 2) << "in the middle";

            host::FrameConverter converter;
            platform::CVPixelBuffer whole(w, h);
            platform::CVPixelBuffer zoomed(w, h);
            platform::CVPixelBuffer expected(w, h);
            ASSERT_TRUE(converter.convert(*frame, whole));
            ASSERT_TRUE(converter.convert(*frame, zoomed, part));
            host::enlarge(whole, *part, expected);
            EXPECT_LE(difference(Pixels(zoomed), Pixels(expected)), 4)
                << av_get_pix_fmt_name(format) << " " << width << " x " << factor;
        }
    }
}

TEST(Zoom, ChangesNoColour)
{
    for (const std::uint32_t colour : {0xffffffffU, 0xffbebebeU, 0xff4080c0U, 0xff000000U}) {
        Pixels flat(400, 300);
        std::ranges::fill(flat.words, colour);
        platform::CVPixelBuffer zoomed(400, 300);
        host::enlarge(*flat.buffer(), {{30, 20}, {290, 210}}, zoomed);
        EXPECT_LE(difference(Pixels(zoomed), flat), 1);
        EXPECT_EQ(Pixels(zoomed).at(399, 299) >> 24, 0xffU);
    }
}

TEST(Zoom, MovesTheIntrinsicsWithThePixels)
{
    const platform::CameraIntrinsicMatrix matrix{{300, 0, 200, 0, 310, 100, 0, 0, 1}};
    const auto zoomed = engine::enlargeMatrix(matrix, {{80, 60}, {160, 120}}, 320, 240);
    // The optical axis meets the sensor at 200.5, 100.5 from its corner.
    EXPECT_EQ(zoomed.rows, (std::array<float, 9>{600, 0, 240.5F, 0, 620, 80.5F, 0, 0, 1}));
}

TEST(Zoom, ForASmallObjectReachesFramesStillsAndMovies)
{
    const ScratchFolder folder;
    const std::string clip = folder.file("clip.mp4");
    ASSERT_TRUE(
        makeVideo("-f lavfi -i 'color=red:s=320x240:r=30,drawbox=c=blue:x=80:y=60:w=160:h=120:t=fill' -t 2 "
                  "-pix_fmt yuv420p",
            clip));
    // An object of 173.2 mm fills a field of view of 60 degrees at 100 mm, half of what the lens needs.
    HostScreen screen(
        host::HostConfiguration{.backCamera = host::HostInput{.input = clip, .minimumFocusDistance = 200}});
    const SourceType camera = SourceType::cameraBack(true);
    const auto view
        = std::make_shared<platform::UIView>(platform::CGSize{640, 480}); // a still needs its preview
    ASSERT_TRUE(screen.manager->startSession(camera, screen.client, {{"minimumFocusObjectSize", 173.2}}, view)
            .has_value());
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->count >= 5 || screen.hasFailed(); }));
    const std::array<int, 3> last = screen.client->frames().back().last;
    EXPECT_GT(last[0], 200);
    EXPECT_LT(last[2], 60);

    const std::string movie = folder.file("movie.mp4");
    screen.manager->startVideoRecording(movie);
    const int before = screen.client->count;
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->count >= before + 10 || screen.hasFailed(); }));
    screen.manager->captureStillImage(platform::OvriImageSource::photo, std::nullopt);
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->samples > 0 || screen.hasFailed(); }));
    screen.manager->stopVideoRecording();
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->videos > 0 || screen.hasFailed(); }));
    screen.manager->stopCameraSession();
    EXPECT_TRUE(isBlue(lastPixel(movie)));
    EXPECT_EQ(screen.client->errors(), std::vector<std::string>{});
    writeFile(folder.file("still.jpg"), screen.client->sample());
    EXPECT_TRUE(isBlue(lastPixel(folder.file("still.jpg"))));
}

} // namespace tamsel::tests
