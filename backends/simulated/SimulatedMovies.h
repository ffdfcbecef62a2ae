#pragma once

#include <engine/capture/MovieWriter.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::simulated {

class Scheduler;
class SimulatedAssets;

/// The content of a recorded movie.
struct SimulatedMovie {
    engine::MovieSettings settings;
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::chrono::nanoseconds> frameTimes; ///< on the phone's monotonic clock
    std::vector<std::uint8_t> frameNumbers; ///< as the simulated camera writes them into its frames
    std::size_t soundLength = 0; ///< in sample times
    bool isComplete = false;
};

/// A step of writing a movie that may fail.
enum class MovieStep : std::uint8_t { open, frame, finish };

/// The faults and delays of recordings. May be changed at any time.
struct MovieScript {
    std::optional<std::string> cannotOpen = std::nullopt; ///< the reason
    /// The disk is full once a movie has this many frames.
    std::optional<std::size_t> framesUntilFull = std::nullopt;
    std::chrono::nanoseconds timeToOpen{};
    std::chrono::nanoseconds timeToEncode{}; ///< of each frame
    std::chrono::nanoseconds timeToFinish{};
    /// Called in each step of the movie of this number, from 0 on, that has so many frames, after its time above; may take
    /// time itself. An error fails the step.
    std::function<std::optional<platform::Error>(MovieStep, std::size_t movie, std::size_t frames)> answer
        = nullptr;
};

/// Movies in memory, not in files. A finished one can be read as an asset.
class SimulatedMovies final : public engine::MovieWriters {
public:
    SimulatedMovies(Scheduler& scheduler, SimulatedAssets& assets);

    [[nodiscard]] MovieScript& script() { return script_; }
    /// Simulates an existing file of that name.
    void putFile(const std::filesystem::path& url) { movies_.try_emplace(url); }
    /// Absent when no recording has started to write that file.
    [[nodiscard]] std::shared_ptr<const SimulatedMovie> movie(const std::filesystem::path& url) const;

    [[nodiscard]] std::unique_ptr<engine::MovieWriter> makeWriter(engine::MovieSettings settings) override;

private:
    class Writer;

    Scheduler& scheduler_;
    SimulatedAssets& assets_;
    MovieScript script_;
    std::size_t movieCount_ = 0;
    std::map<std::filesystem::path, std::shared_ptr<SimulatedMovie>>
        movies_; ///< null: a file that was there before
};

} // namespace tamsel::simulated
