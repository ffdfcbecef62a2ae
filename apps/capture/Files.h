#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::capture {

/// Whether anything has this name, also a link that leads nowhere.
[[nodiscard]] bool isThere(const std::filesystem::path& file);

/// A name that can be opened as often as needed: of `-` the standard input, which is read to its end for that. Throws
/// `Unusable`. To be called before there are threads.
[[nodiscard]] std::string readableInput(const std::string& named);
/// The text with inputs as they were named.
[[nodiscard]] std::string withNamesAsGiven(std::string text);

/// To be called before there are threads, with all files that the program will read and write: refuses an output that is also
/// an input, and, unless it `overwrites`, one that exists. `-` is the standard output, in `outputs` from then on too. When an
/// output is the standard output, text goes to the standard error from now on: it is no part of the file. Throws `Unusable`.
void claimOutputs(
    const std::vector<std::string*>& outputs, const std::vector<std::string>& inputs, bool overwrites);

/// In lower case, with its dot.
[[nodiscard]] std::string endingOf(const std::string& file);

/// Refuses an output whose name ends in none of `endings`, unless it is a pipe or a device. Throws `Unusable`.
void requireEnding(const std::string& output, std::initializer_list<std::string_view> endings);

/// One input, and the output that is made of it.
struct FilePair {
    std::string input;
    std::string output;
};

/// Of several names the last is the output: the file of one input; for more a folder, or a name with `{}` in the place of each
/// input's name. In a folder outputs are named after their inputs and end in `ending`, when it is empty as their input.
/// Throws `Unusable`, also when two outputs have one name.
[[nodiscard]] std::vector<FilePair> pairsOf(std::vector<std::string> names, std::string_view ending);
/// The output of one of several inputs.
[[nodiscard]] std::string outputOf(
    const std::string& input, const std::string& outputs, std::string_view ending);

/// A whole file of at most 512 MiB. The error is one line that names it.
[[nodiscard]] std::expected<std::vector<std::byte>, std::string> readFile(const std::string& file);

/// Writes a file as a whole: it is complete, or what was there stays as it was. Without `--overwrite` a file that exists by now
/// stays. A pipe is written as soon as it has a reader, unless `interruptWrites` comes first. The error is one line that names
/// the file.
[[nodiscard]] std::expected<void, std::string> writeFile(
    std::span<const std::byte> content, const std::string& file);

/// A file that must not be there yet, to be written bit by bit: its descriptor, or one line that names it.
[[nodiscard]] std::expected<int, std::string> createFile(const std::string& file);

/// Ends the writes that wait for a reader; later ones may wait again. Thread-safe.
void interruptWrites();

} // namespace tamsel::capture
