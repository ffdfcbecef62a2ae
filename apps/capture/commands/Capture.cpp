#include "commands/commands.h"

#include "CaptureFolder.h"
#include "Environment.h"
#include "Files.h"
#include "RecorderFiles.h"
#include "commands/CaptureCommand.h"
#include "commands/CaptureOptions.h"
#include "commands/detection.h"
#include "options/CodeKinds.h"
#include "options/Unusable.h"
#include "options/conditions.h"
#include "options/values.h"

#include <host/Host.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

using Kind = CaptureCondition::Kind;

namespace {

/// As on the command line.
std::string textOf(const CaptureCondition& condition)
{
    switch (condition.kind()) {
    case Kind::still:
        return "still";
    case Kind::tilted:
        return "tilted";
    case Kind::face:
        return "face";
    case Kind::code:
        break;
    }
    const auto kind = nameOf(condition.codeType());
    return kind ? "code:" + std::string(*kind) : "code";
}

void check(const GlobalOptions& global, const CaptureOptions& options)
{
    if (options.needsMotion() && options.motion.usesSensors() && !global.isSimulated()
        && !host::Host::hasMotionSensors())
        throw Unusable("capture waits until the device is held still and tilted, and this machine has no "
                       "motion sensors: "
                       "--motion LOG gives it those of a log; or name other conditions with --require, as "
                       "--require code:pdf417 or --require none");
    if (options.waitsFor(Kind::code) || options.waitsFor(Kind::face))
        global.requireHost("has no codes and faces: they go with --backend host");
    if (options.record.microphone && !options.records)
        throw Unusable("--microphone goes with --record");
    if (options.record.microphone)
        global.requireHost("has its own microphone: --microphone goes with --backend host");
    if (!canDetect(options.kinds()))
        throw Unusable("this build cannot detect faces");
}

ExitStatus capture(const GlobalOptions& global, CaptureOptions& options)
{
    check(global, options);
    if (options.folder == "-")
        throw Unusable("capture writes a folder, not standard output");
    // Existing files are checked later, once the folder is locked.
    const Inputs inputs{global.back, global.front, options.motion.logFile, options.record.microphone};
    for (const std::string& name : CaptureFolder::namesOfFiles())
        requireNoInput(std::filesystem::path(options.folder) / name, inputs);
    const RecorderFiles files(options.recorder, inputs, global.overwrites);
    options.motion.readLog();
    auto environment = makeEnvironment(global,
        {.cameras = true,
            .withoutCamera = WithoutCamera::reportedPattern,
            .waitsForCamera = true,
            .usesFrontCamera = options.still.usesFrontCamera,
            .motionLog = options.motion.log,
            .location = options.still.location,
            .recording = options.records ? std::optional(options.record) : std::nullopt,
            .recorder = files.recorder(),
            .writeRecording = files.writer(),
            .seconds = options.timeout});
    Console console(global.json);
    const ExitStatus status = std::make_shared<CaptureCommand>(global, options, *environment, console)->run();
    environment = nullptr; // so that its end is recorded, too
    return files.finish(console) ? status : std::max(status, ExitStatus::failed);
}

} // namespace

bool CaptureOptions::waitsFor(Kind kind) const
{
    return std::ranges::find(conditions, kind, &CaptureCondition::kind) != conditions.end();
}

std::vector<MetadataObjectType> CaptureOptions::kinds() const
{
    std::vector<MetadataObjectType> kinds = allBarcodes();
    if (looksForFaces || waitsFor(Kind::face))
        kinds.emplace_back(MetadataObjectType::face);
    return kinds;
}

bool CaptureOptions::needsMotion() const
{
    return waitsFor(Kind::still) || waitsFor(Kind::tilted);
}

std::string joined(const std::vector<CaptureCondition>& conditions)
{
    std::string text;
    for (const CaptureCondition& condition : conditions)
        text += (text.empty() ? "" : ", ") + textOf(condition);
    return text;
}

void addCapture(Program& program)
{
    const auto options = std::make_shared<CaptureOptions>();
    CLI::App& command = addCommand(program, "capture",
        "take one still when everything that is required holds at the same time. Runs a camera with "
        "detection and both motion verdicts, as a capture screen does, and stops after the still. Writes the "
        "still, a contact sheet with outlines, the verdicts over time and all events into the folder; its "
        "index.html shows them",
        [&global = program.global, options] { return capture(global, *options); });
    addValue(command, "FOLDER", options->folder, "", "where the results are written", text)->required();
    addValue(command, "--require", options->conditions, "R,R,...",
        "what must hold at the same time (default: still,tilted). R: still, tilted; face, code, code:KIND "
        "(as code:pdf417, see detect), seen within the last 0.3 s; or none",
        readConditions);
    addValue(command, "--motion", options->motion.logFile, "LOG",
        "replay a log of motion sensors meanwhile; or the word sensors for those of this machine (default: "
        "sensors)",
        text);
    addVerdictOptions(command, options->motion);
    addValue(command, "--timeout", options->timeout, "S", "give up after S seconds (default: 30)",
        secondsAboveZero);
    command.add_flag(
        "--fail-if-none", options->failsIfNone, "return 4, not 1, when the time has passed without a still");
    command.add_flag("--record", options->records, "record a movie, too");
    addMicrophone(command, options->record);
    command.add_flag("--faces", options->looksForFaces, "look for faces even when none is required");
    addStillOptions(command, options->still);
    addRecorder(command, options->recorder);
}

} // namespace tamsel::capture
