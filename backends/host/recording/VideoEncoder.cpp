#include <host/recording/VideoEncoder.h>

#include <host/ffmpeg/failure.h>

#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr int usualRate = 30; // frames a second, a hint for the encoder's decisions
constexpr std::int64_t wholePictureInterval = 2 * VideoEncoder::timescale;
constexpr int mpeg4Quality = 3; // quantiser, 1 to 31

OwnedCodec openCodec(const std::string& name, const AVFrame& picture, int threads)
{
    const AVCodec* encoder = avcodec_find_encoder_by_name(name.c_str());
    if (!encoder || encoder->type != AVMEDIA_TYPE_VIDEO)
        return nullptr;
    OwnedCodec codec(avcodec_alloc_context3(encoder));
    codec->width = picture.width;
    codec->height = picture.height;
    codec->pix_fmt = static_cast<AVPixelFormat>(picture.format);
    codec->time_base = {1, VideoEncoder::timescale};
    codec->framerate = {usualRate, 1};
    codec->sample_aspect_ratio = {1, 1};
    codec->color_range = picture.color_range;
    codec->color_primaries = picture.color_primaries;
    codec->color_trc = picture.color_trc;
    codec->colorspace = picture.colorspace;
    codec->max_b_frames = 0; // no frame depends on a later one
    codec->gop_size = 2 * usualRate;
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (encoder->id == AV_CODEC_ID_H264) {
        codec->thread_count = threads;
        // Of libx264; other encoders ignore them.
        av_opt_set(codec->priv_data, "preset", "superfast", 0);
        av_opt_set(codec->priv_data, "crf", "23", 0);
        if (name != "libx264")
            codec->bit_rate = std::int64_t{picture.width} * picture.height * 4;
    } else {
        codec->flags |= AV_CODEC_FLAG_QSCALE;
        codec->global_quality = FF_QP2LAMBDA * mpeg4Quality;
    }
    return avcodec_open2(codec.get(), encoder, nullptr) < 0 ? nullptr : std::move(codec);
}

} // namespace

std::expected<std::unique_ptr<VideoEncoder>, Error> VideoEncoder::open(
    const std::vector<std::string>& names, const AVFrame& picture, PacketSink sink)
{
    std::string tried;
    for (const std::string& name : names) {
        // As many threads as there are cores, or only the caller's if the system has no more.
        for (const int threads : {0, 1}) {
            if (OwnedCodec codec = openCodec(name, picture, threads))
                return std::unique_ptr<VideoEncoder>(new VideoEncoder(std::move(codec), std::move(sink)));
        }
        tried.append(tried.empty() ? "" : ", ").append(name);
    }
    return std::unexpected(Error{.localizedDescription = "no video encoder works of: " + tried});
}

VideoEncoder::VideoEncoder(OwnedCodec codec, PacketSink sink)
    : codec_(std::move(codec)),
      sink_(std::move(sink))
{
}

std::expected<void, Error> VideoEncoder::encode(AVFrame& frame, std::int64_t time)
{
    frame.pts = time;
    const bool isWhole = !lastWholePicture_ || time - *lastWholePicture_ >= wholePictureInterval;
    frame.pict_type = isWhole ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    if (isWhole)
        lastWholePicture_ = time;
    const int code = avcodec_send_frame(codec_.get(), &frame);
    isBroken_ = code < 0;
    if (isBroken_)
        return std::unexpected(
            Error{.localizedDescription = "a frame cannot be encoded: " + messageOf(code)});
    return drain();
}

std::expected<void, Error> VideoEncoder::flush()
{
    if (isBroken_)
        return {}; // libx264 would crash
    avcodec_send_frame(codec_.get(), nullptr);
    return drain();
}

std::expected<void, Error> VideoEncoder::drain()
{
    return drainEncoder(*codec_, *packet_, sink_);
}

std::expected<void, Error> drainEncoder(AVCodecContext& codec, AVPacket& packet, const PacketSink& sink)
{
    while (avcodec_receive_packet(&codec, &packet) == 0) {
        auto taken = sink(packet);
        av_packet_unref(&packet);
        if (!taken)
            return taken;
    }
    return {};
}

} // namespace tamsel::host
