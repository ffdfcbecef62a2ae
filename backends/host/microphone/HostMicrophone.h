#pragma once

#include <host/microphone/PlaybackClock.h>

#include <engine/capture/MicrophoneDriver.h>

#include <tamsel/platform/Error.h>

#include <expected>
#include <memory>
#include <string>

namespace tamsel::host {

class ReaderThreads;

/// The services for the host's microphones; all of it outlives them.
struct MicrophoneServices {
    ReaderThreads& readers;
    /// Of the camera that plays the same file, if any.
    std::shared_ptr<const PlaybackClock> camera = nullptr;
};

/// The microphone for an input: a file with sound, played in a loop; "pipewire:NODE", a source of the PipeWire daemon, or
/// "pipewire:" for its default one; a device or a URL of the FFmpeg libraries ("alsa:default", "pulse:default",
/// "lavfi:sine"); "test:tone[@HERTZ]", a sine; "test:beeps", a beep of 1 kHz and 50 ms at
/// each second from its start. The error is one line, for an input that can never be opened.
[[nodiscard]] std::expected<std::shared_ptr<engine::MicrophoneDriver>, platform::Error> makeHostMicrophone(
    const std::string& input, MicrophoneServices services);

/// Opens an input and closes it again. The error is one line that names the input. May wait for the device.
[[nodiscard]] std::expected<void, platform::Error> probeMicrophone(const std::string& input);

/// Whether this is a file with a sound track. Reads its beginning.
[[nodiscard]] bool hasSound(const std::string& file);

} // namespace tamsel::host
