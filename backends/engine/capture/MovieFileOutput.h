#pragma once

#include <engine/capture/CaptureActivity.h>
#include <engine/capture/MovieServices.h>
#include <engine/capture/Output.h>
#include <engine/capture/Recording.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/FrameLedger.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel::engine {

/// Records the session's frames and the sound of its microphone. Frames are recorded in sensor orientation; the
/// orientation of the connection at the start becomes a rotation for the player. They are copied on the driver's
/// thread, everything else happens on queues of the recordings. A movie is written in one piece whatever the fragment
/// interval. When the output is released the recording ends, and its file is completed. Thread-safe.
class MovieFileOutput final : public Output<platform::AVCaptureMovieFileOutput>,
                              public std::enable_shared_from_this<MovieFileOutput> {
public:
    /// The running session.
    struct Source {
        platform::AVCaptureVideoOrientation sensorOrientation;
        std::shared_ptr<platform::FrameLedger> ledger;
        bool hasSound;
    };

    MovieFileOutput(
        MovieServices services, std::shared_ptr<CaptureHook> hook, std::shared_ptr<CaptureActivity> activity);
    ~MovieFileOutput() override;

    [[nodiscard]] const char* kind() const override { return "AVCaptureMovieFileOutput"; }
    void addTo(SessionOutputs& outputs) override { outputs.movie = shared_from_this(); }
    void setMovieFragmentInterval(platform::CMTime interval) override
    {
        hook_->setting("setMovieFragmentInterval", interval == platform::CMTime{} ? "invalid" : "valid");
    }
    void startRecording(std::filesystem::path url,
        std::weak_ptr<platform::AVCaptureFileOutputRecordingDelegate> delegate) override;
    void stopRecording() override;

    // For the session.

    /// From now on recordings can be started.
    void streamBegan(Source source);
    /// The stream of the latest start has no more frames.
    void streamEnded(const platform::Error& reason);

    [[nodiscard]] bool isRecording() const { return isRecording_.load(std::memory_order_relaxed); }
    /// A frame as the sensor stores it, before it is delivered; on the driver's thread.
    void offer(const CapturedFrame& frame)
    {
        if (isRecording())
            take(frame);
    }
    /// A frame was dropped before it could be offered; on the driver's thread.
    void miss();
    /// Sound of the session.
    void offerSound(const SoundChunk& chunk);
    /// There is no more sound.
    void soundEnded();

private:
    void take(const CapturedFrame& frame);
    [[nodiscard]] std::shared_ptr<Recording> current() const;
    [[nodiscard]] std::vector<std::shared_ptr<Recording>> takingSound();

    const MovieServices services_;
    const std::shared_ptr<CaptureHook> hook_;
    const std::shared_ptr<CaptureActivity> activity_;
    std::atomic<bool> isRecording_ = false;

    mutable Mutex guard_;
    std::optional<Source> source_ TAMSEL_GUARDED_BY(guard_); ///< while the session runs
    /// Records frames, unless it has ended by itself.
    std::shared_ptr<Recording> current_ TAMSEL_GUARDED_BY(guard_);
    /// Record sound: the current one and those being stopped.
    std::vector<std::shared_ptr<Recording>> recordings_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
