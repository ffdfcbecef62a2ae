#include <simulated/SimulatedMovies.h>

#include <simulated/Scheduler.h>
#include <simulated/SimulatedAssets.h>

#include <cerrno>
#include <utility>

namespace tamsel::simulated {

using namespace engine;
using platform::CGAffineTransform;
using platform::CVPixelBuffer;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

/// Rotates the stored pictures clockwise, with y downwards.
CGAffineTransform displayMatrix(const SimulatedMovie& movie)
{
    const auto width = static_cast<double>(movie.width);
    const auto height = static_cast<double>(movie.height);
    switch (movie.settings.quarterTurns) {
    case 1:
        return {0, 1, -1, 0, height, 0};
    case 2:
        return {-1, 0, 0, -1, width, height};
    case 3:
        return {0, -1, 1, 0, 0, width};
    default:
        return {};
    }
}

struct PlacedFrame final : MovieFrame {
    std::size_t width = 0;
    std::size_t height = 0;
    std::uint8_t number = 0;
};

std::unexpected<Error> failure(const std::filesystem::path& url, const std::string& reason, int code)
{
    return std::unexpected(Error{.localizedDescription = url.string() + ": " + reason, .code = code});
}

} // namespace

class SimulatedMovies::Writer final : public MovieWriter {
public:
    Writer(SimulatedMovies& movies, MovieSettings settings) : movies_(movies), number_(movies.movieCount_++)
    {
        movie_->settings = std::move(settings);
    }

    [[nodiscard]] std::unique_ptr<MovieFrame> keep(
        const CVPixelBuffer& pixels, const NativePicture* /*nativePicture*/) override
    {
        auto frame = std::make_unique<PlacedFrame>();
        frame->width = pixels.width();
        frame->height = pixels.height();
        frame->number = std::to_integer<std::uint8_t>(pixels.pixel(0, 0)[2]);
        return frame;
    }

    [[nodiscard]] std::expected<void, Error> open() override
    {
        movies_.scheduler_.spend(script().timeToOpen);
        if (script().cannotOpen)
            return failure(url(), *script().cannotOpen, EACCES);
        if (auto answered = answer(MovieStep::open); !answered)
            return answered;
        if (!movies_.movies_.try_emplace(url(), movie_).second)
            return failure(url(), "File exists", EEXIST);
        return {};
    }

    [[nodiscard]] std::expected<void, Error> writeFrame(
        const MovieFrame& frame, nanoseconds captureTime) override
    {
        movies_.scheduler_.spend(script().timeToEncode);
        const auto& placed = dynamic_cast<const PlacedFrame&>(frame);
        if (movie_->frameTimes.empty()) {
            movie_->width = placed.width;
            movie_->height = placed.height;
        }
        if (placed.width != movie_->width || placed.height != movie_->height)
            return failure(url(), "the size of the picture has changed", EINVAL);
        if (script().framesUntilFull && movie_->frameTimes.size() >= *script().framesUntilFull)
            return failure(url(), "No space left on device", ENOSPC);
        if (auto answered = answer(MovieStep::frame); !answered)
            return answered;
        movie_->frameTimes.push_back(captureTime);
        movie_->frameNumbers.push_back(placed.number);
        return {};
    }

    [[nodiscard]] std::expected<void, Error> writeSound(const SoundChunk& chunk) override
    {
        movie_->soundLength += chunk.length();
        return {};
    }

    [[nodiscard]] std::expected<void, Error> finish() override
    {
        movies_.scheduler_.spend(script().timeToFinish);
        const auto answered = answer(MovieStep::finish);
        if (movie_->frameTimes.empty()) {
            movies_.movies_.erase(url());
            return failure(url(), "no frame was recorded", ENODATA);
        }
        movie_->isComplete = true;
        movies_.assets_.put(url(),
            {.frames = movie_->frameTimes.size(),
                .width = movie_->width,
                .height = movie_->height,
                .preferredTransform = displayMatrix(*movie_)});
        return answered;
    }

private:
    [[nodiscard]] const std::filesystem::path& url() const { return movie_->settings.url; }
    [[nodiscard]] const MovieScript& script() const { return movies_.script_; }
    [[nodiscard]] std::expected<void, Error> answer(MovieStep step) const
    {
        std::optional<Error> error;
        if (script().answer)
            error = script().answer(step, number_, movie_->frameTimes.size());
        if (error)
            return std::unexpected(std::move(*error));
        return {};
    }

    SimulatedMovies& movies_;
    const std::size_t number_;
    const std::shared_ptr<SimulatedMovie> movie_ = std::make_shared<SimulatedMovie>();
};

SimulatedMovies::SimulatedMovies(Scheduler& scheduler, SimulatedAssets& assets)
    : scheduler_(scheduler),
      assets_(assets)
{
}

std::shared_ptr<const SimulatedMovie> SimulatedMovies::movie(const std::filesystem::path& url) const
{
    const auto found = movies_.find(url);
    return found == movies_.end() ? nullptr : found->second;
}

std::unique_ptr<MovieWriter> SimulatedMovies::makeWriter(MovieSettings settings)
{
    return std::make_unique<Writer>(*this, std::move(settings));
}

} // namespace tamsel::simulated
