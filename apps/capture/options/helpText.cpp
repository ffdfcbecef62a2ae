#include "options/helpText.h"

#include "options/commandTree.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace tamsel::capture {

namespace {

constexpr std::size_t textColumn = 28;

/// The terminal's, as far as texts read well.
std::size_t lineWidth()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0
        ? std::clamp<std::size_t>(size.ws_col, 60, 100)
        : 80;
}

/// Lines that begin in `column`; the first has come to the column `begin` already.
void writeWrapped(std::ostream& out, std::string_view text, std::size_t column, std::size_t begin)
{
    std::size_t at = column;
    out << std::string(column > begin ? column - begin : 0, ' ');
    std::istringstream words{std::string(text)};
    bool isFirst = true;
    for (std::string word; words >> word; isFirst = false) {
        if (!isFirst && at + 1 + word.size() > lineWidth()) {
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

void writeEntry(std::ostream& out, std::string_view name, std::string_view text)
{
    out << "  " << name;
    std::size_t begin = name.size() + 2;
    if (begin + 2 > textColumn) {
        out << '\n';
        begin = 0;
    }
    writeWrapped(out, text, textColumn, begin);
}

void writeOptions(std::ostream& out, const std::vector<const CLI::Option*>& options, std::string_view title)
{
    if (!options.empty())
        out << '\n' << title << '\n';
    for (const CLI::Option* option : options)
        writeEntry(out, nameOf(*option), descriptionOf(*option));
}

void writeSection(std::ostream& out, const HelpSection& section)
{
    out << '\n' << section.title << '\n';
    if (section.layout == HelpSection::Layout::paragraph)
        return writeWrapped(out, section.text, 2, 0);
    std::istringstream lines{std::string(section.text)};
    for (std::string line; std::getline(lines, line);) {
        if (section.layout == HelpSection::Layout::commandLines) {
            out << "  " << line << '\n';
        } else {
            const std::size_t colon = line.find(": ");
            writeEntry(out, line.substr(0, colon), line.substr(colon + 2));
        }
    }
}

std::string helpOfProgram(const CLI::App& program)
{
    std::ostringstream out;
    out << "Usage: tamsel-capture COMMAND [options]\n\n";
    writeWrapped(out, programDescription, 0, 0);
    out << "\nCommands (tamsel-capture COMMAND --help tells more)\n";
    for (const CLI::App* command : commandsOf(program))
        writeEntry(out, synopsisOf(*command), firstSentence(command->get_description()));
    writeOptions(out, optionsOf(program), "Options of all commands, before or after the command");
    for (const HelpSection& section : helpSections)
        writeSection(out, section);
    return out.str();
}

std::string helpOfCommand(const CLI::App& command)
{
    std::ostringstream out;
    out << "Usage: tamsel-capture " << synopsisOf(command) << " [options]\n\n";
    writeWrapped(out, sentences(command.get_description()), 0, 0);
    writeOptions(out, argumentsOf(command), "Arguments");
    writeOptions(out, ownOptionsOf(command), "Options");
    out << "\nOptions of all commands: tamsel-capture --help\n";
    return out.str();
}

} // namespace

std::string helpText(const CLI::App& app)
{
    return app.get_parent() == nullptr ? helpOfProgram(app) : helpOfCommand(app);
}

} // namespace tamsel::capture
