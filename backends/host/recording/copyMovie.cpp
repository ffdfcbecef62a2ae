#include <host/recording/copyMovie.h>

#include <host/ffmpeg/MediaContainer.h>
#include <host/ffmpeg/failure.h>
#include <host/ffmpeg/owners.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>
#include <system_error>
#include <vector>

namespace tamsel::host {

using platform::Error;

namespace {

using OpenMovie = std::unique_ptr<AVFormatContext, DeletePointer<avformat_close_input>>;

struct CloseOutput {
    void operator()(AVFormatContext* format) const
    {
        avio_closep(&format->pb);
        avformat_free_context(format);
    }
};
using MovieOutput = std::unique_ptr<AVFormatContext, CloseOutput>;

/// The usual upper limit of an index, for the movie and for each packet: stts 8, stsz 4, co64 8 and stsc 12, which few
/// packets need (ISO/IEC 14496-12).
constexpr std::int64_t indexBase = std::int64_t{16} * 1024;
constexpr std::int64_t indexPerPacket = 24;

std::expected<OpenMovie, Error> openPart(const MovieCopy& copy)
{
    prepareLibraries();
    AVFormatContext* opened = nullptr;
    Dictionary options;
    options.set("advanced_editlist", std::int64_t{0}); // all packets, with their times
    int code = avformat_open_input(
        &opened, ("file:" + copy.from.string()).c_str(), av_find_input_format("mov"), options.get());
    OpenMovie part(opened);
    if (code >= 0)
        code = findStreams(*part); // MPEG-4 states its size in the pictures only
    if (code < 0)
        return failure(
            copy.from.string(), code == AVERROR_INVALIDDATA ? "contains no movie" : messageOf(code), code);
    return part;
}

std::expected<MovieOutput, Error> openOutput(const MovieCopy& copy)
{
    const std::string url = "file:" + copy.to.string();
    AVFormatContext* format = nullptr;
    int code = avformat_alloc_output_context2(&format, nullptr, copy.container, url.c_str());
    MovieOutput output(format);
    if (code >= 0) {
        format->flags |= AVFMT_FLAG_BITEXACT;
        code = avio_open(&format->pb, url.c_str(), AVIO_FLAG_WRITE);
    }
    if (code < 0)
        return failure(copy.movie.string(), messageOf(code), code);
    return output;
}

/// Whether NAL units follow each other, each preceded by its length (ISO/IEC 14496-15).
bool areUnitsWhole(std::span<const std::uint8_t> packet, std::span<const std::uint8_t> header)
{
    const std::size_t lengthSize = header.size() > 4 ? (header[4] & 3U) + 1 : 4;
    while (packet.size() > lengthSize) {
        std::size_t length = 0;
        for (const std::uint8_t byte : packet.first(lengthSize))
            length = length << 8 | byte;
        if (length == 0 || length > packet.size() - lengthSize)
            return false;
        packet = packet.subspan(lengthSize + length);
    }
    return packet.empty();
}

/// A power failure may leave holes in the last fragment.
bool isWhole(const AVPacket& packet, const AVCodecParameters& track)
{
    if (packet.size <= 0 || (packet.flags & AV_PKT_FLAG_CORRUPT) != 0)
        return false;
    const std::span bytes(packet.data, static_cast<std::size_t>(packet.size));
    if (track.codec_id == AV_CODEC_ID_H264)
        return areUnitsWhole(bytes, {track.extradata, static_cast<std::size_t>(track.extradata_size)});
    return std::ranges::any_of(bytes, [](std::uint8_t byte) { return byte != 0; });
}

/// A track and its last packet so far, whose duration is known at the end.
struct Track {
    AVStream* source = nullptr;
    AVStream* target = nullptr;
    OwnedPacket last{av_packet_alloc()};
    std::int64_t duration = 0; ///< of the previous packet
    bool hasPacket = false;
    bool hasEnded = false;
};

class Copier {
public:
    Copier(const MovieCopy& copy, OpenMovie part, MovieOutput output)
        : copy_(copy),
          part_(std::move(part)),
          output_(std::move(output))
    {
    }

    [[nodiscard]] std::expected<void, Error> run()
    {
        auto written = begin();
        const OwnedPacket packet(av_packet_alloc());
        while (written && av_read_frame(part_.get(), packet.get()) >= 0) {
            Track& track = tracks_[static_cast<std::size_t>(packet->stream_index)];
            track.hasEnded = track.hasEnded || !track.target || !isWhole(*packet, *track.source->codecpar);
            if (track.hasEnded && &track == picture_)
                break; // and no sound after it
            if (!track.hasEnded)
                written = take(track, *packet);
            av_packet_unref(packet.get());
        }
        return written ? end() : written;
    }

private:
    [[nodiscard]] std::expected<void, Error> begin();
    [[nodiscard]] std::expected<void, Error> take(Track& track, AVPacket& packet);
    [[nodiscard]] std::expected<void, Error> write(Track& track);
    [[nodiscard]] std::expected<void, Error> result(int code) const;
    [[nodiscard]] std::expected<void, Error> end();

    const MovieCopy& copy_;
    const OpenMovie part_;
    const MovieOutput output_;
    std::vector<Track> tracks_; ///< of the part's streams
    Track* picture_ = nullptr;
};

std::expected<void, Error> Copier::begin()
{
    tracks_.resize(part_->nb_streams);
    for (Track& track : tracks_) {
        track.source = part_->streams[&track - tracks_.data()];
        const bool isPicture = track.source->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        if ((!isPicture || picture_) && track.source->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
            continue;
        if (isPicture)
            picture_ = &track;
        track.target = avformat_new_stream(output_.get(), nullptr);
        avcodec_parameters_copy(track.target->codecpar, track.source->codecpar);
        track.target->codecpar->codec_tag = 0;
        track.target->time_base = track.source->time_base;
        track.target->sample_aspect_ratio = track.source->codecpar->sample_aspect_ratio;
        std::size_t size = 0;
        const auto* matrix = av_stream_get_side_data(track.source, AV_PKT_DATA_DISPLAYMATRIX, &size);
        if (matrix)
            std::memcpy(av_stream_new_side_data(track.target, AV_PKT_DATA_DISPLAYMATRIX, size), matrix, size);
    }
    if (!picture_)
        return failure(copy_.from.string(), "contains no movie");
    if (const auto* time = av_dict_get(part_->metadata, "creation_time", nullptr, 0))
        av_dict_set(&output_->metadata, time->key, time->value, 0);
    Dictionary options;
    if (copy_.packets)
        options.set("moov_size", indexBase + indexPerPacket * static_cast<std::int64_t>(*copy_.packets));
    else
        options.set("movflags", "faststart");
    return result(avformat_write_header(output_.get(), options.get()));
}

/// Writes the previous packet.
std::expected<void, Error> Copier::take(Track& track, AVPacket& packet)
{
    if (track.hasPacket) {
        track.duration = packet.dts - track.last->dts;
        if (auto written = write(track); !written)
            return written;
    }
    av_packet_unref(track.last.get());
    av_packet_move_ref(track.last.get(), &packet);
    track.hasPacket = true;
    return {};
}

std::expected<void, Error> Copier::write(Track& track)
{
    track.last->stream_index = track.target->index;
    av_packet_rescale_ts(track.last.get(), track.source->time_base, track.target->time_base);
    return result(av_interleaved_write_frame(output_.get(), track.last.get()));
}

std::expected<void, Error> Copier::result(int code) const
{
    if (code < 0)
        return failure(copy_.movie.string(), messageOf(code), code);
    return {};
}

std::expected<void, Error> Copier::end()
{
    if (!picture_->hasPacket)
        return failure(copy_.from.string(), "contains no movie");
    // A picture lasts as long as the one before it, and sound ends with the last one at the latest.
    const auto endOf = [](Track& track) {
        const std::int64_t whole = track.source->duration - track.last->pts;
        track.last->duration = track.duration > 0 ? track.duration : whole;
        return track.last->pts + track.last->duration;
    };
    const std::int64_t pictureEnd = endOf(*picture_);
    for (Track& track : tracks_) {
        if (!track.hasPacket)
            continue;
        const std::int64_t soundEnd
            = av_rescale_q(pictureEnd, picture_->source->time_base, track.source->time_base);
        if (&track != picture_ && endOf(track) > soundEnd && track.last->pts < soundEnd)
            track.last->duration = soundEnd - track.last->pts;
        if (auto written = write(track); !written)
            return written;
    }
    const int code = av_write_trailer(output_.get());
    avio_flush(output_->pb);
    return result(code < 0 ? code : output_->pb->error);
}

std::expected<void, Error> copyOnce(const MovieCopy& copy)
{
    auto part = openPart(copy);
    if (!part)
        return std::unexpected(std::move(part.error()));
    auto output = openOutput(copy);
    if (!output)
        return std::unexpected(std::move(output.error()));
    return Copier(copy, std::move(*part), std::move(*output)).run();
}

} // namespace

std::expected<void, Error> copyMovie(const MovieCopy& copy)
{
    std::error_code error;
    if (std::filesystem::space(copy.from, error).available < std::filesystem::file_size(copy.from, error))
        return failure(copy.movie.string(), std::strerror(ENOSPC), ENOSPC);
    auto copied = copyOnce(copy);
    if (copied || !copy.packets || copied.error().code != AVERROR(EINVAL))
        return copied;
    MovieCopy other = copy; // there was too little room in front
    other.packets.reset();
    return copyOnce(other);
}

} // namespace tamsel::host
