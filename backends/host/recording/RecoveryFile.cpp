#include <host/recording/RecoveryFile.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr std::string_view magic = "TAMSEL RECOVER 1";
constexpr std::uint32_t packetKind = 0x31544B50; // "PKT1"
constexpr std::uint32_t moveKind = 0x31564F4D; // "MOV1"
constexpr std::uint64_t longestDescription = std::uint64_t{1} << 20;
constexpr std::size_t mostTracks = 8;

struct Record {
    std::uint32_t kind;
    std::uint32_t track;
    std::uint64_t offset; ///< of a move: its begin
    std::uint32_t size;
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
        if (track.timescale <= 0)
            return std::nullopt;
        description.tracks.push_back(std::move(track));
    }
    if (!reader.isGood() || description.tracks.empty())
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
    const std::uint64_t length = encoded.size();
    std::vector<std::byte> head;
    for (const auto part :
        {std::as_bytes(std::span(magic)), bytesOf(length), std::span<const std::byte>(encoded)})
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
    const Record record{.kind = packetKind,
        .track = packet.track,
        .offset = packet.offset,
        .size = packet.size,
        .flags = packet.isKey ? 1U : 0U,
        .pts = packet.pts,
        .dts = packet.dts,
        .duration = packet.duration};
    auto written = file_.write(end_, bytesOf(record));
    if (written)
        end_ += recordSize;
    return written;
}

std::expected<void, Error> RecoveryFile::beginMove(const FrontMove& move)
{
    const Record record{.kind = moveKind,
        .track = 0,
        .offset = move.begin,
        .size = 0,
        .flags = 0,
        .pts = static_cast<std::int64_t>(move.end),
        .dts = static_cast<std::int64_t>(move.moved),
        .duration = static_cast<std::int64_t>(move.index.size())};
    // The record last: with it the index is valid.
    if (auto written = file_.write(end_ + recordSize, move.index); !written)
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
    std::array<std::byte, magic.size() + sizeof(std::uint64_t)> head{};
    if (size < head.size() || !file_.read(0, head)
        || std::memcmp(head.data(), magic.data(), magic.size()) != 0)
        return damaged();
    std::uint64_t length = 0;
    std::memcpy(&length, head.data() + magic.size(), sizeof length);
    if (length > longestDescription || length > size - head.size())
        return damaged();
    std::vector<std::byte> encoded(length);
    auto description = file_.read(head.size(), encoded) ? decode(encoded) : std::nullopt;
    if (!description)
        return damaged();
    description_ = std::move(*description);

    packets_.clear();
    Record record{};
    for (end_ = head.size() + length; end_ + recordSize <= size; end_ += recordSize) {
        if (auto read = file_.read(end_, std::as_writable_bytes(std::span(&record, 1))); !read)
            return read;
        if (record.kind == moveKind) {
            const auto indexSize = static_cast<std::uint64_t>(record.duration);
            FrontMove move{.begin = record.offset,
                .end = static_cast<std::uint64_t>(record.pts),
                .moved = static_cast<std::uint64_t>(record.dts),
                .index = {}};
            if (indexSize > size - end_ - recordSize || move.begin > move.moved || move.moved > move.end
                || indexSize == 0)
                return damaged();
            move.index.resize(indexSize);
            if (auto read = file_.read(end_ + recordSize, move.index); !read)
                return read;
            moveRecord_ = end_;
            move_ = std::move(move);
            break;
        }
        if (record.kind != packetKind || record.track >= description_.tracks.size())
            break; // what follows was reserved and never written, or only in part
        packets_.push_back({.track = record.track,
            .size = record.size,
            .offset = record.offset,
            .pts = record.pts,
            .dts = record.dts,
            .duration = record.duration,
            .isKey = (record.flags & 1U) != 0});
    }
    return {};
}

} // namespace tamsel::host
