#pragma once

#include <engine/audio/SystemSounds.h>
#include <engine/capture/PhotoEncoder.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/UIDevice.h>

#include <functional>

namespace tamsel::engine {

/// The needs of photo outputs; all of it must outlive their last call.
struct PhotoServices {
    EventSources& events;
    const platform::Clock& clock;
    const platform::UIDevice& device;
    SystemSounds& sounds;
    PhotoEncoder& encoder;
    /// The offset of the local time from UTC at a time in seconds since 1970.
    std::function<int(double)> secondsFromUTC = [](double) { return 0; };
};

} // namespace tamsel::engine
