#pragma once

#include <engine/audio/SystemSounds.h>
#include <engine/capture/PhotoEncoder.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/UIDevice.h>

#include <functional>

namespace tamsel::engine {

/// What photo outputs stand on; all of it outlives their last call.
struct PhotoServices {
    EventSources& events;
    const platform::Clock& clock;
    const platform::UIDevice& device;
    SystemSounds& sounds;
    PhotoEncoder& encoder;
    /// How far the local time is ahead of UTC at a moment, which is given in seconds since 1970.
    std::function<int(double)> secondsFromUTC = [](double) { return 0; };
};

} // namespace tamsel::engine
