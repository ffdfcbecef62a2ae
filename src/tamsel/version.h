#pragma once

#include <string_view>

namespace tamsel {

/// The version of the library that the program is linked with, such as "0.1.0".
[[nodiscard]] std::string_view version();

} // namespace tamsel
