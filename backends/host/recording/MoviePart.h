#pragma once

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>

namespace tamsel::host {

/// Whether the folder has an entry of this name, also a dangling link.
[[nodiscard]] bool isThere(const std::filesystem::path& file);

/// The file in which a movie is recorded, beside its final path: "film.part.mp4" for "film.mp4". The whole movie takes
/// that path and replaces nothing there. Even if the system crashes, one of the two files exists and plays everything
/// that was synced. A part is locked against other processes. Errors are one line that names the movie. Not
/// thread-safe.
class MoviePart {
public:
    [[nodiscard]] static std::filesystem::path pathOf(const std::filesystem::path& movie);
    /// The file into which the whole movie is written before it replaces the part.
    [[nodiscard]] static std::filesystem::path copyOf(const std::filesystem::path& movie);
    /// The movie of a part of that name; absent for other names.
    [[nodiscard]] static std::optional<std::filesystem::path> movieOf(const std::filesystem::path& part);

    /// An empty part. An existing part or movie is an error, and is not touched.
    [[nodiscard]] static std::expected<MoviePart, platform::Error> create(std::filesystem::path movie);
    /// The part that is left after a crash; an error also while the movie is being recorded.
    [[nodiscard]] static std::expected<MoviePart, platform::Error> open(std::filesystem::path movie);

    MoviePart(MoviePart&& other) noexcept;
    ~MoviePart();

    [[nodiscard]] const std::filesystem::path& movie() const { return movie_; }
    /// The name in the FFmpeg libraries: MP4, or QuickTime if the movie's name ends in ".mov".
    [[nodiscard]] const char* container() const;

    /// Adds a fragment, and waits until it is on the disk. Players do not recognise it before it is complete, because
    /// half a fragment would make the ones before it unreadable. After an error nothing has been added, and nothing
    /// more can be.
    [[nodiscard]] std::expected<void, platform::Error> append(std::span<std::uint8_t> fragment);
    /// For a part that was created: there is no fragment.
    [[nodiscard]] bool isEmpty() const { return size_ == 0; }
    void remove() const;

    using Check = std::function<std::expected<void, platform::Error>(const std::filesystem::path&)>;
    /// Replaces the fragments by the whole movie, unless the check fails. It has at most this number of packets. After
    /// an error the part is unchanged.
    [[nodiscard]] std::expected<void, platform::Error> complete(
        std::optional<std::uint64_t> packets, const Check& check = nullptr);
    /// Renames the part to the movie's name. The part stays unchanged if a file of that name exists by now.
    [[nodiscard]] std::expected<void, platform::Error> publish() const;

private:
    MoviePart(std::filesystem::path movie, int descriptor);

    [[nodiscard]] std::expected<void, platform::Error> result(bool isDone) const;
    [[nodiscard]] bool writeAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) const;

    std::filesystem::path movie_;
    std::filesystem::path path_;
    int descriptor_;
    std::uint64_t size_ = 0; ///< of the complete content
};

} // namespace tamsel::host
