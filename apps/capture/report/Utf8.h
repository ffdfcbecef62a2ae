#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tamsel::capture {

/// The length of the well-formed UTF-8 sequence (RFC 3629) at the start of a text that is not empty; 0 when there is none.
[[nodiscard]] std::size_t sequenceLength(std::string_view text);

/// The character at the start of a text that is not empty, when it acts on what shows the text: a control character, a line
/// separator, or one that turns the direction of writing.
[[nodiscard]] std::optional<char32_t> activeCharacter(std::string_view text);

/// The text as a person may see it, in one line, whatever its source: `\u001b` or `\xff` in place of active characters and of
/// bytes that are no UTF-8.
[[nodiscard]] std::string printable(std::string_view text);

} // namespace tamsel::capture
