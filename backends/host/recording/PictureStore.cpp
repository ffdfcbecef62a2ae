#include <host/recording/PictureStore.h>

#include <host/ffmpeg/planes.h>

#include <utility>

namespace tamsel::host {

using engine::MovieFrame;
using platform::CVPixelBuffer;

namespace {

constexpr std::size_t rowAlignment = 64;

struct Picture final : MovieFrame {
    explicit Picture(OwnedFrame picture) : frame(std::move(picture)) { }

    const OwnedFrame frame;
};

/// The same planes, without other properties of a decoded frame; absent for other formats.
OwnedFrame share(const AVFrame& decoded)
{
    if ((decoded.format != AV_PIX_FMT_YUV420P && decoded.format != AV_PIX_FMT_YUVJ420P) || decoded.width < 2
        || decoded.height < 2 || !decoded.buf[0])
        return nullptr;
    OwnedFrame frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P; // the other format is the same with full range
    frame->width = decoded.width & ~1;
    frame->height = decoded.height & ~1;
    frame->color_range = decoded.format == AV_PIX_FMT_YUVJ420P ? AVCOL_RANGE_JPEG : decoded.color_range;
    frame->color_primaries = decoded.color_primaries;
    frame->color_trc = decoded.color_trc;
    frame->colorspace = decoded.colorspace;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        frame->data[plane] = decoded.data[plane];
        frame->linesize[plane] = decoded.linesize[plane];
        if (decoded.buf[plane])
            frame->buf[plane] = av_buffer_ref(decoded.buf[plane]);
    }
    return frame;
}

} // namespace

std::unique_ptr<MovieFrame> PictureStore::keep(
    const CVPixelBuffer& pixels, const engine::NativePicture* nativePicture)
{
    const auto* decoded = dynamic_cast<const DecodedPicture*>(nativePicture);
    OwnedFrame frame = decoded ? share(decoded->frame()) : nullptr;
    if (!keepsDecoded_)
        keepsDecoded_ = frame != nullptr;
    if (!*keepsDecoded_)
        frame = convert(pixels);
    return frame ? std::make_unique<Picture>(std::move(frame)) : nullptr;
}

OwnedFrame PictureStore::convert(const CVPixelBuffer& pixels)
{
    const std::size_t width = pixels.width() & ~std::size_t{1};
    const std::size_t height = pixels.height() & ~std::size_t{1};
    if (width == 0 || height == 0)
        return nullptr;
    const std::size_t row = (width + rowAlignment - 1) / rowAlignment * rowAlignment;
    const std::size_t chromaRow = (width / 2 + rowAlignment - 1) / rowAlignment * rowAlignment;
    const std::size_t bytes = row * height + chromaRow * height + rowAlignment;
    if (bytes != bytes_) {
        pool_.reset(av_buffer_pool_init(bytes, nullptr));
        bytes_ = bytes;
    }
    OwnedFrame frame(av_frame_alloc());
    frame->buf[0] = av_buffer_pool_get(pool_.get());
    if (!frame->buf[0])
        return nullptr;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = static_cast<int>(width);
    frame->height = static_cast<int>(height);
    frame->color_range = AVCOL_RANGE_MPEG;
    frame->color_primaries = AVCOL_PRI_SMPTE170M;
    frame->color_trc = AVCOL_TRC_SMPTE170M;
    frame->colorspace = AVCOL_SPC_SMPTE170M;
    frame->data[0] = frame->buf[0]->data;
    frame->data[1] = frame->data[0] + row * height;
    frame->data[2] = frame->data[1] + chromaRow * (height / 2);
    frame->linesize[0] = static_cast<int>(row);
    frame->linesize[1] = frame->linesize[2] = static_cast<int>(chromaRow);
    convertToYuv420(pixels, *frame);
    return frame;
}

const AVFrame& PictureStore::pictureOf(const MovieFrame& frame)
{
    return *dynamic_cast<const Picture&>(frame).frame;
}

} // namespace tamsel::host
