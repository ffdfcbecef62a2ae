#include <host/recording/RecoveryFile.h>

#include <host/ffmpeg/owners.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr std::string_view magic = "TAMSEL RECOVER 2";
constexpr std::uint64_t longestDescription = std::uint64_t{1} << 20;
constexpr std::size_t mostTracks = 8;
constexpr std::int32_t longestSide = 16'384; // of a picture, in pixels
constexpr std::int32_t mostChannels = 8;
constexpr std::int64_t latestCreation = std::int64_t{1} << 40; // seconds since 1970
constexpr std::uint32_t keyFlag = 1;
constexpr std::uint32_t moveFlag = 2;

struct Record {
    std::uint32_t checksum; ///< of the rest, without how far a move is
    std::uint32_t track;
    std::uint64_t offset; ///< of a move: its begin
    std::uint32_t size; ///< of a move: the checksum of index and head
    std::uint32_t flags;
    std::int64_t pts; ///< of a move: its end
    std::int64_t dts; ///< of a move: how far it is
    std::int64_t duration; ///< of a move: the length of the index
};
static_assert(sizeof(Record) == RecoveryFile::recordSize);

std::span<const std::byte> bytesOf(const auto& value)
{
    return std::as_bytes(std::span(&value, 1));
}

/// Never 0 of zeros.
std::uint32_t checksumOf(std::span<const std::byte> bytes)
{
    return av_crc(av_crc_get_table(AV_CRC_32_IEEE_LE), ~0U,
        reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

std::uint32_t checksumOf(Record record)
{
    record.checksum = 0;
    if ((record.flags & moveFlag) != 0)
        record.dts = 0;
    return checksumOf(bytesOf(record));
}

/// Appends values of fixed size, and runs of bytes with their length.
class Writer {
public:
    void number(std::int64_t value)
    {
        const auto bytes = bytesOf(value);
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    void run(std::span<const std::byte> run)
    {
        number(static_cast<std::int64_t>(run.size()));
        bytes_.insert(bytes_.end(), run.begin(), run.end());
    }
    [[nodiscard]] const std::vector<std::byte>& bytes() const { return bytes_; }

private:
    std::vector<std::byte> bytes_;
};

class Reader {
public:
    explicit Reader(std::span<const std::byte> bytes) : bytes_(bytes) { }

    template <typename Number = std::int64_t> [[nodiscard]] Number number()
    {
        std::int64_t value = 0;
        const auto bytes = take(sizeof value);
        if (bytes.size() == sizeof value)
            std::memcpy(&value, bytes.data(), sizeof value);
        if (!std::in_range<Number>(value))
            isGood_ = false;
        return static_cast<Number>(value);
    }
    [[nodiscard]] std::span<const std::byte> run() { return take(number<std::uint64_t>()); }
    [[nodiscard]] bool isGood() const { return isGood_; }

private:
    std::span<const std::byte> take(std::uint64_t count)
    {
        if (count > bytes_.size()) {
            isGood_ = false;
            return {};
        }
        const auto taken = bytes_.first(count);
        bytes_ = bytes_.subspan(count);
        return taken;
    }

    std::span<const std::byte> bytes_;
    bool isGood_ = true;
};

std::vector<std::byte> encode(const MovieDescription& description)
{
    Writer writer;
    writer.run(std::as_bytes(std::span(description.container)));
    writer.number(description.creationTime);
    writer.number(static_cast<std::int64_t>(description.tracks.size()));
    for (const TrackDescription& track : description.tracks) {
        for (const std::int64_t value :
            {track.codec, std::int32_t{track.isPicture}, track.width, track.height, track.pixelFormat,
                track.colourRange, track.colourPrimaries, track.colourTransfer, track.colourSpace,
                track.quarterTurns, track.sampleRate, track.channels, track.frameSize, track.initialPadding,
                track.profile, track.level, track.timescale})
            writer.number(value);
        writer.run(track.extradata);
    }
    return writer.bytes();
}

/// Within what the FFmpeg libraries, and arithmetic with these numbers, can take.
bool isPossible(const TrackDescription& track)
{
    const auto isSide = [](std::int32_t side) { return side > 0 && side <= longestSide; };
    return track.isPicture ? isSide(track.width) && isSide(track.height)
                           : track.channels > 0 && track.channels <= mostChannels && track.sampleRate > 0
            && track.frameSize >= 0;
}

std::optional<MovieDescription> decode(std::span<const std::byte> bytes)
{
    Reader reader(bytes);
    MovieDescription description;
    const auto container = reader.run();
    description.container.assign(reinterpret_cast<const char*>(container.data()), container.size());
    description.creationTime = reader.number();
    const auto count = reader.number<std::uint32_t>();
    if (count > mostTracks)
        return std::nullopt;
    for (std::uint32_t index = 0; index < count && reader.isGood(); ++index) {
        TrackDescription track;
        track.codec = reader.number<std::int32_t>();
        track.isPicture = reader.number() != 0;
        for (std::int32_t* value : {&track.width, &track.height, &track.pixelFormat, &track.colourRange,
                 &track.colourPrimaries, &track.colourTransfer, &track.colourSpace, &track.quarterTurns,
                 &track.sampleRate, &track.channels, &track.frameSize, &track.initialPadding, &track.profile,
                 &track.level, &track.timescale})
            *value = reader.number<std::int32_t>();
        const auto extradata = reader.run();
        track.extradata.assign(extradata.begin(), extradata.end());
        if (track.timescale <= 0 || !isPossible(track))
            return std::nullopt;
        description.tracks.push_back(std::move(track));
    }
    if (!reader.isGood() || description.tracks.empty() || description.creationTime < 0
        || description.creationTime > latestCreation)
        return std::nullopt;
    return description;
}

} // namespace

std::filesystem::path RecoveryFile::pathOf(const std::filesystem::path& movie)
{
    std::filesystem::path path = movie;
    path += ".recovery";
    return path;
}

std::expected<RecoveryFile, Error> RecoveryFile::create(const std::filesystem::path& movie)
{
    auto file = ReservedFile::create(pathOf(movie));
    if (!file)
        return std::unexpected(std::move(file.error()));
    (void)file->lock();
    return RecoveryFile(std::move(*file));
}

std::expected<void, Error> RecoveryFile::describe(const MovieDescription& description)
{
    const std::vector<std::byte> encoded = encode(description);
    const std::array<std::uint32_t, 2> lengthAndChecksum{
        static_cast<std::uint32_t>(encoded.size()), checksumOf(encoded)};
    std::vector<std::byte> head;
    for (const auto part :
        {std::as_bytes(std::span(magic)), bytesOf(lengthAndChecksum), std::span<const std::byte>(encoded)})
        head.insert(head.end(), part.begin(), part.end());
    end_ = head.size();
    return file_.write(0, head);
}

std::expected<void, Error> RecoveryFile::reserve(std::uint64_t more)
{
    return file_.reserve(end_ + more);
}

std::expected<void, Error> RecoveryFile::add(const PacketRecord& packet)
{
    Record record{.checksum = 0,
        .track = packet.track,
        .offset = packet.offset,
        .size = packet.size,
        .flags = packet.isKey ? keyFlag : 0U,
        .pts = packet.pts,
        .dts = packet.dts,
        .duration = packet.duration};
    record.checksum = checksumOf(record);
    auto written = file_.write(end_, bytesOf(record));
    if (written)
        end_ += recordSize;
    return written;
}

std::expected<void, Error> RecoveryFile::beginMove(const FrontMove& move)
{
    std::vector<std::byte> content = move.index;
    content.insert(content.end(), move.head.begin(), move.head.end());
    Record record{.checksum = 0,
        .track = 0,
        .offset = move.begin,
        .size = checksumOf(content),
        .flags = moveFlag,
        .pts = static_cast<std::int64_t>(move.end),
        .dts = static_cast<std::int64_t>(move.moved),
        .duration = static_cast<std::int64_t>(move.index.size())};
    record.checksum = checksumOf(record);
    // The record last: with it the index is valid.
    if (auto written = file_.write(end_ + recordSize, content); !written)
        return written;
    moveRecord_ = end_;
    return file_.write(end_, bytesOf(record));
}

std::expected<void, Error> RecoveryFile::noteMoved(std::uint64_t moved)
{
    return file_.write(moveRecord_ + offsetof(Record, dts), bytesOf(moved));
}

std::expected<RecoveryFile, Error> RecoveryFile::open(const std::filesystem::path& movie)
{
    auto file = ReservedFile::open(pathOf(movie));
    if (!file)
        return std::unexpected(std::move(file.error()));
    if (!file->lock())
        return std::unexpected(Error{.localizedDescription = movie.string() + ": is being recorded"});
    RecoveryFile recovery(std::move(*file));
    if (auto read = recovery.reload(); !read)
        return std::unexpected(std::move(read.error()));
    return recovery;
}

std::expected<void, Error> RecoveryFile::reload()
{
    const auto damaged = [this] {
        return std::unexpected(
            Error{.localizedDescription = file_.path().string() + ": is damaged, or of another version"});
    };
    const std::uint64_t size = file_.size();
    std::array<std::uint32_t, 2> lengthAndChecksum{};
    std::array<std::byte, magic.size() + sizeof lengthAndChecksum> head{};
    if (size < head.size() || !file_.read(0, head)
        || std::memcmp(head.data(), magic.data(), magic.size()) != 0)
        return damaged();
    std::memcpy(lengthAndChecksum.data(), head.data() + magic.size(), sizeof lengthAndChecksum);
    const auto [length, checksum] = lengthAndChecksum;
    if (length > longestDescription || length > size - head.size())
        return damaged();
    std::vector<std::byte> encoded(length);
    const bool isWhole = file_.read(head.size(), encoded) && checksumOf(encoded) == checksum;
    auto description = isWhole ? decode(encoded) : std::nullopt;
    if (!description)
        return damaged();
    description_ = std::move(*description);

    packets_.clear();
    Record record{};
    bool hasGap = false;
    for (end_ = head.size() + length; end_ + recordSize <= size; end_ += recordSize) {
        if (auto read = file_.read(end_, std::as_writable_bytes(std::span(&record, 1))); !read)
            return read;
        // Never written, only in part, or damaged since.
        if (record.checksum != checksumOf(record)) {
            hasGap = true;
            continue;
        }
        if ((record.flags & moveFlag) != 0) {
            const auto indexSize = static_cast<std::uint64_t>(record.duration);
            FrontMove move{.begin = record.offset,
                .end = static_cast<std::uint64_t>(record.pts),
                .moved = static_cast<std::uint64_t>(record.dts),
                .head = {},
                .index = {}};
            const std::uint64_t left = size - end_ - recordSize;
            if (left < FrontMove::headSize || indexSize > left - FrontMove::headSize || indexSize == 0
                || move.begin > move.moved || move.moved > move.end)
                return damaged();
            move.index.resize(indexSize + FrontMove::headSize);
            if (auto read = file_.read(end_ + recordSize, move.index); !read)
                return read;
            if (checksumOf(move.index) != record.size)
                return damaged();
            std::ranges::copy(std::span(move.index).last(FrontMove::headSize), move.head.begin());
            move.index.resize(indexSize);
            moveRecord_ = end_;
            move_ = std::move(move);
            break;
        }
        if (record.track >= description_.tracks.size())
            return damaged();
        const bool isKey = (record.flags & keyFlag) != 0;
        const bool isPicture = description_.tracks[record.track].isPicture;
        hasGap = hasGap && !(isPicture && isKey);
        if (hasGap && isPicture)
            continue; // cannot be decoded without what is missing
        packets_.push_back({.track = record.track,
            .size = record.size,
            .offset = record.offset,
            .pts = record.pts,
            .dts = record.dts,
            .duration = record.duration,
            .isKey = isKey});
    }
    return {};
}

} // namespace tamsel::host
