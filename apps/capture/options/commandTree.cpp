#include "options/commandTree.h"

#include <algorithm>
#include <sstream>

namespace tamsel::capture {

using Layout = HelpSection::Layout;

const std::array<HelpSection, 4> helpSections{{
    {"Files", Layout::paragraph,
        "The name - is standard input or standard output. A file that exists is replaced "
        "only with --overwrite, and an output that is also an input is always refused. Of several inputs the "
        "last name is the output: a folder, or a name with {} for the name of each input. Pictures are "
        "written as .png or .jpg."},
    {"Signals", Layout::entries,
        "SIGINT, SIGTERM, SIGHUP: the command ends; a recording is completed\n"
        "SIGUSR1: the application goes to the background\n"
        "SIGUSR2: it comes back to the foreground\n"
        "SIGQUIT (Ctrl+\\): the file of --recording is written"},
    {"Exit status", Layout::entries,
        "0: done\n"
        "1: an error while running, or less than was asked for\n"
        "2: wrong usage, or an input or output that cannot be used\n"
        "4: nothing was found, with --fail-if-none\n"
        "130: interrupted"},
    {"Examples", Layout::commandLines,
        R"(tamsel-capture capture out --motion walk.csv --require still,code:qr
tamsel-capture frames --back clip.mp4 --contact-sheet sheet.png
tamsel-capture frames --back /dev/video2 --seconds 5 --json
tamsel-capture still photo.jpg --location 52.52,13.40 --heading 45
tamsel-capture record film.mp4 --seconds 10 --microphone pipewire:
tamsel-capture detect shelf.jpg --annotate shelf.png
tamsel-capture detect /dev/video0 --kinds ean13,qr --seconds 30
tamsel-capture motion walk.csv --plot walk.svg
tamsel-capture thumbnail *.mp4 thumbnails/{}.jpg)"},
}};

namespace {

bool isArgument(const CLI::Option& option)
{
    return option.get_lnames().empty() && option.get_snames().empty();
}

/// Of the values of an option in its name.
constexpr std::size_t greatestNameOfValues = 24;

bool hasManyValues(const CLI::Option& option)
{
    return !valuesOf(option).empty() && option.get_type_name().size() > greatestNameOfValues;
}

std::vector<const CLI::Option*> filtered(const CLI::App& app, bool areArguments)
{
    return app.get_options([&](const CLI::Option* option) {
        return isArgument(*option) == areArguments && !option->get_group().empty();
    });
}

} // namespace

std::vector<const CLI::App*> commandsOf(const CLI::App& program)
{
    return program.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::string namesOfCommands(const CLI::App& program, std::string_view between)
{
    std::vector<std::string> names;
    for (const CLI::App* command : commandsOf(program))
        names.push_back(command->get_name());
    return joined(names, between);
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app)
{
    return filtered(app, false);
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command)
{
    return filtered(command, true);
}

std::vector<const CLI::Option*> ownOptionsOf(const CLI::App& command)
{
    std::vector<const CLI::Option*> options = optionsOf(command);
    std::erase_if(options, [&](const CLI::Option* option) {
        return command.get_parent()->get_option_no_throw("--" + option->get_lnames().front()) != nullptr;
    });
    return options;
}

bool takesValue(const CLI::Option& option)
{
    return option.get_items_expected_max() > 0;
}

std::string nameOf(const CLI::Option& option)
{
    if (isArgument(option))
        return option.get_option_text().empty()
            ? option.get_name(true) + (option.get_items_expected_max() > 1 ? "..." : "")
            : option.get_option_text();
    std::string name;
    for (const std::string& each : option.get_snames())
        name += "-" + each + ", ";
    name += "--" + option.get_lnames().front();
    return takesValue(option) ? name + " " + (hasManyValues(option) ? "NAME" : option.get_type_name()) : name;
}

std::string descriptionOf(const CLI::Option& option)
{
    const std::string& description = option.get_description();
    return hasManyValues(option) ? description + ". NAME: " + joined(valuesOf(option), ", ") : description;
}

bool takesFile(const CLI::Option& option)
{
    const std::string type = isArgument(option) ? nameOf(option) : option.get_type_name();
    return std::ranges::any_of(std::array{"FILE", "FOLDER", "INPUT", "LOG"},
        [&](const char* beginning) { return type.starts_with(beginning); });
}

std::vector<std::string> valuesOf(const CLI::Option& option)
{
    std::vector<std::string> values;
    const std::string type = option.get_type_name();
    if (!type.contains('|'))
        return values;
    std::istringstream names(type);
    for (std::string name; std::getline(names, name, '|');)
        values.push_back(name);
    return values;
}

std::string synopsisOf(const CLI::App& command)
{
    std::string synopsis = command.get_name();
    for (const CLI::Option* option : argumentsOf(command))
        synopsis += option->get_required() ? " " + nameOf(*option) : " [" + nameOf(*option) + "]";
    return synopsis;
}

std::string firstSentence(const std::string& description)
{
    return description.substr(0, description.find(". "));
}

std::string sentences(std::string description)
{
    if (!description.empty() && description.front() >= 'a' && description.front() <= 'z')
        description.front() = static_cast<char>(description.front() - 'a' + 'A');
    return description + ".";
}

std::string joined(const std::vector<std::string>& words, std::string_view between)
{
    std::string text;
    for (const std::string& word : words)
        text.append(text.empty() ? "" : between).append(word);
    return text;
}

} // namespace tamsel::capture
