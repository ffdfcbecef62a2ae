#pragma once

#include <CLI/CLI.hpp>

#include <array>
#include <string>
#include <string_view>
#include <vector>

// What the command line offers, for its help, its manual page and the completions of shells.

namespace tamsel::capture {

/// A section of what is said beside commands and options.
struct HelpSection {
    std::string_view title;
    std::string_view text;
    bool isLiteral = false; ///< lines to be typed
};

inline constexpr std::string_view programDescription
    = "Runs a camera session or motion detection as a capture screen does, and shows what reaches the "
      "screen.";

extern const std::array<HelpSection, 4> helpSections;

[[nodiscard]] std::vector<const CLI::App*> commandsOf(const CLI::App& program);
[[nodiscard]] std::vector<const CLI::Option*> optionsOf(const CLI::App& app);
[[nodiscard]] std::vector<const CLI::Option*> argumentsOf(const CLI::App& command);
/// As it is typed: `--camera back|front`, `-h, --help`, `FILE...`
[[nodiscard]] std::string nameOf(const CLI::Option& option);
/// Whether a value follows it.
[[nodiscard]] bool takesValue(const CLI::Option& option);
/// The values of an option that takes one of some names; empty for another one.
[[nodiscard]] std::vector<std::string> valuesOf(const CLI::Option& option);
/// A command and its arguments.
[[nodiscard]] std::string synopsisOf(const CLI::App& command);

} // namespace tamsel::capture
