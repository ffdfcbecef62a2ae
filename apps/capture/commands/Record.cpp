#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "RecordingFile.h"
#include "Waiter.h"
#include "options/values.h"
#include "report/SessionErrors.h"
#include "report/StatusLine.h"
#include "requireCamera.h"
#include "seconds.h"
#include "timeLimits.h"

#include <host/recording/repairMovie.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/RunLoops.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

struct RecordingOptions : RecordOptions {
    std::string file;
    bool usesFrontCamera = false;
    std::optional<double> seconds;
};

/// Starts a camera, records it for a while, and waits for the finished file.
class RecordCommand final : public OvriSourceToSession, public std::enable_shared_from_this<RecordCommand> {
public:
    RecordCommand(const GlobalOptions& global, RecordingOptions options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetVideo(OvriSourceManager& manager, const std::filesystem::path& url) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;

private:
    /// Whether that left what was wanted.
    bool record();
    [[nodiscard]] std::string status() const;

    const GlobalOptions& global_;
    const RecordingOptions options_;
    Environment& environment_;
    Console console_;
    std::string file_; ///< where the movie is made
    Waiter waiter_;
    std::shared_ptr<OvriSourceManager> manager_;
    std::chrono::nanoseconds begun_{};

    std::atomic<bool> hasFrame_ = false;
    std::atomic<bool> hasVideo_ = false;
    std::atomic<bool> hasFailed_ = false; ///< the session cannot go on
};

RecordCommand::RecordCommand(const GlobalOptions& global, RecordingOptions options, Environment& environment)
    : global_(global),
      options_(std::move(options)),
      environment_(environment),
      console_(global.json),
      waiter_(environment)
{
}

void RecordCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& /*frame*/)
{
    if (!hasFrame_.exchange(true))
        waiter_.wake();
}

void RecordCommand::sourceManagerDidGetVideo(
    OvriSourceManager& /*manager*/, const std::filesystem::path& /*url*/)
{
    hasVideo_ = true;
    waiter_.wake();
}

void RecordCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    if (!reportIfOver(console_, manager, error))
        return;
    hasFailed_ = true;
    waiter_.wake();
}

std::string RecordCommand::status() const
{
    const FrameCounts counts = manager_->frameCounts();
    std::error_code error;
    const auto bytes = std::filesystem::file_size(host::partOfMovie(file_), error);
    std::array<char, 120> text{};
    std::snprintf(text.data(), text.size(), "recording %.1f s%s  %llu frames  %llu dropped  %.1f MB",
        seconds(environment_.platform().clock.monotonic() - begun_),
        options_.seconds ? (" of " + std::to_string(static_cast<int>(*options_.seconds)) + " s").c_str() : "",
        static_cast<unsigned long long>(counts.recorded), static_cast<unsigned long long>(counts.notRecorded),
        error ? 0 : static_cast<double>(bytes) / 1e6);
    return text.data();
}

bool RecordCommand::record()
{
    if (!waiter_.waitFor(cameraLimit, [this] { return hasFrame_ || hasFailed_; })) {
        if (!waiter_.isInterrupted())
            console_.fail("the camera delivers no frame");
        return false;
    }
    if (hasFailed_)
        return false;
    begun_ = environment_.platform().clock.monotonic();
    manager_->startVideoRecording(file_);
    const nanoseconds length = options_.seconds ? nanosecondsOf(*options_.seconds) : forEver;
    bool hasVideo = false;
    {
        const StatusLine line(
            console_, environment_.platform().runLoops.current(), [this] { return status(); });
        (void)waiter_.waitFor(length, [this] { return hasVideo_ || hasFailed_; });
        if (!hasVideo_ && !isCameraLost(manager_->frameCounts()))
            manager_->stopVideoRecording();
        waiter_.goOn();
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
    file_ = freeNameFor(options_.file);
    const SourceType source = cameraSource(options_.usesFrontCamera, true);
    manager_ = OvriSourceManager::create({source}, global_.preset.value_or(GlobalOptions::Preset::none),
        environment_.makeQueue("org.tamsel.capture.response"), environment_.platform());
    const auto view = std::make_shared<UIView>(CGSize{640, 480});
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view); !started)
        console_.fail(started.error());
    else
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
        claimOutputs({&options->file},
            {global.back.value_or(""), global.front.value_or(""), options->microphone.value_or("")}, true);
        requireMovieName(options->file, global.overwrites);
        requireCamera(global, options->usesFrontCamera);
        const auto environment = makeEnvironment(
            global, {.cameras = true, .usesFrontCamera = options->usesFrontCamera, .recording = *options});
        return std::make_shared<RecordCommand>(global, *options, *environment)->run();
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
