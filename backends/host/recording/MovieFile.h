#pragma once

#include <host/recording/RecoveryFile.h>
#include <host/recording/ReservedFile.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>

struct AVPacket;

namespace tamsel::host {

/// A movie on its way into a file without fragments, whose index comes to the front when it is finished: MP4, or QuickTime
/// where the name ends in ".mov". Whatever has been written is also noted beside it, so that a movie that is never finished
/// can be completed; and what finishing takes is reserved on the disk, so that a full one does not prevent it. Errors are
/// one line that names the file. Not thread-safe.
class MovieFile {
public:
    /// Files that are there already are errors, and are left alone.
    [[nodiscard]] static std::expected<std::unique_ptr<MovieFile>, platform::Error> create(
        const std::filesystem::path& path);
    /// What a killed recorder has left, ready to be finished.
    [[nodiscard]] static std::expected<std::unique_ptr<MovieFile>, platform::Error> resume(
        const std::filesystem::path& path);

    ~MovieFile();
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    /// Begins with tracks, in the order of their numbers. Once, before the first packet.
    [[nodiscard]] std::expected<void, platform::Error> begin(std::vector<TrackDescription> tracks);
    /// Times are in units of the track. After an error no more can be written, and the packet is not in the movie.
    [[nodiscard]] std::expected<void, platform::Error> write(AVPacket& packet, std::uint32_t track);
    [[nodiscard]] std::uint64_t packetCount() const;

    /// Completes the file, in steps that may each be the last that happens: the index is made, then one block after the other
    /// is moved. True when the movie is whole.
    [[nodiscard]] std::expected<bool, platform::Error> finishStep();
    /// Whether a movie that has been completed is as it should be.
    using Check = std::function<std::expected<void, platform::Error>()>;
    /// All steps, and then, unless the check has an objection, takes away what stands beside the movie. After an error of
    /// writing the movie holds what was written until then.
    [[nodiscard]] std::expected<void, platform::Error> finish(const Check& check = nullptr);
    /// Leaves no file.
    void remove();

private:
    struct Parts;

    explicit MovieFile(std::unique_ptr<Parts> parts);

    std::unique_ptr<Parts> parts_;
};

} // namespace tamsel::host
