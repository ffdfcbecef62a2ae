#pragma once

#include <engine/dispatch/SerialQueue.h>
#include <tamsel/platform/Dispatch.h>

#include <unistd.h>

#include <string>
#include <string_view>

namespace tamsel::engine {

/// The label of the current queue; outside of items "main", or the number of the thread.
[[nodiscard]] inline std::string_view currentPlace(const platform::Dispatch& dispatch)
{
    if (const std::string_view label = SerialQueue::currentLabel(); !label.empty())
        return label;
    if (dispatch.isMainThread())
        return "main";
    thread_local const std::string name = "thread " + std::to_string(::gettid());
    return name;
}

} // namespace tamsel::engine
