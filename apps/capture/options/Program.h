#pragma once

#include "options/Options.h"
#include "report/Console.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace tamsel::capture {

/// The program's command line. Each command adds itself to it.
struct Program {
    /// With the options of all commands.
    Program();

    CLI::App app;
    GlobalOptions global;
    std::function<ExitStatus()> run; ///< the command that was named, with its options
};

/// Adds a command. `run` is called once the command line has been read; it may throw `Unusable`.
CLI::App& addCommand(Program& program, const std::string& name, const std::string& description,
    std::function<ExitStatus()> run);

/// Reads a command line. Throws `Unusable`, or what `CLI::App::parse` throws for help and version.
void readCommandLine(Program& program, int argumentCount, const char* const* arguments);

} // namespace tamsel::capture
