#include "support/MovieProbe.h"

#include "support/Media.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace tamsel::tests {

namespace {

constexpr double soundRate = 48'000;

std::string entry(const std::string& file, const std::string& stream, const std::string& name)
{
    std::string value = runCommand("ffprobe -v error -select_streams " + stream + " -show_entries " + name
        + " -of default=nw=1:nk=1 '" + file + "'")
                            .output;
    while (value.ends_with('\n'))
        value.pop_back();
    return value;
}

std::vector<std::string> boxesOf(const std::string& file)
{
    std::vector<std::string> boxes;
    const std::string bytes = readFile(file);
    for (std::size_t at = 0; at + 8 <= bytes.size();) {
        std::uint64_t size = 0;
        for (std::size_t byte = 0; byte < 4; ++byte)
            size = size << 8 | static_cast<std::uint8_t>(bytes[at + byte]);
        boxes.push_back(bytes.substr(at + 4, 4));
        if (size < 8)
            break;
        at += size;
    }
    return boxes;
}

std::vector<double> numbers(const std::string& text)
{
    std::vector<double> values;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty())
            values.push_back(std::strtod(line.c_str(), nullptr));
    }
    return values;
}

} // namespace

MovieProbe::MovieProbe(const std::string& file)
    : decodingErrors(
          runCommand("ffmpeg -v error -i '" + file + "' -vsync passthrough -enc_time_base -1 -f null - 2>&1")
              .output),
      boxes(boxesOf(file)),
      width(std::atoi(entry(file, "v:0", "stream=width").c_str())),
      height(std::atoi(entry(file, "v:0", "stream=height").c_str())),
      rotation(std::atoi(entry(file, "v:0", "stream_side_data=rotation").c_str())),
      videoCodec(entry(file, "v:0", "stream=codec_name")),
      soundCodec(entry(file, "a:0", "stream=codec_name")),
      soundDuration(std::atof(entry(file, "a:0", "stream=duration").c_str())),
      duration(std::atof(entry(file, "v:0", "stream=duration").c_str())),
      frameTimes(numbers(entry(file, "v:0", "frame=best_effort_timestamp_time")))
{
}

std::vector<Brightness> brightnessOf(const std::string& file)
{
    // Time and mean luminance of each frame, a line.
    const std::string output = runCommand("ffprobe -v error -f lavfi -i \"movie='" + file
        + "',signalstats\" -show_entries frame=pts_time:frame_tags=lavfi.signalstats.YAVG -of csv=p=0")
                                   .output;
    std::vector<Brightness> frames;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (const std::size_t comma = line.find(','); comma != std::string::npos)
            frames.push_back(
                {std::strtod(line.c_str(), nullptr), std::strtod(line.c_str() + comma + 1, nullptr)});
    }
    return frames;
}

std::vector<double> flashTimes(const std::string& file)
{
    std::vector<double> times;
    bool wasBright = true;
    for (const Brightness& frame : brightnessOf(file)) {
        const bool isBright = frame.value > 128;
        if (isBright && !wasBright)
            times.push_back(frame.time);
        wasBright = isBright;
    }
    return times;
}

std::vector<double> beepTimes(const std::string& file)
{
    const ScratchFolder folder;
    const std::string sound = folder.file("sound.raw");
    (void)runCommand("ffmpeg -v error -i '" + file + "' -map a:0 -ac 1 -ar 48000 -f f32le '" + sound + "'");
    const double start = std::atof(entry(file, "a:0", "stream=start_time").c_str());
    const std::string bytes = readFile(sound);
    std::vector<double> times;
    double lastLoud = 0; // what is cut by the beginning is none
    for (std::size_t at = 0; at + sizeof(float) <= bytes.size(); at += sizeof(float)) {
        float sample = 0;
        std::memcpy(&sample, bytes.data() + at, sizeof sample);
        const double time = static_cast<double>(at / sizeof(float)) / soundRate;
        if (std::abs(sample) < 0.05F)
            continue;
        if (time - lastLoud > 0.3)
            times.push_back(start + time);
        lastLoud = time;
    }
    return times;
}

bool makeFlashingClip(
    const std::string& file, double seconds, const std::string& rate, const std::string& options)
{
    return makeVideo("-f lavfi -i \"color=black:s=320x240:r=" + rate
            + ",drawbox=color=white:t=fill:enable='lt(mod(t,1),0.1)'\" -f lavfi -i "
              "\"aevalsrc='0.5*sin(2*PI*1000*t)*lt(mod(t,1),0.1)':s=48000\" -t "
            + std::to_string(seconds) + " -c:v libx264 -preset ultrafast -c:a aac " + options,
        file);
}

} // namespace tamsel::tests
