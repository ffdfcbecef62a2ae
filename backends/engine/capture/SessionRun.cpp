#include <engine/capture/SessionRun.h>

#include <engine/capture/ApplicationState.h>
#include <engine/capture/CaptureContext.h>
#include <engine/capture/MetadataOutput.h>
#include <engine/capture/SessionGraph.h>

#include <utility>

namespace tamsel::engine {

using namespace platform;

SessionRun::SessionRun(std::shared_ptr<CaptureContext> context)
    : context_(std::move(context)),
      globalQueue_(context_->configuration.dispatch.globalQueue()),
      counter_(std::make_shared<FrameCounter>(context_->configuration.frameObserver)),
      pool_(std::make_shared<BufferPool>(context_->configuration.bufferCount)),
      operation_(context_->configuration.makeOperationLock())
{
}

SessionRun::~SessionRun()
{
    end();
    // Runs on any thread, and the device may take long.
    if (claimed_)
        globalQueue_->async([device = std::move(claimed_), claim = claim_] { device->release(claim); });
}

void SessionRun::beginConfiguration()
{
    const MutexLock lock(guard_);
    ++openConfigurations_;
}

bool SessionRun::commitConfiguration()
{
    const MutexLock lock(guard_);
    if (openConfigurations_ == 0)
        return false;
    --openConfigurations_;
    return openConfigurations_ == 0 && state_ == State::startsAtCommit;
}

bool SessionRun::claimIfFree(const std::shared_ptr<CameraDevice>& device)
{
    const OperationHold operation(*operation_);
    const auto claimed = device->claimIfFree(shared_from_this());
    if (claimed && *claimed) {
        claim_ = **claimed;
        claimed_ = device;
    }
    return claimed.has_value();
}

void SessionRun::claim(const std::shared_ptr<CameraDevice>& device)
{
    const OperationHold operation(*operation_);
    claim_ = device->claim(shared_from_this()).value_or(CameraDevice::noClaim);
    claimed_ = device;
}

void SessionRun::release(CameraDevice& device)
{
    const OperationHold operation(*operation_);
    end();
    device.release(std::exchange(claim_, CameraDevice::noClaim));
    claimed_ = nullptr;
}

void SessionRun::start(const SessionGraph& graph)
{
    // From before the application is found in the foreground.
    const std::shared_ptr<void> activity = context_->configuration.activity->begin();
    if (postponesStart())
        return;
    const OperationHold operation(*operation_);
    const std::shared_ptr<CameraDevice> device = graph.camera();
    if (!device || isRunning() || !renewClaim(*device))
        return;
    openStreams(graph, device->description());
    startDevice(*device, graph.preset());
}

bool SessionRun::postponesStart()
{
    const MutexLock lock(guard_);
    State state = State::stopped;
    if (openConfigurations_ > 0)
        state = State::startsAtCommit;
    else if (context_->configuration.application.isInBackground())
        state = State::startsInForeground;
    if (state_ != State::running)
        state_ = state;
    return state != State::stopped;
}

/// A claim lapses when another session takes the device, which may be free again by now.
bool SessionRun::renewClaim(CameraDevice& device)
{
    const auto claimed = device.claimIfFree(shared_from_this());
    if (claimed && *claimed)
        claim_ = **claimed;
    return !claimed || *claimed;
}

void SessionRun::openStreams(const SessionGraph& graph, const CameraDescription& camera)
{
    const SessionOutputs outputs = graph.outputsByKind();
    const std::shared_ptr<MicrophoneDriver> microphone = outputs.movie ? graph.microphone() : nullptr;
    auto stream = std::make_shared<FrameStream>(FrameStream::Parts{
        .counter = counter_,
        .pool = pool_,
        .outputs = outputs,
        .previews = previews_,
        .detection = outputs.metadata ? outputs.metadata->beginStream() : nullptr,
        .sensorOrientation = camera.sensorOrientation,
        .intrinsicMatrix = camera.intrinsicMatrix,
        .lost = whileAlive(weak_from_this(), [](SessionRun& self) { self.noteEnd(); }),
    });
    if (outputs.movie)
        outputs.movie->streamBegan({.sensorOrientation = camera.sensorOrientation,
            .ledger = counter_->ledger(),
            .hasSound = microphone != nullptr});
    auto sound = microphone ? SessionSound::start(microphone, outputs.movie, context_->configuration.movies)
                            : nullptr;
    std::shared_ptr<void> activity = context_->configuration.activity->begin();
    const MutexLock lock(guard_);
    stream_.swap(stream);
    sound_.swap(sound);
    activity_.swap(activity);
}

void SessionRun::startDevice(CameraDevice& device, AVCaptureSessionPreset preset)
{
    const std::shared_ptr<FrameStream> stream = currentStream();
    if (const auto started = device.start(claim_, preset, stream); !started) {
        stream->lose(started.error());
        noteEnd(); // also when the device was taken over meanwhile, so that the stream was closed already
    }
    const MutexLock lock(guard_);
    if (stream->isOpen())
        state_ = State::running;
}

void SessionRun::stop()
{
    {
        const MutexLock lock(guard_);
        if (state_ != State::running)
            state_ = State::stopped;
    }
    closeStream();
    const OperationHold operation(*operation_);
    if (claimed_)
        claimed_->stop(claim_);
    end();
}

void SessionRun::closeStream()
{
    if (const std::shared_ptr<FrameStream> stream = currentStream())
        stream->close();
}

void SessionRun::deviceWasLost(const Error& reason)
{
    if (const std::shared_ptr<FrameStream> stream = currentStream())
        stream->lose(reason);
}

void SessionRun::end()
{
    closeStream();
    noteEnd();
}

/// The session does not run any more, unless a new start has opened another stream.
void SessionRun::noteEnd()
{
    std::shared_ptr<SessionSound> sound;
    std::shared_ptr<void> activity;
    {
        const MutexLock lock(guard_);
        if (!stream_ || stream_->isOpen())
            return;
        if (state_ == State::running)
            state_ = State::stopped;
        sound_.swap(sound);
        activity_.swap(activity);
    }
    if (sound)
        sound->close();
}

} // namespace tamsel::engine
