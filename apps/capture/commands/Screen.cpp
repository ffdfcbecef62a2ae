#include "commands/commands.h"

#include "Environment.h"
#include "commands/detection.h"
#include "options/conditions.h"
#include "options/values.h"

#include <CaptureScreen.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace tamsel::capture {

namespace {

struct ScreenOptions {
    bool usesFrontCamera = false;
    std::string folder = ".";
    std::vector<CaptureCondition> conditions;
    MotionOptions motion;
    RecordOptions record;
};

ExitStatus runScreen(const GlobalOptions& global, ScreenOptions& options)
{
    global.requireHost("has no window");
    if (std::error_code error; !std::filesystem::is_directory(options.folder, error))
        throw Unusable("--folder: " + options.folder + " is no folder");
    options.motion.readLog();
    const auto environment = makeEnvironment(global,
        {.cameras = true,
            .withoutCamera = WithoutCamera::reportedPattern,
            .waitsForCamera = true,
            .usesFrontCamera = options.usesFrontCamera,
            .motionLog = options.motion.log,
            .recording = options.record});
    std::vector<MetadataObjectType> kinds = allBarcodes();
    if (canDetect({MetadataObjectType::face}))
        kinds.emplace_back(MetadataObjectType::face);
    bool isClosed = false;
    try {
        screen::CaptureScreen screen({.folder = options.folder,
                                         .usesFrontCamera = options.usesFrontCamera,
                                         .conditions = options.conditions,
                                         .kinds = kinds,
                                         .preset = global.sessionPreset(),
                                         .motion = {.stabilityThreshold = options.motion.threshold,
                                             .stabilityDuration = options.motion.duration,
                                             .angle = options.motion.angle}},
            environment->platform(), [&isClosed] { isClosed = true; });
        environment->runUntil([&isClosed] { return isClosed; }, [&screen] { screen.close(); });
    } catch (const std::runtime_error& error) {
        throw Unusable(std::string("no window: ") + error.what());
    }
    return ExitStatus::done;
}

} // namespace

void addScreen(Program& program)
{
    const auto options = std::make_shared<ScreenOptions>();
    CLI::App& command = addCommand(program, "screen",
        "show a capture screen in a window: the preview with outlines of codes and faces, the verdicts, and "
        "keys for "
        "stills, movies, zoom and torch, which it names. Ends with the key q",
        [&global = program.global, options] { return runScreen(global, *options); });
    addCamera(command, options->usesFrontCamera);
    addValue(command, "--folder", options->folder, "FOLDER",
        "where stills and movies are written (default: here)", text);
    addValue(command, "--require", options->conditions, "R,R,...",
        "take the still when these hold at the same time: still, tilted, face, code, code:KIND; see capture",
        readConditions);
    addValue(command, "--motion", options->motion.logFile, "LOG",
        "replay a log of motion sensors meanwhile (default: the sensors of this machine)", text);
    addVerdictOptions(command, options->motion);
    addMicrophone(command, options->record);
}

} // namespace tamsel::capture
