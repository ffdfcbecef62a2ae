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

/// What follows `|name=` in a line of ffprobe; empty when it does not.
std::string field(const std::string& line, const std::string& name)
{
    const std::size_t at = line.find("|" + name + "=");
    if (at == std::string::npos)
        return {};
    const std::size_t begin = at + name.size() + 2;
    return line.substr(begin, line.find('|', begin) - begin);
}

} // namespace

MovieProbe::MovieProbe(const std::string& file)
    : decodingErrors(
          runCommand("ffmpeg -v error -i '" + file + "' -vsync passthrough -enc_time_base -1 -f null - 2>&1")
              .output),
      boxes(boxesOf(file))
{
    std::istringstream lines(runCommand(
        "ffprobe -v error -show_entries frame=media_type,best_effort_timestamp_time:"
        "stream=codec_type,codec_name,width,height,duration:stream_side_data=rotation -of compact '"
        + file + "'")
            .output);
    for (std::string line; std::getline(lines, line);) {
        if (field(line, "media_type") == "video") {
            frameTimes.push_back(std::atof(field(line, "best_effort_timestamp_time").c_str()));
        } else if (field(line, "codec_type") == "video") {
            videoCodec = field(line, "codec_name");
            width = std::atoi(field(line, "width").c_str());
            height = std::atoi(field(line, "height").c_str());
            duration = std::atof(field(line, "duration").c_str());
            rotation = std::atoi(field(line, "rotation").c_str());
        } else if (field(line, "codec_type") == "audio") {
            soundCodec = field(line, "codec_name");
            soundDuration = std::atof(field(line, "duration").c_str());
        }
    }
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
    const double start = std::atof(runCommand(
        "ffprobe -v error -select_streams a:0 -show_entries stream=start_time -of csv=p=0 '" + file + "'")
            .output.c_str());
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
