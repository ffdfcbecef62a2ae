#pragma once

#include <CLI/CLI.hpp>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What the command line offers, for its help, its manual page and the completions of shells.

namespace tamsel::capture {

/// A section of what is said beside commands and options.
struct HelpSection {
    enum class Layout : std::uint8_t {
        paragraph,
        entries, ///< one a line: a name, a colon and what it means
        commandLines,
    };

    std::string_view title;
    Layout layout;
    std::string_view text;
};

inline constexpr std::string_view programSummary = "camera frames, stills, films, codes and motion verdicts";
inline constexpr std::string_view programDescription
    = "Runs a camera session or motion detection as a capture screen does, and shows what reaches the "
      "screen.";

extern const std::array<HelpSection, 4> helpSections;

[[nodiscard]] std::vector<const CLI::App*> commandsOf(const CLI::App& program);
[[nodiscard]] std::string namesOfCommands(const CLI::App& program, std::string_view between);
[[nodiscard]] std::vector<const CLI::Option*> optionsOf(const CLI::App& app);
[[nodiscard]] std::vector<const CLI::Option*> argumentsOf(const CLI::App& command);
/// Those that the program does not have for all commands.
[[nodiscard]] std::vector<const CLI::Option*> ownOptionsOf(const CLI::App& command);
/// As it is typed: `--camera back|front`, `-h, --help`, `FILE...`. Instead of many values it has `NAME`.
[[nodiscard]] std::string nameOf(const CLI::Option& option);
/// What it does, with the values that its name leaves out.
[[nodiscard]] std::string descriptionOf(const CLI::Option& option);
/// Whether a value follows it.
[[nodiscard]] bool takesValue(const CLI::Option& option);
/// Whether the value or argument can be the name of a file or folder.
[[nodiscard]] bool takesFile(const CLI::Option& option);
/// The values of an option that takes one of some names; empty for another one.
[[nodiscard]] std::vector<std::string> valuesOf(const CLI::Option& option);
/// A command and its arguments.
[[nodiscard]] std::string synopsisOf(const CLI::App& command);

/// The first sentence of a description, without its end.
[[nodiscard]] std::string firstSentence(const std::string& description);
/// A description, which begins in lower case and ends without a full stop, as sentences.
[[nodiscard]] std::string sentences(std::string description);

[[nodiscard]] std::string joined(const std::vector<std::string>& words, std::string_view between);

} // namespace tamsel::capture
