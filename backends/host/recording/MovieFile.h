#pragma once

#include <host/ffmpeg/owners.h>
#include <host/recording/MoviePart.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

namespace tamsel::host {

/// What is fixed about one track of a movie.
struct MovieTrack {
    const AVCodecContext& codec; ///< with its time base
    int quarterTurns = 0; ///< clockwise, by which a player turns the picture
};

/// A movie on its way into a file. While it is recorded its part has a fragment for each group of pictures, and the disk has each
/// before the next is begun: what a killed process or a failure of power leaves plays up to there. When it is finished it
/// has no fragments, and its index in front. Errors are one line that names the file. Not thread-safe.
class MovieFile {
public:
    /// Files that are there already are errors, and are left alone.
    [[nodiscard]] static std::expected<std::unique_ptr<MovieFile>, platform::Error> create(
        const std::filesystem::path& path);

    /// Begins with tracks, in the order of their numbers; the first is the picture's. Once, before the first packet.
    [[nodiscard]] std::expected<void, platform::Error> begin(std::span<const MovieTrack> tracks);
    /// Times are in units of the track. No fragment is written before each track has a packet. After an error no more can be
    /// written, and what came after the last fragment is lost.
    [[nodiscard]] std::expected<void, platform::Error> write(AVPacket& packet, int track);

    /// Completes the movie. Where there is no room for that it keeps its fragments. Of a movie without any picture no file is
    /// left, and that is an error.
    [[nodiscard]] std::expected<void, platform::Error> finish();

private:
    explicit MovieFile(MoviePart part);

    static int keepBytes(void* opaque, std::uint8_t* bytes, int count);
    [[nodiscard]] std::expected<void, platform::Error> wrote(int code);
    [[nodiscard]] std::expected<void, platform::Error> end();

    MoviePart part_;
    OwnedIo io_;
    OwnedMuxer muxer_;
    std::vector<std::uint8_t> fragment_; ///< that is not in the part yet
    std::uint64_t packets_ = 0;
    bool hasFailed_ = false;
};

} // namespace tamsel::host
