#include <engine/capture/Recording.h>

#include <algorithm>
#include <utility>

namespace tamsel::engine {

using namespace platform;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

/// Frames wait with 12 bits a pixel, or less.
constexpr std::size_t waitingBytes = std::size_t{64} << 20;
constexpr std::size_t fewestWaiting = 4;
constexpr std::size_t mostWaiting = 64;
constexpr std::size_t soundWaitingLimit = std::size_t{30} * SoundChunk::sampleRate;
/// How long the sound of the last frames may be delayed.
constexpr nanoseconds soundDelay = 300ms;
constexpr nanoseconds usualInterval = nanoseconds(1s) / 30;
constexpr nanoseconds longestInterval = 200ms;

} // namespace

std::shared_ptr<Recording> Recording::start(Parts parts, const MovieServices& services)
{
    auto recording = std::make_shared<Recording>(std::move(parts), services);
    recording->timer_ = services.events.makeTimer(whileAlive(recording->weak_from_this(),
        [](Recording& self) { self.endIf(Phase::awaitingSound, std::nullopt); }));
    recording->queue_->async([recording] { recording->open(); });
    return recording;
}

Recording::Recording(Parts parts, const MovieServices& services)
    : parts_(std::move(parts)),
      clock_(services.clock),
      queue_(services.dispatch.makeSerialQueue("org.tamsel.engine.movie")),
      soundRuns_(parts_.hasSound)
{
}

Recording::~Recording()
{
    if (!isOpen_ || isFinished_)
        return;
    for (const Entry& entry : waiting_) {
        if (!write(entry))
            break;
    }
    (void)parts_.writer->finish().has_value();
}

bool Recording::takesFrames() const
{
    const MutexLock lock(guard_);
    return phase_ == Phase::recording;
}

bool Recording::takesSound() const
{
    const MutexLock lock(guard_);
    return phase_ != Phase::ended;
}

bool Recording::hasRoom(const CVPixelBuffer& pixels) const
{
    const std::size_t bytes = std::max<std::size_t>(1, pixels.width() * pixels.height() * 3 / 2);
    const MutexLock lock(guard_);
    return framesWaiting_ < std::clamp(waitingBytes / bytes, fewestWaiting, mostWaiting);
}

void Recording::takeFrame(const CapturedFrame& frame)
{
    std::unique_ptr<MovieFrame> picture
        = hasRoom(*frame.buffer) ? parts_.writer->keep(*frame.buffer, frame.nativePicture.get()) : nullptr;
    if (!picture) {
        missFrame();
        return;
    }
    {
        const MutexLock lock(guard_);
        if (phase_ != Phase::recording)
            return;
        const nanoseconds interval = lastFrame_ ? frame.captureTime - *lastFrame_ : usualInterval;
        lastFrame_ = frame.captureTime;
        pictureEnd_ = frame.captureTime + std::min(interval, longestInterval);
        ++framesWaiting_;
        waiting_.emplace_back(Frame{std::move(picture), frame.captureTime});
    }
    queue_->async([self = shared_from_this()] { self->writeNext(); });
}

void Recording::missFrame()
{
    if (takesFrames())
        parts_.ledger->countRecorded(false);
}

void Recording::takeSound(const SoundChunk& chunk)
{
    bool isLast = false;
    {
        const MutexLock lock(guard_);
        // Sound that exceeds the limit leaves a silent gap.
        if (!parts_.hasSound || phase_ == Phase::ended || soundWaiting_ > soundWaitingLimit)
            return;
        soundEnd_ = chunk.captureTime + chunk.duration();
        isLast = soundEnd_ >= pictureEnd_;
        soundWaiting_ += chunk.length();
        waiting_.emplace_back(chunk);
    }
    queue_->async([self = shared_from_this()] { self->writeNext(); });
    if (isLast)
        endIf(Phase::awaitingSound, std::nullopt);
}

void Recording::stop()
{
    bool waits = false;
    {
        const MutexLock lock(guard_);
        if (phase_ != Phase::recording)
            return;
        waits = timer_ && soundRuns_ && lastFrame_ && soundEnd_ < pictureEnd_;
        phase_ = Phase::awaitingSound;
    }
    if (waits)
        timer_->armAt(clock_.monotonic() + soundDelay);
    else
        endIf(Phase::awaitingSound, std::nullopt);
}

void Recording::soundEnded()
{
    {
        const MutexLock lock(guard_);
        soundRuns_ = false;
    }
    endIf(Phase::awaitingSound, std::nullopt);
}

void Recording::end(const Error& reason)
{
    endIf(Phase::recording, reason);
    endIf(Phase::awaitingSound, std::nullopt);
}

void Recording::endIf(Phase phase, const std::optional<Error>& reason)
{
    {
        const MutexLock lock(guard_);
        if (phase_ != phase)
            return;
        phase_ = Phase::ended;
        if (!error_)
            error_ = reason;
    }
    queue_->async([self = shared_from_this()] { self->writeNext(); });
}

void Recording::open()
{
    if (auto opened = parts_.writer->open(); opened)
        isOpen_ = true;
    else
        abandon(std::move(opened.error()));
}

void Recording::writeNext()
{
    if (isFinished_)
        return;
    std::optional<Entry> next;
    {
        const MutexLock lock(guard_);
        if (!waiting_.empty()) {
            next.emplace(std::move(waiting_.front()));
            waiting_.pop_front();
            if (const auto* sound = std::get_if<SoundChunk>(&*next))
                soundWaiting_ -= sound->length();
        } else if (phase_ != Phase::ended) {
            return;
        }
    }
    if (!next) {
        finish();
        return;
    }
    auto written = write(*next);
    if (std::holds_alternative<Frame>(*next)) {
        const MutexLock lock(guard_);
        --framesWaiting_;
    }
    if (!written)
        abandon(std::move(written.error()));
}

std::expected<void, Error> Recording::write(const Entry& entry)
{
    const auto* frame = std::get_if<Frame>(&entry);
    if (!frame)
        return parts_.writer->writeSound(std::get<SoundChunk>(entry));
    auto written = parts_.writer->writeFrame(*frame->picture, frame->captureTime);
    parts_.ledger->countRecorded(written.has_value());
    return written;
}

/// Nothing more can be written: waiting frames are dropped, and the file is completed as it is.
void Recording::abandon(Error error)
{
    std::deque<Entry> lost;
    {
        const MutexLock lock(guard_);
        phase_ = Phase::ended;
        error_ = std::move(error);
        waiting_.swap(lost);
        framesWaiting_ = 0;
    }
    for (const Entry& entry : lost) {
        if (std::holds_alternative<Frame>(entry))
            parts_.ledger->countRecorded(false);
    }
    finish();
}

void Recording::finish()
{
    isFinished_ = true;
    std::optional<Error> error;
    if (isOpen_) {
        if (auto finished = parts_.writer->finish(); !finished)
            error = std::move(finished.error());
    }
    {
        const MutexLock lock(guard_);
        if (error_)
            error = error_;
    }
    parts_.finished(error);
    parts_.activity = nullptr;
}

} // namespace tamsel::engine
