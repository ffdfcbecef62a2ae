#include <host/v4l2/V4L2Stream.h>

#include <engine/dispatch/monotonicNow.h>

#include <linux/videodev2.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>

namespace tamsel::host {

namespace {

using std::chrono::nanoseconds;

constexpr std::uint32_t wantedBuffers = 4;
constexpr int fewestBuffers = 2;
/// A broken device can stay readable without a frame.
constexpr int mostEmptyWakes = 16;
/// A larger step means that the counter was reset.
constexpr std::uint32_t largestGap = 1000;

v4l2_buffer captureBuffer(std::uint32_t index)
{
    v4l2_buffer buffer{};
    buffer.index = index;
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    return buffer;
}

} // namespace

std::expected<std::shared_ptr<V4L2Stream>, platform::Error> V4L2Stream::start(
    std::shared_ptr<V4L2Device> device, const FrameFormat& format, engine::EventSources& sources,
    std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom)
{
    auto stream = std::make_shared<V4L2Stream>(std::move(device), format, std::move(sink), std::move(zoom));
    if (auto mapped = stream->mapBuffers(); !mapped)
        return std::unexpected(std::move(mapped.error()));
    if (auto begun = stream->begin(sources); !begun)
        return std::unexpected(std::move(begun.error()));
    return stream;
}

V4L2Stream::V4L2Stream(std::shared_ptr<V4L2Device> device, const FrameFormat& format,
    std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom)
    : device_(std::move(device)),
      format_(format),
      sink_(std::move(sink)),
      zoom_(std::move(zoom))
{
}

V4L2Stream::~V4L2Stream()
{
    for (const std::span<std::byte> buffer : buffers_)
        device_->calls().munmap(buffer.data(), buffer.size());
}

std::expected<void, platform::Error> V4L2Stream::mapBuffers()
{
    const int count = device_->requestBuffers(wantedBuffers);
    if (count < fewestBuffers)
        return std::unexpected(device_->error("gives no buffers", count < 0 ? -count : ENOMEM));
    for (std::uint32_t index = 0; index < static_cast<std::uint32_t>(count); ++index) {
        v4l2_buffer buffer = captureBuffer(index);
        if (const int number = device_->control(VIDIOC_QUERYBUF, &buffer); number != 0)
            return std::unexpected(device_->error("does not report its buffers", number));
        if (buffer.length < format_.minimumBytes())
            return std::unexpected(device_->error("has buffers that are too small", EINVAL));
        void* address = device_->calls().mmap(
            buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, device_->descriptor(), buffer.m.offset);
        if (address == MAP_FAILED)
            return std::unexpected(device_->error("does not share its buffers", errno));
        buffers_.emplace_back(static_cast<std::byte*>(address), buffer.length);
        if (const int number = device_->control(VIDIOC_QBUF, &buffer); number != 0)
            return std::unexpected(device_->error("does not take its buffers", number));
    }
    return {};
}

std::expected<void, platform::Error> V4L2Stream::begin(engine::EventSources& sources)
{
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (const int number = device_->control(VIDIOC_STREAMON, &type); number != 0)
        return std::unexpected(device_->error("does not start", number));
    std::unique_ptr<engine::EventSource> source
        = sources.makeDescriptor(device_->descriptor(), [weak = weak_from_this()] {
              if (const std::shared_ptr<V4L2Stream> stream = weak.lock())
                  stream->takeFrame();
          });
    if (!source) {
        turnOff();
        return std::unexpected(device_->error("cannot be waited for", ENOTSUP));
    }
    const MutexLock lock(guard_);
    source_ = std::move(source);
    source_->armReadable();
    return {};
}

void V4L2Stream::stop()
{
    std::unique_ptr<engine::EventSource> source;
    {
        const MutexLock lock(guard_);
        source = std::move(source_);
    }
    if (source)
        turnOff();
}

bool V4L2Stream::isLost() const
{
    const MutexLock lock(guard_);
    return isLost_;
}

void V4L2Stream::takeFrame()
{
    v4l2_buffer buffer = captureBuffer(0);
    if (const int number = dequeue(buffer); number != 0) {
        if (number != EAGAIN)
            lose("has gone", number);
        return;
    }
    if (buffer.index >= buffers_.size())
        return lose("answers nonsense", EIO);
    for (std::uint32_t missing = missingBefore(buffer.sequence); missing > 0; --missing)
        sink_->drop(platform::DropCause::late);

    std::shared_ptr<platform::CVPixelBuffer> pixels;
    bool isConverted = false;
    std::optional<platform::CGRect> part;
    const bool isFrame = isWhole(buffer);
    const nanoseconds time = isFrame ? captureTimeOf(buffer) : nanoseconds{};
    if (isFrame) {
        const auto width = static_cast<std::size_t>(format_.width);
        const auto height = static_cast<std::size_t>(format_.height);
        pixels = sink_->acquireBuffer(width, height);
        part = zoom_->partOf(width, height);
        isConverted = pixels && convert(buffer, *pixels, part);
    }

    if (const int number = queueAgain(buffer); number != 0) {
        if (number != EAGAIN)
            lose("does not take its buffer back", number);
        return;
    }
    if (isConverted)
        sink_->deliver({.buffer = std::move(pixels),
            .mediaTime = {(time - firstTime_.value_or(time)).count(), 1'000'000'000},
            .captureTime = time,
            .visiblePart = zoom_->visiblePart(
                part, static_cast<std::size_t>(format_.width), static_cast<std::size_t>(format_.height))});
    else if (isFrame && !pixels)
        sink_->drop(platform::DropCause::noBuffer);
}

int V4L2Stream::dequeue(v4l2_buffer& buffer)
{
    const MutexLock lock(guard_);
    if (!source_)
        return EAGAIN;
    const int number = device_->control(VIDIOC_DQBUF, &buffer);
    if (number != EAGAIN)
        emptyWakes_ = 0;
    else if (++emptyWakes_ > mostEmptyWakes)
        return EIO;
    if (number == 0 || number == EAGAIN)
        source_->armReadable(); // another worker waits while this one converts
    return number;
}

int V4L2Stream::queueAgain(v4l2_buffer& buffer)
{
    // After an end the number may already belong to a buffer of the next start.
    const MutexLock lock(guard_);
    if (!source_)
        return EAGAIN;
    v4l2_buffer again = captureBuffer(buffer.index);
    const int number = device_->control(VIDIOC_QBUF, &again);
    return number == EAGAIN ? EIO : number;
}

std::uint32_t V4L2Stream::missingBefore(std::uint32_t sequence)
{
    const std::uint32_t missing = lastSequence_ ? sequence - *lastSequence_ - 1 : 0;
    lastSequence_ = sequence;
    return missing <= largestGap ? missing : 0;
}

bool V4L2Stream::isWhole(const v4l2_buffer& buffer) const
{
    return (buffer.flags & V4L2_BUF_FLAG_ERROR) == 0 && buffer.bytesused >= format_.minimumBytes()
        && buffer.bytesused <= buffers_[buffer.index].size();
}

bool V4L2Stream::convert(
    const v4l2_buffer& buffer, platform::CVPixelBuffer& target, const std::optional<platform::CGRect>& part)
{
    const std::span<std::byte> bytes = buffers_[buffer.index].first(buffer.bytesused);
    if (format_.layout.isJpeg())
        return jpeg_.decode(bytes, target, part);
    format_.wrap(bytes, *frame_);
    return converter_.convert(*frame_, target, part);
}

nanoseconds V4L2Stream::captureTimeOf(const v4l2_buffer& buffer)
{
    nanoseconds time
        = std::chrono::seconds(buffer.timestamp.tv_sec) + std::chrono::microseconds(buffer.timestamp.tv_usec);
    const bool isMonotonic
        = (buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) == V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
    if (!isMonotonic || time <= nanoseconds::zero())
        time = engine::monotonicNow();
    if (firstTime_)
        time = std::max(time, lastTime_ + nanoseconds{1});
    else
        firstTime_ = time;
    lastTime_ = time;
    return time;
}

void V4L2Stream::lose(std::string_view what, int number)
{
    std::unique_ptr<engine::EventSource> source;
    {
        const MutexLock lock(guard_);
        if (!source_)
            return;
        source = std::move(source_);
        isLost_ = true;
    }
    turnOff();
    source.reset();
    sink_->lose(device_->error(what, number));
}

void V4L2Stream::turnOff()
{
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    (void)device_->control(VIDIOC_STREAMOFF, &type);
}

} // namespace tamsel::host
