#pragma once

#include <host/movie/MovieContainer.h>
#include <host/movie/ffmpegOwners.h>

#include <tamsel/platform/Error.h>

#include <chrono>
#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <vector>

struct SwrContext;

namespace tamsel::host {

/// Reads the sound of a file, a stream or a device through the FFmpeg libraries: the best of its sound tracks, as 48 000
/// stereo samples a second. Not thread-safe; every call may wait for the input.
class SoundReader {
public:
    enum class Step : std::uint8_t {
        sound, ///< there is some now
        again, ///< there is none yet: ask again after a moment
        end, ///< the input has ended, or cannot be read any further
    };

    /// The error is one line that names the input.
    [[nodiscard]] static std::expected<std::unique_ptr<SoundReader>, platform::Error> open(
        const std::string& input, const MovieWait& wait);

    ~SoundReader();
    SoundReader(const SoundReader&) = delete;
    SoundReader& operator=(const SoundReader&) = delete;

    [[nodiscard]] Step next();

    // Of the current sound.

    /// Interleaved; never empty.
    [[nodiscard]] const std::vector<float>& samples() const { return samples_; }
    /// Of the first sample, in the input's own time.
    [[nodiscard]] std::chrono::nanoseconds time() const { return time_; }

    /// Goes back to the start of a file; false when that is not possible.
    [[nodiscard]] bool rewind();

private:
    struct FreeResampler {
        void operator()(SwrContext* context) const;
    };

    explicit SoundReader(std::string input);

    [[nodiscard]] std::expected<void, platform::Error> openInput(const MovieWait& wait);
    [[nodiscard]] bool prepareResampler();
    [[nodiscard]] bool convert();
    [[nodiscard]] Step feed();

    const std::string input_;
    MovieContainer container_;
    int track_ = -1;
    OwnedCodec codec_;
    const OwnedPacket packet_{av_packet_alloc()};
    const OwnedFrame frame_{av_frame_alloc()};
    bool isDraining_ = false;

    std::unique_ptr<SwrContext, FreeResampler> resampler_;
    int format_ = -1; ///< what the resampler was made for
    int rate_ = 0;
    int channels_ = 0;

    std::chrono::nanoseconds time_{};
    std::chrono::nanoseconds end_{}; ///< of what came last
    std::vector<float> samples_;
};

} // namespace tamsel::host
