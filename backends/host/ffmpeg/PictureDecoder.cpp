#include <host/ffmpeg/PictureDecoder.h>

#include <host/image/PictureFormats.h>

#include <cstdint>
#include <cstring>
#include <limits>

namespace tamsel::host {

PictureDecoder::PictureDecoder(AVCodecID kind)
{
    prepareLibraries(); // they would report every broken picture
    const AVCodec* codec = avcodec_find_decoder(kind);
    codec_.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!codec_)
        return;
    codec_->thread_count = 1;
    codec_->max_pixels = static_cast<std::int64_t>(maximumPixels);
    if (avcodec_open2(codec_.get(), codec, nullptr) < 0)
        codec_.reset();
}

AVFrame* PictureDecoder::decode(std::span<const std::byte> picture)
{
    if (!codec_ || !packet_ || !frame_ || picture.size() > std::numeric_limits<int>::max() / 2)
        return nullptr;
    // Copied, because the decoder reads beyond the end and expects zeros there.
    if (av_new_packet(packet_.get(), static_cast<int>(picture.size())) < 0)
        return nullptr;
    std::memcpy(packet_->data, picture.data(), picture.size());
    const int sent = avcodec_send_packet(codec_.get(), packet_.get());
    av_packet_unref(packet_.get());
    const bool isWhole = sent >= 0 && avcodec_receive_frame(codec_.get(), frame_.get()) >= 0
        && frame_->decode_error_flags == 0 && (frame_->flags & AV_FRAME_FLAG_CORRUPT) == 0;
    return isWhole ? frame_.get() : nullptr;
}

} // namespace tamsel::host
