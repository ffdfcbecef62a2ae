#include "commands/RepairCommand.h"

#include "report/JsonLine.h"

#include <host/recording/MovieFacts.h>
#include <host/recording/repairMovie.h>

#include <array>
#include <cstdio>

namespace tamsel::capture {

ExitStatus repairRecording(const Options& options)
{
    Console console(options.json);
    const auto movie = host::repairMovie(options.file);
    if (!movie) {
        console.fail(movie.error().localizedDescription);
        return ExitStatus::failed;
    }
    const auto facts = host::readMovieFacts(*movie);
    if (!facts) {
        console.fail(facts.error().localizedDescription);
        return ExitStatus::failed;
    }
    if (options.json) {
        console.write(JsonLine("repaired")
                .text("file", std::string_view(movie->native()))
                .number("duration", facts->duration)
                .integer("frames", facts->frames)
                .string());
    } else {
        std::array<char, 80> text{};
        std::snprintf(text.data(), text.size(), ": plays now, %.2f s, %llu frames", facts->duration,
            static_cast<unsigned long long>(facts->frames));
        console.write(movie->string() + text.data());
    }
    return ExitStatus::done;
}

} // namespace tamsel::capture
