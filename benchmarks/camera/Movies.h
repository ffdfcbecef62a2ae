#pragma once

#include <string>

namespace tamsel::benchmarks {

/// A 1080p H.264 file of five seconds of moving pictures at this rate, made once by the ffmpeg command.
[[nodiscard]] std::string movie(int framesPerSecond);

// The baselines: the FFmpeg libraries, one decoding thread, and nothing else.

void decodeOne(const std::string& file);

/// Decodes and converts to BGRA, from the start again at the end; at this rate, or as fast as possible if it is zero.
void decodeAndConvert(const std::string& file, int frames, int framesPerSecond);

} // namespace tamsel::benchmarks
