#pragma once

#include <CLI/CLI.hpp>

#include <string>

// What completes the program's command line in shells: commands, options and the values of choices, else files.

namespace tamsel::capture {

[[nodiscard]] std::string bashCompletion(const CLI::App& program);
[[nodiscard]] std::string zshCompletion(const CLI::App& program);
[[nodiscard]] std::string fishCompletion(const CLI::App& program);

} // namespace tamsel::capture
