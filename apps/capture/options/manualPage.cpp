#include "options/manualPage.h"

#include "options/commandTree.h"

#include <tamsel/version.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

namespace tamsel::capture {

namespace {

/// A text as roff takes it literally.
std::string roff(std::string_view text)
{
    std::string result;
    for (const char character : text) {
        if (character == '\\')
            result += "\\e";
        else if (character == '-')
            result += "\\-";
        else if ((character == '.' || character == '\'') && result.empty())
            result += std::string("\\&") + character;
        else
            result += character;
    }
    return result;
}

/// Names of options are bold, placeholders of values are in italics.
std::string styled(std::string_view name)
{
    std::string result;
    std::istringstream words{std::string(name)};
    for (std::string word; words >> word;)
        result += (result.empty() ? "" : " ") + std::string(word.starts_with('-') ? "\\fB" : "\\fI")
            + roff(word) + "\\fR";
    return result;
}

void writeEntry(std::ostream& out, std::string_view styledName, std::string_view text)
{
    out << ".TP\n" << styledName << '\n' << roff(text) << '\n';
}

void writeOptions(std::ostream& out, const std::vector<const CLI::Option*>& options)
{
    for (const CLI::Option* option : options)
        writeEntry(out, styled(nameOf(*option)), sentences(descriptionOf(*option)));
}

void writeHeading(std::ostream& out, std::string_view title)
{
    std::string upper(title);
    std::ranges::transform(upper, upper.begin(), [](unsigned char each) { return std::toupper(each); });
    out << ".SH " << upper << '\n';
}

void writeSection(std::ostream& out, const HelpSection& section)
{
    writeHeading(out, section.title);
    if (section.layout == HelpSection::Layout::paragraph) {
        out << roff(section.text) << '\n';
        return;
    }
    const bool areCommands = section.layout == HelpSection::Layout::commandLines;
    std::istringstream lines{std::string(section.text)};
    out << (areCommands ? ".EX\n" : "");
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(": ");
        if (areCommands)
            out << roff(line) << '\n';
        else
            writeEntry(out, "\\fB" + roff(line.substr(0, colon)) + "\\fR", sentences(line.substr(colon + 2)));
    }
    out << (areCommands ? ".EE\n" : "");
}

} // namespace

std::string manualPage(const CLI::App& program)
{
    std::ostringstream out;
    // Without a date: the same sources give the same page.
    out << ".TH TAMSEL\\-CAPTURE 1 \"\" \"tamsel\\-capture " << version()
        << "\" \"User Commands\"\n"
        // Names are not hyphenated, and lines not filled with spaces.
        << ".nh\n.ad l\n"
        << ".SH NAME\ntamsel\\-capture \\- " << roff(programSummary) << '\n'
        << ".SH SYNOPSIS\n\\fBtamsel\\-capture\\fR \\fICOMMAND\\fR [\\fIoptions\\fR]\n"
        << ".SH DESCRIPTION\n"
        << roff(programDescription) << "\n";
    writeHeading(out, "commands");
    for (const CLI::App* command : commandsOf(program)) {
        out << ".SS " << roff(synopsisOf(*command)) << '\n'
            << roff(sentences(command->get_description())) << '\n';
        writeOptions(out, argumentsOf(*command));
        writeOptions(out, ownOptionsOf(*command));
    }
    writeHeading(out, "options of all commands");
    out << "They may stand before or after the command.\n";
    writeOptions(out, optionsOf(program));
    for (const HelpSection& section : helpSections)
        writeSection(out, section);
    writeHeading(out, "see also");
    out << ".BR ffmpeg\\-devices (1),\n.BR ffmpeg\\-protocols (1),\n.BR gpsd (8),\n.BR v4l2\\-ctl (1)\n";
    return out.str();
}

} // namespace tamsel::capture
