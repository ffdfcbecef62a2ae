#include <engine/capture/VideoDataOutput.h>

#include <engine/capture/FrameStream.h>

#include <utility>

namespace tamsel::engine {

using namespace platform;

void VideoDataOutput::setSampleBufferDelegate(
    std::weak_ptr<AVCaptureVideoDataOutputSampleBufferDelegate> delegate,
    std::shared_ptr<DispatchQueue> queue)
{
    hook_->called(CaptureCall::setSampleBufferDelegate, delegate.expired() ? "none" : "delegate");
    const Receiver receiver{std::move(delegate), std::move(queue)};
    Receiver replaced = receiver;
    std::optional<FrameTicket> loss;
    {
        const MutexLock lock(guard_);
        std::swap(receiver_, replaced);
        if (!receiver.delegate.expired())
            unreportedLoss_.swap(loss);
    }
    if (loss)
        postDrop(receiver, std::move(*loss), DropCause::deviceLost);
}

VideoDataOutput::Receiver VideoDataOutput::receiver() const
{
    const MutexLock lock(guard_);
    return receiver_;
}

VideoDataOutput::Demand VideoDataOutput::demand() const
{
    const std::shared_ptr<Connection> connection = videoConnection();
    if (!connection)
        return {};
    Demand demand{.orientation = connection->videoOrientation(), .queue = nullptr};
    if (Receiver current = receiver(); connection->isEnabled() && !current.delegate.expired())
        demand.queue = std::move(current.queue);
    demand.isLate = discardsLateFrames_ && isWaiting_;
    return demand;
}

void VideoDataOutput::deliver(
    std::shared_ptr<CMSampleBuffer> sampleBuffer, std::shared_ptr<FrameStream> stream, DispatchQueue& queue)
{
    isWaiting_ = true;
    queue.handOver([self = shared_from_this(), sampleBuffer = std::move(sampleBuffer),
                       stream = std::move(stream)]() mutable {
        self->isWaiting_ = false;
        const FrameVisit visit(sampleBuffer->ticket());
        const auto delegate = stream->isClosed() ? nullptr : self->receiver().delegate.lock();
        if (delegate)
            delegate->captureOutputDidOutputSampleBuffer(std::move(sampleBuffer));
        else
            sampleBuffer->settle(FrameLedger::Outcome::gated);
    });
}

void VideoDataOutput::reportDrop(FrameTicket ticket, DropCause cause)
{
    Receiver current;
    {
        const MutexLock lock(guard_);
        current = receiver_;
        if (!current.queue && cause == DropCause::deviceLost) {
            unreportedLoss_.emplace(std::move(ticket));
            return;
        }
    }
    if (current.queue && !current.delegate.expired())
        postDrop(current, std::move(ticket), cause);
    else
        ticket.settle(FrameLedger::Outcome::gated);
}

void VideoDataOutput::postDrop(const Receiver& receiver, FrameTicket ticket, DropCause cause)
{
    receiver.queue->async([self = shared_from_this(), ticket = std::move(ticket), cause]() mutable {
        const auto delegate = self->receiver().delegate.lock();
        if (!delegate) {
            ticket.settle(FrameLedger::Outcome::gated);
            return;
        }
        ticket.setDropCause(cause);
        CMSampleBuffer dropped(nullptr, nullptr, std::move(ticket));
        delegate->captureOutputDidDropSampleBuffer(dropped);
        dropped.settle(FrameLedger::Outcome::dropped);
    });
}

} // namespace tamsel::engine
