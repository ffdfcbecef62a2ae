#pragma once

#include <engine/capture/MovieWriter.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Dispatch.h>

#include <functional>

namespace tamsel::engine {

/// What movie outputs and their microphones need; all of it must outlive their last call.
struct MovieServices {
    platform::Dispatch& dispatch;
    EventSources& events;
    const platform::Clock& clock;
    MovieWriters& writers;
    /// Called when a recording fails or has no sound, with the reason, which no client learns. On any thread.
    std::function<void(const platform::Error&)> report = [](const platform::Error&) { };
};

} // namespace tamsel::engine
