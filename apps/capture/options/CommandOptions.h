#pragma once

#include "options/OptionReader.h"
#include "options/Options.h"

namespace tamsel::capture {

/// All of them, as a sentence names them.
[[nodiscard]] std::string_view commandNames();

/// Reads what stands behind a command's name, and checks whether the command can be carried out like that.
void readCommand(OptionReader& reader, std::string_view name, Options& options);

} // namespace tamsel::capture
