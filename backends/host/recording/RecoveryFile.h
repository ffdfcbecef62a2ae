#pragma once

#include <host/recording/ReservedFile.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::host {

/// What is fixed about one track of a movie.
struct TrackDescription {
    std::int32_t codec = 0; ///< an AVCodecID
    bool isPicture = false;
    std::int32_t width = 0; ///< of a picture, in pixels
    std::int32_t height = 0;
    std::int32_t pixelFormat = 0; ///< an AVPixelFormat
    std::int32_t colourRange = 0; ///< AVColorRange, and so on
    std::int32_t colourPrimaries = 0;
    std::int32_t colourTransfer = 0;
    std::int32_t colourSpace = 0;
    std::int32_t quarterTurns = 0; ///< clockwise
    std::int32_t sampleRate = 0; ///< of sound
    std::int32_t channels = 0;
    std::int32_t frameSize = 0;
    std::int32_t initialPadding = 0;
    std::int32_t profile = 0;
    std::int32_t level = 0;
    std::int32_t timescale = 0; ///< units a second
    std::vector<std::byte> extradata;
};

/// What is fixed about a movie: its container's name in the FFmpeg libraries, and its tracks.
struct MovieDescription {
    std::string container;
    std::int64_t creationTime = 0; ///< seconds since 1970, UTC
    std::vector<TrackDescription> tracks;
};

/// Where a packet stands in the movie, and when it is shown, in its track's units.
struct PacketRecord {
    std::uint32_t track = 0;
    std::uint32_t size = 0; ///< in the movie
    std::uint64_t offset = 0;
    std::int64_t pts = 0;
    std::int64_t dts = 0;
    std::int64_t duration = 0;
    bool isKey = false;
};

/// The state of the last step: the media data, bytes `begin` to `end` of the movie, is moved back by the size of the index to
/// make room for it. What stood from `moved` on has been moved already. Before, the data's size is put into its head: a head
/// with a size says that its movie must not be read by the packets' places any more.
struct FrontMove {
    static constexpr std::size_t headSize = 16;

    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::uint64_t moved = 0;
    std::array<std::byte, headSize> head{};
    std::vector<std::byte> index;
};

/// The file beside a movie that is being recorded, from which it can be completed when the recorder is killed. It belongs to
/// the machine that writes it: numbers are in its byte order. Layout: 16 bytes of magic with the version; length and checksum
/// of the description, and the description; then records of 48 bytes with a checksum, one a packet, until one of them begins
/// the front move, with the index and the head behind it. Not thread-safe.
class RecoveryFile {
public:
    [[nodiscard]] static std::filesystem::path pathOf(const std::filesystem::path& movie);

    [[nodiscard]] static std::expected<RecoveryFile, platform::Error> create(
        const std::filesystem::path& movie);
    /// What a killed recorder has left; the error says why it is of no use, or that the recorder is alive. Packets whose record
    /// is damaged are left out, and with them the pictures that build on theirs.
    [[nodiscard]] static std::expected<RecoveryFile, platform::Error> open(
        const std::filesystem::path& movie);

    // Writing.

    [[nodiscard]] std::expected<void, platform::Error> describe(const MovieDescription& description);
    /// Room for that many more bytes behind the records.
    [[nodiscard]] std::expected<void, platform::Error> reserve(std::uint64_t more);
    [[nodiscard]] std::expected<void, platform::Error> add(const PacketRecord& record);
    /// Instead of further packets.
    [[nodiscard]] std::expected<void, platform::Error> beginMove(const FrontMove& move);
    [[nodiscard]] std::expected<void, platform::Error> noteMoved(std::uint64_t moved);
    void remove() { file_.remove(); }
    /// Reads what has been written.
    [[nodiscard]] std::expected<void, platform::Error> reload();

    // What was there when it was opened or reloaded.

    [[nodiscard]] const MovieDescription& description() const { return description_; }
    [[nodiscard]] const std::vector<PacketRecord>& packets() const { return packets_; }
    [[nodiscard]] const std::optional<FrontMove>& move() const { return move_; }

    /// Of a record; what each packet costs.
    static constexpr std::uint64_t recordSize = 48;

private:
    explicit RecoveryFile(ReservedFile file) : file_(std::move(file)) { }

    ReservedFile file_;
    std::uint64_t end_ = 0;
    std::uint64_t moveRecord_ = 0;
    MovieDescription description_;
    std::vector<PacketRecord> packets_;
    std::optional<FrontMove> move_;
};

} // namespace tamsel::host
