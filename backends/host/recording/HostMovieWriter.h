#pragma once

#include <engine/capture/MovieWriter.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::host {

/// Movies through the FFmpeg libraries: H.264 if an encoder for it works, MPEG-4 otherwise, and AAC; MP4, or QuickTime
/// if the name ends in ".mov"; in one piece, with the index in front. Pictures are rotated by a display matrix, and cut
/// to even sizes. While a movie is recorded it is in fragments, in a file beside its final path that plays at any time;
/// `repairMovie` completes it after a crash.
class HostMovieWriters final : public engine::MovieWriters {
public:
    /// libx264 (GPL), libopenh264 (BSD), mpeg4 (LGPL, in every build of the libraries).
    [[nodiscard]] static std::vector<std::string> defaultEncoders();

    /// Names in the FFmpeg libraries; the first that works is used.
    explicit HostMovieWriters(std::vector<std::string> videoEncoders = defaultEncoders());

    [[nodiscard]] std::unique_ptr<engine::MovieWriter> makeWriter(engine::MovieSettings settings) override;

private:
    const std::vector<std::string> videoEncoders_;
};

} // namespace tamsel::host
