#include "commands/RecordCommand.h"

#include "RecordingFile.h"
#include "report/SessionErrors.h"
#include "report/StatusLine.h"
#include "seconds.h"
#include "timeLimits.h"

#include <host/recording/repairMovie.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/RunLoops.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

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
    if (!tellIfOver(console_, manager, error))
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
        // The session must not be stopped before: nobody would be told of the file.
        hasVideo
            = waiter_.waitFor(hasFailed_ ? failureLimit : filmLimit, [this] { return hasVideo_.load(); });
    }
    if (!hasVideo) {
        console_.fail(file_ + ": the recording was left before it was complete; see repair");
        return false;
    }
    return !tellRecording(file_, options_.outputFile, manager_->frameCounts(), environment_, console_).empty()
        && !console_.hasFailed();
}

ExitStatus RecordCommand::run()
{
    if (!mayWrite(options_.outputFile, options_.record.overwrites, console_))
        return ExitStatus::unusable;
    file_ = freeNameFor(options_.outputFile);
    const SourceType source = options_.source();
    manager_ = OvriSourceManager::create({source}, options_.sessionPreset(),
        environment_.makeQueue("org.tamsel.capture.response"), environment_.platform());
    const auto view = std::make_shared<UIView>(CGSize{640, 480});
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view); !started)
        console_.fail(started.error());
    else
        replaceMovie(file_, options_.outputFile, record(), console_);
    manager_->stopAllSessions();
    manager_ = nullptr;
    return console_.endSession(waiter_.isInterrupted());
}

} // namespace tamsel::capture
