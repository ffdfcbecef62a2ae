#include <engine/capture/MovieFileOutput.h>

#include <engine/capture/turnPixels.h>

#include <string>
#include <utility>

namespace tamsel::engine {

using namespace platform;

namespace {

void notify(const std::weak_ptr<AVCaptureFileOutputRecordingDelegate>& delegate,
    const std::filesystem::path& url, const std::optional<Error>& error)
{
    if (const std::shared_ptr<AVCaptureFileOutputRecordingDelegate> receiver = delegate.lock())
        receiver->captureOutputDidFinishRecording(url, error);
}

} // namespace

MovieFileOutput::MovieFileOutput(
    MovieServices services, std::shared_ptr<CaptureHook> hook, std::shared_ptr<CaptureActivity> activity)
    : services_(std::move(services)),
      hook_(std::move(hook)),
      activity_(std::move(activity))
{
}

MovieFileOutput::~MovieFileOutput()
{
    for (const std::shared_ptr<Recording>& recording : recordings_)
        recording->end(Error{.localizedDescription = "the camera was released"});
}

void MovieFileOutput::startRecording(
    std::filesystem::path url, std::weak_ptr<AVCaptureFileOutputRecordingDelegate> delegate)
{
    const bool isPermitted = hook_->permits(CaptureCall::startRecording, url.filename().string());
    std::optional<Source> source;
    {
        const MutexLock lock(guard_);
        source = source_;
    }
    if (const std::shared_ptr<Recording> running = current(); running && running->takesFrames()) {
        services_.report({.localizedDescription = url.string() + ": another recording is in progress"});
        return;
    }
    const std::shared_ptr<Connection> connection = videoConnection();
    if (!isPermitted || !source || !connection) {
        Error error{.localizedDescription = url.string() + ": the camera does not run"};
        services_.report(error);
        services_.dispatch.makeSerialQueue("org.tamsel.engine.movie")
            ->async(
                [url = std::move(url), delegate = std::move(delegate),
                    error = std::make_unique<Error>(std::move(error))] { notify(delegate, url, *error); });
        return;
    }
    const int turns = quarterTurns(source->sensorOrientation, connection->videoOrientation());
    auto writer
        = services_.writers.makeWriter({.url = url, .quarterTurns = turns, .hasSound = source->hasSound});
    const auto recording
        = Recording::start({.writer = std::move(writer),
                               .ledger = source->ledger,
                               .hasSound = source->hasSound,
                               .activity = activity_->begin(),
                               .finished =
                                   [url = std::move(url), delegate = std::move(delegate),
                                       report = services_.report](const std::optional<Error>& error) {
                                       if (error)
                                           report(*error);
                                       notify(delegate, url, error);
                                   }},
            services_);
    bool hasStream = false;
    std::vector<std::shared_ptr<Recording>> recordings = takingSound();
    std::erase_if(
        recordings, [](const std::shared_ptr<Recording>& earlier) { return !earlier->takesSound(); });
    recordings.push_back(recording);
    {
        const MutexLock lock(guard_);
        hasStream = source_.has_value();
        current_ = recording;
        recordings_.swap(recordings);
        isRecording_ = hasStream;
    }
    if (!hasStream) // lost meanwhile
        streamEnded({.localizedDescription = "the camera does not run"});
}

void MovieFileOutput::stopRecording()
{
    hook_->called(CaptureCall::stopRecording, {});
    std::shared_ptr<Recording> stopped;
    {
        const MutexLock lock(guard_);
        isRecording_ = false;
        stopped.swap(current_);
    }
    if (stopped)
        stopped->stop();
}

void MovieFileOutput::streamBegan(Source source)
{
    const MutexLock lock(guard_);
    source_.emplace(std::move(source));
}

void MovieFileOutput::streamEnded(const Error& reason)
{
    std::vector<std::shared_ptr<Recording>> ended;
    std::optional<Source> source;
    {
        const MutexLock lock(guard_);
        isRecording_ = false;
        current_ = nullptr;
        source_.swap(source);
        recordings_.swap(ended);
    }
    for (const std::shared_ptr<Recording>& recording : ended)
        recording->end(reason);
}

std::shared_ptr<Recording> MovieFileOutput::current() const
{
    const MutexLock lock(guard_);
    return current_;
}

void MovieFileOutput::take(const CapturedFrame& frame)
{
    std::shared_ptr<Recording> recording = current();
    if (!recording)
        return;
    if (recording->takesFrames()) {
        recording->takeFrame(frame);
        return;
    }
    const MutexLock lock(guard_); // it has ended by itself
    if (current_ == recording) {
        isRecording_ = false;
        current_.swap(recording);
        current_ = nullptr;
    }
}

void MovieFileOutput::miss()
{
    if (const std::shared_ptr<Recording> recording = current())
        recording->missFrame();
}

std::vector<std::shared_ptr<Recording>> MovieFileOutput::takingSound()
{
    const MutexLock lock(guard_);
    return recordings_;
}

void MovieFileOutput::offerSound(const SoundChunk& chunk)
{
    for (const std::shared_ptr<Recording>& recording : takingSound())
        recording->takeSound(chunk);
}

void MovieFileOutput::soundEnded()
{
    for (const std::shared_ptr<Recording>& recording : takingSound())
        recording->soundEnded();
}

} // namespace tamsel::engine
