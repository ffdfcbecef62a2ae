#pragma once

#include <engine/capture/CameraDriver.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

#include <memory>
#include <utility>

namespace tamsel::host {

struct CodecDelete {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct PacketDelete {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameDelete {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

using OwnedCodec = std::unique_ptr<AVCodecContext, CodecDelete>;
using OwnedPacket = std::unique_ptr<AVPacket, PacketDelete>;
using OwnedFrame = std::unique_ptr<AVFrame, FrameDelete>;

/// A frame as it was decoded.
class DecodedPicture final : public engine::NativePicture {
public:
    explicit DecodedPicture(OwnedFrame frame) : frame_(std::move(frame)) { }

    [[nodiscard]] const AVFrame& frame() const { return *frame_; }

private:
    const OwnedFrame frame_;
};

} // namespace tamsel::host
