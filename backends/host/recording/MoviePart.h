#pragma once

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>

namespace tamsel::host {

/// Whether the folder has an entry of this name, also a link to nothing.
[[nodiscard]] bool isThere(const std::filesystem::path& file);

/// The file in which a movie is recorded, beside its later place: "film.part.mp4" for "film.mp4". A whole movie takes that place
/// and replaces nothing there. Whatever happens, also to the system, one of the two files is there and plays what was synced.
/// A part is locked against other processes. Errors are one line that names the movie. Not thread-safe.
class MoviePart {
public:
    [[nodiscard]] static std::filesystem::path pathOf(const std::filesystem::path& movie);
    /// Where the whole movie is written before it takes the part's place.
    [[nodiscard]] static std::filesystem::path copyOf(const std::filesystem::path& movie);
    /// The movie to which a part of that name would belong; absent for other names.
    [[nodiscard]] static std::optional<std::filesystem::path> movieOf(const std::filesystem::path& part);

    /// An empty part. A part or a movie that is there already is an error, and is left alone.
    [[nodiscard]] static std::expected<MoviePart, platform::Error> create(std::filesystem::path movie);
    /// The part that a killed process has left; an error also while the movie is being recorded.
    [[nodiscard]] static std::expected<MoviePart, platform::Error> open(std::filesystem::path movie);

    MoviePart(MoviePart&& other) noexcept;
    ~MoviePart();

    [[nodiscard]] const std::filesystem::path& movie() const { return movie_; }
    /// What the FFmpeg libraries call it: MP4, or QuickTime where the movie's name ends in ".mov".
    [[nodiscard]] const char* container() const;

    /// Adds a fragment, and waits until the disk has it. It is no box that players know before all of it is there: half of one
    /// would keep them from the fragments before it. After an error nothing has been added, and nothing more can be.
    [[nodiscard]] std::expected<void, platform::Error> append(std::span<std::uint8_t> fragment);
    /// Of a part that was created: there is no fragment.
    [[nodiscard]] bool isEmpty() const { return size_ == 0; }
    void remove() const;

    using Check = std::function<std::expected<void, platform::Error>(const std::filesystem::path&)>;
    /// Puts the whole movie in the place of the fragments, unless the check has an objection. It holds at most so many packets.
    /// After an error the part is as it was.
    [[nodiscard]] std::expected<void, platform::Error> complete(
        std::optional<std::uint64_t> packets, const Check& check = nullptr);
    /// Gives the part the movie's name. The part stays what it is when there is a file of that name by now.
    [[nodiscard]] std::expected<void, platform::Error> publish() const;

private:
    MoviePart(std::filesystem::path movie, int descriptor);

    [[nodiscard]] std::expected<void, platform::Error> result(bool isDone) const;
    [[nodiscard]] bool writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) const;

    std::filesystem::path movie_;
    std::filesystem::path path_;
    int descriptor_;
    std::uint64_t size_ = 0; ///< of what is whole
};

} // namespace tamsel::host
