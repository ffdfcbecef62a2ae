#include "options/completions.h"

#include "options/commandTree.h"

#include <map>
#include <sstream>
#include <string_view>

namespace tamsel::capture {

namespace {

/// The options of the program and of all commands that a value follows, by their names.
std::map<std::string, const CLI::Option*> optionsWithValues(const CLI::App& program)
{
    std::map<std::string, const CLI::Option*> result;
    std::vector<const CLI::App*> apps = commandsOf(program);
    apps.push_back(&program);
    for (const CLI::App* app : apps) {
        for (const CLI::Option* option : optionsOf(*app)) {
            if (takesValue(*option))
                result.emplace("--" + option->get_lnames().front(), option);
        }
    }
    return result;
}

std::string namesOfValueOptions(const CLI::App& program, std::string_view between)
{
    std::vector<std::string> names;
    for (const auto& [name, option] : optionsWithValues(program))
        names.push_back(name);
    return joined(names, between);
}

/// The long names of options, each behind a space.
std::string namesOf(const std::vector<const CLI::Option*>& options)
{
    std::string names;
    for (const CLI::Option* option : options)
        names += " --" + option->get_lnames().front();
    return names;
}

std::string quotedForZsh(std::string_view text)
{
    std::string result = "'";
    for (const char character : text)
        result += character == '\'' ? "'\\''" : std::string(1, character);
    return result + "'";
}

std::string quotedForFish(std::string_view text)
{
    std::string result = "'";
    for (const char character : text)
        result += (character == '\'' || character == '\\' ? "\\" : "") + std::string(1, character);
    return result + "'";
}

/// An option as `_arguments` specifies it.
std::string zshOption(const std::string& name, const CLI::Option& option)
{
    std::string text;
    for (const char character : firstSentence(option.get_description()))
        text += (character == '[' || character == ']' ? "\\" : "") + std::string(1, character);
    std::string specification = name + (takesValue(option) ? "=[" : "[") + text + "]";
    if (takesValue(option)) {
        specification += ":" + option.get_type_name() + ":";
        if (!valuesOf(option).empty())
            specification += "(" + joined(valuesOf(option), " ") + ")";
        else if (takesFile(option))
            specification += "_files";
    }
    return " " + quotedForZsh(specification);
}

std::string zshOptions(const std::vector<const CLI::Option*>& options)
{
    std::string result;
    for (const CLI::Option* option : options) {
        for (const std::string& name : option->get_snames())
            result += "\n       " + zshOption("-" + name, *option);
        result += "\n       " + zshOption("--" + option->get_lnames().front(), *option);
    }
    return result;
}

/// The beginning of a rule, which holds where a function says so.
std::string fishRule(std::string_view command)
{
    return "complete -c tamsel-capture -n " + quotedForFish("__tamsel_capture_in" + std::string(command));
}

void writeFishOptions(
    std::ostream& out, const std::string& rule, const std::vector<const CLI::Option*>& options)
{
    for (const CLI::Option* option : options) {
        out << rule;
        for (const std::string& name : option->get_snames())
            out << " -s " << name;
        out << " -l " << option->get_lnames().front();
        if (!valuesOf(*option).empty())
            out << " -x -a " << quotedForFish(joined(valuesOf(*option), " "));
        else if (takesValue(*option))
            out << (takesFile(*option) ? " -r -F" : " -x");
        out << " -d " << quotedForFish(firstSentence(option->get_description())) << '\n';
    }
}

} // namespace

std::string bashCompletion(const CLI::App& program)
{
    std::ostringstream out;
    out << R"(_tamsel_capture()
{
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command= words= index
    # Bash takes --option=value apart.
    if [[ $word == = ]]; then
        word=
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD-2]}
    fi
    for ((index = 1; index < COMP_CWORD; ++index)); do
        case ${COMP_WORDS[index]} in
        )"
        << namesOfValueOptions(program, "|") << R"()
            [[ ${COMP_WORDS[++index]} == = ]] && ((++index)) ;;
        )"
        << namesOfCommands(program, "|") << R"()
            command=${COMP_WORDS[index]}
            break ;;
        esac
    done
    COMPREPLY=()
    case $before in
)";
    for (const auto& [name, option] : optionsWithValues(program)) {
        out << "    " << name << ") ";
        if (!valuesOf(*option).empty())
            out << "words='" << joined(valuesOf(*option), " ") << "' ;;\n";
        else
            out << (takesFile(*option) ? "compopt -o default; return ;;\n" : "return ;;\n");
    }
    const std::string common = namesOf(optionsOf(program));
    out << "    *)\n        case $command:$word in\n        :-*) words='" << common.substr(1)
        << "' ;;\n        :*) words='" << namesOfCommands(program, " ") << "' ;;\n";
    for (const CLI::App* command : commandsOf(program))
        out << "        " << command->get_name() << (argumentsOf(*command).empty() ? ":*" : ":-*")
            << ") words='" << (namesOf(ownOptionsOf(*command)) + common).substr(1) << "' ;;\n";
    out << R"(        *) compopt -o default; return ;;
        esac ;;
    esac
    COMPREPLY=($(compgen -W "$words" -- "$word"))
}
complete -F _tamsel_capture tamsel-capture
)";
    return out.str();
}

std::string zshCompletion(const CLI::App& program)
{
    std::ostringstream out;
    out << "#compdef tamsel-capture\n\nlocal curcontext=$curcontext state line\nlocal -a common own "
           "commands\ncommon=("
        << zshOptions(optionsOf(program)) << "\n)\ncommands=(";
    for (const CLI::App* command : commandsOf(program))
        out << "\n    "
            << quotedForZsh(command->get_name() + ":" + firstSentence(command->get_description()));
    out << "\n)\n_arguments -C $common '1:command:->command' '*::argument:->argument' && return\ncase $state "
           "in\n"
           "command) _describe command commands ;;\nargument)\n    case $words[1] in\n";
    for (const CLI::App* command : commandsOf(program))
        out << "    " << command->get_name() << ") own=(" << zshOptions(ownOptionsOf(*command))
            << (argumentsOf(*command).empty() ? "" : "\n        '*:file:_files'") << "\n    ) ;;\n";
    out << "    esac\n    _arguments $common $own ;;\nesac\n";
    return out.str();
}

std::string fishCompletion(const CLI::App& program)
{
    std::ostringstream out;
    out << R"(# Whether one of these is the command; without arguments, whether there is no command yet.
function __tamsel_capture_in
    set -l words (commandline -opc)
    set -e words[1]
    set -l isValue no
    for word in $words
        if test $isValue = yes
            set isValue no
            continue
        end
        switch $word
            case )"
        << namesOfValueOptions(program, " ") << R"(
                set isValue yes
            case )"
        << namesOfCommands(program, " ") << R"(
                contains -- $word $argv
                return
        end
    end
    not set -q argv[1]
end

)" << fishRule("")
        << " -f\n";
    writeFishOptions(out, "complete -c tamsel-capture", optionsOf(program));
    for (const CLI::App* command : commandsOf(program)) {
        const std::string rule = fishRule(" " + command->get_name());
        out << fishRule("") << " -a " << command->get_name() << " -d "
            << quotedForFish(firstSentence(command->get_description())) << '\n';
        if (argumentsOf(*command).empty())
            out << rule << " -f\n";
        writeFishOptions(out, rule, ownOptionsOf(*command));
    }
    return out.str();
}

} // namespace tamsel::capture
