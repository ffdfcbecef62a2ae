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

/// The fixed properties of one track of a movie.
struct MovieTrack {
    const AVCodecContext& codec; ///< with its time base
    int quarterTurns = 0; ///< clockwise, by which a player rotates the picture
};

/// A movie during its recording. Its part has a fragment for each group of pictures, and each is on the disk before the
/// next is begun: after a crash or a power failure the part plays up to there. A finished movie has no fragments, and
/// its index in front. Errors are one line that names the file. Not thread-safe.
class MovieFile {
public:
    /// Existing files are errors, and are not touched.
    [[nodiscard]] static std::expected<std::unique_ptr<MovieFile>, platform::Error> create(
        const std::filesystem::path& path);

    /// Begins with tracks, in the order of their numbers; the first is the picture's. Call once, before the first
    /// packet.
    [[nodiscard]] std::expected<void, platform::Error> begin(std::span<const MovieTrack> tracks);
    /// Times are in units of the track. No fragment is written before each track has a packet. After an error nothing
    /// more can be written, and everything after the last fragment is lost.
    [[nodiscard]] std::expected<void, platform::Error> write(AVPacket& packet, int track);

    /// Completes the movie. Without room for that it keeps its fragments. A movie without any picture leaves no file,
    /// and is an error.
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
