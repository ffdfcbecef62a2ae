#include "CaptureFolder.h"
#include "Environment.h"
#include "Files.h"
#include "commands/AssetCommand.h"
#include "commands/CaptureCommand.h"
#include "commands/DetectCommand.h"
#include "commands/FramesCommand.h"
#include "commands/MotionCommand.h"
#include "commands/PictureCommand.h"
#include "commands/PictureDetection.h"
#include "commands/RecordCommand.h"
#include "commands/RepairCommand.h"
#include "commands/StatusCommand.h"
#include "commands/StillCommand.h"
#include "options/Options.h"
#include "report/Console.h"
#include "report/JsonLine.h"
#include "report/Utf8.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tamsel::capture {

namespace {

std::string_view name(platform::AVCaptureDevicePosition position)
{
    return position == platform::AVCaptureDevicePosition::front ? "front" : "back";
}

ExitStatus listDevices(const Options& options, Environment& environment)
{
    if (!options.json)
        std::printf("%-9s %-11s %-13s %s\n", "Position", "Type", "Size", "Name");
    const auto cameras = environment.cameras();
    for (const auto& camera : cameras) {
        const platform::CGSize size
            = camera->activeFormat().presentationDimensions.value_or(platform::CGSize{});
        if (options.json) {
            std::printf("%s\n",
                JsonLine("device")
                    .text("position", name(camera->position()))
                    .text("type", std::string_view("builtInWideAngleCamera"))
                    .text("name", std::string_view(camera->localizedName()))
                    .integer("width", static_cast<std::uint64_t>(size.width))
                    .integer("height", static_cast<std::uint64_t>(size.height))
                    .string()
                    .c_str());
        } else {
            char text[32];
            std::snprintf(text, sizeof text, "%.0f x %.0f", size.width, size.height);
            std::printf("%-9s %-11s %-13s %s\n", std::string(name(camera->position())).c_str(), "wide angle",
                text, printable(camera->localizedName()).c_str());
        }
    }
    return ExitStatus::done;
}

std::vector<std::string> outputsOf(const Options& options)
{
    std::vector<std::string> outputs{options.outputFile, options.contactSheet.value_or(""),
        options.detect.annotated.value_or(""), options.motion.plot.value_or("")};
    if (options.command == Command::capture) {
        for (const std::string& name : CaptureFolder::namesOfFiles())
            outputs.push_back((std::filesystem::path(options.capture.folder) / name).string());
    }
    return outputs;
}

/// An output that is also an input, by whatever name or link.
std::optional<std::string> overwrittenInput(const Options& options, const std::vector<std::string>& outputs)
{
    if (options.command == Command::repair)
        return std::nullopt; // works on the file itself
    const std::array inputs{options.file, options.back.value_or(""), options.front.value_or(""),
        options.motion.logFile.value_or(""), options.record.microphone.value_or("")};
    const auto found = std::ranges::find_if(outputs, [&](const std::string& output) {
        return std::ranges::any_of(inputs, [&](const std::string& input) {
            std::error_code error;
            return std::filesystem::is_regular_file(input, error)
                && std::filesystem::equivalent(input, output, error);
        });
    });
    return found == outputs.end() ? std::nullopt : std::optional(*found);
}

ExitStatus run(std::span<const char* const> arguments)
{
    auto options = parseOptions(arguments);
    Console console(false);
    const auto refuse = [&](const std::string& reason) {
        console.fail(reason);
        return ExitStatus::unusable;
    };
    if (!options)
        return refuse(options.error());
    const std::vector<std::string> outputs = outputsOf(*options);
    if (const auto file = overwrittenInput(*options, outputs))
        return refuse(*file + " is an input of this command: choose another output");
    keepTextOutOf(outputs);
    if (options->command == Command::help) {
        std::fwrite(helpText().data(), 1, helpText().size(), stdout);
        return ExitStatus::done;
    }
    if (options->motion.logFile) {
        auto log = formats::MotionLog::read(*options->motion.logFile);
        if (!log)
            return refuse(log.error().localizedDescription);
        options->motion.log = std::move(*log);
    }
    const bool isDetecting = options->command == Command::detect;
    if ((isDetecting && !canDetect(options->detect.kinds))
        || (options->command == Command::capture && !canDetect(options->capture.kinds()))) {
        console.fail("faces cannot be detected by this build");
        return ExitStatus::failed;
    }
    if (options->command == Command::repair)
        return repairRecording(*options);
    if (isDetecting) {
        if (const auto status = detectInPicture(*options))
            return *status;
        if (!options->sensorOrientation)
            options->sensorOrientation = sensorOrientationOf(options->file);
    }
    const auto environment = makeEnvironment(*options);
    if (!environment)
        return refuse(environment.error());
    switch (options->command) {
    case Command::devices:
        return listDevices(*options, **environment);
    case Command::status:
        return StatusCommand(*options, **environment).run();
    case Command::capture:
        return std::make_shared<CaptureCommand>(*options, **environment)->run();
    case Command::motion:
        return std::make_shared<MotionCommand>(*options, **environment)->run();
    case Command::asset:
        return std::make_shared<AssetCommand>(*options, **environment)->run();
    case Command::assetStill:
    case Command::thumbnail:
    case Command::image:
    case Command::album:
        return std::make_shared<PictureCommand>(*options, **environment)->run();
    case Command::record:
        return std::make_shared<RecordCommand>(*options, **environment)->run();
    case Command::detect:
        return std::make_shared<DetectCommand>(*options, **environment)->run();
    case Command::still:
        return std::make_shared<StillCommand>(*options, **environment)->run();
    default:
        return std::make_shared<FramesCommand>(*options, **environment)->run();
    }
}

} // namespace

} // namespace tamsel::capture

int main(int argumentCount, char** arguments)
{
    using namespace tamsel::capture;
    // A reader that ends and a limit of file size show as errors of a write.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // These wait until there is a session that they can move to the background and back.
    sigset_t later;
    sigemptyset(&later);
    sigaddset(&later, SIGUSR1);
    sigaddset(&later, SIGUSR2);
    sigprocmask(SIG_BLOCK, &later, nullptr);
    const ExitStatus status = run({arguments + 1, static_cast<std::size_t>(argumentCount - 1)});
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return static_cast<int>(status);
    std::fprintf(stderr, "tamsel-capture: the output cannot be written\n");
    return static_cast<int>(status == ExitStatus::done ? ExitStatus::failed : status);
}
