#include <host/v4l2/MotionJpegDecoder.h>

#include <host/image/PictureFormats.h>
#include <host/movie/MovieContainer.h>
#include <host/v4l2/RawFrame.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

#include <cstring>
#include <limits>
#include <string_view>

namespace tamsel::host {

namespace {

/// A frame of which the end got lost still decodes, to a picture with a grey part. Devices pad after the marker.
bool hasEndOfImage(std::span<const std::byte> picture)
{
    const std::string_view bytes(reinterpret_cast<const char*>(picture.data()), picture.size());
    return bytes.rfind("\xff\xd9") != std::string_view::npos;
}

} // namespace

void MotionJpegDecoder::Free::operator()(AVCodecContext* context) const
{
    avcodec_free_context(&context);
}
void MotionJpegDecoder::Free::operator()(AVFrame* frame) const
{
    av_frame_free(&frame);
}
void MotionJpegDecoder::Free::operator()(AVPacket* packet) const
{
    av_packet_free(&packet);
}

MotionJpegDecoder::MotionJpegDecoder() : frame_(av_frame_alloc()), packet_(av_packet_alloc())
{
    prepareMovieLibraries(); // broken frames are part of a camera's day: no lines about them
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    if (codec == nullptr)
        return;
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_)
        return;
    context_->thread_count = 1;
    if (avcodec_open2(context_.get(), codec, nullptr) < 0)
        context_.reset();
}

MotionJpegDecoder::~MotionJpegDecoder() = default;

bool MotionJpegDecoder::decode(std::span<const std::byte> picture, platform::CVPixelBuffer& target)
{
    if (!context_ || !frame_ || !packet_ || picture.size() > std::numeric_limits<int>::max() / 2
        || !hasEndOfImage(picture) || hasTooManyScans(picture))
        return false;
    // Copied, because the decoder reads beyond the end and wants zeros there.
    if (av_new_packet(packet_.get(), static_cast<int>(picture.size())) < 0)
        return false;
    std::memcpy(packet_->data, picture.data(), picture.size());
    const int sent = avcodec_send_packet(context_.get(), packet_.get());
    av_packet_unref(packet_.get());
    if (sent < 0 || avcodec_receive_frame(context_.get(), frame_.get()) < 0)
        return false;
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame_->format));
    const bool isGrey = description != nullptr && description->nb_components == 1;
    const bool isPlanar = description != nullptr
        && (isGrey || (description->flags & AV_PIX_FMT_FLAG_PLANAR) != 0)
        && (description->flags & AV_PIX_FMT_FLAG_RGB) == 0 && description->comp[0].depth == 8;
    const bool isLarge = frame_->width >= static_cast<int>(target.width())
        && frame_->height >= static_cast<int>(target.height());
    bool isDone = false;
    if (isPlanar && isLarge && frame_->decode_error_flags == 0) {
        PlanarPicture planes{.luma = {frame_->data[0], frame_->linesize[0]},
            .blue = {},
            .red = {},
            .horizontalStep = 1 << description->log2_chroma_w,
            .verticalStep = 1 << description->log2_chroma_h};
        if (!isGrey) {
            planes.blue = {frame_->data[1], frame_->linesize[1]};
            planes.red = {frame_->data[2], frame_->linesize[2]};
        }
        isDone = convertPlanarPicture(planes, target);
    }
    av_frame_unref(frame_.get());
    return isDone;
}

} // namespace tamsel::host
