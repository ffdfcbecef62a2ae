#include <host/ffmpeg/decodePngFrame.h>

#include <host/image/PictureFormats.h>

#include <exception>
#include <memory>
#include <span>

namespace tamsel::host {

using platform::CVPixelBuffer;

namespace {

void release(void* owner, std::uint8_t* /*pixels*/)
{
    delete static_cast<CVPixelBuffer*>(owner);
}

/// A frame that owns the pixels.
OwnedFrame frameOf(std::unique_ptr<CVPixelBuffer> pixels)
{
    OwnedFrame frame(av_frame_alloc());
    if (!frame)
        return nullptr;
    frame->width = static_cast<int>(pixels->width());
    frame->height = static_cast<int>(pixels->height());
    frame->format = AV_PIX_FMT_BGRA;
    frame->color_range = AVCOL_RANGE_JPEG;
    frame->data[0] = reinterpret_cast<std::uint8_t*>(pixels->baseAddress());
    frame->linesize[0] = static_cast<int>(pixels->bytesPerRow());
    CVPixelBuffer* owner = pixels.release();
    frame->buf[0]
        = av_buffer_create(frame->data[0], owner->bytesPerRow() * owner->height(), &release, owner, 0);
    if (!frame->buf[0]) {
        release(owner, nullptr);
        return nullptr;
    }
    return frame;
}

} // namespace

OwnedFrame decodePngFrame(const AVPacket& packet)
{
    const PictureFormat format = pngFormat();
    const Bytes bytes = std::as_bytes(std::span(packet.data, static_cast<std::size_t>(packet.size)));
    const auto header = format.readHeader(bytes);
    if (!header || header->width == 0 || header->height == 0 || header->isTooLarge())
        return nullptr;
    try {
        auto pixels = std::make_unique<CVPixelBuffer>(header->width, header->height);
        if (!format.decode(bytes, *pixels))
            return nullptr;
        OwnedFrame frame = frameOf(std::move(pixels));
        if (frame) {
            frame->best_effort_timestamp = frame->pts = packet.pts;
            frame->pkt_duration = packet.duration;
        }
        return frame;
    } catch (const std::exception&) {
        return nullptr; // no memory
    }
}

} // namespace tamsel::host
