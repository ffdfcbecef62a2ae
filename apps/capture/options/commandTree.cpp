#include "options/commandTree.h"

#include <sstream>

namespace tamsel::capture {

const std::array<HelpSection, 4> helpSections{{
    {"Files",
        "- is the standard input, or the standard output. A file that exists is replaced only with "
        "--overwrite, and "
        "an output that is also an input never. Of several inputs the last name is the output: a folder, or "
        "a name "
        "with {} for the name of each input. Pictures are written as .png or .jpg."},
    {"Signals", "SIGUSR1 sends the application to the background, SIGUSR2 brings it back."},
    {"Exit status",
        "0: done. 1: an error while running, or less than was asked for. 2: wrong usage, or an input or "
        "output "
        "that cannot be used. 4: nothing was found, with --fail-if-none. 130: interrupted."},
    {"Examples",
        R"(tamsel-capture --back /dev/video0 capture out --motion walk.csv --require still,tilted,code:pdf417
tamsel-capture frames --back clip.mp4 --count 60 --contact-sheet sheet.png
tamsel-capture frames --front /dev/video0 --camera front --seconds 5 --json
tamsel-capture motion walk.csv --plot walk.svg
tamsel-capture still photo.jpg --back clip.mp4 --location 52.52,13.40,34 --heading 45
tamsel-capture detect shelf.jpg --annotate shelf.png
tamsel-capture detect /dev/video0 --kinds ean13,qr --seconds 30 --json
tamsel-capture thumbnail *.mp4 thumbnails/{}.jpg
tamsel-capture asset clip.mp4 --fast --contact-sheet sheet.png)",
        true},
}};

namespace {

bool isArgument(const CLI::Option& option)
{
    return option.get_lnames().empty() && option.get_snames().empty();
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

std::vector<const CLI::Option*> optionsOf(const CLI::App& app)
{
    return filtered(app, false);
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command)
{
    return filtered(command, true);
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
    return takesValue(option) ? name + " " + option.get_type_name() : name;
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

} // namespace tamsel::capture
