#pragma once

#include "report/Console.h"

#include <cstddef>
#include <functional>

namespace tamsel::capture {

/// Handles several inputs in turn, with progress on a terminal. An input that cannot be used is reported and does not stop the
/// others. `handle` takes the number of an input; it returns false when it was interrupted, and throws `Unusable`.
[[nodiscard]] ExitStatus forEachInput(
    Console& console, std::size_t count, const std::function<bool(std::size_t)>& handle);

} // namespace tamsel::capture
