#include "options/CameraOptions.h"

#include "options/CodeKinds.h"

#include <algorithm>
#include <array>
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

} // namespace

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
    else if (argument.starts_with("-"))
        reader.failOption(argument, "capture");
    else if (!capture.folder.empty())
        reader.fail("capture writes into one folder: '" + std::string(argument) + "' is another one");
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

} // namespace tamsel::capture
