#pragma once

#include <string>
#include <string_view>

namespace tamsel::platform {

/// Where diagnostic lines go: by default the standard output. Thread-safe; lines never mix.
class DiagnosticLines {
public:
    virtual ~DiagnosticLines() = default;

    /// Writes one line; the line feed is added.
    virtual void writeLine(std::string_view line) = 0;
};

/// The debug representation of a text: enclosed in double quotation marks; quotation marks, backslashes and
/// control characters escaped.
[[nodiscard]] std::string debugDescription(std::string_view text);

} // namespace tamsel::platform
