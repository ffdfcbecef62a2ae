#include <host/recording/MovieFile.h>

#include <host/movie/MovieContainer.h>
#include <host/movie/ffmpegOwners.h>
#include <host/movie/movieFailure.h>
#include <host/recording/FrontMover.h>
#include <host/recording/Muxer.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>
#include <optional>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

/// What an index needs, for the movie and for each packet: entries of stts, stsz, stsc, co64, stss (ISO/IEC 14496-12).
constexpr std::uint64_t indexBase = std::uint64_t{16} * 1024;
constexpr std::uint64_t indexPerPacket = 44;
constexpr std::uint64_t boxHead = 16;

const char* containerFor(const std::filesystem::path& path)
{
    std::string suffix = path.extension().string();
    std::ranges::transform(suffix, suffix.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return suffix == ".mov" ? "mov" : "mp4";
}

std::int64_t now()
{
    return std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::system_clock::now().time_since_epoch())
        .count();
}

/// Turns NAL units behind their lengths, as a file has them (ISO/IEC 14496-15), into units behind start codes, as the encoder
/// gave them. False when the lengths do not add up.
bool restoreStartCodes(std::span<std::uint8_t> packet)
{
    constexpr std::size_t lengthSize = 4;
    while (packet.size() > lengthSize) {
        const std::size_t length = static_cast<std::size_t>(packet[0]) << 24
            | static_cast<std::size_t>(packet[1]) << 16 | static_cast<std::size_t>(packet[2]) << 8
            | packet[3];
        if (length == 0 || length > packet.size() - lengthSize)
            return false;
        packet[0] = packet[1] = packet[2] = 0;
        packet[3] = 1;
        packet = packet.subspan(lengthSize + length);
    }
    return packet.empty();
}

} // namespace

struct MovieFile::Parts {
    ReservedFile movie;
    RecoveryFile recovery;
    MovieDescription description;
    std::unique_ptr<Muxer> muxer;
    std::uint64_t packets = 0;
    bool hasFailed = false; ///< the muxer counts on bytes that are not there
    std::optional<FrontMover> mover;
    std::uint64_t finalSize = 0; ///< once there is an index

    [[nodiscard]] std::expected<void, Error> reserve(std::uint64_t size);
    [[nodiscard]] std::expected<void, Error> replay(const std::vector<PacketRecord>& packets);
    [[nodiscard]] std::expected<bool, Error> makeIndex();
    [[nodiscard]] std::expected<bool, Error> complete();
};

MovieFile::MovieFile(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) { }
MovieFile::~MovieFile() = default;

std::expected<std::unique_ptr<MovieFile>, Error> MovieFile::create(const std::filesystem::path& path)
{
    prepareMovieLibraries();
    auto movie = ReservedFile::create(path);
    if (!movie)
        return std::unexpected(std::move(movie.error()));
    auto recovery = RecoveryFile::create(path);
    if (!recovery) {
        movie->remove();
        return std::unexpected(std::move(recovery.error()));
    }
    auto parts = std::make_unique<Parts>(Parts{.movie = std::move(*movie),
        .recovery = std::move(*recovery),
        .description = {.container = containerFor(path), .creationTime = now(), .tracks = {}},
        .muxer = nullptr,
        .mover = std::nullopt});
    return std::unique_ptr<MovieFile>(new MovieFile(std::move(parts)));
}

std::expected<std::unique_ptr<MovieFile>, Error> MovieFile::resume(const std::filesystem::path& path)
{
    prepareMovieLibraries();
    auto movie = ReservedFile::open(path);
    if (!movie)
        return std::unexpected(std::move(movie.error()));
    auto recovery = RecoveryFile::open(path);
    if (!recovery)
        return std::unexpected(std::move(recovery.error()));
    std::unique_ptr<MovieFile> file(new MovieFile(std::make_unique<Parts>(Parts{.movie = std::move(*movie),
        .recovery = std::move(*recovery),
        .description = {},
        .muxer = nullptr,
        .mover = std::nullopt})));
    Parts& parts = *file->parts_;
    if (const std::optional<FrontMove>& move = parts.recovery.move()) {
        if (move->end > parts.movie.size())
            return failure(path.string(), "is shorter than what stands beside it says");
        parts.finalSize = move->end + move->index.size();
        parts.mover.emplace(parts.movie, parts.recovery, *move);
        return file;
    }
    if (auto replayed = parts.replay(parts.recovery.packets()); !replayed)
        return std::unexpected(std::move(replayed.error()));
    return file;
}

std::expected<void, Error> MovieFile::begin(std::vector<TrackDescription> tracks)
{
    Parts& parts = *parts_;
    parts.description.tracks = std::move(tracks);
    if (auto reserved = parts.reserve(0); !reserved)
        return reserved;
    if (auto described = parts.recovery.describe(parts.description); !described)
        return described;
    auto muxer = Muxer::begin(parts.movie, parts.description, Muxer::Mode::write);
    if (!muxer)
        return std::unexpected(std::move(muxer.error()));
    parts.muxer = std::move(*muxer);
    return {};
}

/// Room for a packet of that size, and for everything that finishing takes afterwards.
std::expected<void, Error> MovieFile::Parts::reserve(std::uint64_t size)
{
    const std::uint64_t index = indexBase + indexPerPacket * (packets + 1);
    if (auto reserved = movie.reserve((muxer ? muxer->position() : 0) + size + boxHead + index); !reserved)
        return reserved;
    return recovery.reserve(index + 2 * RecoveryFile::recordSize);
}

std::expected<void, Error> MovieFile::write(AVPacket& packet, std::uint32_t track)
{
    Parts& parts = *parts_;
    if (parts.hasFailed)
        return failure(parts.movie.path().string(), "cannot be written any more");
    // Annex B start codes may be three bytes long, the lengths that replace them are four.
    const auto size = static_cast<std::uint64_t>(packet.size);
    if (auto reserved = parts.reserve(size + size / 64 + 64); !reserved)
        return reserved;
    PacketRecord record{.track = track,
        .offset = parts.muxer->position(),
        .pts = packet.pts,
        .dts = packet.dts,
        .duration = packet.duration,
        .isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0};
    auto written = parts.muxer->write(packet, track);
    if (written) {
        record.size = static_cast<std::uint32_t>(parts.muxer->position() - record.offset);
        written = parts.recovery.add(record);
    }
    if (written)
        ++parts.packets;
    else
        parts.hasFailed = true;
    return written;
}

std::uint64_t MovieFile::packetCount() const
{
    return parts_->packets;
}

/// Brings the muxer to where it was when it had written these packets.
std::expected<void, Error> MovieFile::Parts::replay(const std::vector<PacketRecord>& records)
{
    description = recovery.description();
    packets = 0;
    auto begun = Muxer::begin(movie, description, Muxer::Mode::replay);
    if (!begun)
        return std::unexpected(std::move(begun.error()));
    muxer = std::move(*begun);
    bool hasPicture = false;
    const std::uint64_t size = movie.size();
    for (const PacketRecord& record : records) {
        const TrackDescription& track = description.tracks[record.track];
        if (record.offset < muxer->position() || record.offset > size || record.size > size - record.offset)
            break; // was never written whole
        const OwnedPacket packet(av_packet_alloc());
        if (av_new_packet(packet.get(), static_cast<int>(record.size)) < 0)
            break;
        const std::span<std::uint8_t> bytes(packet->data, record.size);
        if (auto read = movie.read(record.offset, std::as_writable_bytes(bytes)); !read)
            return read;
        if (track.codec == AV_CODEC_ID_H264 && !restoreStartCodes(bytes))
            break;
        packet->pts = record.pts;
        packet->dts = record.dts;
        packet->duration = record.duration;
        packet->flags = record.isKey ? AV_PKT_FLAG_KEY : 0;
        muxer->moveTo(record.offset);
        if (auto written = muxer->write(*packet, record.track); !written)
            return written;
        ++packets;
        hasPicture = hasPicture || track.isPicture;
    }
    if (!hasPicture)
        packets = 0; // sound alone is no movie
    return {};
}

std::expected<bool, Error> MovieFile::Parts::makeIndex()
{
    if (packets == 0)
        return failure(movie.path().string(), "no frame was recorded");
    if (std::exchange(hasFailed, false)) {
        if (auto loaded = recovery.reload(); !loaded)
            return std::unexpected(std::move(loaded.error()));
        if (auto replayed = replay(recovery.packets()); !replayed)
            return std::unexpected(std::move(replayed.error()));
    }
    auto index = muxer->end();
    if (!index)
        return std::unexpected(std::move(index.error()));
    const std::uint64_t dataEnd = muxer->dataEnd();
    finalSize = dataEnd + index->size();
    std::vector<std::byte> shifted = *index;
    if (!shiftChunks(shifted, shifted.size())) {
        auto written = movie.write(dataEnd, *index);
        if (written)
            written = movie.write(muxer->headerEnd(), muxer->head());
        if (!written)
            return std::unexpected(std::move(written.error()));
        return complete();
    }
    FrontMove move{.begin = muxer->headerEnd(),
        .end = dataEnd,
        .moved = dataEnd,
        .head = muxer->head(),
        .index = std::move(shifted)};
    if (auto begun = recovery.beginMove(move); !begun)
        return std::unexpected(std::move(begun.error()));
    mover.emplace(movie, recovery, std::move(move));
    return false;
}

std::expected<bool, Error> MovieFile::Parts::complete()
{
    if (auto cut = movie.cut(finalSize); !cut)
        return std::unexpected(std::move(cut.error()));
    return true;
}

std::expected<bool, Error> MovieFile::finishStep()
{
    Parts& parts = *parts_;
    if (!parts.mover)
        return parts.makeIndex();
    auto moved = parts.mover->step();
    if (!moved || !*moved)
        return moved;
    return parts.complete();
}

std::expected<void, Error> MovieFile::finish(const Check& check)
{
    for (bool isDone = false; !isDone;) {
        auto stepped = finishStep();
        if (!stepped)
            return std::unexpected(std::move(stepped.error()));
        isDone = *stepped;
    }
    if (auto checked = check ? check() : std::expected<void, Error>{}; !checked)
        return checked;
    parts_->recovery.remove();
    return {};
}

void MovieFile::remove()
{
    parts_->movie.remove();
    parts_->recovery.remove();
}

} // namespace tamsel::host
