#pragma once

#include <host/ffmpeg/MediaInput.h>
#include <host/ffmpeg/MediaWait.h>
#include <host/ffmpeg/formatLists.h>
#include <host/ffmpeg/owners.h>

#include <tamsel/platform/Error.h>

#include <expected>
#include <memory>
#include <string>

namespace tamsel::host {

class PipeReader;

struct CloseMedia {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }

    std::shared_ptr<MediaInterest> interest = nullptr; ///< which the libraries poll while they wait
    /// The source of the libraries' reads; absent if they open the input themselves.
    std::shared_ptr<PipeReader> pipe = nullptr;
};

/// An opened input of the FFmpeg libraries, whose tracks are known.
using MediaContainer = std::unique_ptr<AVFormatContext, CloseMedia>;

/// The error is one line that names the input. Streams are opened on a thread of their own, which is detached if the wait
/// ends first: the look-up of a host name, for example, cannot be interrupted.
[[nodiscard]] std::expected<MediaContainer, platform::Error> openMedia(
    const std::string& input, MediaFormats formats, const MediaWait& wait);

/// Finds the tracks of an opened input, with decoders that refuse larger pictures than we do. Returns what
/// avformat_find_stream_info returns.
[[nodiscard]] int findStreams(AVFormatContext& format);

} // namespace tamsel::host
