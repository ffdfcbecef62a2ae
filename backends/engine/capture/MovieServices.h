#pragma once

#include <engine/capture/MovieWriter.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Dispatch.h>

#include <functional>

namespace tamsel::engine {

/// The needs of movie outputs and their microphones; all of it must outlive their last call.
struct MovieServices {
    platform::Dispatch& dispatch;
    EventSources& events;
    const platform::Clock& clock;
    MovieWriters& writers;
    /// Called with the reason when a recording fails or has no sound, which is not reported to clients. On any thread.
    std::function<void(const platform::Error&)> report = [](const platform::Error&) { };
};

} // namespace tamsel::engine
