#include "options/CommandOptions.h"

#include "options/CameraOptions.h"
#include "options/CodeKinds.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <ranges>
#include <utility>

namespace tamsel::capture {

namespace {

constexpr std::array<std::pair<std::string_view, Command>, 15> commands{{
    {"help", Command::help},
    {"devices", Command::devices},
    {"frames", Command::frames},
    {"motion", Command::motion},
    {"asset", Command::asset},
    {"asset-still", Command::assetStill},
    {"thumbnail", Command::thumbnail},
    {"image", Command::image},
    {"still", Command::still},
    {"record", Command::record},
    {"repair", Command::repair},
    {"album", Command::album},
    {"detect", Command::detect},
    {"status", Command::status},
    {"capture", Command::capture},
}};

std::int64_t readOrientation(OptionReader& reader, std::string_view option)
{
    return static_cast<std::int64_t>(reader.number(option, "a whole number from 1 to 8",
        [](double value) { return value >= 1 && value <= 8 && value == std::floor(value); }));
}

void readMotionOption(OptionReader& reader, std::string_view argument, MotionOptions& motion)
{
    if (readVerdictOption(reader, argument, motion))
        return;
    if (argument == "--stability")
        motion.stability = true;
    else if (argument == "--facing-angle")
        motion.facingAngle = true;
    else if (argument == "--real-time")
        motion.realTime = true;
    else if (argument == "--plot")
        motion.plot = reader.text(argument);
    else if (argument.starts_with("-") || motion.logFile || motion.useSensors)
        reader.failOption(argument, "motion");
    else if (argument == "sensor")
        motion.useSensors = true;
    else
        motion.logFile = argument;
}

void checkMotion(OptionReader& reader, const Options& options)
{
    const MotionOptions& motion = options.motion;
    if (!motion.logFile && !motion.useSensors)
        reader.fail("motion needs a log, or 'sensor' for the sensors of this machine; see --help");
    else if (motion.useSensors && options.backend == Backend::simulated)
        reader.fail("the simulated back end has no sensors of this machine: give it a log");
    else if (motion.useSensors && motion.plot)
        reader.fail("--plot draws a log");
    else if (motion.realTime && options.backend == Backend::simulated)
        reader.fail("the simulated back end has no real time: --real-time goes with --backend host");
}

void readAssetOption(OptionReader& reader, std::string_view argument, Options& options)
{
    if (argument == "--fast")
        options.fast = true;
    else if (argument == "--save-every")
        options.saveEvery = reader.positiveNumber(argument);
    else if (argument == "--contact-sheet")
        options.contactSheet = reader.text(argument);
    else if (argument.starts_with("-") || !options.file.empty())
        reader.failOption(argument, "asset");
    else
        options.file = argument;
}

/// One name, or several behind commas.
void readKinds(OptionReader& reader, std::string_view option, std::vector<MetadataObjectType>& kinds)
{
    const std::string given = reader.text(option);
    if (given == "all") {
        std::ranges::copy(allBarcodes(), std::back_inserter(kinds));
        return;
    }
    for (const auto part : std::views::split(given, ',')) {
        const std::string_view name(part.begin(), part.end());
        const auto* known = std::ranges::find(codeKinds, name, &CodeKind::first);
        if (known == codeKinds.end()) {
            std::string names;
            for (const CodeKind& kind : codeKinds)
                names.append(", ").append(kind.first);
            reader.fail(
                std::string(option).append(": '").append(name).append("' is none of: all").append(names));
            return;
        }
        kinds.push_back(known->second);
    }
}

void readDetectOption(OptionReader& reader, std::string_view argument, Options& options)
{
    DetectOptions& detect = options.detect;
    if (argument == "--kinds")
        readKinds(reader, argument, detect.kinds);
    else if (argument == "--faces")
        detect.kinds.push_back(MetadataObjectType::face);
    else if (argument == "--annotate")
        detect.annotated = reader.text(argument);
    else if (argument == "--seconds")
        options.seconds = reader.positiveSeconds(argument);
    else if (argument == "--orientation")
        options.orientation = readOrientation(reader, argument);
    else if (argument.starts_with("-") || !options.file.empty())
        reader.failOption(argument, "detect");
    else
        options.file = argument;
}

void checkDetection(OptionReader& reader, Options& options)
{
    if (options.backend == Backend::simulated)
        reader.fail("the simulated back end has nothing to look at: detect goes with --backend host");
    else if (options.file.empty())
        reader.fail("detect needs a picture, a video or a camera; see --help");
    else if (options.back || options.front)
        reader.fail("detect names its input itself: --back and --front go with other commands");
    if (options.detect.kinds.empty())
        options.detect.kinds = allBarcodes();
}

void readRepairArgument(OptionReader& reader, std::string_view argument, Options& options)
{
    if (argument.starts_with("-") || !options.file.empty())
        reader.failOption(argument, "repair");
    else
        options.file = argument;
}

void readPictureArgument(
    OptionReader& reader, std::string_view argument, std::string_view command, Options& options)
{
    if (argument == "--orientation" && options.command == Command::album)
        options.orientation = readOrientation(reader, argument);
    else if (argument.starts_with("-") || !options.outputFile.empty())
        reader.failOption(argument, command);
    else if (options.file.empty())
        options.file = argument;
    else
        options.outputFile = argument;
}

void checkFiles(OptionReader& reader, std::string_view command, const Options& options)
{
    if (options.backend == Backend::simulated)
        reader.fail(
            "the simulated back end has no files: " + std::string(command) + " goes with --backend host");
    else if (options.file.empty())
        reader.fail(std::string(command) + " needs a file; see --help");
    else if (options.command != Command::asset && options.command != Command::repair
        && options.outputFile.empty())
        reader.fail(std::string(command) + " needs a file to write; see --help");
}

} // namespace

std::string_view commandNames()
{
    return "capture, status, devices, frames, still, record, repair, detect, motion, asset, asset-still, "
           "thumbnail, image and "
           "album";
}

void readCommand(OptionReader& reader, std::string_view name, Options& options)
{
    const auto* known = std::ranges::find(commands, name, &std::pair<std::string_view, Command>::first);
    if (known == commands.end()) {
        reader.fail(std::string("'").append(name).append("' is no command: ").append(commandNames())
            + " are; see --help");
        return;
    }
    options.command = known->second;
    if (options.command == Command::help)
        return;
    while (const auto argument = reader.next()) {
        if (*argument == "--help") {
            options.command = Command::help;
            return;
        }
        if (options.command == Command::frames)
            readFramesOption(reader, *argument, options);
        else if (options.command == Command::motion)
            readMotionOption(reader, *argument, options.motion);
        else if (options.command == Command::asset)
            readAssetOption(reader, *argument, options);
        else if (options.command == Command::still)
            readStillOption(reader, *argument, options);
        else if (options.command == Command::record)
            readRecordOption(reader, *argument, options);
        else if (options.command == Command::detect)
            readDetectOption(reader, *argument, options);
        else if (options.command == Command::repair)
            readRepairArgument(reader, *argument, options);
        else if (options.command == Command::status)
            readStatusOption(reader, *argument, options);
        else if (options.command == Command::capture)
            readCaptureOption(reader, *argument, options);
        else if (options.command == Command::devices)
            reader.failOption(*argument, name);
        else
            readPictureArgument(reader, *argument, name, options);
    }
    if (options.location && options.location->gpsd && options.backend == Backend::simulated)
        reader.fail("the simulated back end has no network: gpsd goes with --backend host");
    if (options.command == Command::still && options.outputFile.empty())
        reader.fail("still needs a file to write; see --help");
    if (options.command == Command::record)
        checkRecording(reader, options);
    if (options.command == Command::detect)
        checkDetection(reader, options);
    if (options.command == Command::capture)
        checkCapture(reader, options);
    if (options.command == Command::motion)
        checkMotion(reader, options);
    else if (!options.needsCameras())
        checkFiles(reader, name, options);
}

} // namespace tamsel::capture
