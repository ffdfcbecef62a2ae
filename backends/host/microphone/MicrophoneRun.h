#pragma once

#include <engine/capture/MicrophoneDriver.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <utility>

namespace tamsel::host {

/// One start of a microphone, shared by the thread that hears and by whoever may end it. Thread-safe.
class MicrophoneRun {
public:
    explicit MicrophoneRun(std::shared_ptr<engine::SoundSink> sink) : sink_(std::move(sink)) { }

    [[nodiscard]] engine::SoundSink& sink() const { return *sink_; }
    /// True once it has been asked to end.
    [[nodiscard]] const std::shared_ptr<std::atomic<bool>>& isStopped() const { return isStopped_; }
    /// False when it was asked to end meanwhile.
    [[nodiscard]] bool waitUntil(std::chrono::nanoseconds monotonicTime)
    {
        MutexLock lock(guard_);
        while (!*isStopped_
            && stopped_.waitUntil(lock, std::chrono::steady_clock::time_point(monotonicTime))) { }
        return !*isStopped_;
    }
    void stop()
    {
        const MutexLock lock(guard_);
        *isStopped_ = true;
        stopped_.notifyAll();
    }

private:
    const std::shared_ptr<engine::SoundSink> sink_;
    const std::shared_ptr<std::atomic<bool>> isStopped_ = std::make_shared<std::atomic<bool>>(false);
    Mutex guard_;
    Condition stopped_;
};

/// Ends its run when it is released.
class MicrophoneStream final : public engine::SoundStream {
public:
    explicit MicrophoneStream(std::shared_ptr<MicrophoneRun> run) : run_(std::move(run)) { }
    ~MicrophoneStream() override { run_->stop(); }
    MicrophoneStream(const MicrophoneStream&) = delete;
    MicrophoneStream& operator=(const MicrophoneStream&) = delete;

private:
    const std::shared_ptr<MicrophoneRun> run_;
};

} // namespace tamsel::host
