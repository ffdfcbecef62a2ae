#include "options/Program.h"

#include "options/Unusable.h"
#include "options/commandTree.h"
#include "options/helpText.h"

#include <string_view>
#include <utility>
#include <vector>

namespace tamsel::capture {

namespace {

/// Reports what was not expected.
[[noreturn]] void refuse(const CLI::App& app, const std::vector<std::string>& surplus)
{
    const std::vector<CLI::App*> commands = app.get_subcommands();
    const std::string quoted = surplus.empty() ? "" : "'" + surplus.front() + "'";
    const bool isOption = surplus.size() > 0 && surplus.front().starts_with('-');
    if (!commands.empty()) {
        const std::string& name = commands.front()->get_name();
        const std::string option = surplus.front().substr(0, surplus.front().find('='));
        if (isOption && commands.front()->get_option_no_throw(option) != nullptr)
            throw Unusable(quoted + " belongs after the command: " + name + " " + surplus.front());
        throw Unusable(quoted
            + (isOption ? " is not an option of " + name + "; see " + name + " --help"
                        : " is surplus: the usage is " + synopsisOf(*commands.front())));
    }
    if (isOption)
        throw Unusable(quoted + " is not an option; see --help");
    throw Unusable((surplus.empty() ? "a command is missing: " : quoted + " is no command; there are: ")
        + namesOfCommands(app, ", ") + "; see --help");
}

} // namespace

Program::Program()
{
    // Commands have these, too, when they are added later.
    app.allow_extras()->require_subcommand(0, 1);
    app.formatter_fn(
        [](const CLI::App* each, const std::string&, CLI::AppFormatMode) { return helpText(*each); });
    app.set_help_flag("-h,--help", "show this help, or that of the command");
    addGlobalOptions(app, global);
}

CLI::App& addCommand(Program& program, const std::string& name, const std::string& description,
    std::function<ExitStatus()> run)
{
    CLI::App& command = *program.app.add_subcommand(name, description);
    command.fallthrough()->allow_extras();
    command.final_callback([&program, run = std::move(run)] { program.run = run; });
    return command;
}

void readCommandLine(Program& program, int argumentCount, const char* const* arguments)
{
    CLI::App& app = program.app;
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::Success&) {
        throw; // help, version
    } catch (const CLI::ArgumentMismatch& error) {
        const std::string text = error.what();
        throw Unusable(text.substr(0, text.find(':')) + " needs a value");
    } catch (const CLI::RequiredError& error) {
        const std::string text = error.what();
        const std::string name = app.get_subcommands().front()->get_name();
        throw Unusable(name + " needs " + text.substr(0, text.find(' ')) + "; see " + name + " --help");
    } catch (const CLI::ParseError& error) {
        throw Unusable(error.what());
    }
    std::vector<std::string> surplus = app.remaining(true);
    std::erase(surplus, "--"); // which CLI11 counts among them
    if (!surplus.empty() || !program.run)
        refuse(app, surplus);
}

} // namespace tamsel::capture
