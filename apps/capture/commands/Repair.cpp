#include "commands/commands.h"

#include "options/Unusable.h"
#include "options/values.h"
#include "report/StatusLine.h"
#include "report/Utf8.h"

#include <host/recording/MovieFacts.h>
#include <host/recording/repairMovie.h>

#include <chrono>
#include <expected>
#include <filesystem>
#include <future>
#include <memory>
#include <system_error>

namespace tamsel::capture {

namespace {

using Movie = std::expected<std::filesystem::path, platform::Error>;

/// Completing a movie copies it, which takes time for a long one.
Movie repairWithProgress(const std::string& file, Console& console)
{
    constexpr double megabyte = 1e6;
    constexpr std::chrono::milliseconds interval{100};
    std::error_code error;
    const std::filesystem::path part = std::filesystem::exists(host::partOfMovie(file), error)
        ? host::partOfMovie(file)
        : std::filesystem::path(file);
    TerminalLine line(console);
    const Progress progress("MB");
    std::future<Movie> movie = std::async(std::launch::async, host::repairMovie, std::filesystem::path(file));
    while (movie.wait_for(interval) != std::future_status::ready) {
        line.update([&] {
            std::error_code unknown;
            const auto done = std::filesystem::file_size(host::copyOfMovie(file), unknown);
            const auto total = std::filesystem::file_size(part, error);
            return progress.text(unknown ? 0 : static_cast<double>(done) / megabyte,
                error ? 0 : static_cast<double>(total) / megabyte);
        });
    }
    return movie.get();
}

ExitStatus repair(const std::string& file, bool isJson)
{
    Console console(isJson);
    const Movie movie = repairWithProgress(file, console);
    if (!movie)
        throw Unusable(movie.error().localizedDescription);
    const auto facts = host::readMovieFacts(*movie);
    if (!facts)
        throw Unusable(facts.error().localizedDescription);
    console.writeEvent("repaired",
        {{"file", movie->string()}, {"duration", numberOf(facts->duration)}, {"frames", facts->frames}});
    console.write(movie->string()
        + formatted(": complete, %.2f s, %llu frames", facts->duration,
            static_cast<unsigned long long>(facts->frames)));
    return ExitStatus::done;
}

} // namespace

void addRepair(Program& program)
{
    const auto file = std::make_shared<std::string>();
    CLI::App& command = addCommand(program, "repair", "complete a recording whose program was killed",
        [&global = program.global, file] { return repair(*file, global.json); });
    addValue(command, "FILE", *file, "", "film.mp4 or film.part.mp4", text)->required();
}

} // namespace tamsel::capture
