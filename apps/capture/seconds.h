#pragma once

#include <chrono>

namespace tamsel::capture {

[[nodiscard]] inline double seconds(std::chrono::nanoseconds duration)
{
    return std::chrono::duration<double>(duration).count();
}

[[nodiscard]] inline std::chrono::nanoseconds nanosecondsOf(double seconds)
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
}

} // namespace tamsel::capture
