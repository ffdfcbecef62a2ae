#pragma once

#include <string>
#include <string_view>

namespace tamsel::platform {

/// The debug representation of a text: enclosed in double quotation marks; quotation marks, backslashes and
/// control characters escaped.
[[nodiscard]] std::string debugDescription(std::string_view text);

} // namespace tamsel::platform
