#pragma once

#include <system_error>
#include <thread>
#include <utility>

namespace tamsel::engine {

/// A thread that runs the body; one that cannot be joined when the system has none left, and the body is destroyed unrun.
template <typename Body> [[nodiscard]] std::thread startThread(Body body)
{
    try {
        return std::thread(std::move(body));
    } catch (const std::system_error&) {
        return {};
    }
}

} // namespace tamsel::engine
