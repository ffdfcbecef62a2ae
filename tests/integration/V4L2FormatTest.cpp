#include "support/FakeV4L2.h"
#include "support/PatchPicture.h"
#include "support/V4L2Bench.h"

#include <host/v4l2/V4L2Camera.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace tamsel::tests {

namespace {

using platform::AVCaptureSessionPreset;
using Formats = std::vector<FakeV4L2::Format>;

constexpr auto photo = AVCaptureSessionPreset::photo;
constexpr auto high = AVCaptureSessionPreset::high;
constexpr std::uint32_t yuyv = V4L2_PIX_FMT_YUYV;
constexpr std::uint32_t mjpeg = V4L2_PIX_FMT_MJPEG;

/// A camera of its own that runs.
struct Running {
    Running(FakeV4L2& fake, AVCaptureSessionPreset preset)
        : camera(fake.path, engine::CameraDescription{}, sources, fake.calls())
    {
        if (const auto opened = camera.open(); !opened)
            ADD_FAILURE() << opened.error().localizedDescription;
        if (const auto started = camera.start(preset, sink); !started)
            ADD_FAILURE() << started.error().localizedDescription;
    }

    std::string faultOf(FakeV4L2& fake, std::vector<std::uint8_t> bytes)
    {
        fake.push({std::move(bytes)});
        sources.run();
        return sink->buffers.empty() ? "no frame" : patchFault(*sink->buffers.back());
    }

    HandFiredSources sources;
    std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
    host::V4L2Camera camera;
};

/// "YUYV 640x480 30"
std::string choice(
    Formats formats, AVCaptureSessionPreset preset, std::function<void(v4l2_pix_format&)> correct = {})
{
    FakeV4L2 fake;
    fake.formats = std::move(formats);
    fake.correct = std::move(correct);
    const Running running(fake, preset);
    const v4l2_pix_format format = fake.format();
    const auto interval = fake.interval();
    std::string text;
    for (int shift = 0; shift < 32; shift += 8)
        text += static_cast<char>(format.pixelformat >> shift);
    return text + " " + std::to_string(format.width) + "x" + std::to_string(format.height)
        + (interval ? " " + std::to_string(interval->denominator / interval->numerator) : "");
}

constexpr const char* bt601 = "scale=out_color_matrix=bt601:out_range=tv,";

/// What a device says of its colours.
struct Named {
    std::uint32_t space = V4L2_COLORSPACE_DEFAULT;
    std::uint8_t encoding = V4L2_YCBCR_ENC_DEFAULT;
    std::uint8_t quantization = V4L2_QUANTIZATION_DEFAULT;
};

/// What is wrong with a raw frame that ffmpeg's filters make, with rows of 384 bytes.
std::string rawFault(
    std::uint32_t code, int width, int height, int rowPixels, const std::string& filters, const Named& named)
{
    FakeV4L2 fake;
    fake.formats = {{code, {{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), {}}}}};
    fake.correct = [&](v4l2_pix_format& pixels) {
        pixels.bytesperline = 384;
        pixels.colorspace = named.space;
        pixels.ycbcr_enc = named.encoding;
        pixels.quantization = named.quantization;
    };
    Running running(fake, high);
    return running.faultOf(fake, patchPicture(width, height, rowPixels, filters, "-f rawvideo"));
}

} // namespace

TEST(V4L2FormatTest, ThePresetChoosesAmongWhatTheDeviceOffers)
{
    const Formats webcam{{V4L2_PIX_FMT_H264, {{3840, 2160, {{1, 60}}}}},
        {yuyv, {{640, 480, {{1, 15}, {1, 30}, {1, 60}}}, {1280, 720, {{1, 10}}}, {2592, 1944, {{1, 2}}}}},
        {mjpeg,
            {{640, 480, {{1, 120}}}, {1280, 720, {{1, 60}, {1, 30}}}, {1920, 1080, {{1, 20}}},
                {2592, 1944, {{1, 15}, {1, 5}}}}}};
    EXPECT_EQ(choice(webcam, high), "MJPG 1280x720 30")
        << "a larger one is too slow, the raw one of this size too";
    EXPECT_EQ(choice(webcam, photo), "MJPG 2592x1944 15") << "the largest; compressed it is the faster";

    const Formats equal{{mjpeg, {{1280, 720, {{1, 60}}}}}, {yuyv, {{1280, 720, {{1001, 30000}}}}}};
    EXPECT_EQ(choice(equal, high), "YUYV 1280x720 29") << "raw wins among equals, and television's 30 is 30";

    const Formats slow{
        {yuyv, {{1920, 1080, {{1, 5}}}, {800, 600, {{1, 20}, {1, 25}}}, {640, 480, {{1, 25}}}}}};
    EXPECT_EQ(choice(slow, high), "YUYV 800x600 25") << "without 30 frames a second the rate counts";

    const Formats timeless{{yuyv, {{640, 480, {{0, 1}, {1, 0}, {0, 0}, {1, 30}}}}}};
    EXPECT_EQ(choice(timeless, high), "YUYV 640x480 30");

    const Formats portrait{{yuyv, {{1080, 1920, {{1, 30}}}, {2160, 3840, {{1, 30}}}}}};
    EXPECT_EQ(choice(portrait, high), "YUYV 1080x1920 30");
}

TEST(V4L2FormatTest, DevicesThatGiveRangesOrTellNothingAreUsedAsWell)
{
    const v4l2_frmsize_stepwise range{.min_width = 32,
        .max_width = 2592,
        .step_width = 16,
        .min_height = 32,
        .max_height = 1944,
        .step_height = 16};
    const std::vector<FakeV4L2::Size> rates{
        {640, 0, {{1, 60}}}, {1280, 0, {{1, 60}, {1, 5}}}, {4000, 0, {{1, 10}, {1, 1}}}};
    EXPECT_EQ(choice({{yuyv, rates, range}}, photo), "YUYV 2592x1936 10");
    EXPECT_EQ(choice({{yuyv, rates, range}}, high), "YUYV 1280x720 30");
    EXPECT_EQ(choice({{yuyv, {}, range}}, high), "YUYV 1920x1072") << "rates that are not told are trusted";

    FakeV4L2 fake; // lists nothing, but has a format set
    fake.formats = {{yuyv, {{320, 240, {}}}}};
    {
        const Running first(fake, high);
    }
    fake.formats.clear();
    Running running(fake, high);
    EXPECT_EQ(fake.format().width, 320u);
}

TEST(V4L2FormatTest, ListsMayBeEndlessAndWhatIsListedMayBeRefused)
{
    FakeV4L2 fake;
    fake.formats = {{mjpeg, {{640, 480, {{1, 30}}}}}, {yuyv, {{320, 240, {{1, 30}}}}}};
    for (const unsigned long request :
        {VIDIOC_ENUM_FMT, VIDIOC_ENUM_FRAMESIZES, VIDIOC_ENUM_FRAMEINTERVALS}) {
        fake.endlessList = request;
        const Running running(fake, photo);
        EXPECT_EQ(fake.format().width, 640u);
    }
    fake.endlessList = 0;
    fake.refusedCode = mjpeg;
    {
        const Running running(fake, photo);
        EXPECT_EQ(fake.format().width, 320u) << "the next best";
    }
    fake.refusedCode = 0;
    for (const std::uint32_t width : {0u, 16385u}) { // no frame is so small or so large
        fake.correct = [&](v4l2_pix_format& pixels) {
            if (pixels.pixelformat == mjpeg)
                pixels.width = width;
        };
        const Running running(fake, photo);
        EXPECT_EQ(fake.format().width, 320u);
    }
    fake.failures = {{VIDIOC_S_FMT, EIO}};
    HandFiredSources sources;
    host::V4L2Camera camera(fake.path, {}, sources, fake.calls());
    ASSERT_TRUE(camera.open());
    const int before = fake.count(VIDIOC_S_FMT);
    EXPECT_EQ(camera.start(photo, std::make_shared<RecordingSink>()).error().code, EIO);
    EXPECT_EQ(fake.count(VIDIOC_S_FMT), before + 1) << "a broken device is not tried again and again";
}

TEST(V4L2FormatTest, WhatTheDriverMakesOfTheFormatIsWhatCounts)
{
    FakeV4L2 fake;
    fake.formats = {{yuyv, {{640, 480, {{1, 30}}}}}};
    fake.correct = [](v4l2_pix_format& pixels) {
        pixels.width = 62;
        pixels.height = 46;
        pixels.bytesperline = 200;
        pixels.pixelformat = V4L2_PIX_FMT_UYVY;
    };
    Running running(fake, high);
    EXPECT_EQ(running.camera.description().presentationDimensions, (platform::CGSize{62, 46}));
    EXPECT_EQ(running.camera.description().name, "Fake camera");
    EXPECT_EQ(running.faultOf(
                  fake, patchPicture(62, 46, 100, std::string(bt601) + "format=uyvy422", "-f rawvideo")),
        "");
    EXPECT_EQ(running.sink->buffers.front()->width(), 62u);
}

TEST(V4L2FormatTest, EachLayoutComesOutTrueAlsoWithPaddedRowsAndOddSizes)
{
    struct Layout {
        std::uint32_t code;
        const char* filters;
        int rowPixels; ///< in 384 bytes of the first plane
    };
    for (const auto& [code, filters, rowPixels] :
        {Layout{V4L2_PIX_FMT_YUYV, "format=yuyv422", 192}, {V4L2_PIX_FMT_UYVY, "format=uyvy422", 192},
            {V4L2_PIX_FMT_NV12, "format=nv12", 384}, {V4L2_PIX_FMT_YUV420, "format=yuv420p", 384},
            {V4L2_PIX_FMT_YVU420, "format=yuv420p,swapuv", 384}, {V4L2_PIX_FMT_BGR32, "format=bgr0", 96},
            {V4L2_PIX_FMT_XBGR32, "format=bgr0", 96}, {V4L2_PIX_FMT_RGB24, "format=rgb24", 128},
            {V4L2_PIX_FMT_BGR24, "format=bgr24", 128}}) {
        for (const auto& [width, height] : {std::pair{64, 48}, {63, 47}})
            EXPECT_EQ(rawFault(code, width, height, rowPixels, std::string(bt601).append(filters), {}), "")
                << filters << " " << width;
    }
}

TEST(V4L2FormatTest, ColoursAreThoseThatTheDeviceNamesOrThatFollowFromTheColourSpace)
{
    struct Colours {
        Named named;
        const char* filters;
    };
    constexpr const char* bt709 = "scale=out_color_matrix=bt709:out_range=tv,";
    constexpr const char* bt601Full = "scale=out_color_matrix=bt601:out_range=pc,";
    constexpr std::uint8_t limited = V4L2_QUANTIZATION_LIM_RANGE;
    constexpr std::uint8_t full = V4L2_QUANTIZATION_FULL_RANGE;
    for (const auto& [named, filters] : {Colours{{V4L2_COLORSPACE_SRGB, V4L2_YCBCR_ENC_601, limited}, bt601},
             {{V4L2_COLORSPACE_SRGB, V4L2_YCBCR_ENC_601, full}, bt601Full},
             {{V4L2_COLORSPACE_SRGB, V4L2_YCBCR_ENC_709, limited}, bt709},
             {{V4L2_COLORSPACE_SRGB, V4L2_YCBCR_ENC_709, full}, "scale=out_color_matrix=bt709:out_range=pc,"},
             {{V4L2_COLORSPACE_REC709}, bt709}, {{V4L2_COLORSPACE_JPEG}, bt601Full},
             {{V4L2_COLORSPACE_BT2020}, "scale=out_color_matrix=bt2020:out_range=tv,"},
             {{V4L2_COLORSPACE_DEFAULT}, bt601}})
        EXPECT_EQ(rawFault(yuyv, 64, 48, 192, std::string(filters).append("format=yuyv422"), named), "")
            << named.space << " " << int{named.encoding} << " " << int{named.quantization};
    EXPECT_EQ(rawFault(V4L2_PIX_FMT_RGB24, 64, 48, 128,
                  "lutrgb=r=16+val*219/255:g=16+val*219/255:b=16+val*219/255,format=rgb24",
                  {.quantization = limited}),
        "");
}

TEST(V4L2FormatTest, CompressedFramesComeOutTrueWhateverTheirSampling)
{
    for (const auto& [width, height] : {std::pair{64u, 48u}, {63u, 47u}}) {
        for (const char* sampling : {"yuvj444p", "yuvj422p", "yuvj420p"}) {
            FakeV4L2 fake;
            fake.formats = {{mjpeg, {{width, height, {}}}}};
            Running running(fake, high);
            EXPECT_EQ(
                running.faultOf(fake, patchJpeg(static_cast<int>(width), static_cast<int>(height), sampling)),
                "")
                << width << " " << sampling;
        }
    }
}

} // namespace tamsel::tests
