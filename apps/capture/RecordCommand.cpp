#include "RecordCommand.h"

#include "JsonLine.h"
#include "StatusLine.h"

#include <host/movie/MovieFacts.h>
#include <host/recording/repairMovie.h>

#include <tamsel/platform/CALayer.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

constexpr nanoseconds cameraLimit = 15s;
constexpr nanoseconds forEver = 24h * 365;
/// Encoding what waits, and making room for the index at the front of a large file.
constexpr nanoseconds finishLimit = 10min;
/// The file of a session that has failed comes soon, or there is none.
constexpr nanoseconds failureLimit = 30s;

double seconds(nanoseconds duration)
{
    return std::chrono::duration<double>(duration).count();
}

} // namespace

RecordCommand::RecordCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json),
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
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (!cameraError)
        return;
    if (cameraError->kind() == CameraError::Case::videoFrameError) {
        // A live frame less does not matter here, unless it was the last.
        if (manager.frameCounts().droppedBy[static_cast<std::size_t>(DropCause::deviceLost)] == 0)
            return;
        console_.fail("the camera was lost");
    } else {
        console_.fail(*cameraError);
    }
    hasFailed_ = true;
    waiter_.wake();
}

bool RecordCommand::makeRoom()
{
    const std::string& file = options_.outputFile;
    const std::filesystem::path recovery = host::recoveryFileOf(file);
    std::error_code error;
    const bool isKilled = std::filesystem::exists(std::filesystem::symlink_status(recovery, error));
    if (!isKilled && !std::filesystem::exists(std::filesystem::symlink_status(file, error)))
        return true;
    if (!options_.record.overwrites) {
        console_.fail(file
            + (isKilled ? " is what a killed recording has left: repair completes it, --overwrite replaces it"
                        : " is there already: --overwrite replaces it"));
        return false;
    }
    if (std::filesystem::is_directory(file, error)) {
        console_.fail(file + ": Is a directory");
        return false;
    }
    for (const std::filesystem::path& old : {std::filesystem::path(file), recovery}) {
        std::filesystem::remove(old, error);
        if (error) {
            console_.fail(old.string() + ": " + error.message());
            return false;
        }
    }
    return true;
}

std::string RecordCommand::status() const
{
    const FrameCounts counts = manager_->frameCounts();
    std::error_code error;
    const auto bytes = std::filesystem::file_size(options_.outputFile, error);
    std::array<char, 120> text{};
    std::snprintf(text.data(), text.size(), "recording %.1f s%s  %llu frames  %llu dropped  %.1f MB",
        seconds(environment_.platform().clock.monotonic() - begun_),
        options_.seconds ? (" of " + std::to_string(static_cast<int>(*options_.seconds)) + " s").c_str() : "",
        static_cast<unsigned long long>(counts.recorded), static_cast<unsigned long long>(counts.notRecorded),
        error ? 0 : static_cast<double>(bytes) / 1e6);
    return text.data();
}

void RecordCommand::record()
{
    if (!waiter_.waitFor(cameraLimit, [this] { return hasFrame_ || hasFailed_; })) {
        if (!waiter_.isInterrupted())
            console_.fail("the camera delivers no frame");
        return;
    }
    if (hasFailed_)
        return;
    begun_ = environment_.platform().clock.monotonic();
    manager_->startVideoRecording(options_.outputFile);
    const nanoseconds length = options_.seconds
        ? std::chrono::duration_cast<nanoseconds>(std::chrono::duration<double>(*options_.seconds))
        : forEver;
    bool hasVideo = false;
    {
        const StatusLine line(
            console_, environment_.platform().runLoops.current(), [this] { return status(); });
        (void)waiter_.waitFor(length, [this] { return hasVideo_ || hasFailed_; });
        if (!hasVideo_ && !hasFailed_)
            manager_->stopVideoRecording();
        waiter_.goOn();
        // The session must not be stopped before: nobody would be told of the file.
        hasVideo
            = waiter_.waitFor(hasFailed_ ? failureLimit : finishLimit, [this] { return hasVideo_.load(); });
    }
    if (hasVideo)
        tellResult();
    else
        console_.fail(options_.outputFile + ": the recording was left before it was complete; see repair");
}

void RecordCommand::tellResult()
{
    const FrameCounts counts = manager_->frameCounts();
    const std::string problem = environment_.recordingProblem();
    if (!problem.empty())
        console_.fail(problem);
    const auto facts = host::readMovieFacts(options_.outputFile);
    if (!facts) {
        if (problem.empty())
            console_.fail(facts.error().localizedDescription);
        return;
    }
    if (options_.json) {
        console_.write(JsonLine("video")
                .text("file", std::string_view(options_.outputFile))
                .number("duration", facts->duration)
                .integer("frames", facts->frames)
                .integer("dropped", counts.notRecorded)
                .string());
        return;
    }
    std::array<char, 120> text{};
    std::snprintf(text.data(), text.size(), ": %.2f s, %llu frames, %llu dropped%s", facts->duration,
        static_cast<unsigned long long>(facts->frames), static_cast<unsigned long long>(counts.notRecorded),
        facts->hasSound ? "" : ", no sound");
    console_.write(options_.outputFile + text.data());
}

ExitStatus RecordCommand::run()
{
    if (!makeRoom())
        return ExitStatus::unusable;
    const SourceType source
        = options_.useFrontCamera ? SourceType::cameraFront(true) : SourceType::cameraBack(true);
    manager_ = OvriSourceManager::create({source}, options_.sessionPreset(),
        environment_.makeQueue("org.tamsel.capture.response"), environment_.platform());
    const auto view = std::make_shared<UIView>(CGSize{640, 480});
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view); !started)
        console_.fail(started.error());
    else
        record();
    manager_->stopAllSessions();
    manager_ = nullptr;
    return console_.endSession(waiter_.isInterrupted());
}

} // namespace tamsel::capture
