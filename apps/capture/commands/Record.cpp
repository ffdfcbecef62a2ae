#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "RecordingFile.h"
#include "SessionClient.h"
#include "options/values.h"
#include "report/StatusLine.h"
#include "report/Utf8.h"
#include "seconds.h"
#include "timeLimits.h"

#include <host/recording/repairMovie.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/RunLoops.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

namespace tamsel::capture {

using namespace platform;
using std::chrono::nanoseconds;

namespace {

struct RecordingOptions : RecordOptions {
    std::string file;
    bool usesFrontCamera = false;
    std::optional<double> seconds;
};

/// Records a camera for a while and waits for the finished file.
class RecordCommand final : public SessionClient, public std::enable_shared_from_this<RecordCommand> {
public:
    RecordCommand(const GlobalOptions& global, const RecordingOptions& options, Environment& environment,
        Console& console)
        : SessionClient(global, environment, console),
          options_(options),
          file_(freeNameFor(options.file))
    {
    }

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetVideo(OvriSourceManager& manager, const std::filesystem::path& url) override;

private:
    /// Whether the recording is complete.
    bool record();
    [[nodiscard]] std::string status() const;

    const RecordingOptions& options_;
    const std::string file_; ///< while it is recorded
    std::chrono::nanoseconds begun_{};
    std::atomic<bool> hasVideo_ = false;
};

void RecordCommand::sourceManagerDidGetVideo(
    OvriSourceManager& /*manager*/, const std::filesystem::path& /*url*/)
{
    hasVideo_ = true;
    waiter_.wake();
}

std::string RecordCommand::status() const
{
    const FrameCounts counts = manager_->frameCounts();
    std::error_code error;
    const auto bytes = std::filesystem::file_size(host::partOfMovie(file_), error);
    return formatted("recording %.1f s", seconds(environment_.platform().clock.monotonic() - begun_))
        + (options_.seconds ? formatted(" of %.4g s", *options_.seconds) : "")
        + formatted("  %llu frames  %llu dropped  %.1f MB", static_cast<unsigned long long>(counts.recorded),
            static_cast<unsigned long long>(counts.notRecorded),
            error ? 0 : static_cast<double>(bytes) / 1e6);
}

bool RecordCommand::record()
{
    if (!waitForFrame(cameraLimit))
        return false;
    begun_ = environment_.platform().clock.monotonic();
    manager_->startVideoRecording(file_);
    const nanoseconds length = options_.seconds ? nanosecondsOf(*options_.seconds) : forEver;
    bool hasVideo = false;
    {
        const StatusLine line(
            console_, environment_.platform().runLoops.current(), [this] { return status(); });
        (void)waiter_.waitFor(length, [this] { return hasVideo_ || hasFailed_; });
        if (!hasVideo_ && !manager_->frameCounts().isDeviceLost())
            manager_->stopVideoRecording();
        waiter_.clearInterrupt();
        // The session must not be stopped before: the file would not be reported.
        hasVideo
            = waiter_.waitFor(hasFailed_ ? failureLimit : filmLimit, [this] { return hasVideo_.load(); });
    }
    if (!hasVideo) {
        console_.fail(file_ + ": the recording was left before it was complete; see repair");
        return false;
    }
    return !reportRecording(file_, options_.file, manager_->frameCounts(), environment_, console_).empty()
        && !console_.hasFailed();
}

ExitStatus RecordCommand::run()
{
    const SourceType source = cameraSource(options_.usesFrontCamera, true);
    makeManager({source}, global_.preset.value_or(GlobalOptions::Preset::none));
    if (start(source, weak_from_this()))
        replaceMovie(file_, options_.file, record(), console_);
    manager_->stopAllSessions();
    manager_ = nullptr;
    return console_.endSession(waiter_.isInterrupted());
}

} // namespace

void addRecord(Program& program)
{
    const auto options = std::make_shared<RecordingOptions>();
    const auto run = [&global = program.global, options] {
        requireEnding(options->file, {".mp4", ".m4v", ".mov"});
        if (options->microphone && options->isSilent)
            throw Unusable("--silent goes without --microphone");
        if (options->microphone)
            global.requireHost("has its own microphone: --microphone goes with --backend host");
        requireMovieName(options->file, global.overwrites);
        claimOutputs({&options->file}, {global.back, global.front, options->microphone}, true);
        const auto environment = makeEnvironment(global,
            {.cameras = true,
                .withoutCamera = WithoutCamera::refuse,
                .waitsForCamera = true,
                .usesFrontCamera = options->usesFrontCamera,
                .recording = *options});
        Console console(global.json);
        return std::make_shared<RecordCommand>(global, *options, *environment, console)->run();
    };
    CLI::App& command = addCommand(program, "record",
        "record picture and sound. Ends when it is interrupted or a limit is reached", run);
    addValue(command, "FILE", options->file, "", "an MP4 file, as film.mp4; .mov for QuickTime", text)
        ->required();
    addValue(command, "--seconds", options->seconds, "S", "end after S seconds", secondsAboveZero);
    addCamera(command, options->usesFrontCamera);
    addMicrophone(command, *options);
    command.add_flag("--silent", options->isSilent, "record no sound");
    command
        .add_option("--encoder", options->encoders,
            "an encoder of the FFmpeg libraries. Of several the first that works is used (default: libx264, "
            "libopenh264, mpeg4)")
        ->type_name("NAME")
        ->allow_extra_args(false);
}

} // namespace tamsel::capture
