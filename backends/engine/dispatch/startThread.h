#pragma once

#include <system_error>
#include <thread>
#include <utility>

namespace tamsel::engine {

/// Starts a thread that runs the body. When the system has none left the result is not joinable, and the body is
/// destroyed unrun.
template <typename Body> [[nodiscard]] std::thread startThread(Body body)
{
    try {
        return std::thread(std::move(body));
    } catch (const std::system_error&) {
        return {};
    }
}

} // namespace tamsel::engine
