#pragma once

#include <host/recording/RecoveryFile.h>
#include <host/recording/ReservedFile.h>

#include <tamsel/platform/Error.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <vector>

struct AVFormatContext;
struct AVIOContext;
struct AVPacket;

namespace tamsel::host {

/// The FFmpeg libraries' muxer on a movie's file. What it writes goes into the file at once; the index, which it writes at
/// the end, is caught in memory. It can also go once more over a file that is there already, without writing what is
/// there. Not thread-safe.
class Muxer {
public:
    enum class Mode : std::uint8_t {
        write,
        replay, ///< the file has these bytes already
    };

    [[nodiscard]] static std::expected<std::unique_ptr<Muxer>, platform::Error> begin(
        ReservedFile& file, const MovieDescription& description, Mode mode);

    ~Muxer();
    Muxer(const Muxer&) = delete;
    Muxer& operator=(const Muxer&) = delete;

    /// Where the next packet will stand.
    [[nodiscard]] std::uint64_t position() const;
    /// Of a replay: the next packet stands there.
    void moveTo(std::uint64_t position);
    [[nodiscard]] std::expected<void, platform::Error> write(AVPacket& packet, std::uint32_t track);

    /// Ends the media data, and gives the index, whose chunk offsets are those of the file. Once.
    [[nodiscard]] std::expected<std::vector<std::byte>, platform::Error> end();
    /// Behind the file's type: where an index may stand, and where the media data's head begins.
    [[nodiscard]] std::uint64_t headerEnd() const { return headerEnd_; }
    /// The head with the data's size, which is in the file only when somebody writes it there.
    [[nodiscard]] const std::array<std::byte, FrontMove::headSize>& head() const { return head_; }
    /// Behind the media data.
    [[nodiscard]] std::uint64_t dataEnd() const { return dataEnd_; }

private:
    Muxer(ReservedFile& file, Mode mode);

    [[nodiscard]] std::expected<void, platform::Error> open(const MovieDescription& description);
    [[nodiscard]] std::expected<void, platform::Error> failed(int code);
    static int writeBytes(void* opaque, std::uint8_t* bytes, int count);
    static std::int64_t seek(void* opaque, std::int64_t offset, int whence);
    [[nodiscard]] std::expected<void, platform::Error> place(std::span<const std::byte> bytes);

    ReservedFile& file_;
    const Mode mode_;
    AVFormatContext* format_ = nullptr;
    AVIOContext* output_ = nullptr;
    std::optional<platform::Error> error_; ///< of the file, behind a code of the libraries
    std::uint64_t at_ = 0;
    std::uint64_t headerEnd_ = 0;
    std::uint64_t dataEnd_ = 0;
    std::array<std::byte, FrontMove::headSize> head_{};
    bool isInData_ = false;
    bool catchesIndex_ = false;
    std::vector<std::byte> index_;
};

} // namespace tamsel::host
