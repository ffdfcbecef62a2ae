#include "PatchPicture.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

namespace tamsel::tests {

namespace {

struct Rgb {
    double red;
    double green;
    double blue;
};

struct Yuv {
    std::uint8_t luma;
    std::uint8_t blue;
    std::uint8_t red;
};

Rgb patchAt(std::size_t x, std::size_t y, std::size_t width, std::size_t height)
{
    constexpr Rgb patches[2][2] = {{{1, 0, 0}, {0, 1, 0}}, {{0, 0, 1}, {1, 1, 1}}};
    return patches[y < height / 2 ? 0 : 1][x < width / 2 ? 0 : 1];
}

std::uint8_t byteOf(double value)
{
    return static_cast<std::uint8_t>(std::lround(std::min(value, 255.0)));
}

Yuv yuvOf(const Rgb& pixel, const PatchColours& colours)
{
    const double luma = colours.red * pixel.red + (1 - colours.red - colours.blue) * pixel.green
        + colours.blue * pixel.blue;
    const double blue = (pixel.blue - luma) / (2 * (1 - colours.blue));
    const double red = (pixel.red - luma) / (2 * (1 - colours.red));
    const double chromaScale = colours.isFull ? 255 : 224;
    return {byteOf(colours.isFull ? 255 * luma : 16 + 219 * luma), byteOf(128 + chromaScale * blue),
        byteOf(128 + chromaScale * red)};
}

void putPixel(std::vector<std::uint8_t>& bytes, const v4l2_pix_format& format, std::size_t x, std::size_t y,
    const Rgb& pixel, const Yuv& yuv, bool isFull)
{
    const std::size_t row = y * format.bytesperline;
    const std::size_t pair = row + x / 2 * 4;
    const auto scale = [&](double value) { return byteOf(isFull ? 255 * value : 16 + 219 * value); };
    const std::size_t luma = std::size_t{format.bytesperline} * format.height;
    const std::size_t planarRow = (format.bytesperline + 1) / 2;
    const std::size_t plane = planarRow * ((format.height + 1) / 2);
    const std::size_t planar = luma + y / 2 * planarRow + x / 2;
    switch (format.pixelformat) {
    case V4L2_PIX_FMT_YUYV:
        bytes[row + x * 2] = yuv.luma;
        bytes[pair + 1] = yuv.blue;
        bytes[pair + 3] = yuv.red;
        break;
    case V4L2_PIX_FMT_UYVY:
        bytes[row + x * 2 + 1] = yuv.luma;
        bytes[pair] = yuv.blue;
        bytes[pair + 2] = yuv.red;
        break;
    case V4L2_PIX_FMT_NV12:
        bytes[row + x] = yuv.luma;
        bytes[luma + y / 2 * format.bytesperline + x / 2 * 2] = yuv.blue;
        bytes[luma + y / 2 * format.bytesperline + x / 2 * 2 + 1] = yuv.red;
        break;
    case V4L2_PIX_FMT_YUV420:
    case V4L2_PIX_FMT_YVU420:
        bytes[row + x] = yuv.luma;
        bytes[planar] = format.pixelformat == V4L2_PIX_FMT_YUV420 ? yuv.blue : yuv.red;
        bytes[planar + plane] = format.pixelformat == V4L2_PIX_FMT_YUV420 ? yuv.red : yuv.blue;
        break;
    default: {
        const bool isRgb = format.pixelformat == V4L2_PIX_FMT_RGB24;
        const bool isThree = isRgb || format.pixelformat == V4L2_PIX_FMT_BGR24;
        std::uint8_t* to = bytes.data() + row + x * (isThree ? 3 : 4);
        to[0] = scale(isRgb ? pixel.red : pixel.blue);
        to[1] = scale(pixel.green);
        to[2] = scale(isRgb ? pixel.blue : pixel.red);
    }
    }
}

} // namespace

std::vector<std::uint8_t> patchPicture(const v4l2_pix_format& format, const PatchColours& colours)
{
    std::vector<std::uint8_t> bytes(std::size_t{format.bytesperline} * (format.height + 1) * 2);
    for (std::size_t y = 0; y < format.height; ++y) {
        for (std::size_t x = 0; x < format.width; ++x) {
            const Rgb pixel = patchAt(x, y, format.width, format.height);
            putPixel(bytes, format, x, y, pixel, yuvOf(pixel, colours), colours.isFull);
        }
    }
    return bytes;
}

std::vector<std::uint8_t> patchJpeg(int width, int height, int horizontalStep, int verticalStep)
{
    const auto freeContext = [](AVCodecContext* context) { avcodec_free_context(&context); };
    const auto freeFrame = [](AVFrame* frame) { av_frame_free(&frame); };
    const auto freePacket = [](AVPacket* packet) { av_packet_free(&packet); };
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    const std::unique_ptr<AVCodecContext, decltype(freeContext)> context(avcodec_alloc_context3(codec));
    const std::unique_ptr<AVFrame, decltype(freeFrame)> frame(av_frame_alloc());
    const std::unique_ptr<AVPacket, decltype(freePacket)> packet(av_packet_alloc());
    context->width = frame->width = width;
    context->height = frame->height = height;
    context->time_base = {1, 30};
    context->pix_fmt = horizontalStep == 1 ? AV_PIX_FMT_YUVJ444P
        : verticalStep == 1                ? AV_PIX_FMT_YUVJ422P
                                           : AV_PIX_FMT_YUVJ420P;
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->qmin = context->qmax = 1;
    frame->format = context->pix_fmt;
    frame->quality = FF_QP2LAMBDA;
    if (avcodec_open2(context.get(), codec, nullptr) < 0 || av_frame_get_buffer(frame.get(), 0) < 0)
        return {};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Rgb pixel = patchAt(static_cast<std::size_t>(x), static_cast<std::size_t>(y),
                static_cast<std::size_t>(width), static_cast<std::size_t>(height));
            const Yuv yuv = yuvOf(pixel, {.isFull = true});
            frame->data[0][y * frame->linesize[0] + x] = yuv.luma;
            frame->data[1][y / verticalStep * frame->linesize[1] + x / horizontalStep] = yuv.blue;
            frame->data[2][y / verticalStep * frame->linesize[2] + x / horizontalStep] = yuv.red;
        }
    }
    if (avcodec_send_frame(context.get(), frame.get()) < 0
        || avcodec_receive_packet(context.get(), packet.get()) < 0)
        return {};
    return {packet->data, packet->data + packet->size};
}

std::string patchFault(const platform::CVPixelBuffer& buffer)
{
    std::string fault;
    for (const std::size_t y : {buffer.height() / 4, buffer.height() * 3 / 4, buffer.height() - 1}) {
        for (const std::size_t x : {buffer.width() / 4, buffer.width() * 3 / 4, buffer.width() - 1}) {
            const Rgb wanted = patchAt(x, y, buffer.width(), buffer.height());
            const double values[] = {wanted.blue, wanted.green, wanted.red, 1};
            for (std::size_t part = 0; part < 4; ++part) {
                const int value = std::to_integer<int>(buffer.pixel(x, y)[part]);
                if (std::abs(value - static_cast<int>(255 * values[part])) > (part == 3 ? 0 : 3))
                    fault += "BGRA"[part] + std::string("(") + std::to_string(x) + "," + std::to_string(y)
                        + ")=" + std::to_string(value) + " ";
            }
        }
    }
    return fault;
}

} // namespace tamsel::tests
