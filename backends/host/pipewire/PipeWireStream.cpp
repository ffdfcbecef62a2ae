#include <host/pipewire/PipeWireStream.h>

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

struct PipeWireStream::Events {
    static PipeWireStream& of(void* data) { return *static_cast<PipeWireStream*>(data); }

    static constexpr pw_stream_events table{.version = PW_VERSION_STREAM_EVENTS,
        .destroy = nullptr,
        .state_changed =
            [](void* data, pw_stream_state, pw_stream_state state, const char* error) {
                of(data).state_ = state;
                if (error)
                    of(data).problem_ = error;
            },
        .control_info = nullptr,
        .io_changed = nullptr,
        .param_changed =
            [](void* data, std::uint32_t kind, const spa_pod* value) {
                if (kind == SPA_PARAM_Format && value)
                    of(data).setFormat(*value);
            },
        .add_buffer = [](void* data, pw_buffer* buffer) { of(data).addBuffer(*buffer); },
        .remove_buffer = [](void* data, pw_buffer* buffer) { of(data).removeBuffer(*buffer); },
        .process = [](void* data) { of(data).takeBuffer(); },
        .drained = nullptr,
        .command = nullptr,
        .trigger_done = nullptr};
};

std::expected<std::shared_ptr<PipeWireStream>, platform::Error> PipeWireStream::start(std::string name,
    std::shared_ptr<PipeWireConnection> connection, const PipeWireNode& node,
    platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink,
    std::shared_ptr<const DigitalZoom> zoom, const DriverServices& services, const PipeWireWait& wait)
{
    auto stream = std::make_shared<PipeWireStream>(
        std::move(name), std::move(connection), node.identifier, std::move(sink), std::move(zoom), services);
    std::vector<CameraMode> modes = node.modes;
    rankModes(modes, preset);
    // The two sides choose among several formats by the camera's order, so the best is offered alone. It may be refused
    // because another program uses the camera.
    if (!modes.empty() && stream->connect(node, std::array{PipeWirePod::of(modes.front())}, wait))
        return stream;
    if (stream->connect(node, std::array{PipeWirePod::anyFormat(false), PipeWirePod::anyFormat(true)}, wait))
        return stream;
    const std::string problem = stream->problem_.empty() ? stream->connection_->problem() : stream->problem_;
    return std::unexpected(platform::Error{.localizedDescription
        = stream->name_ + ": does not start: " + (problem.empty() ? "no session manager links it" : problem),
        .code = problem.empty() ? ETIMEDOUT : EIO});
}

PipeWireStream::PipeWireStream(std::string name, std::shared_ptr<PipeWireConnection> connection,
    std::uint32_t node, std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom,
    const DriverServices& services)
    : name_(std::move(name)),
      connection_(std::move(connection)),
      node_(node),
      sink_(std::move(sink)),
      zoom_(std::move(zoom)),
      sources_(services.events),
      queue_(services.dispatch.makeSerialQueue("pipewire"))
{
}

PipeWireStream::~PipeWireStream()
{
    close();
}

bool PipeWireStream::connect(
    const PipeWireNode& node, std::span<const PipeWirePod> formats, const PipeWireWait& wait)
{
    {
        const MutexLock lock(guard_);
        format_.reset();
    }
    {
        const MutexLock lock(connection_->guard());
        problem_.clear();
        state_ = PW_STREAM_STATE_UNCONNECTED;
        stream_.reset(pw_stream_new(connection_->core(), "tamsel",
            pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE,
                "Camera", PW_KEY_TARGET_OBJECT, node.serial.c_str(), nullptr)));
        if (!stream_)
            return false;
        pw_stream_add_listener(stream_.get(), &hook_, &Events::table, this);
        std::vector<const spa_pod*> offers;
        for (const PipeWirePod& format : formats)
            offers.push_back(format.get());
        constexpr auto flags = static_cast<pw_stream_flags>(
            PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT | PW_STREAM_FLAG_RT_PROCESS);
        if (pw_stream_connect(stream_.get(), PW_DIRECTION_INPUT, PW_ID_ANY, flags, offers.data(),
                static_cast<std::uint32_t>(offers.size()))
            < 0)
            return false;
    }
    const auto hasEnded = [this] { return !problem_.empty() || state_ == PW_STREAM_STATE_ERROR; };
    return connection_->runUntil([&] { return state_ == PW_STREAM_STATE_STREAMING || hasEnded(); }, wait)
        && !hasEnded()
        && connection_->follow(
            sources_, whileAlive(weak_from_this(), [](PipeWireStream& self) { self.handleState(); }));
}

void PipeWireStream::handleState()
{
    std::string reason = connection_->problem();
    {
        const MutexLock lock(connection_->guard());
        if (state_ == PW_STREAM_STATE_ERROR || state_ == PW_STREAM_STATE_UNCONNECTED)
            reason = problem_.empty() ? "is not connected any more" : problem_;
    }
    if (reason.empty() && !connection_->hasCamera(node_))
        reason = "has gone";
    if (reason.empty())
        return;
    connection_->unfollow();
    stop();
    sink_->lose({.localizedDescription = name_ + ": " + reason, .code = ENODEV});
}

void PipeWireStream::stop()
{
    const MutexLock lock(guard_);
    isEnded_ = true;
}

void PipeWireStream::close()
{
    stop();
    connection_->unfollow();
    const MutexLock lock(connection_->guard());
    stream_.reset();
}

platform::CGSize PipeWireStream::size() const
{
    const MutexLock lock(guard_);
    return format_
        ? platform::CGSize{static_cast<double>(format_->width), static_cast<double>(format_->height)}
        : platform::CGSize{};
}

void PipeWireStream::setFormat(const spa_pod& format)
{
    const std::optional<FrameFormat> frameFormat = frameFormatOf(format);
    if (!frameFormat) {
        problem_ = "its format cannot be converted";
        return;
    }
    {
        const MutexLock lock(guard_);
        format_ = frameFormat;
    }
    const PipeWirePod buffers = PipeWirePod::buffers();
    const PipeWirePod headers = PipeWirePod::headers();
    std::array<const spa_pod*, 2> parameters{buffers.get(), headers.get()};
    pw_stream_update_params(stream_.get(), parameters.data(), parameters.size());
}

void PipeWireStream::addBuffer(pw_buffer& buffer)
{
    const spa_data& block = buffer.buffer->datas[0];
    const std::span<std::byte> memory = block.type == SPA_DATA_MemPtr
        ? std::span(static_cast<std::byte*>(block.data), block.data ? block.maxsize : 0)
        : mapped(block);
    const MutexLock lock(guard_);
    memory_.emplace(&buffer, memory);
}

void PipeWireStream::removeBuffer(pw_buffer& buffer)
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

void PipeWireStream::takeBuffer()
{
    {
        const MutexLock lock(guard_);
        if (isEnded_ || !format_)
            return; // the stream may be about to be destroyed
        pw_buffer* buffer = pw_stream_dequeue_buffer(stream_.get());
        if (!buffer)
            return;
        waiting_.push_back(describe(*buffer));
        if (waiting_.size() + (converting_ ? 1 : 0) >= memory_.size()) {
            pw_stream_queue_buffer(stream_.get(), waiting_.front().buffer);
            waiting_.pop_front(); // the gap in the numbers shows it
        }
    }
    queue_->async(whileAlive(weak_from_this(), [](PipeWireStream& self) { self.convertFrame(); }));
}

PipeWireStream::Frame PipeWireStream::describe(pw_buffer& buffer)
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

void PipeWireStream::convertFrame()
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
        pw_stream_queue_buffer(stream_.get(), buffer);
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

bool PipeWireStream::convert(
    const Frame& frame, platform::CVPixelBuffer& target, const std::optional<platform::CGRect>& part)
{
    if (frame.format.layout.isJpeg())
        return jpeg_.decode(frame.bytes, target, part);
    frame.format.wrap(frame.bytes, *frame_);
    return converter_.convert(*frame_, target, part);
}

} // namespace tamsel::host
