#pragma once

#include <string_view>

namespace tamsel::platform {

/// Receives diagnostic lines; by default they go to the standard output. Thread-safe; lines never mix.
class DiagnosticLines {
public:
    virtual ~DiagnosticLines() = default;

    /// Writes one line; the line feed is added.
    virtual void writeLine(std::string_view line) = 0;
};

} // namespace tamsel::platform
