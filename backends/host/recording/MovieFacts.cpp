#include <host/recording/MovieFacts.h>

#include <host/ffmpeg/MediaContainer.h>
#include <host/ffmpeg/failure.h>
#include <host/ffmpeg/owners.h>

namespace tamsel::host {

std::expected<MovieFacts, platform::Error> readMovieFacts(const std::string& file)
{
    const auto movie = openMedia(file, MediaFormats::assets, {});
    if (!movie)
        return std::unexpected(movie.error());
    AVFormatContext* format = movie->get();
    const int picture = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (picture < 0)
        return failure(file, "contains no video");
    const AVStream* stream = format->streams[picture];
    auto frames = static_cast<std::uint64_t>(stream->nb_frames);
    if (frames == 0) { // in fragments, whose frames are known after reading
        const OwnedPacket packet(av_packet_alloc());
        for (; av_read_frame(format, packet.get()) >= 0; av_packet_unref(packet.get()))
            frames += packet->stream_index == picture ? 1 : 0;
    }
    return MovieFacts{
        .duration = static_cast<double>(stream->duration) * av_q2d(stream->time_base),
        .frames = frames,
        .hasSound = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0) >= 0,
    };
}

} // namespace tamsel::host
