#include <host/media/MediaCamera.h>

#include <host/ffmpeg/failure.h>
#include <host/media/MediaPlayback.h>

#include <utility>

namespace tamsel::host {

using platform::Error;

MediaCamera::MediaCamera(
    const HostInput& input, platform::AVCaptureDevicePosition position, DriverServices services)
    : input_(input.input),
      repeats_(input.repeats),
      services_(services),
      description_(describeInput(input, position))
{
}

MediaCamera::~MediaCamera()
{
    stop();
}

InputAccess MediaCamera::access() const
{
    return MediaInput(input_).access();
}

void MediaCamera::abandon()
{
    const MutexLock lock(guard_);
    isAbandoned_ = true;
    if (isCancelled_)
        *isCancelled_ = true;
}

engine::CameraDescription MediaCamera::description() const
{
    const MutexLock lock(guard_);
    return description_;
}

std::expected<void, Error> MediaCamera::open(std::function<bool()> isUnwanted)
{
    const auto isCancelled = std::make_shared<std::atomic<bool>>(false);
    {
        const MutexLock lock(guard_);
        *isCancelled = isAbandoned_;
        isCancelled_ = isCancelled;
    }
    auto opened = VideoReader::open(input_,
        {.isCancelled = isCancelled, .isUnwanted = std::move(isUnwanted), .limit = services_.openingLimit});
    if (!opened)
        return std::unexpected(std::move(opened.error()));
    reader_ = std::move(*opened);
    const platform::CGSize size = reader_->presentationDimensions();
    if (size.width > 0 && size.height > 0) {
        const MutexLock lock(guard_);
        description_.presentationDimensions = size;
    }
    return {};
}

void MediaCamera::close()
{
    reader_ = nullptr;
}

std::expected<void, Error> MediaCamera::start(
    platform::AVCaptureSessionPreset /*preset*/, std::shared_ptr<engine::FrameSink> sink)
{
    if (!reader_) {
        if (auto opened = open([&sink] { return !sink->isOpen(); }); !opened)
            return opened;
    }
    std::shared_ptr<std::atomic<bool>> isCancelled;
    {
        const MutexLock lock(guard_);
        isCancelled = isCancelled_;
    }
    auto playback = reader_->kind() == MediaKind::file
        ? FilePlayback::start(std::move(reader_), std::move(sink), zoom_, clock_, services_, repeats_)
        : StreamPlayback::start(
              std::move(reader_), std::move(isCancelled), std::move(sink), zoom_, services_);
    if (!playback)
        return failure(input_, playback.error().localizedDescription);
    playback_ = std::move(*playback);
    return {};
}

void MediaCamera::stop()
{
    if (const std::shared_ptr<MediaPlayback> playback = std::exchange(playback_, nullptr))
        playback->stop();
}

} // namespace tamsel::host
