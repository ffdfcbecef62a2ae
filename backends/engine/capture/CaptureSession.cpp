#include <engine/capture/CaptureSession.h>

#include <engine/capture/ApplicationState.h>
#include <engine/capture/CaptureContext.h>
#include <engine/capture/MetadataOutput.h>

#include <algorithm>
#include <utility>

namespace tamsel::engine {

using namespace platform;

namespace {

std::shared_ptr<AVCaptureDevice> deviceOf(const std::shared_ptr<AVCaptureInput>& input)
{
    const auto deviceInput = std::dynamic_pointer_cast<AVCaptureDeviceInput>(input);
    return deviceInput ? deviceInput->device() : nullptr;
}

std::shared_ptr<CameraDevice> cameraOf(const std::shared_ptr<AVCaptureInput>& input)
{
    return std::dynamic_pointer_cast<CameraDevice>(deviceOf(input));
}

std::string_view describe(const std::shared_ptr<AVCaptureInput>& input)
{
    const std::shared_ptr<AVCaptureDevice> device = deviceOf(input);
    return !device ? "none" : device->mediaType() == AVMediaType::audio ? "audio" : "video";
}

std::string_view describe(const std::shared_ptr<AVCaptureOutput>& output)
{
    const auto place = std::dynamic_pointer_cast<OutputPlace>(output);
    return place ? place->kind() : "none";
}

} // namespace

std::shared_ptr<CaptureSession> CaptureSession::create(std::shared_ptr<CaptureContext> context)
{
    auto session = std::make_shared<CaptureSession>(std::move(context));
    session->context_->configuration.application.whenForeground(
        session, [weakSession = std::weak_ptr(session)] {
            if (const std::shared_ptr<CaptureSession> returned = weakSession.lock())
                returned->applicationReturned();
        });
    return session;
}

CaptureSession::CaptureSession(std::shared_ptr<CaptureContext> context)
    : context_(std::move(context)),
      globalQueue_(context_->configuration.dispatch.globalQueue()),
      pool_(std::make_shared<BufferPool>(context_->configuration.bufferCount)),
      operation_(context_->configuration.makeOperationLock())
{
}

CaptureSession::~CaptureSession()
{
    if (stream_)
        stream_->close();
    replaceSound(nullptr);
    for (const std::shared_ptr<AVCaptureOutput>& output : outputs_)
        std::dynamic_pointer_cast<OutputPlace>(output)->leaveSession();
    // Giving the device back may take its time, and this may be any thread.
    if (claimed_)
        globalQueue_->async([device = std::move(claimed_), claim = claim_] { device->release(claim); });
}

void CaptureSession::beginConfiguration()
{
    context_->hook().permits(CaptureCall::beginConfiguration, {});
    const MutexLock lock(guard_);
    ++openConfigurations_;
}

void CaptureSession::commitConfiguration()
{
    context_->hook().permits(CaptureCall::commitConfiguration, {});
    {
        const MutexLock lock(guard_);
        if (openConfigurations_ == 0)
            return;
        --openConfigurations_;
        if (openConfigurations_ > 0 || !std::exchange(startsAtCommit_, false))
            return;
    }
    start();
}

void CaptureSession::setSessionPreset(AVCaptureSessionPreset preset)
{
    context_->hook().permits(
        CaptureCall::setSessionPreset, preset == AVCaptureSessionPreset::photo ? "photo" : "high");
    const MutexLock lock(guard_);
    preset_ = preset;
}

bool CaptureSession::accepts(const std::shared_ptr<AVCaptureInput>& input) const
{
    const std::shared_ptr<AVCaptureDevice> device = deviceOf(input);
    if (!device)
        return false;
    const MutexLock lock(guard_);
    return std::ranges::none_of(inputs_, [&](const std::shared_ptr<AVCaptureInput>& present) {
        return deviceOf(present)->mediaType() == device->mediaType();
    });
}

bool CaptureSession::canAddInput(const std::shared_ptr<AVCaptureInput>& input)
{
    if (!context_->hook().permits(CaptureCall::canAddInput, describe(input)) || !accepts(input))
        return false;
    const std::shared_ptr<CameraDevice> device = cameraOf(input);
    if (!device)
        return true;
    // Asked for real: the device is opened, and held from now on. One that another session of this process holds can
    // be taken over.
    const std::lock_guard lock(*operation_);
    const auto claimed = device->claimIfFree(shared_from_this());
    if (!claimed)
        return false;
    if (*claimed) {
        claim_ = **claimed;
        claimed_ = device;
    }
    return true;
}

void CaptureSession::addInput(std::shared_ptr<AVCaptureInput> input)
{
    context_->hook().permits(CaptureCall::addInput, describe(input));
    if (!accepts(input))
        return;
    if (const std::shared_ptr<CameraDevice> device = cameraOf(input)) {
        const std::lock_guard lock(*operation_);
        claim_ = device->claim(shared_from_this()).value_or(CameraDevice::noClaim);
        claimed_ = device;
    }
    {
        const MutexLock lock(guard_);
        inputs_.push_back(std::move(input));
    }
    makeConnections();
}

void CaptureSession::removeInput(const std::shared_ptr<AVCaptureInput>& input)
{
    context_->hook().permits(CaptureCall::removeInput, describe(input));
    {
        const MutexLock lock(guard_);
        if (std::erase(inputs_, input) == 0)
            return;
    }
    if (const std::shared_ptr<CameraDevice> device = cameraOf(input)) {
        const std::lock_guard lock(*operation_);
        end(currentStream());
        device->release(std::exchange(claim_, CameraDevice::noClaim));
        claimed_ = nullptr;
    }
    makeConnections();
}

std::vector<std::shared_ptr<AVCaptureInput>> CaptureSession::inputs() const
{
    const MutexLock lock(guard_);
    return inputs_;
}

bool CaptureSession::canAddOutput(const std::shared_ptr<AVCaptureOutput>& output)
{
    if (!context_->hook().permits(CaptureCall::canAddOutput, describe(output)))
        return false;
    const auto place = std::dynamic_pointer_cast<OutputPlace>(output);
    if (!place || place->isInSession())
        return false;
    const MutexLock lock(guard_);
    return std::ranges::none_of(outputs_,
        [&](const std::shared_ptr<AVCaptureOutput>& present) { return describe(present) == place->kind(); });
}

void CaptureSession::addOutput(std::shared_ptr<AVCaptureOutput> output)
{
    context_->hook().permits(CaptureCall::addOutput, describe(output));
    const auto place = std::dynamic_pointer_cast<OutputPlace>(output);
    if (!place || place->isInSession())
        return;
    place->enterSession();
    {
        const MutexLock lock(guard_);
        outputs_.push_back(std::move(output));
    }
    makeConnections();
}

void CaptureSession::removeOutput(const std::shared_ptr<AVCaptureOutput>& output)
{
    context_->hook().permits(CaptureCall::removeOutput, describe(output));
    {
        const MutexLock lock(guard_);
        if (std::erase(outputs_, output) == 0)
            return;
    }
    std::dynamic_pointer_cast<OutputPlace>(output)->leaveSession();
}

std::vector<std::shared_ptr<AVCaptureOutput>> CaptureSession::outputs() const
{
    const MutexLock lock(guard_);
    return outputs_;
}

void CaptureSession::makeConnections()
{
    const std::shared_ptr<CameraDevice> device = camera();
    for (const std::shared_ptr<AVCaptureOutput>& output : outputs()) {
        const auto place = std::dynamic_pointer_cast<OutputPlace>(output);
        if (!device)
            place->setVideoConnection(nullptr);
        else if (place->takesVideo() && !place->videoConnection())
            place->setVideoConnection(std::make_shared<Connection>(context_->configuration.hook, device));
    }
    std::shared_ptr<Connection> replaced;
    const MutexLock lock(guard_);
    if (!device)
        previewConnection_.swap(replaced);
    else if (!previewConnection_)
        previewConnection_ = std::make_shared<Connection>(context_->configuration.hook, device);
}

std::shared_ptr<AVCaptureConnection> CaptureSession::previewConnection() const
{
    const MutexLock lock(guard_);
    return previewConnection_;
}

std::shared_ptr<CameraDevice> CaptureSession::camera() const
{
    const MutexLock lock(guard_);
    for (const std::shared_ptr<AVCaptureInput>& input : inputs_) {
        if (std::shared_ptr<CameraDevice> device = cameraOf(input))
            return device;
    }
    return nullptr;
}

template <typename Kind> std::shared_ptr<Kind> CaptureSession::output() const
{
    const MutexLock lock(guard_);
    for (const std::shared_ptr<AVCaptureOutput>& output : outputs_) {
        if (auto wanted = std::dynamic_pointer_cast<Kind>(output))
            return wanted;
    }
    return nullptr;
}

void CaptureSession::startRunning()
{
    if (!context_->hook().permits(CaptureCall::startRunning, {}))
        return;
    {
        const MutexLock lock(guard_);
        if (openConfigurations_ > 0) {
            startsAtCommit_ = true;
            return;
        }
    }
    start();
}

void CaptureSession::start()
{
    {
        const MutexLock lock(guard_);
        startsInForeground_ = context_->configuration.application.isInBackground();
        if (startsInForeground_)
            return;
    }
    const std::lock_guard lock(*operation_);
    const std::shared_ptr<CameraDevice> device = camera();
    if (!device || isRunning())
        return;
    // The claim may have lapsed: somebody else took the device, and may have given it back.
    if (const auto claimed = device->claimIfFree(shared_from_this()); claimed && *claimed)
        claim_ = **claimed;
    else if (claimed)
        return;

    const CameraDescription description = device->description();
    const auto movieOutput = output<MovieFileOutput>();
    const std::shared_ptr<MicrophoneDriver> microphone = movieOutput ? this->microphone() : nullptr;
    const auto metadataOutput = output<MetadataOutput>();
    const auto stream = std::make_shared<FrameStream>(FrameStream::Parts{
        .counter = counter_,
        .pool = pool_,
        .output = output<VideoDataOutput>(),
        .photoOutput = output<PhotoOutput>(),
        .movieOutput = movieOutput,
        .detection = metadataOutput ? metadataOutput->beginStream() : nullptr,
        .sensorOrientation = description.sensorOrientation,
        .intrinsicMatrix = description.intrinsicMatrix,
        .lost =
            [weakSelf = weak_from_this()] {
                if (const std::shared_ptr<CaptureSession> self = weakSelf.lock())
                    self->deviceWasLost();
            },
    });
    AVCaptureSessionPreset preset{};
    {
        const MutexLock stateLock(guard_);
        stream_ = stream;
        preset = preset_;
    }
    if (movieOutput)
        movieOutput->streamBegan({.sensorOrientation = description.sensorOrientation,
            .ledger = counter_->ledger(),
            .hasSound = microphone != nullptr});
    if (microphone)
        replaceSound(SessionSound::start(microphone, movieOutput, context_->configuration.movies));
    const auto started = device->start(claim_, preset, stream);
    if (!started) {
        stream->lose(started.error());
        replaceSound(nullptr); // also when the device was taken away before there was a sound
    }
    const MutexLock stateLock(guard_);
    isRunning_ = stream->isOpen();
}

void CaptureSession::stopRunning()
{
    context_->hook().permits(CaptureCall::stopRunning, {});
    std::shared_ptr<FrameStream> stream;
    {
        const MutexLock lock(guard_);
        startsAtCommit_ = false;
        startsInForeground_ = false;
        stream = stream_;
    }
    if (stream)
        stream->close();
    const std::lock_guard lock(*operation_);
    if (claimed_)
        claimed_->stop(claim_);
    end(stream);
}

void CaptureSession::end(const std::shared_ptr<FrameStream>& stream)
{
    if (!stream)
        return;
    stream->close();
    noteEnd(stream);
}

/// The session runs no longer, unless it has been started anew meanwhile.
void CaptureSession::noteEnd(const std::shared_ptr<FrameStream>& stream)
{
    std::shared_ptr<SessionSound> sound; // of this stream
    {
        const MutexLock lock(guard_);
        if (stream_ != stream)
            return;
        isRunning_ = false;
        sound_.swap(sound);
    }
    if (sound)
        sound->close();
}

void CaptureSession::replaceSound(std::shared_ptr<SessionSound> sound)
{
    {
        const MutexLock lock(guard_);
        sound_.swap(sound);
    }
    if (sound)
        sound->close();
}

std::shared_ptr<MicrophoneDriver> CaptureSession::microphone() const
{
    const MutexLock lock(guard_);
    for (const std::shared_ptr<AVCaptureInput>& input : inputs_) {
        if (const auto device = std::dynamic_pointer_cast<MicrophoneDevice>(deviceOf(input)))
            return device->driver();
    }
    return nullptr;
}

void CaptureSession::deviceWasLost()
{
    if (const std::shared_ptr<FrameStream> stream = currentStream(); stream && !stream->isOpen())
        noteEnd(stream);
}

void CaptureSession::deviceWasTaken()
{
    end(currentStream());
}

std::shared_ptr<FrameStream> CaptureSession::currentStream() const
{
    const MutexLock lock(guard_);
    return stream_;
}

bool CaptureSession::isRunning() const
{
    const MutexLock lock(guard_);
    return isRunning_;
}

std::shared_ptr<const FrameLedger> CaptureSession::frameLedger() const
{
    return counter_->ledger();
}

void CaptureSession::applicationReturned()
{
    {
        const MutexLock lock(guard_);
        if (!std::exchange(startsInForeground_, false))
            return;
    }
    globalQueue_->async(whileAlive(weak_from_this(), [](CaptureSession& self) { self.start(); }));
}

} // namespace tamsel::engine
