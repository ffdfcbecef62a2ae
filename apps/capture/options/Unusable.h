#pragma once

#include <exception>
#include <stdexcept>

namespace tamsel::capture {

/// Thrown for a command line, an input or an output that cannot be used. The program reports it in one line and returns 2.
class Unusable final : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

/// Thrown when a signal asks the program to end while it waits for an input. It returns 130.
class Interrupted final : public std::exception { };

} // namespace tamsel::capture
