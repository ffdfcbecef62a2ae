#include "commands/commands.h"
#include "options/completions.h"
#include "options/manualPage.h"
#include "options/values.h"

#include <array>
#include <cstdio>
#include <memory>

namespace tamsel::capture {

namespace {

using Generator = std::string (*)(const CLI::App& program);

constexpr std::array<std::pair<std::string_view, Generator>, 4> generators{
    {{"man", manualPage}, {"bash", bashCompletion}, {"zsh", zshCompletion}, {"fish", fishCompletion}}};

} // namespace

void addGenerate(Program& program)
{
    const auto generator = std::make_shared<Generator>(nullptr);
    CLI::App& command = addCommand(program, "generate", "", [&app = program.app, generator] {
        std::fputs((*generator)(app).c_str(), stdout);
        return ExitStatus::done;
    });
    command.group(""); // hidden
    addChoice(command, "KIND", *generator, generators, "")->required();
}

} // namespace tamsel::capture
