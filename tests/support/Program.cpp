#include "support/Program.h"

#include "support/Media.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace tamsel::tests {

std::string captureProgram()
{
    return TAMSEL_CAPTURE_PROGRAM;
}

std::string captureNode()
{
    return TAMSEL_CAPTURE_NODE;
}

#ifdef TAMSEL_PIPEWIRE_SOURCE
std::string pipeWireSource()
{
    return TAMSEL_PIPEWIRE_SOURCE;
}
#endif

Outcome outcomeOf(const std::string& arguments)
{
    const ScratchFolder folder;
    const std::string errors = folder.file("errors");
    const CommandResult result
        = runCommand("timeout 60 " + captureProgram() + " " + arguments + " 2>'" + errors + "'");
    return {result.status, result.output, readFile(errors)};
}

std::string outputOf(const std::string& arguments)
{
    const Outcome outcome = outcomeOf(arguments);
    EXPECT_EQ(outcome.status, 0) << arguments << ": " << outcome.errors;
    return outcome.output;
}

void expectRefused(const std::string& arguments, const std::string& complaint)
{
    const Outcome refused = outcomeOf(arguments);
    EXPECT_EQ(refused.status, 2) << arguments;
    EXPECT_EQ(refused.output, "") << arguments;
    EXPECT_EQ(count(refused.errors, "\n"), 1U) << arguments << ": " << refused.errors;
    EXPECT_TRUE(refused.errors.contains(complaint)) << arguments << ": " << refused.errors;
}

std::vector<std::string> linesIn(const std::string& text, const std::string& beginning)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(beginning))
            lines.push_back(line);
    }
    return lines;
}

std::size_t count(const std::string& text, const std::string& part)
{
    std::size_t result = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++result;
    return result;
}

double numberIn(const std::string& event, const std::string& key)
{
    const std::size_t at = event.find("\"" + key + "\": ");
    return at == std::string::npos ? -1 : std::strtod(event.c_str() + at + key.size() + 4, nullptr);
}

} // namespace tamsel::tests
