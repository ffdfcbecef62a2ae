#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tamsel::capture {

/// The length of the well-formed UTF-8 sequence (RFC 3629) at the start of a text that is not empty; 0 when there is none.
[[nodiscard]] std::size_t sequenceLength(std::string_view text);

/// The character at the start of a text that is not empty, if it is active: a control character, a line separator, or one that
/// changes the writing direction.
[[nodiscard]] std::optional<char32_t> activeCharacter(std::string_view text);

/// The text in one line, with `\u001b` or `\xff` in place of active characters and of bytes that are not UTF-8.
[[nodiscard]] std::string printable(std::string_view text);

/// As printf, at most 511 characters.
[[nodiscard]] __attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...);

} // namespace tamsel::capture
