#pragma once

#include <engine/capture/MovieServices.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/FrameLedger.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

namespace tamsel::engine {

/// One movie, from its start to its finished file. Frames and sound wait in order for a queue of the recording, which
/// encodes and writes them; while too many wait, frames are skipped and counted. After a stop the recording waits a
/// moment for the sound of its last frames. The file is always completed: when the queue does not run any more, by the
/// destructor. Thread-safe; frames come from one thread at a time.
class Recording final : public std::enable_shared_from_this<Recording> {
public:
    /// The needs of a recording.
    struct Parts {
        std::unique_ptr<MovieWriter> writer;
        std::shared_ptr<platform::FrameLedger> ledger;
        bool hasSound = false;
        /// Released when the file is complete or has failed.
        std::shared_ptr<void> activity;
        /// Called once, on the queue, when the file is complete or has failed.
        std::function<void(const std::optional<platform::Error>&)> finished;
    };

    /// Makes a recording and posts the opening of its file.
    [[nodiscard]] static std::shared_ptr<Recording> start(Parts parts, const MovieServices& services);

    Recording(Parts parts, const MovieServices& services);
    ~Recording();

    /// False after its end.
    [[nodiscard]] bool takesFrames() const;
    [[nodiscard]] bool takesSound() const;
    void takeFrame(const CapturedFrame& frame);
    /// A frame of the camera that is not in the movie.
    void missFrame();
    /// The next sound; ignored by a recording without sound.
    void takeSound(const SoundChunk& chunk);

    /// Ends with the sound of the last frame, or a moment later.
    void stop();
    /// Ends now, for this reason, with the sound so far.
    void end(const platform::Error& reason);
    /// There is no more sound.
    void soundEnded();

private:
    /// `awaitingSound`: stopped, but waiting for the sound of the last frame.
    enum class Phase : std::uint8_t { recording, awaitingSound, ended };
    struct Frame {
        std::unique_ptr<MovieFrame> picture;
        std::chrono::nanoseconds captureTime;
    };
    using Entry = std::variant<Frame, SoundChunk>;

    [[nodiscard]] bool hasRoom(const platform::CVPixelBuffer& pixels) const;
    void endIf(Phase phase, const std::optional<platform::Error>& reason);

    // On the queue, or in the destructor.
    void open();
    void writeNext();
    [[nodiscard]] std::expected<void, platform::Error> write(const Entry& entry);
    void abandon(platform::Error error);
    void finish();

    Parts parts_; ///< of which only the activity changes
    const platform::Clock& clock_;
    const std::shared_ptr<platform::DispatchQueue> queue_;
    std::unique_ptr<EventSource> timer_;

    mutable Mutex guard_;
    Phase phase_ TAMSEL_GUARDED_BY(guard_) = Phase::recording;
    std::deque<Entry> waiting_ TAMSEL_GUARDED_BY(guard_);
    std::size_t framesWaiting_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::size_t soundWaiting_ TAMSEL_GUARDED_BY(guard_) = 0; ///< in sample times
    bool soundRuns_ TAMSEL_GUARDED_BY(guard_) = false;
    /// Of the last frame, as far as it is known.
    std::chrono::nanoseconds pictureEnd_ TAMSEL_GUARDED_BY(guard_){};
    std::optional<std::chrono::nanoseconds> lastFrame_ TAMSEL_GUARDED_BY(guard_);
    std::chrono::nanoseconds soundEnd_ TAMSEL_GUARDED_BY(guard_){};
    std::optional<platform::Error> error_ TAMSEL_GUARDED_BY(guard_); ///< the first error

    // On the queue.
    bool isOpen_ = false;
    bool isFinished_ = false;
};

} // namespace tamsel::engine
