#include <host/recording/HostMovieWriter.h>

#include <host/ffmpeg/failure.h>
#include <host/recording/MovieFile.h>
#include <host/recording/PictureStore.h>
#include <host/recording/SoundEncoder.h>
#include <host/recording/SoundPlacement.h>
#include <host/recording/VideoEncoder.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace tamsel::host {

using engine::MovieFrame;
using engine::MovieSettings;
using engine::SoundChunk;
using platform::CVPixelBuffer;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr int pictureTrack = 0;
constexpr int soundTrack = 1;
constexpr std::int64_t usualInterval = VideoEncoder::timescale / 30;
/// How long the first fragment waits for sound, and how much sound certainly fills a packet.
constexpr std::int64_t longestSilence = VideoEncoder::timescale;
constexpr std::int64_t firstPackets = 2048;

std::int64_t unitsOf(nanoseconds time, std::int64_t timescale)
{
    return (time.count() * timescale + 500'000'000) / 1'000'000'000;
}

std::int64_t samplesUntil(std::int64_t pictureTime)
{
    return pictureTime * SoundChunk::sampleRate / VideoEncoder::timescale;
}

class HostMovieWriter final : public engine::MovieWriter {
public:
    HostMovieWriter(MovieSettings settings, std::vector<std::string> encoders)
        : settings_(std::move(settings)),
          encoders_(std::move(encoders))
    {
    }

    [[nodiscard]] std::unique_ptr<MovieFrame> keep(
        const CVPixelBuffer& pixels, const engine::NativePicture* nativePicture) override
    {
        return store_.keep(pixels, nativePicture);
    }
    [[nodiscard]] std::expected<void, Error> open() override;
    [[nodiscard]] std::expected<void, Error> writeFrame(
        const MovieFrame& frame, nanoseconds captureTime) override;
    [[nodiscard]] std::expected<void, Error> writeSound(const SoundChunk& chunk) override;
    [[nodiscard]] std::expected<void, Error> finish() override;

private:
    [[nodiscard]] std::expected<void, Error> begin(const AVFrame& picture, nanoseconds captureTime);
    [[nodiscard]] std::expected<void, Error> writePicture(AVPacket& packet);
    [[nodiscard]] std::expected<void, Error> writeSoundPacket(AVPacket& packet);
    [[nodiscard]] std::expected<void, Error> flush();
    [[nodiscard]] std::unexpected<Error> about(Error error) const;

    const MovieSettings settings_;
    const std::vector<std::string> encoders_;
    PictureStore store_;

    std::unique_ptr<MovieFile> file_;
    std::unique_ptr<VideoEncoder> video_;
    std::unique_ptr<SoundEncoder> sound_;
    std::optional<SoundPlacement> placement_;
    int width_ = 0;
    int height_ = 0;
    nanoseconds origin_{};
    // In units of the picture's track.
    std::int64_t lastTime_ = 0; ///< of a frame
    std::int64_t lastPicture_ = 0; ///< the time of the last one that was written, and its end
    std::int64_t pictureEnd_ = 0;
    bool isPictureWhole_ = true; ///< no packet is missing
    bool hasSoundBegun_ = false; ///< there is a packet
    bool hasFailed_ = false; ///< and has reported it
};

/// One line that names the file.
std::unexpected<Error> HostMovieWriter::about(Error error) const
{
    const std::string name = settings_.url.string();
    if (!error.localizedDescription.starts_with(name))
        error.localizedDescription.insert(0, name + ": ");
    return std::unexpected(std::move(error));
}

std::expected<void, Error> HostMovieWriter::open()
{
    if (settings_.hasSound)
        placement_.emplace();
    auto created = MovieFile::create(settings_.url);
    if (!created)
        return std::unexpected(std::move(created.error()));
    file_ = std::move(*created);
    return {};
}

std::expected<void, Error> HostMovieWriter::begin(const AVFrame& picture, nanoseconds captureTime)
{
    auto video
        = VideoEncoder::open(encoders_, picture, [this](AVPacket& packet) { return writePicture(packet); });
    if (!video)
        return about(std::move(video.error()));
    std::vector<MovieTrack> tracks{{.codec = (*video)->codec(), .quarterTurns = settings_.quarterTurns}};
    if (placement_) {
        auto sound = SoundEncoder::open([this](AVPacket& packet) { return writeSoundPacket(packet); });
        if (!sound)
            return about(std::move(sound.error()));
        sound_ = std::move(*sound);
        tracks.push_back({.codec = sound_->codec()});
        placement_->begin(captureTime);
    }
    if (auto begun = file_->begin(tracks); !begun)
        return begun;
    video_ = std::move(*video);
    width_ = picture.width;
    height_ = picture.height;
    origin_ = captureTime;
    return {};
}

std::expected<void, Error> HostMovieWriter::writePicture(AVPacket& packet)
{
    // A silent microphone must not delay the picture's way to the disk.
    if (sound_ && !hasSoundBegun_ && packet.pts > longestSilence) {
        if (auto silent = sound_->encode(placement_->takeAll(firstPackets)); !silent)
            return silent;
    }
    // A picture lasts until the next one; the last one as long as the one before it.
    packet.duration = pictureEnd_ == 0 ? usualInterval : packet.pts - lastPicture_;
    auto written = file_->write(packet, pictureTrack);
    isPictureWhole_ = written.has_value();
    if (written) {
        lastPicture_ = packet.pts;
        pictureEnd_ = packet.pts + packet.duration;
    }
    return written;
}

std::expected<void, Error> HostMovieWriter::writeSoundPacket(AVPacket& packet)
{
    hasSoundBegun_ = true;
    return file_->write(packet, soundTrack);
}

std::expected<void, Error> HostMovieWriter::writeFrame(const MovieFrame& frame, nanoseconds captureTime)
{
    const OwnedFrame picture(av_frame_clone(&PictureStore::pictureOf(frame)));
    const bool isFirst = !video_;
    std::expected<void, Error> written;
    if (isFirst)
        written = begin(*picture, captureTime);
    else if (picture->width != width_ || picture->height != height_)
        written = std::unexpected(Error{.localizedDescription = "the size of the picture has changed"});
    if (written) {
        const std::int64_t time = unitsOf(captureTime - origin_, VideoEncoder::timescale);
        if (!isFirst)
            lastTime_ = std::max(lastTime_ + 1, time);
        written = video_->encode(*picture, lastTime_);
    }
    if (written && placement_)
        written = sound_->encode(placement_->take(samplesUntil(lastPicture_)));
    if (written)
        return written;
    hasFailed_ = true;
    return about(std::move(written.error()));
}

std::expected<void, Error> HostMovieWriter::writeSound(const SoundChunk& chunk)
{
    if (!placement_)
        return {};
    placement_->add(chunk);
    // The last picture may still be shorter than the one before it.
    auto written = sound_ ? sound_->encode(placement_->take(samplesUntil(lastPicture_)))
                          : std::expected<void, Error>{};
    if (written)
        return written;
    hasFailed_ = true;
    return about(std::move(written.error()));
}

std::expected<void, Error> HostMovieWriter::flush()
{
    // After a missing packet the encoder's other packets could not be decoded.
    std::expected<void, Error> flushed;
    if (isPictureWhole_)
        flushed = video_->flush();
    if (!sound_)
        return flushed;
    auto ended = sound_->encode(placement_->takeAll(samplesUntil(pictureEnd_)));
    if (ended)
        ended = sound_->flush();
    return flushed ? ended : flushed;
}

std::expected<void, Error> HostMovieWriter::finish()
{
    std::expected<void, Error> flushed;
    if (video_)
        flushed = flush();
    video_.reset();
    sound_.reset();
    if (auto finished = std::exchange(file_, nullptr)->finish(); !finished)
        return finished;
    return flushed || hasFailed_ ? std::expected<void, Error>{} : about(std::move(flushed.error()));
}

} // namespace

std::vector<std::string> HostMovieWriters::defaultEncoders()
{
    return {"libx264", "libopenh264", "mpeg4"};
}

HostMovieWriters::HostMovieWriters(std::vector<std::string> videoEncoders)
    : videoEncoders_(std::move(videoEncoders))
{
}

std::unique_ptr<engine::MovieWriter> HostMovieWriters::makeWriter(MovieSettings settings)
{
    return std::make_unique<HostMovieWriter>(std::move(settings), videoEncoders_);
}

} // namespace tamsel::host
