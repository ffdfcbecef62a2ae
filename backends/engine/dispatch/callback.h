#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace tamsel::engine {

/// Calls a callback of a client or driver. An exception that leaves it ends the process with one line.
template <typename Callback, typename... Arguments>
void callOut(Callback& callback, Arguments&... arguments) noexcept
{
    try {
        callback(arguments...);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "tamsel: an exception left a callback: %s\n", exception.what());
        std::abort();
    } catch (...) {
        std::fputs("tamsel: an exception left a callback\n", stderr);
        std::abort();
    }
}

} // namespace tamsel::engine
