#pragma once

#include <host/ffmpeg/TrackDecoder.h>
#include <host/ffmpeg/owners.h>

#include <tamsel/platform/Error.h>

#include <chrono>
#include <expected>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::host {

/// Reads the sound of a file, a stream or a device through the FFmpeg libraries: the best of its sound tracks, as 48 000
/// stereo samples a second. Not thread-safe; every call may wait for the input.
class SoundReader {
public:
    using Step = TrackDecoder::Step; ///< a frame of sound

    /// The error is one line that names the input.
    [[nodiscard]] static std::expected<std::unique_ptr<SoundReader>, platform::Error> open(
        const std::string& input, const MediaWait& wait);

    [[nodiscard]] Step next();

    // Of the current sound.

    /// Interleaved; never empty.
    [[nodiscard]] const std::vector<float>& samples() const { return samples_; }
    /// Of the first sample, in the input's own time.
    [[nodiscard]] std::chrono::nanoseconds time() const { return time_; }

    /// Seeks to the start of a file; false if that is not possible.
    [[nodiscard]] bool rewind();

private:
    explicit SoundReader(std::string input) : input_(std::move(input)) { }

    [[nodiscard]] std::expected<void, platform::Error> openInput(const MediaWait& wait);
    [[nodiscard]] bool prepareResampler();
    [[nodiscard]] bool convert();

    const std::string input_;
    TrackDecoder decoder_;

    OwnedResampler resampler_;
    int format_ = -1; ///< of the resampler's input
    int rate_ = 0;
    int channels_ = 0;

    std::chrono::nanoseconds time_{};
    std::chrono::nanoseconds end_{}; ///< of the previous sound
    std::vector<float> samples_;
};

} // namespace tamsel::host
