#include <engine/capture/FrameStream.h>

#include <engine/capture/turnPixels.h>

#include <algorithm>
#include <utility>

namespace tamsel::engine {

using namespace platform;

FrameTiming FrameCounter::next(CMTime mediaTime, std::chrono::nanoseconds captureTime, bool isFirst)
{
    const MutexLock lock(guard_);
    if (isFirst) {
        mediaOffset_ = 0;
        if (lastMediaTime_.isValid() && mediaTime.isValid()) {
            const double scale = static_cast<double>(mediaTime.timescale) / lastMediaTime_.timescale;
            const auto last = static_cast<std::int64_t>(static_cast<double>(lastMediaTime_.value) * scale);
            const std::int64_t next = last + std::max(1, mediaTime.timescale / 30);
            mediaOffset_ = mediaTime.value > last ? 0 : next - mediaTime.value;
        }
    }
    mediaTime.value += mediaOffset_;
    lastCaptureTime_ = lastCaptureTime_ == std::chrono::nanoseconds::min()
        ? captureTime
        : std::max(captureTime, lastCaptureTime_ + std::chrono::nanoseconds{1});
    lastMediaTime_ = mediaTime;
    return {.captureTime = lastCaptureTime_, .mediaTime = mediaTime, .sequence = sequence_++};
}

void FrameCounter::skip()
{
    const MutexLock lock(guard_);
    ++sequence_;
}

std::shared_ptr<CVPixelBuffer> FrameStream::acquireBuffer(std::size_t width, std::size_t height)
{
    if (!isOpen())
        return nullptr;
    if (std::shared_ptr<CVPixelBuffer> buffer = parts_.pool->acquire(width, height))
        return buffer;
    // A client that keeps all buffers still gets its still, its recording and what is detected.
    const bool isWanted = (parts_.outputs.photo && parts_.outputs.photo->isWaiting())
        || (parts_.outputs.movie && parts_.outputs.movie->isRecording())
        || (parts_.detection && parts_.detection->wantsFrame());
    if (!isWanted)
        return nullptr;
    const MutexLock lock(spareGuard_);
    if (spare_.use_count() > 1)
        return nullptr;
    if (!spare_ || spare_->width() != width || spare_->height() != height)
        spare_ = std::make_shared<CVPixelBuffer>(width, height);
    return spare_;
}

bool FrameStream::isSpare(const CVPixelBuffer& buffer)
{
    const MutexLock lock(spareGuard_);
    return &buffer == spare_.get();
}

std::shared_ptr<const CameraIntrinsicMatrix> FrameStream::turnedMatrix(const CVPixelBuffer& stored, int turns)
{
    if (!parts_.intrinsicMatrix || turns == 0)
        return parts_.intrinsicMatrix;
    if (!matrix_ || turns != matrixTurns_) {
        matrix_ = std::make_shared<CameraIntrinsicMatrix>(
            turnMatrix(*parts_.intrinsicMatrix, stored.width(), stored.height(), turns));
        matrixTurns_ = turns;
    }
    return matrix_;
}

void FrameStream::deliver(
    std::shared_ptr<CVPixelBuffer> buffer, CMTime mediaTime, std::chrono::nanoseconds captureTime)
{
    const std::shared_ptr<const NativePicture> nativePicture = std::exchange(nativePicture_, nullptr);
    if (!isOpen())
        return;
    FrameTicket ticket(parts_.counter->ledger());
    const FrameTiming timing = parts_.counter->next(mediaTime, captureTime, std::exchange(isFirst_, false));
    if (parts_.outputs.photo)
        parts_.outputs.photo->offer(*buffer, parts_.sensorOrientation, timing.captureTime);
    if (parts_.outputs.movie)
        parts_.outputs.movie->offer(*buffer, nativePicture.get(), timing.captureTime);
    const std::shared_ptr<Connection> connection
        = parts_.outputs.video ? parts_.outputs.video->videoConnection() : nullptr;
    const int turns = connection ? quarterTurns(parts_.sensorOrientation, connection->videoOrientation()) : 0;
    if (parts_.detection)
        parts_.detection->offer({*buffer, turns, timing.captureTime, timing.sequence});
    if (!connection || !connection->isEnabled() || !parts_.outputs.video->hasDelegate()) {
        ticket.settle(FrameLedger::Outcome::gated);
        return;
    }
    if (isSpare(*buffer)) {
        parts_.outputs.video->tellDrop(std::move(ticket), DropCause::noBuffer);
        return;
    }
    if (!parts_.outputs.video->hasPlace()) {
        parts_.outputs.video->tellDrop(std::move(ticket), DropCause::late);
        return;
    }
    std::shared_ptr<const CameraIntrinsicMatrix> matrix = turnedMatrix(*buffer, turns);
    if (turns != 0) {
        const bool isOdd = turns % 2 != 0;
        std::shared_ptr<CVPixelBuffer> turned = parts_.pool->acquire(
            isOdd ? buffer->height() : buffer->width(), isOdd ? buffer->width() : buffer->height());
        if (!turned) {
            parts_.outputs.video->tellDrop(std::move(ticket), DropCause::noBuffer);
            return;
        }
        turnPixels(*buffer, *turned, turns);
        buffer = std::move(turned);
    }
    buffer->setTiming(timing);
    parts_.outputs.video->deliver(
        parts_.pool->makeSample(std::move(buffer), std::move(matrix), std::move(ticket)), shared_from_this());
}

void FrameStream::drop(DropCause cause)
{
    if (!isOpen())
        return;
    if (parts_.outputs.movie)
        parts_.outputs.movie->miss();
    tellDrop(cause);
}

void FrameStream::lose(const Error& reason)
{
    State expected = State::open;
    if (!state_.compare_exchange_strong(expected, State::lost))
        return;
    tellEnd(reason);
    parts_.lost();
    // At last: a client that resumes when it is told is to find that the session has stopped.
    tellDrop(DropCause::deviceLost);
}

void FrameStream::close()
{
    if (parts_.detection)
        parts_.detection->close();
    if (state_.exchange(State::closed) == State::open)
        tellEnd({.localizedDescription = "the session stopped"});
}

void FrameStream::tellEnd(const Error& reason)
{
    if (parts_.outputs.photo)
        parts_.outputs.photo->streamEnded();
    if (parts_.outputs.movie)
        parts_.outputs.movie->streamEnded(reason);
}

void FrameStream::tellDrop(DropCause cause)
{
    FrameTicket ticket(parts_.counter->ledger());
    parts_.counter->skip();
    if (parts_.outputs.video)
        parts_.outputs.video->tellDrop(std::move(ticket), cause);
    else
        ticket.settle(FrameLedger::Outcome::gated);
}

} // namespace tamsel::engine
