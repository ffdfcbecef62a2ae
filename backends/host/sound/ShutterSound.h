#pragma once

#include <engine/audio/SystemSounds.h>

#include <tamsel/Mutex.h>

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// Plays the shutter sound, "camera-shutter" of the user's freedesktop sound theme, with an installed sound player:
/// canberra-gtk-play, pw-play or paplay. Without a player or the sound it is silent. Thread-safe.
class ShutterSound final : public engine::SoundDriver {
public:
    ShutterSound() = default;
    ~ShutterSound() override;
    ShutterSound(const ShutterSound&) = delete;
    ShutterSound& operator=(const ShutterSound&) = delete;

    void play(platform::SystemSoundID id) override;
    void stop(platform::SystemSoundID id) override;

private:
    void end() TAMSEL_REQUIRES(guard_);

    Mutex guard_;
    std::optional<std::vector<std::string>> command_ TAMSEL_GUARDED_BY(
        guard_); ///< searched at first use; empty: there is none
    pid_t player_ TAMSEL_GUARDED_BY(guard_) = 0; ///< the playing process; 0: none
};

/// The words of a command that plays the sound; empty when there is none. Searches PATH, XDG_DATA_HOME, XDG_DATA_DIRS
/// and XDG_SOUND_THEME (freedesktop.org Sound Theme Specification 0.7; a theme's parents are ignored, except
/// "freedesktop").
[[nodiscard]] std::vector<std::string> shutterCommand();

} // namespace tamsel::host
