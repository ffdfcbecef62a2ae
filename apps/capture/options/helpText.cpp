#include "options/helpText.h"

#include "options/commandTree.h"

#include <sstream>
#include <string_view>

namespace tamsel::capture {

namespace {

constexpr std::size_t lineWidth = 100;
constexpr std::size_t textColumn = 28;

/// Lines that begin in `column`; the first has come to the column `begin` already.
void writeWrapped(std::ostream& out, std::string_view text, std::size_t column, std::size_t begin)
{
    std::size_t at = column;
    out << std::string(column > begin ? column - begin : 0, ' ');
    std::istringstream words{std::string(text)};
    bool isFirst = true;
    for (std::string word; words >> word; isFirst = false) {
        if (!isFirst && at + 1 + word.size() > lineWidth) {
            out << '\n' << std::string(column, ' ');
            at = column;
        } else if (!isFirst) {
            out << ' ';
            ++at;
        }
        out << word;
        at += word.size();
    }
    out << '\n';
}

void writeEntry(std::ostream& out, const std::string& name, std::string_view text)
{
    out << "  " << name;
    std::size_t begin = name.size() + 2;
    if (begin + 2 > textColumn) {
        out << '\n';
        begin = 0;
    }
    writeWrapped(out, text, textColumn, begin);
}

void writeOptions(std::ostream& out, const CLI::App& app, std::string_view title)
{
    out << '\n' << title << '\n';
    for (const CLI::Option* option : optionsOf(app))
        writeEntry(out, nameOf(*option), option->get_description());
}

std::string helpOfProgram(const CLI::App& program)
{
    std::ostringstream out;
    out << "Usage: tamsel-capture COMMAND [options]\n\n";
    writeWrapped(out, programDescription, 0, 0);
    out << "\nCommands (tamsel-capture COMMAND --help for its options)\n";
    for (const CLI::App* command : commandsOf(program))
        writeEntry(out, synopsisOf(*command), command->get_description());
    writeOptions(out, program, "Options of all commands, before or after the command");
    for (const HelpSection& section : helpSections) {
        out << '\n' << section.title << '\n';
        if (section.isLiteral) {
            std::istringstream lines{std::string(section.text)};
            for (std::string line; std::getline(lines, line);)
                out << "  " << line << '\n';
        } else {
            writeWrapped(out, section.text, 2, 0);
        }
    }
    return out.str();
}

std::string helpOfCommand(const CLI::App& command)
{
    std::ostringstream out;
    out << "Usage: tamsel-capture " << synopsisOf(command) << " [options]\n\n";
    writeWrapped(out, command.get_description(), 0, 0);
    for (const CLI::Option* option : argumentsOf(command)) {
        out << (option == argumentsOf(command).front() ? "\n" : "");
        writeEntry(out, nameOf(*option), option->get_description());
    }
    writeOptions(out, command, "Options");
    out << "\nOptions of all commands: tamsel-capture --help\n";
    return out.str();
}

} // namespace

std::string helpText(const CLI::App& app)
{
    return app.get_parent() == nullptr ? helpOfProgram(app) : helpOfCommand(app);
}

} // namespace tamsel::capture
