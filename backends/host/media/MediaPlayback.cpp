#include <host/media/MediaPlayback.h>

#include <host/ReaderThreads.h>

#include <engine/dispatch/monotonicNow.h>

#include <utility>

namespace tamsel::host {

using namespace std::chrono_literals;
using engine::monotonicNow;
using platform::CMTime;
using platform::CVPixelBuffer;
using platform::DropCause;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr nanoseconds longDelay = 200ms;
constexpr nanoseconds pauseBetweenTries = 2ms;

nanoseconds toNanoseconds(CMTime time)
{
    return nanoseconds(static_cast<std::int64_t>(time.seconds() * 1e9));
}

/// The current frame; without a buffer if none is free or the frame cannot be converted.
engine::CapturedFrame takeFrame(VideoReader& reader, engine::FrameSink& sink, const DigitalZoom& zoom)
{
    std::shared_ptr<CVPixelBuffer> buffer = sink.acquireBuffer(reader.width(), reader.height());
    const std::optional<platform::CGRect> part = zoom.partOf(reader.width(), reader.height());
    if (!buffer || !reader.convert(*buffer, part))
        return {};
    return {.buffer = std::move(buffer),
        .mediaTime = reader.time(),
        .nativePicture = sink.wantsNativePictures() && !part ? reader.picture() : nullptr,
        .visiblePart = part};
}

/// The caller's last act, as it is for the sink.
void handOver(engine::CapturedFrame frame, nanoseconds due, engine::FrameSink& sink)
{
    if (!frame.buffer) {
        sink.drop(DropCause::noBuffer);
        return;
    }
    frame.captureTime = due;
    sink.deliver(std::move(frame));
}

} // namespace

nanoseconds FramePace::dueTime(CMTime mediaTime, nanoseconds now)
{
    const nanoseconds time = toNanoseconds(mediaTime);
    if (!anchor_ || now - (*anchor_ + time) > longDelay)
        anchor_ = now - time;
    return *anchor_ + time;
}

std::expected<std::shared_ptr<MediaPlayback>, Error> FilePlayback::start(std::unique_ptr<VideoReader> reader,
    std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom,
    std::shared_ptr<PlaybackClock> clock, DriverServices services, bool repeats)
{
    auto playback = std::make_shared<FilePlayback>(
        std::move(reader), std::move(sink), std::move(zoom), std::move(clock), services, repeats);
    playback->timer_ = services.events.makeTimer([weak = std::weak_ptr(playback)] {
        if (const std::shared_ptr<FilePlayback> self = weak.lock())
            self->deliverPrepared();
    });
    if (!playback->timer_)
        return std::unexpected(Error{.localizedDescription = "the system has no file descriptor left"});
    playback->decodeQueue_->async(
        platform::whileAlive(std::weak_ptr(playback), [](FilePlayback& self) { self.prepareNext(); }));
    return playback;
}

FilePlayback::FilePlayback(std::unique_ptr<VideoReader> reader, std::shared_ptr<engine::FrameSink> sink,
    std::shared_ptr<const DigitalZoom> zoom, std::shared_ptr<PlaybackClock> clock, DriverServices services,
    bool repeats)
    : sink_(std::move(sink)),
      zoom_(std::move(zoom)),
      decodeQueue_(services.dispatch.makeSerialQueue("org.tamsel.host.decode")),
      clock_(std::move(clock)),
      run_(clock_->begin()),
      repeats_(repeats),
      reader_(std::move(reader))
{
}

void FilePlayback::stop()
{
    isStopped_ = true;
    timer_->cancel();
    clock_->end(run_);
}

void FilePlayback::prepareNext()
{
    while (!isStopped_) {
        if (reader_->next() == VideoReader::Step::frame) {
            hasFrames_ = true;
            break;
        }
        const bool hadFrames = std::exchange(hasFrames_, false);
        if (!hadFrames || !repeats_ || !reader_->rewind()) {
            end_ = Error{.localizedDescription
                = hadFrames && !repeats_ ? "the file has ended" : "no frame can be decoded"};
            timer_->armAt(due_); // after the frame that is being delivered
            return;
        }
        ++loop_;
    }
    if (isStopped_)
        return;
    due_ = pace_.dueTime(reader_->time(), monotonicNow());
    clock_->set({.run = run_, .number = loop_, .zero = due_ - toNanoseconds(reader_->timeInLoop())});
    prepared_ = takeFrame(*reader_, *sink_, *zoom_);
    timer_->armAt(due_);
}

void FilePlayback::deliverPrepared()
{
    if (isStopped_)
        return;
    if (end_) {
        isStopped_ = true;
        clock_->end(run_);
        sink_->lose(*end_);
        return;
    }
    // No buffer was free when the frame was decoded; one may be free by now.
    engine::CapturedFrame frame = std::exchange(prepared_, {});
    if (!frame.buffer)
        frame = takeFrame(*reader_, *sink_, *zoom_);
    const nanoseconds due = due_;
    decodeQueue_->async(
        platform::whileAlive(weak_from_this(), [](FilePlayback& self) { self.prepareNext(); }));
    // Last, so that this thread continues with the frame while another one decodes.
    handOver(std::move(frame), due, *sink_);
}

std::expected<std::shared_ptr<MediaPlayback>, Error> StreamPlayback::start(
    std::unique_ptr<VideoReader> reader, std::shared_ptr<std::atomic<bool>> isCancelled,
    std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom, DriverServices services)
{
    auto playback = std::make_shared<StreamPlayback>(
        std::move(reader), std::move(isCancelled), std::move(sink), std::move(zoom));
    if (auto started = services.readers.start([playback] { playback->read(); }); !started)
        return std::unexpected(std::move(started.error()));
    return playback;
}

StreamPlayback::StreamPlayback(std::unique_ptr<VideoReader> reader,
    std::shared_ptr<std::atomic<bool>> isCancelled, std::shared_ptr<engine::FrameSink> sink,
    std::shared_ptr<const DigitalZoom> zoom)
    : reader_(std::move(reader)),
      stop_(std::move(isCancelled)),
      sink_(std::move(sink)),
      zoom_(std::move(zoom))
{
}

void StreamPlayback::read()
{
    FramePace pace;
    const bool isLive = reader_->isLive();
    for (;;) {
        const VideoReader::Step step = reader_->next();
        if (*stop_.isStopped())
            return;
        const nanoseconds now = monotonicNow();
        if (step == VideoReader::Step::end) {
            sink_->lose(Error{.localizedDescription = "the stream has ended"});
            return;
        }
        if (step == VideoReader::Step::again) {
            if (!stop_.waitUntil(now + pauseBetweenTries))
                return;
            continue;
        }
        // A live frame is late already: it has waited while the format was probed, or on its way.
        const nanoseconds due = isLive ? now : pace.dueTime(reader_->time(), now);
        if (!stop_.waitUntil(due))
            return;
        engine::CapturedFrame frame = takeFrame(*reader_, *sink_, *zoom_);
        if (isLive && !reader_->hasTimes())
            frame.mediaTime = {.value = now.count(), .timescale = 1'000'000'000};
        handOver(std::move(frame), due, *sink_);
    }
}

} // namespace tamsel::host
