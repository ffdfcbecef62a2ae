#pragma once

#include <string>

namespace tamsel::platform {

/// A failure of a platform service, as a value.
struct Error {
    /// One line, for people.
    std::string localizedDescription;
    /// The service's own number; 0 where it has none.
    int code = 0;

    bool operator==(const Error&) const = default;
};

} // namespace tamsel::platform
