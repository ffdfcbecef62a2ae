#include <host/recording/MovieFile.h>

#include <host/ffmpeg/failure.h>
#include <host/ffmpeg/owners.h>

#include <array>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

/// The clockwise rotation for a player, with the translation that moves the picture back to the origin (ISO/IEC
/// 14496-12, 8.3.2; y grows downwards).
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

/// In UTC (ISO 8601).
std::string now()
{
    const std::time_t time = std::time(nullptr);
    std::tm parts{};
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%FT%TZ", ::gmtime_r(&time, &parts));
    return text.data();
}

} // namespace

MovieFile::MovieFile(MoviePart part) : part_(std::move(part)) { }

std::expected<std::unique_ptr<MovieFile>, Error> MovieFile::create(const std::filesystem::path& path)
{
    prepareLibraries();
    auto part = MoviePart::create(path);
    if (!part)
        return std::unexpected(std::move(part.error()));
    return std::unique_ptr<MovieFile>(new MovieFile(std::move(*part)));
}

std::expected<void, Error> MovieFile::begin(std::span<const MovieTrack> tracks)
{
    constexpr int bufferSize = 1 << 16;
    AVFormatContext* format = nullptr;
    avformat_alloc_output_context2(&format, nullptr, part_.container(), nullptr);
    muxer_.reset(format);
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    io_.reset(avio_alloc_context(buffer, bufferSize, 1, this, nullptr, &keepBytes, nullptr));
    format->pb = io_.get();
    format->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT;
    av_dict_set(&format->metadata, "creation_time", now().c_str(), 0);
    for (const MovieTrack& track : tracks) {
        AVStream* stream = avformat_new_stream(format, nullptr);
        avcodec_parameters_from_context(stream->codecpar, &track.codec);
        stream->time_base = track.codec.time_base;
        stream->sample_aspect_ratio = track.codec.sample_aspect_ratio;
        if (track.quarterTurns % 4 == 0)
            continue;
        const auto matrix = displayMatrix(track.quarterTurns, track.codec.width, track.codec.height);
        constexpr std::size_t size = sizeof matrix;
        std::memcpy(av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, size), matrix.data(), size);
    }
    Dictionary options;
    // The index waits for the first fragment: by then the start of each track is known.
    options.set("movflags", "frag_keyframe+empty_moov+delay_moov+skip_trailer");
    return wrote(avformat_write_header(format, options.get()));
}

int MovieFile::keepBytes(void* opaque, std::uint8_t* bytes, int count)
{
    auto& fragment = static_cast<MovieFile*>(opaque)->fragment_;
    fragment.insert(fragment.end(), bytes, bytes + count);
    return count;
}

std::expected<void, Error> MovieFile::wrote(int code)
{
    avio_flush(io_.get());
    std::expected<void, Error> written;
    if (code < 0)
        written = failure(part_.movie().string(), messageOf(code), code);
    else if (!fragment_.empty())
        written = part_.append(fragment_);
    fragment_.clear();
    hasFailed_ = !written;
    return written;
}

std::expected<void, Error> MovieFile::write(AVPacket& packet, int track)
{
    if (hasFailed_)
        return failure(part_.movie().string(), "cannot be written any more");
    packet.stream_index = track;
    auto written = wrote(av_write_frame(muxer_.get(), &packet));
    if (written)
        ++packets_;
    return written;
}

std::expected<void, Error> MovieFile::end()
{
    std::expected<void, Error> ended;
    if (packets_ > 0 && !hasFailed_)
        ended = wrote(av_write_trailer(muxer_.get()));
    muxer_.reset();
    if (ended && part_.isEmpty())
        return failure(part_.movie().string(), "no frame was recorded");
    return ended;
}

std::expected<void, Error> MovieFile::finish()
{
    auto ended = end();
    if (part_.isEmpty()) {
        part_.remove();
        return ended;
    }
    (void)part_.complete(packets_).has_value(); // on failure it keeps its fragments
    auto published = part_.publish();
    return published ? ended : published;
}

} // namespace tamsel::host
