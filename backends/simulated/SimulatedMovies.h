#pragma once

#include <engine/capture/MovieWriter.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::simulated {

class Scheduler;
class SimulatedAssets;

/// What a recording has left.
struct SimulatedMovie {
    engine::MovieSettings settings;
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::chrono::nanoseconds> frameTimes; ///< on the phone's monotonic clock
    std::vector<std::uint8_t> frameNumbers; ///< what the simulated camera writes into its frames
    std::size_t soundLength = 0; ///< in moments
    bool isComplete = false;
};

/// What goes wrong with recordings, and what takes time. May be changed at any time.
struct MovieScript {
    std::optional<std::string> cannotOpen = std::nullopt; ///< the reason
    /// The disk is full once a movie has this many frames.
    std::optional<std::size_t> framesUntilFull = std::nullopt;
    std::chrono::nanoseconds timeToOpen{};
    std::chrono::nanoseconds timeToEncode{}; ///< of each frame
    std::chrono::nanoseconds timeToFinish{};
};

/// Movies that are remembered, not written. A finished one can be read as a recording of the simulated assets.
class SimulatedMovies final : public engine::MovieWriters {
public:
    SimulatedMovies(Scheduler& scheduler, SimulatedAssets& assets);

    [[nodiscard]] MovieScript& script() { return script_; }
    /// As if a file of that name were there.
    void putFile(const std::filesystem::path& url) { movies_.try_emplace(url); }
    /// Absent when no recording has begun to write that file.
    [[nodiscard]] std::shared_ptr<const SimulatedMovie> movie(const std::filesystem::path& url) const;

    [[nodiscard]] std::unique_ptr<engine::MovieWriter> makeWriter(engine::MovieSettings settings) override;

private:
    class Writer;

    Scheduler& scheduler_;
    SimulatedAssets& assets_;
    MovieScript script_;
    std::map<std::filesystem::path, std::shared_ptr<SimulatedMovie>>
        movies_; ///< absent: a file of somebody else
};

} // namespace tamsel::simulated
