#pragma once

#include <engine/dispatch/ThreadRunLoop.h>
#include <engine/dispatch/ThreadedDispatch.h>

#include <filesystem>
#include <latch>
#include <memory>
#include <string>

namespace tamsel::tests {

/// Waits until an item that is posted now has run. Not from inside an item of the queue.
inline void drain(platform::DispatchQueue& queue)
{
    const auto isDrained = std::make_shared<std::latch>(1);
    queue.async([isDrained] { isDrained->count_down(); });
    isDrained->wait();
}

/// How many entries a folder of the process has: "fd" or "task".
inline std::ptrdiff_t countOwn(const std::string& what)
{
    const std::filesystem::directory_iterator entries("/proc/self/" + what);
    return std::distance(begin(entries), end(entries));
}

} // namespace tamsel::tests
