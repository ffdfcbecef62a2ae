#pragma once

#include <host/ffmpeg/owners.h>

#include <engine/capture/MicrophoneDriver.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace tamsel::host {

/// Positions a microphone's sound on the clock of the picture. Microphones have clocks of their own, and the times of
/// their chunks jitter: small errors are corrected by playing slightly faster or slower, which is inaudible; large
/// ones, as of a device that paused, by silence or a cut. Not thread-safe.
class SoundPlacement {
public:
    SoundPlacement();

    /// The time of sample 0; sound from before it is cut. Sound that arrived earlier is positioned now.
    void begin(std::chrono::nanoseconds origin);
    void add(const engine::SoundChunk& chunk);
    /// Takes the sound up to a time, in samples from the origin; less, if less has arrived.
    [[nodiscard]] std::vector<float> take(std::int64_t end);
    /// The rest up to that time, with silence where sound is missing.
    [[nodiscard]] std::vector<float> takeAll(std::int64_t end);

private:
    void place(const engine::SoundChunk& chunk);
    void stretch(const float* samples, std::size_t length);
    void correct(double error, std::size_t length);
    void restart();
    void silence(std::int64_t length);

    OwnedResampler stretcher_;
    std::vector<float> output_; ///< of one call
    bool hasOrigin_ = false;
    std::chrono::nanoseconds origin_{};
    std::deque<engine::SoundChunk> early_;
    std::size_t earlyLength_ = 0;

    std::deque<float> ready_; ///< interleaved
    std::int64_t placed_ = 0; ///< samples that are, or were, ready
    std::int64_t taken_ = 0;
    bool isRunning_ = false; ///< a chunk follows another
    double smoothedError_ = 0; ///< samples by which the sound is too early
};

} // namespace tamsel::host
