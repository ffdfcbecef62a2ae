#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tamsel::capture {

/// The help of the program, or of one command, in lines for a terminal.
[[nodiscard]] std::string helpText(const CLI::App& app);

} // namespace tamsel::capture
