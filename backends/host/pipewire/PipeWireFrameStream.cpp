#include <host/pipewire/PipeWireFrameStream.h>

#include <engine/dispatch/monotonicNow.h>

#include <spa/buffer/meta.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

namespace tamsel::host {

using namespace std::chrono_literals;
using platform::whileAlive;
using std::chrono::nanoseconds;

namespace {

/// A larger step means that the counter was reset.
constexpr std::uint64_t largestGap = 1000;
/// An older time is of another clock.
constexpr auto oldestFrame = 2s;

/// The memory of a buffer that the camera shares by its descriptor; empty when it does not.
std::span<std::byte> mapped(const spa_data& block)
{
    const auto page = static_cast<std::uint32_t>(::sysconf(_SC_PAGESIZE));
    const std::uint32_t before = block.mapoffset % page;
    void* address = ::mmap(nullptr, std::size_t{block.maxsize} + before, PROT_READ, MAP_SHARED,
        static_cast<int>(block.fd), block.mapoffset - before);
    if (address == MAP_FAILED)
        return {};
    return {static_cast<std::byte*>(address) + before, block.maxsize};
}

void unmap(std::span<std::byte> memory)
{
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const std::uintptr_t before = reinterpret_cast<std::uintptr_t>(memory.data()) % page;
    if (!memory.empty())
        ::munmap(memory.data() - before, memory.size() + before);
}

} // namespace

std::expected<std::shared_ptr<PipeWireFrameStream>, platform::Error> PipeWireFrameStream::start(
    std::string name, FoundNode found, platform::AVCaptureSessionPreset preset,
    std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom,
    const DriverServices& services, const PipeWireWait& wait)
{
    std::vector<CameraMode> modes = found.node.modes;
    rankModes(modes, preset);
    auto stream = std::make_shared<PipeWireFrameStream>(
        std::move(name), std::move(found), std::move(sink), std::move(zoom), services);
    // The two sides choose among several formats by the camera's order, so the best is offered alone. It may be refused
    // because another program uses the camera.
    if (!modes.empty() && stream->connectAndFollow(std::array{PipeWirePod::of(modes.front())}, wait))
        return stream;
    if (stream->connectAndFollow(
            std::array{PipeWirePod::anyFormat(false), PipeWirePod::anyFormat(true)}, wait))
        return stream;
    return std::unexpected(stream->startError());
}

PipeWireFrameStream::PipeWireFrameStream(std::string name, FoundNode found,
    std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom,
    const DriverServices& services)
    : PipeWireStream(std::move(name), std::move(found.connection), std::move(found.node)),
      sink_(std::move(sink)),
      zoom_(std::move(zoom)),
      sources_(services.events),
      queue_(services.dispatch.makeSerialQueue("pipewire"))
{
}

PipeWireFrameStream::~PipeWireFrameStream()
{
    close();
}

bool PipeWireFrameStream::connectAndFollow(std::span<const PipeWirePod> formats, const PipeWireWait& wait)
{
    {
        const MutexLock lock(guard_);
        format_.reset();
    }
    return connect({{PW_KEY_MEDIA_TYPE, "Video"}, {PW_KEY_MEDIA_ROLE, "Camera"}}, PW_STREAM_FLAG_NONE,
               formats, wait)
        && connection().follow(
            sources_, whileAlive(weak_from_this(), [](PipeWireFrameStream& self) { self.handleLoss(); }));
}

void PipeWireFrameStream::handleLoss()
{
    const std::optional<platform::Error> reason = loss();
    if (!reason)
        return;
    connection().unfollow();
    stop();
    sink_->lose(*reason);
}

void PipeWireFrameStream::stop()
{
    const MutexLock lock(guard_);
    isEnded_ = true;
}

void PipeWireFrameStream::close()
{
    stop();
    connection().unfollow();
    disconnect();
}

platform::CGSize PipeWireFrameStream::size() const
{
    const MutexLock lock(guard_);
    return format_
        ? platform::CGSize{static_cast<double>(format_->width), static_cast<double>(format_->height)}
        : platform::CGSize{};
}

void PipeWireFrameStream::setFormat(const spa_pod& format)
{
    const std::optional<FrameFormat> frameFormat = frameFormatOf(format);
    if (!frameFormat) {
        refuse("its format cannot be converted");
        return;
    }
    {
        const MutexLock lock(guard_);
        format_ = frameFormat;
    }
    const PipeWirePod buffers = PipeWirePod::buffers();
    const PipeWirePod headers = PipeWirePod::headers();
    std::array<const spa_pod*, 2> parameters{buffers.get(), headers.get()};
    pw_stream_update_params(stream(), parameters.data(), parameters.size());
}

void PipeWireFrameStream::addBuffer(pw_buffer& buffer)
{
    const spa_data& block = buffer.buffer->datas[0];
    const std::span<std::byte> memory = block.type == SPA_DATA_MemPtr
        ? std::span(static_cast<std::byte*>(block.data), block.data ? block.maxsize : 0)
        : mapped(block);
    const MutexLock lock(guard_);
    memory_.emplace(&buffer, memory);
}

void PipeWireFrameStream::removeBuffer(pw_buffer& buffer)
{
    MutexLock lock(guard_);
    std::erase_if(waiting_, [&](const Frame& frame) { return frame.buffer == &buffer; });
    while (converting_ == &buffer)
        converted_.wait(lock);
    const auto found = memory_.find(&buffer);
    if (found == memory_.end())
        return;
    if (buffer.buffer->datas[0].type != SPA_DATA_MemPtr)
        unmap(found->second);
    memory_.erase(found);
}

void PipeWireFrameStream::takeBuffer()
{
    {
        const MutexLock lock(guard_);
        if (isEnded_ || !format_)
            return; // the stream may be about to be destroyed
        pw_buffer* buffer = pw_stream_dequeue_buffer(stream());
        if (!buffer)
            return;
        waiting_.push_back(describe(*buffer));
        if (waiting_.size() + (converting_ ? 1 : 0) >= memory_.size()) {
            pw_stream_queue_buffer(stream(), waiting_.front().buffer);
            waiting_.pop_front(); // the gap in the numbers shows it
        }
    }
    queue_->async(whileAlive(weak_from_this(), [](PipeWireFrameStream& self) { self.convertFrame(); }));
}

PipeWireFrameStream::Frame PipeWireFrameStream::describe(pw_buffer& buffer)
{
    const spa_data& block = buffer.buffer->datas[0];
    const std::span<std::byte> memory = memory_[&buffer];
    const std::size_t offset = std::min<std::size_t>(block.chunk->offset, memory.size());
    Frame frame{.buffer = &buffer,
        .bytes = memory.subspan(offset, std::min<std::size_t>(block.chunk->size, memory.size() - offset)),
        .format = *format_,
        .number = arrivals_++,
        .mediaTime = {},
        .captureTime = engine::monotonicNow(),
        .isWhole = (static_cast<std::uint32_t>(block.chunk->flags) & SPA_CHUNK_FLAG_CORRUPTED) == 0};
    frame.format.bytesPerRow = std::max(block.chunk->stride, 0);
    frame.mediaTime = frame.captureTime;
    const auto* header = static_cast<const spa_meta_header*>(
        spa_buffer_find_meta_data(buffer.buffer, SPA_META_Header, sizeof(spa_meta_header)));
    if (header) {
        frame.number = header->seq;
        frame.isWhole = frame.isWhole && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) == 0;
        if (const nanoseconds time(header->pts); time > 0ns) {
            frame.mediaTime = time;
            if (time <= frame.captureTime && time > frame.captureTime - oldestFrame)
                frame.captureTime = time;
        }
    }
    frame.isWhole = frame.isWhole && frame.bytes.size() >= frame.format.minimumBytes();
    return frame;
}

void PipeWireFrameStream::convertFrame()
{
    std::optional<Frame> frame;
    {
        const MutexLock lock(guard_);
        if (isEnded_ || waiting_.empty())
            return;
        frame = waiting_.front();
        waiting_.pop_front();
        converting_ = frame->buffer;
    }
    const std::uint64_t missing = lastNumber_ ? frame->number - *lastNumber_ - 1 : 0;
    lastNumber_ = frame->number;
    for (std::uint64_t count = missing <= largestGap ? missing : 0; count > 0; --count)
        sink_->drop(platform::DropCause::late);

    std::shared_ptr<platform::CVPixelBuffer> pixels;
    std::optional<platform::CGRect> part;
    bool isConverted = false;
    const auto width = static_cast<std::size_t>(frame->format.width);
    const auto height = static_cast<std::size_t>(frame->format.height);
    if (frame->isWhole) {
        pixels = sink_->acquireBuffer(width, height);
        part = zoom_->partOf(width, height);
        isConverted = pixels && convert(*frame, *pixels, part);
    }
    {
        const MutexLock lock(guard_);
        pw_buffer* buffer = std::exchange(converting_, nullptr);
        converted_.notifyAll();
        if (isEnded_)
            return;
        pw_stream_queue_buffer(stream(), buffer);
    }
    if (isConverted) {
        if (!firstTime_)
            firstTime_ = frame->mediaTime;
        sink_->deliver({.buffer = std::move(pixels),
            .mediaTime = {(frame->mediaTime - *firstTime_).count(), 1'000'000'000},
            .captureTime = frame->captureTime,
            .visiblePart = zoom_->visiblePart(part, width, height)});
    } else if (frame->isWhole && !pixels) {
        sink_->drop(platform::DropCause::noBuffer);
    }
}

bool PipeWireFrameStream::convert(
    const Frame& frame, platform::CVPixelBuffer& target, const std::optional<platform::CGRect>& part)
{
    if (frame.format.layout.isJpeg())
        return jpeg_.decode(frame.bytes, target, part);
    frame.format.wrap(frame.bytes, *frame_);
    return converter_.convert(*frame_, target, part);
}

} // namespace tamsel::host
