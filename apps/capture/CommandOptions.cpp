#include "CommandOptions.h"

#include "CodeKinds.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <ranges>
#include <utility>

namespace tamsel::capture {

using platform::AVCaptureFlashMode;
using platform::AVCaptureTorchMode;

namespace {

constexpr std::array<std::pair<std::string_view, bool>, 2> cameras{{{"back", false}, {"front", true}}};

constexpr std::array<std::pair<std::string_view, AVCaptureFlashMode>, 3> flashModes{{
    {"off", AVCaptureFlashMode::off},
    {"on", AVCaptureFlashMode::on},
    {"auto", AVCaptureFlashMode::automatic},
}};

constexpr std::array<std::pair<std::string_view, AVCaptureTorchMode>, 3> torchModes{{
    {"off", AVCaptureTorchMode::off},
    {"on", AVCaptureTorchMode::on},
    {"auto", AVCaptureTorchMode::automatic},
}};

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

void readFramesOption(OptionReader& reader, std::string_view argument, Options& options)
{
    if (argument == "--camera")
        options.useFrontCamera = reader.choice<bool>(argument, cameras);
    else if (argument == "--count")
        options.count = reader.positiveNumber(argument);
    else if (argument == "--seconds")
        options.seconds = reader.positiveSeconds(argument);
    else if (argument == "--save-every")
        options.saveEvery = reader.positiveNumber(argument);
    else if (argument == "--contact-sheet")
        options.contactSheet = reader.text(argument);
    else if (argument == "--motion")
        options.motion.logFile = reader.text(argument);
    else
        reader.failOption(argument, "frames");
}

/// How the verdicts are reached; false for any other option.
bool readVerdictOption(OptionReader& reader, std::string_view argument, MotionOptions& motion)
{
    if (argument == "--threshold")
        motion.threshold = reader.number(
            argument, "a number of radians per second, 0 or more", [](double value) { return value >= 0; });
    else if (argument == "--duration")
        motion.duration = reader.number(argument, "a number of seconds, 0.001 or more",
            [](double value) { return value >= 0.001 && value <= 1e9; });
    else if (argument == "--angle")
        motion.angle = reader.number(argument, "a number of degrees", [](double) { return true; });
    else
        return false;
    return true;
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

/// A place or a heading: the value, or the first thing that is wrong.
template <typename Value>
void keep(
    OptionReader& reader, std::string_view option, std::expected<Value, platform::Error> parsed, auto&& store)
{
    if (parsed)
        store(std::move(*parsed));
    else
        reader.fail(std::string(option) + ": " + parsed.error().localizedDescription);
}

/// What a still is taken with; false for any other option.
bool readStillSetting(OptionReader& reader, std::string_view argument, Options& options)
{
    if (argument == "--camera") {
        options.useFrontCamera = reader.choice<bool>(argument, cameras);
    } else if (argument == "--location") {
        keep(reader, argument, host::parseLocation(reader.text(argument)),
            [&](host::HostLocationSource source) {
                source.heading = options.location ? options.location->heading : std::nullopt;
                options.location = std::move(source);
            });
    } else if (argument == "--heading") {
        keep(reader, argument, host::parseHeading(reader.text(argument)), [&](platform::CLHeading heading) {
            if (!options.location)
                options.location.emplace();
            options.location->heading = heading;
        });
    } else if (argument == "--silent") {
        options.still.isSilent = true;
    } else if (argument == "--flash") {
        options.still.flash = reader.choice<AVCaptureFlashMode>(argument, flashModes);
    } else if (argument == "--torch") {
        options.still.torch = reader.choice<AVCaptureTorchMode>(argument, torchModes);
    } else {
        return false;
    }
    return true;
}

void readStillOption(OptionReader& reader, std::string_view argument, Options& options)
{
    if (readStillSetting(reader, argument, options))
        return;
    if (argument.starts_with("-") || !options.outputFile.empty())
        reader.failOption(argument, "still");
    else
        options.outputFile = argument;
}

void readRecordOption(OptionReader& reader, std::string_view argument, Options& options)
{
    if (argument == "--camera")
        options.useFrontCamera = reader.choice<bool>(argument, cameras);
    else if (argument == "--seconds")
        options.seconds = reader.positiveSeconds(argument);
    else if (argument == "--microphone")
        options.record.microphone = reader.text(argument);
    else if (argument == "--silent")
        options.record.isSilent = true;
    else if (argument == "--overwrite")
        options.record.overwrites = true;
    else if (argument == "--encoder")
        options.record.encoders.push_back(reader.text(argument));
    else if (argument.starts_with("-") || !options.outputFile.empty())
        reader.failOption(argument, "record");
    else
        options.outputFile = argument;
}

void checkRecording(OptionReader& reader, const Options& options)
{
    if (options.outputFile.empty())
        reader.fail("record needs a file to write; see --help");
    else if (options.record.microphone && options.record.isSilent)
        reader.fail("--silent goes without --microphone");
    else if (options.record.microphone && options.backend == Backend::simulated)
        reader.fail("the simulated back end has its own microphone: --microphone goes with --backend host");
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

/// "still,tilted,code:pdf417,face"; "none" for nothing.
void readConditions(OptionReader& reader, std::string_view option, CaptureOptions& capture)
{
    const std::string given = reader.text(option);
    capture.conditions.clear();
    if (given == "none")
        return;
    for (const auto part : std::views::split(given, ',')) {
        const std::string_view name(part.begin(), part.end());
        constexpr std::string_view codeOf = "code:";
        const auto* known = std::ranges::find(
            codeKinds, name.starts_with(codeOf) ? name.substr(codeOf.size()) : name, &CodeKind::first);
        if (name == "still")
            capture.conditions.push_back(CaptureCondition::still());
        else if (name == "tilted")
            capture.conditions.push_back(CaptureCondition::tilted());
        else if (name == "face")
            capture.conditions.push_back(CaptureCondition::face());
        else if (name == "code")
            capture.conditions.push_back(CaptureCondition::code());
        else if (name.starts_with(codeOf) && known != codeKinds.end())
            capture.conditions.push_back(CaptureCondition::code(known->second));
        else
            reader.fail(std::string(option).append(": '").append(name)
                + "' is none of: still, tilted, face, code, code:KIND (as code:pdf417), or none alone");
    }
}

void readCaptureOption(OptionReader& reader, std::string_view argument, Options& options)
{
    CaptureOptions& capture = options.capture;
    if (readStillSetting(reader, argument, options) || readVerdictOption(reader, argument, options.motion))
        return;
    if (argument == "--require")
        readConditions(reader, argument, capture);
    else if (argument == "--timeout")
        capture.timeout = reader.positiveSeconds(argument);
    else if (argument == "--motion")
        options.motion.logFile = reader.text(argument);
    else if (argument == "--faces")
        capture.looksForFaces = true;
    else if (argument == "--record")
        capture.records = true;
    else if (argument == "--microphone")
        options.record.microphone = reader.text(argument);
    else if (argument == "--overwrite")
        capture.overwrites = true;
    else if (argument.starts_with("-") || !capture.folder.empty())
        reader.failOption(argument, "capture");
    else
        capture.folder = argument;
}

void checkCapture(OptionReader& reader, const Options& options)
{
    const CaptureOptions& capture = options.capture;
    const bool isSimulated = options.backend == Backend::simulated;
    using Kind = CaptureCondition::Kind;
    if (capture.folder.empty())
        reader.fail("capture needs a folder to write into; see --help");
    else if (capture.needsMotion() && !options.motion.logFile && !isSimulated)
        reader.fail(
            "capture waits until the device is held still and tilted, and this machine has no motion "
            "sensors: --motion LOG gives it those of a log; or name other conditions with --require, as "
            "--require code:pdf417 or --require none");
    else if (isSimulated && (capture.waitsFor(Kind::code) || capture.waitsFor(Kind::face)))
        reader.fail("the simulated back end has nothing to look at: codes and faces go with --backend host");
    else if (options.record.microphone && !capture.records)
        reader.fail("--microphone goes with --record");
    else if (options.record.microphone && isSimulated)
        reader.fail("the simulated back end has its own microphone: --microphone goes with --backend host");
}

void readStatusOption(OptionReader& reader, std::string_view argument, Options& options)
{
    if (argument == "--motion")
        options.motion.logFile = reader.text(argument);
    else if (argument == "--microphone")
        options.record.microphone = reader.text(argument);
    else
        reader.failOption(argument, "status");
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
