#pragma once

// The host's use of the FFmpeg libraries, with one owner for each kind of their objects.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/channel_layout.h>
#include <libavutil/crc.h>
#include <libavutil/dict.h>
#include <libavutil/display.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <memory>

namespace tamsel::host {

/// Must be called before anything else of the FFmpeg libraries. Registers the devices of libavdevice and silences the
/// libraries, which otherwise write to the standard error stream of the process; failures are returned as errors.
void prepareLibraries();

/// Deletes with a function of the libraries that takes the object.
template <auto function> struct DeleteObject {
    void operator()(auto* object) const { function(object); }
};
/// Deletes with a function of the libraries that takes the address of a pointer to the object.
template <auto function> struct DeletePointer {
    void operator()(auto* object) const { function(&object); }
};
struct DeleteIo {
    void operator()(AVIOContext* io) const
    {
        av_freep(static_cast<void*>(&io->buffer));
        avio_context_free(&io);
    }
};

using OwnedFrame = std::unique_ptr<AVFrame, DeletePointer<av_frame_free>>;
using OwnedPacket = std::unique_ptr<AVPacket, DeletePointer<av_packet_free>>;
using OwnedCodec = std::unique_ptr<AVCodecContext, DeletePointer<avcodec_free_context>>;
/// A container for writing. For reading see `MediaContainer`.
using OwnedMuxer = std::unique_ptr<AVFormatContext, DeleteObject<avformat_free_context>>;
/// From `avio_alloc_context`, with its buffer.
using OwnedIo = std::unique_ptr<AVIOContext, DeleteIo>;
/// Buffers from the pool stay valid after it.
using OwnedBufferPool = std::unique_ptr<AVBufferPool, DeletePointer<av_buffer_pool_uninit>>;
using OwnedScaler = std::unique_ptr<SwsContext, DeleteObject<sws_freeContext>>;
using OwnedResampler = std::unique_ptr<SwrContext, DeletePointer<swr_free>>;

/// Options for a call of the libraries.
class Dictionary {
public:
    Dictionary() = default;
    ~Dictionary() { av_dict_free(&entries_); }
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;

    void set(const char* key, const char* value) { av_dict_set(&entries_, key, value, 0); }
    void set(const char* key, std::int64_t value) { av_dict_set_int(&entries_, key, value, 0); }
    /// For the call, which removes the options that it has used.
    [[nodiscard]] AVDictionary** get() { return &entries_; }

private:
    AVDictionary* entries_ = nullptr;
};

} // namespace tamsel::host
