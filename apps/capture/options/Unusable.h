#pragma once

#include <stdexcept>

namespace tamsel::capture {

/// Thrown for a command line, an input or an output that cannot be used. The program reports it in one line and returns 2.
class Unusable final : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

} // namespace tamsel::capture
