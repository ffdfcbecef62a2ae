#pragma once

#include <tamsel/platform/AudioServices.h>

#include <cstdint>
#include <memory>
#include <utility>

namespace tamsel::engine {

/// What a back end makes sounds with. Thread-safe; no call waits for a sound to end.
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
        if (id == shutter)
            ++shutterDisposals();
        driver_->stop(id);
    }

    /// How often the calling thread has disposed of the shutter: whoever is about to play it, and has asked somebody
    /// before, sees whether that one did.
    [[nodiscard]] static std::uint64_t& shutterDisposals()
    {
        static thread_local std::uint64_t count = 0;
        return count;
    }
    /// As the shutter opens.
    void playShutter() { driver_->play(shutter); }

private:
    const std::shared_ptr<SoundDriver> driver_;
};

} // namespace tamsel::engine
