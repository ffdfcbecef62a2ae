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

std::uint64_t FrameCounter::skip()
{
    const MutexLock lock(guard_);
    return sequence_++;
}

std::shared_ptr<CVPixelBuffer> FrameStream::acquireBuffer(std::size_t width, std::size_t height)
{
    if (!isOpen())
        return nullptr;
    const std::size_t previewed = parts_.previews->keptBuffers();
    if (std::shared_ptr<CVPixelBuffer> buffer = parts_.pool->acquire(width, height, previewed))
        return buffer;
    // Stills, recordings, detection and previews continue while a client keeps all buffers.
    const bool isWanted = previewed > 0 || (parts_.outputs.photo && parts_.outputs.photo->isWaiting())
        || (parts_.outputs.movie && parts_.outputs.movie->isRecording())
        || (parts_.detection && parts_.detection->wantsFrame());
    return isWanted ? spares_.acquire(width, height) : nullptr;
}

std::shared_ptr<const CameraIntrinsicMatrix> FrameStream::matrixOf(const CapturedFrame& stored, int turns)
{
    if (!parts_.intrinsicMatrix || (turns == 0 && !stored.visiblePart))
        return parts_.intrinsicMatrix;
    if (!matrix_ || turns != matrixTurns_ || stored.visiblePart != matrixPart_) {
        const std::size_t width = stored.buffer->width();
        const std::size_t height = stored.buffer->height();
        const CameraIntrinsicMatrix matrix = stored.visiblePart
            ? enlargeMatrix(*parts_.intrinsicMatrix, *stored.visiblePart, width, height)
            : *parts_.intrinsicMatrix;
        matrix_ = std::make_shared<CameraIntrinsicMatrix>(turnMatrix(matrix, width, height, turns));
        matrixTurns_ = turns;
        matrixPart_ = stored.visiblePart;
    }
    return matrix_;
}

void FrameStream::deliver(CapturedFrame frame)
{
    if (!isOpen())
        return;
    FrameTiming timing
        = parts_.counter->next(frame.mediaTime, frame.captureTime, std::exchange(isFirst_, false));
    timing.isExamined = parts_.detection && parts_.detection->wantsFrame();
    const std::shared_ptr<FrameLedger>& ledger = parts_.counter->ledger();
    FrameTicket ticket(ledger, timing.sequence);
    if (const auto& observer = ledger->observer())
        observer->frameProduced(ledger->session(), timing, frame.buffer->width(), frame.buffer->height());
    const FrameVisit visit(ticket);
    frame.captureTime = timing.captureTime;
    frame.buffer->setTiming(timing);
    parts_.previews->offer(frame.buffer, parts_.sensorOrientation);
    if (!isOpen())
        parts_.previews->clear(); // it ended meanwhile
    const SessionOutputs& outputs = parts_.outputs;
    if (outputs.photo)
        outputs.photo->offer(frame, parts_.sensorOrientation);
    if (outputs.movie)
        outputs.movie->offer(frame);
    const VideoDataOutput::Demand demand
        = outputs.video ? outputs.video->demand() : VideoDataOutput::Demand{};
    const int turns = demand.orientation ? quarterTurns(parts_.sensorOrientation, *demand.orientation) : 0;
    if (timing.isExamined)
        parts_.detection->take({*frame.buffer, turns, timing.captureTime, timing.sequence});
    if (!demand.queue) {
        withhold(std::move(ticket), std::nullopt);
        return;
    }
    std::shared_ptr<const CameraIntrinsicMatrix> matrix = matrixOf(frame, turns);
    std::optional<DropCause> cause;
    if (spares_.owns(frame.buffer))
        cause = DropCause::noBuffer;
    else if (demand.isLate)
        cause = DropCause::late;
    else
        cause = makeUpright(frame.buffer, turns);
    if (cause) {
        withhold(std::move(ticket), cause);
        return;
    }
    outputs.video->deliver(
        parts_.pool->makeSample(std::move(frame.buffer), std::move(matrix), std::move(ticket)),
        shared_from_this(), *demand.queue);
}

/// The reason why it cannot be made upright, if any.
std::optional<DropCause> FrameStream::makeUpright(std::shared_ptr<CVPixelBuffer>& buffer, int turns)
{
    if (turns == 0)
        return std::nullopt;
    const bool isOdd = turns % 2 != 0;
    std::shared_ptr<CVPixelBuffer> turned = parts_.pool->acquire(
        isOdd ? buffer->height() : buffer->width(), isOdd ? buffer->width() : buffer->height());
    if (!turned)
        return DropCause::noBuffer;
    turnPixels(*buffer, *turned, turns);
    turned->setTiming(buffer->timing());
    turned->setQuarterTurns(turns);
    buffer = std::move(turned);
    return std::nullopt;
}

void FrameStream::drop(std::optional<DropCause> cause)
{
    if (!isOpen())
        return;
    if (cause && parts_.outputs.movie)
        parts_.outputs.movie->miss();
    reportDrop(cause);
}

void FrameStream::lose(const Error& reason)
{
    State expected = State::open;
    if (!state_.compare_exchange_strong(expected, State::lost))
        return;
    reportEnd(reason);
    parts_.lost();
    // Last, so that a client that resumes in its callback finds the session stopped.
    reportDrop(DropCause::deviceLost);
}

void FrameStream::close()
{
    if (parts_.detection)
        parts_.detection->close();
    if (state_.exchange(State::closed) == State::open)
        reportEnd({.localizedDescription = "the session stopped"});
}

void FrameStream::reportEnd(const Error& reason)
{
    parts_.previews->clear();
    if (parts_.outputs.photo)
        parts_.outputs.photo->streamEnded();
    if (parts_.outputs.movie)
        parts_.outputs.movie->streamEnded(reason);
}

void FrameStream::reportDrop(std::optional<DropCause> cause)
{
    FrameTicket ticket(parts_.counter->ledger(), parts_.counter->skip());
    withhold(std::move(ticket), cause);
}

/// For a frame that is not delivered: without a cause, or without a delegate, it is gated.
void FrameStream::withhold(FrameTicket ticket, std::optional<DropCause> cause)
{
    if (cause && parts_.outputs.video)
        parts_.outputs.video->reportDrop(std::move(ticket), *cause);
    else
        ticket.settle(FrameLedger::Outcome::gated);
}

} // namespace tamsel::engine
