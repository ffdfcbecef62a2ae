#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tamsel::capture {

/// The manual page of the program in roff, with the macros of man(7).
[[nodiscard]] std::string manualPage(const CLI::App& program);

} // namespace tamsel::capture
