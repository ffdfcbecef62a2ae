#pragma once

#include <string>
#include <vector>

namespace tamsel::tests {

/// What the ffmpeg and ffprobe commands, which share no code with this project's readers of tracks and times, say of a movie.
struct MovieProbe {
    explicit MovieProbe(const std::string& file);

    std::string decodingErrors; ///< of the whole file
    std::vector<std::string> boxes; ///< of the outermost level, by their four characters
    int width = 0;
    int height = 0;
    int rotation = 0; ///< degrees by which a player turns the picture counter-clockwise
    std::string videoCodec;
    std::string soundCodec; ///< empty without sound
    double soundDuration = 0; ///< seconds
    double duration = 0; ///< of the picture, seconds
    std::vector<double> frameTimes; ///< seconds, of the frames that could be decoded
};

/// How bright the picture is on the average, 0 to 255, from a time on, in seconds.
struct Brightness {
    double time;
    double value;
};
[[nodiscard]] std::vector<Brightness> brightnessOf(const std::string& file);

/// When the picture turns bright, seconds.
[[nodiscard]] std::vector<double> flashTimes(const std::string& file);
/// When sound begins after silence, seconds on the movie's time line.
[[nodiscard]] std::vector<double> beepTimes(const std::string& file);

/// Makes a clip of this length that is bright, and beeps with 1 kHz, during the first tenth of each second. `options` stand
/// before the output file.
[[nodiscard]] bool makeFlashingClip(
    const std::string& file, double seconds, const std::string& rate = "30", const std::string& options = "");

} // namespace tamsel::tests
