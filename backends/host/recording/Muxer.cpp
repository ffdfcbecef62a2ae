#include <host/recording/Muxer.h>

#include <host/ffmpeg/failure.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr int bufferSize = 1 << 16;
constexpr std::size_t typeSizeLength = 4;

/// By which a player turns the stored picture clockwise, with the translation that brings it back to the origin
/// (ISO/IEC 14496-12, 8.3.2; y grows downwards).
std::array<std::int32_t, 9> displayMatrix(int quarterTurns, std::int32_t width, std::int32_t height)
{
    constexpr std::int32_t one = 1 << 16;
    constexpr std::int32_t w = 1 << 30;
    switch (quarterTurns & 3) {
    case 1:
        return {0, one, 0, -one, 0, 0, height * one, 0, w};
    case 2:
        return {-one, 0, 0, 0, -one, 0, width * one, height * one, w};
    case 3:
        return {0, -one, 0, one, 0, 0, 0, width * one, w};
    default:
        return {one, 0, 0, 0, one, 0, 0, 0, w};
    }
}

void describeSound(AVCodecParameters& parameters, const TrackDescription& track)
{
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.sample_rate = track.sampleRate;
    av_channel_layout_default(&parameters.ch_layout, track.channels);
    parameters.format = AV_SAMPLE_FMT_FLTP;
    parameters.frame_size = track.frameSize;
    parameters.initial_padding = track.initialPadding;
}

void describePicture(AVStream& stream, const TrackDescription& track)
{
    AVCodecParameters& parameters = *stream.codecpar;
    parameters.codec_type = AVMEDIA_TYPE_VIDEO;
    parameters.width = track.width;
    parameters.height = track.height;
    parameters.format = track.pixelFormat;
    parameters.color_range = static_cast<AVColorRange>(track.colourRange);
    parameters.color_primaries = static_cast<AVColorPrimaries>(track.colourPrimaries);
    parameters.color_trc = static_cast<AVColorTransferCharacteristic>(track.colourTransfer);
    parameters.color_space = static_cast<AVColorSpace>(track.colourSpace);
    parameters.sample_aspect_ratio = stream.sample_aspect_ratio = {1, 1};
    if (track.quarterTurns % 4 == 0)
        return;
    const auto matrix = displayMatrix(track.quarterTurns, track.width, track.height);
    if (std::uint8_t* data
        = av_stream_new_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, matrix.size() * sizeof(std::int32_t)))
        std::memcpy(data, matrix.data(), matrix.size() * sizeof(std::int32_t));
}

} // namespace

Muxer::Muxer(ReservedFile& file, Mode mode) : file_(file), mode_(mode) { }

Muxer::~Muxer()
{
    avformat_free_context(format_);
    if (output_)
        av_freep(static_cast<void*>(&output_->buffer));
    avio_context_free(&output_);
}

std::expected<std::unique_ptr<Muxer>, Error> Muxer::begin(
    ReservedFile& file, const MovieDescription& description, Mode mode)
{
    std::unique_ptr<Muxer> muxer(new Muxer(file, mode));
    if (auto opened = muxer->open(description); !opened)
        return std::unexpected(std::move(opened.error()));
    return muxer;
}

std::expected<void, Error> Muxer::open(const MovieDescription& description)
{
    if (const int code
        = avformat_alloc_output_context2(&format_, nullptr, description.container.c_str(), nullptr);
        code < 0)
        return failed(code);
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    output_ = avio_alloc_context(buffer, bufferSize, 1, this, nullptr, &writeBytes, &seek);
    format_->pb = output_;
    format_->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT;
    av_dict_set_int(&format_->metadata, "creation_time", description.creationTime * AV_TIME_BASE, 0);
    for (const TrackDescription& track : description.tracks) {
        AVStream* stream = avformat_new_stream(format_, nullptr);
        AVCodecParameters& parameters = *stream->codecpar;
        parameters.codec_id = static_cast<AVCodecID>(track.codec);
        parameters.profile = track.profile;
        parameters.level = track.level;
        stream->time_base = {1, track.timescale};
        if (track.isPicture)
            describePicture(*stream, track);
        else
            describeSound(parameters, track);
        const std::size_t size = track.extradata.size();
        parameters.extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
        parameters.extradata_size = static_cast<int>(size);
        std::ranges::copy(track.extradata, reinterpret_cast<std::byte*>(parameters.extradata));
    }
    if (const int code = avformat_write_header(format_, nullptr); code < 0)
        return failed(code);
    for (unsigned index = 0; index < format_->nb_streams; ++index) {
        if (format_->streams[index]->time_base.den != description.tracks[index].timescale)
            return failed(AVERROR(EINVAL));
    }
    avio_flush(output_);
    if (error_)
        return std::unexpected(*error_);
    isInData_ = true;
    std::array<std::byte, typeSizeLength> size{};
    if (auto read = file_.read(0, size); !read)
        return read;
    for (const std::byte byte : size)
        headerEnd_ = headerEnd_ << 8 | std::to_integer<std::uint64_t>(byte);
    return file_.read(headerEnd_, head_);
}

std::expected<void, Error> Muxer::failed(int code)
{
    if (error_)
        return std::unexpected(*error_);
    return failure(file_.path().string(), messageOf(code), code);
}

int Muxer::writeBytes(void* opaque, std::uint8_t* bytes, int count)
{
    auto& self = *static_cast<Muxer*>(opaque);
    const auto placed = self.place(std::as_bytes(std::span(bytes, static_cast<std::size_t>(count))));
    if (placed)
        return count;
    self.error_ = placed.error();
    return AVERROR(EIO);
}

std::expected<void, Error> Muxer::place(std::span<const std::byte> bytes)
{
    const std::uint64_t at = std::exchange(at_, at_ + bytes.size());
    if (catchesIndex_ && at >= dataEnd_) {
        const std::uint64_t begin = at - dataEnd_;
        index_.resize(std::max<std::size_t>(index_.size(), begin + bytes.size()));
        std::ranges::copy(bytes, index_.begin() + static_cast<std::ptrdiff_t>(begin));
        return {};
    }
    if (catchesIndex_) {
        if (at < headerEnd_ || at - headerEnd_ + bytes.size() > head_.size())
            return failure(
                file_.path().string(), "cannot be completed with this version of the FFmpeg libraries");
        std::ranges::copy(bytes, head_.begin() + static_cast<std::ptrdiff_t>(at - headerEnd_));
        return {};
    }
    if (mode_ == Mode::write)
        return file_.write(at, bytes);
    if (isInData_)
        return {};
    std::vector<std::byte> there(bytes.size());
    if (auto read = file_.read(at, there); !read)
        return read;
    if (!std::ranges::equal(there, bytes))
        return failure(
            file_.path().string(), "was recorded by another version of the FFmpeg libraries, or is damaged");
    return {};
}

std::int64_t Muxer::seek(void* opaque, std::int64_t offset, int whence)
{
    auto& self = *static_cast<Muxer*>(opaque);
    if (whence != SEEK_SET || offset < 0)
        return AVERROR(EINVAL);
    self.at_ = static_cast<std::uint64_t>(offset);
    return offset;
}

std::uint64_t Muxer::position() const
{
    return static_cast<std::uint64_t>(avio_tell(output_));
}

void Muxer::moveTo(std::uint64_t position)
{
    if (position != this->position())
        avio_seek(output_, static_cast<std::int64_t>(position), SEEK_SET);
}

std::expected<void, Error> Muxer::write(AVPacket& packet, std::uint32_t track)
{
    packet.stream_index = static_cast<int>(track);
    const int code = av_write_frame(format_, &packet);
    if (code < 0)
        return failed(code);
    avio_flush(output_);
    if (error_)
        return std::unexpected(*error_);
    return {};
}

std::expected<std::vector<std::byte>, Error> Muxer::end()
{
    dataEnd_ = position();
    catchesIndex_ = true;
    const int code = av_write_trailer(format_);
    avio_flush(output_);
    if (code < 0 || error_)
        return std::unexpected(failed(code).error());
    return std::move(index_);
}

} // namespace tamsel::host
