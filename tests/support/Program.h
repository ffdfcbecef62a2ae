#pragma once

#include <string>
#include <vector>

namespace tamsel::tests {

/// Where tamsel-capture is.
[[nodiscard]] std::string captureProgram();

/// A library to preload, with which files can be camera nodes.
[[nodiscard]] std::string captureNode();

/// A camera of PipeWire; only where the build has it.
[[nodiscard]] std::string pipeWireSource();

/// What tamsel-capture did.
struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

/// Runs it with these arguments of a shell, for a minute at most.
[[nodiscard]] Outcome outcomeOf(const std::string& arguments);

/// What it writes when all goes well.
[[nodiscard]] std::string outputOf(const std::string& arguments);

/// It refuses these arguments with one line, which contains the complaint.
void expectRefused(const std::string& arguments, const std::string& complaint = {});

/// The lines of a text that begin so.
[[nodiscard]] std::vector<std::string> linesIn(const std::string& text, const std::string& beginning = {});

/// How often the part stands in the text.
[[nodiscard]] std::size_t count(const std::string& text, const std::string& part);

/// The number behind the first `"key": ` in an event; -1 when there is none.
[[nodiscard]] double numberIn(const std::string& event, const std::string& key);

} // namespace tamsel::tests
