#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::capture {

/// Whether the path exists, as a dangling link too.
[[nodiscard]] bool isThere(const std::filesystem::path& file);

/// A path that can be opened repeatedly. Standard input (`-`) and a pipe are read to their end into a temporary file first.
/// Call it before threads start. Throws `Unusable`.
[[nodiscard]] std::string readableInput(const std::string& name);
/// The text with the names of inputs as they were given, in place of temporary files.
[[nodiscard]] std::string withNamesAsGiven(std::string text);

using Inputs = std::vector<std::optional<std::string>>;

/// Refuses an output that is also an input, hard and symbolic links included. Throws `Unusable`.
void requireNoInput(const std::string& output, const Inputs& inputs);

/// Checks all outputs of a command before it starts: refuses one that is also an input, one that cannot be created, two
/// outputs of the same name, and, unless `overwrites`, one that exists. Replaces `-` by the path of standard output. When an
/// output is standard output, text goes to standard error from then on. Null pointers are skipped. Call it before threads
/// start. Throws `Unusable`.
void claimOutputs(const std::vector<std::string*>& outputs, const Inputs& inputs, bool overwrites);

/// The extension in lower case, with its dot.
[[nodiscard]] std::string endingOf(const std::string& file);

/// Refuses an output whose name has none of the extensions, unless it is a pipe or a device. Throws `Unusable`.
void requireEnding(const std::string& output, std::initializer_list<std::string_view> endings);

/// An input and the output that is made from it.
struct FilePair {
    std::string input;
    std::string output;
};

/// The output for an input: in a folder, the name of the input with the extension `ending` (its own if that is empty); in a
/// pattern, `{}` replaced by the name of the input; otherwise `output` itself, which several inputs cannot share. Throws
/// `Unusable`.
[[nodiscard]] std::string outputOf(
    const std::string& input, const std::string& output, std::string_view ending, bool hasSeveralInputs);
/// The inputs and, as the last name, the output of a command line, in pairs. Throws `Unusable`.
[[nodiscard]] std::vector<FilePair> pairsOf(std::vector<std::string> names, std::string_view ending);

/// Reads a whole file of at most 512 MiB. The error is one line that names it.
[[nodiscard]] std::expected<std::vector<std::byte>, std::string> readFile(const std::string& file);

/// Writes a file atomically: on failure the previous file is unchanged. Without `--overwrite` it fails if the file exists by
/// now. Writing to a pipe waits for a reader until `interruptWrites` is called. The error is one line that names the file.
[[nodiscard]] std::expected<void, std::string> writeFile(
    std::span<const std::byte> content, const std::string& file);

/// Creates a file that must not exist and returns its descriptor. The error is one line that names it.
[[nodiscard]] std::expected<int, std::string> createFile(const std::string& file);

/// Cancels the writes that wait for a reader; later ones may wait again. Thread-safe.
void interruptWrites();

} // namespace tamsel::capture
