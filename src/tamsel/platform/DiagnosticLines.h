#pragma once

#include <string_view>

namespace tamsel::platform {

/// Where diagnostic lines go: by default the standard output. Thread-safe; lines never mix.
class DiagnosticLines {
public:
    virtual ~DiagnosticLines() = default;

    /// Writes one line; the line feed is added.
    virtual void writeLine(std::string_view line) = 0;
};

} // namespace tamsel::platform
