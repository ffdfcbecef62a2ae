#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/AudioServices.h>
#include <tamsel/platform/Dispatch.h>

#include <memory>
#include <utility>
#include <vector>

namespace tamsel::engine {

/// Plays the sounds of a back end. Thread-safe; no call waits for a sound to end.
class SoundDriver {
public:
    virtual ~SoundDriver() = default;

    /// Begins to play it.
    virtual void play(platform::SystemSoundID id) = 0;
    /// Does nothing when it is not playing.
    virtual void stop(platform::SystemSoundID id) = 0;
};

/// The sounds of the phone. Thread-safe.
class SystemSounds final : public platform::AudioServices {
public:
    static constexpr platform::SystemSoundID shutter = 1108;

    explicit SystemSounds(std::shared_ptr<SoundDriver> driver) : driver_(std::move(driver)) { }

    void disposeSystemSoundID(platform::SystemSoundID id) override
    {
        if (id == shutter) {
            const MutexLock lock(guard_);
            for (Question* question : questions_)
                question->isDisposed = question->isDisposed || question->queue.isCurrent();
        }
        driver_->stop(id);
    }

    /// Makes the call, within an item of the queue. Returns whether it disposed of the shutter sound.
    template <typename Call>
    [[nodiscard]] bool disposesShutter(const platform::DispatchQueue& queue, Call call)
    {
        Question question{queue};
        {
            const MutexLock lock(guard_);
            questions_.push_back(&question);
        }
        call();
        const MutexLock lock(guard_);
        std::erase(questions_, &question);
        return question.isDisposed;
    }
    void playShutter() { driver_->play(shutter); }

private:
    /// Whether a call on the queue disposes of the shutter sound.
    struct Question {
        const platform::DispatchQueue& queue;
        bool isDisposed = false;
    };

    const std::shared_ptr<SoundDriver> driver_;
    Mutex guard_;
    std::vector<Question*> questions_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
