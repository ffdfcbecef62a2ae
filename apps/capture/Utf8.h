#pragma once

#include <cstddef>
#include <string_view>

namespace tamsel::capture {

/// The length of the well-formed UTF-8 sequence (RFC 3629) at the start of a text that is not empty; 0 when there is none.
[[nodiscard]] std::size_t sequenceLength(std::string_view text);

} // namespace tamsel::capture
