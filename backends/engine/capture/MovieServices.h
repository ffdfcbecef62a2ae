#pragma once

#include <engine/capture/MovieWriter.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/RunLoop.h>

#include <functional>

namespace tamsel::engine {

/// What movie outputs and their microphones stand on; all of it outlives their last call.
struct MovieServices {
    platform::Dispatch& dispatch;
    EventSources& events;
    const platform::Clock& clock;
    MovieWriters& writers;
    /// Told why a recording is not what was asked for, since no client is: it failed, or has no sound. Called on any thread.
    std::function<void(const platform::Error&)> tell = [](const platform::Error&) { };
};

} // namespace tamsel::engine
