#pragma once

#include <host/ffmpeg/MediaInput.h>
#include <host/ffmpeg/MediaWait.h>
#include <host/ffmpeg/PipeReader.h>
#include <host/ffmpeg/formatLists.h>
#include <host/ffmpeg/owners.h>

#include <tamsel/platform/Error.h>

#include <expected>
#include <memory>
#include <string>

namespace tamsel::host {

struct CloseMedia {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }

    std::shared_ptr<MediaInterest> interest = nullptr; ///< what the libraries ask while they wait
    /// What they read from; absent where they open that themselves.
    std::shared_ptr<PipeReader> pipe = nullptr;
};

/// An input of the FFmpeg libraries that has been opened, and whose tracks are known.
using MediaContainer = std::unique_ptr<AVFormatContext, CloseMedia>;

/// The error is one line that names the input. What is no file is opened on a thread of its own, which is detached when the wait
/// for it ends first: the look-up of a name, for one, cannot be interrupted.
[[nodiscard]] std::expected<MediaContainer, platform::Error> openMedia(
    const std::string& input, MediaFormats formats, const MediaWait& wait);

} // namespace tamsel::host
