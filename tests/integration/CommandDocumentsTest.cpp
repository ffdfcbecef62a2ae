#include "support/Media.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>

namespace tamsel::tests {

namespace {

/// What the lines of a text begin with, as the first group of an expression.
std::set<std::string> beginnings(const std::string& text, const std::string& expression)
{
    std::set<std::string> result;
    std::smatch match;
    for (const std::string& line : linesIn(text)) {
        if (std::regex_search(line, match, std::regex("^" + expression)))
            result.insert(match[1]);
    }
    return result;
}

std::set<std::string> optionsIn(const std::string& help)
{
    return beginnings(help, "  (?:-., )?(--[a-z-]+)");
}

} // namespace

TEST(CommandDocuments, NameWhatTheHelpNames)
{
    const std::string help = outcomeOf("--help").output;
    const std::set<std::string> commands
        = beginnings(help.substr(0, help.find("\nOptions")), "  ([a-z][a-z-]*)");
    ASSERT_TRUE(commands.contains("frames"));
    std::map<std::string, std::set<std::string>> options{{"", optionsIn(help)}};
    ASSERT_TRUE(options[""].contains("--help"));
    std::set<std::string> all = options[""];
    for (const std::string& command : commands) {
        options[command] = optionsIn(outcomeOf(command + " --help").output);
        all.insert(options[command].begin(), options[command].end());
        options[command].insert(options[""].begin(), options[""].end());
    }
    for (const auto& [kind, dashes] : {std::pair{"man", "--"}, {"zsh", "--"}, {"fish", "-l "}}) {
        const std::string text = std::regex_replace(
            outcomeOf("generate " + std::string(kind)).output, std::regex(R"(\\f[BIR]|\\)"), "");
        for (const std::string& option : all)
            EXPECT_TRUE(std::regex_search(text, std::regex(dashes + option.substr(2) + "[^a-z-]")))
                << kind << option;
        for (const std::string& command : commands)
            EXPECT_TRUE(std::regex_search(text, std::regex("[^a-z-]" + command + "[^a-z-]")))
                << kind << command;
    }

    if (runCommand("command -v bash && command -v groff").status != 0)
        GTEST_SKIP() << "bash or groff is missing";
    EXPECT_EQ(runCommand(captureProgram() + " generate man | groff -ww -man -z 2>&1").output, "");
    const ScratchFolder folder;
    const std::string file = folder.file("completion");
    writeFile(file, outcomeOf("generate bash").output);
    const auto completed = [&](const std::string& words) {
        return beginnings(runCommand("bash -c '. " + file + "; COMP_WORDS=(tamsel-capture " + words
                              + "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tamsel_capture; "
                                "printf \"%s\\n\" \"${COMPREPLY[@]}\"' 2>/dev/null")
                              .output,
            "(.+)");
    };
    using Words = std::set<std::string>;
    for (const auto& [command, expected] : options)
        EXPECT_EQ(completed(command + " -"), expected) << command;
    EXPECT_EQ(completed("\"\""), commands);
    EXPECT_EQ(completed("--out = status --back still st"), (Words{"status", "still"})) << "behind values";
    EXPECT_EQ(completed("--backend s"), Words{"simulated"});
    EXPECT_EQ(completed("frames --camera ="), (Words{"back", "front"}));
    EXPECT_EQ(completed("frames --camera = f"), Words{"front"});
    EXPECT_EQ(completed("image p"), Words{}) << "files";
}

} // namespace tamsel::tests
