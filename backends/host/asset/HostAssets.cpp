#include <host/asset/HostAssets.h>

#include <host/InputAccess.h>
#include <host/ffmpeg/VideoReader.h>

#include <engine/capture/BufferPool.h>

#include <tamsel/Mutex.h>

#include <utility>

namespace tamsel::host {

using namespace platform;

namespace {

/// A slow client holds a few frames. More of them cost fresh memory, because no frame may be dropped.
constexpr std::size_t pooledBuffers = 4;

Error noFile()
{
    return {.localizedDescription = "this asset is not a file"};
}

using Container = std::expected<std::unique_ptr<VideoReader>, Error>;

class Track final : public AVAssetTrack {
public:
    explicit Track(const CGAffineTransform& preferredTransform) : preferredTransform_(preferredTransform) { }
    [[nodiscard]] CGAffineTransform preferredTransform() const override { return preferredTransform_; }

private:
    const CGAffineTransform preferredTransform_;
};

/// A file. It is opened once to find its tracks; the first reader then takes that container.
class Asset final : public AVAsset {
public:
    explicit Asset(std::filesystem::path url) : url_(std::move(url)) { }

    [[nodiscard]] std::vector<std::shared_ptr<AVAssetTrack>> tracks(AVMediaType mediaType) const override
    {
        const MutexLock lock(guard_);
        if (!isKnown_)
            opened_ = open().value_or(nullptr);
        return mediaType == AVMediaType::video && videoTrack_ ? std::vector{videoTrack_}
                                                              : std::vector<std::shared_ptr<AVAssetTrack>>{};
    }

    [[nodiscard]] bool isEqual(const AVAsset& other) const override
    {
        const auto* asset = dynamic_cast<const Asset*>(&other);
        return asset && asset->url_ == url_;
    }

    /// A container from which no frame has been read.
    [[nodiscard]] Container take() const
    {
        const MutexLock lock(guard_);
        if (std::unique_ptr<VideoReader> opened = std::move(opened_))
            return opened;
        return open();
    }

private:
    /// Regular files only: the reader would open other texts as devices and addresses.
    [[nodiscard]] Container open() const TAMSEL_REQUIRES(guard_)
    {
        if (const std::string reason = whyNoFile(url_); !reason.empty())
            return std::unexpected(Error{.localizedDescription = url_.string() + ": " + reason});
        Container container = VideoReader::openContainer(url_.string(), {}, MediaFormats::assets);
        if (container)
            note(**container);
        return container;
    }

    void note(const VideoReader& container) const TAMSEL_REQUIRES(guard_)
    {
        if (!std::exchange(isKnown_, true) && container.hasVideo())
            videoTrack_ = std::make_shared<Track>(container.preferredTransform());
    }

    const std::filesystem::path url_;
    mutable Mutex guard_;
    mutable bool isKnown_ TAMSEL_GUARDED_BY(guard_) = false;
    mutable std::shared_ptr<AVAssetTrack> videoTrack_ TAMSEL_GUARDED_BY(guard_);
    mutable std::unique_ptr<VideoReader> opened_ TAMSEL_GUARDED_BY(guard_);
};

/// Shared by a reader and its output.
struct Reading {
    std::unique_ptr<VideoReader> movie;
    AVAssetReaderStatus status = AVAssetReaderStatus::unknown;
};

class Output final : public AVAssetReaderTrackOutput {
public:
    [[nodiscard]] std::shared_ptr<CMSampleBuffer> copyNextSampleBuffer() override
    {
        if (!reading || reading->status != AVAssetReaderStatus::reading)
            return nullptr;
        VideoReader& movie = *reading->movie;
        if (movie.next() != VideoReader::Step::frame) {
            reading->status = AVAssetReaderStatus::completed;
            return nullptr;
        }
        std::shared_ptr<CVPixelBuffer> buffer = pool_.acquire(movie.width(), movie.height());
        if (!buffer)
            buffer = std::make_shared<CVPixelBuffer>(movie.width(), movie.height());
        if (!movie.convert(*buffer)) {
            reading->status = AVAssetReaderStatus::failed;
            return nullptr;
        }
        buffer->setTiming(FrameTiming{.captureTime = {}, .mediaTime = movie.time(), .sequence = sequence_++});
        return pool_.makeSample(std::move(buffer), nullptr, {});
    }

    std::shared_ptr<Reading> reading;

private:
    engine::BufferPool pool_{pooledBuffers};
    std::uint64_t sequence_ = 0;
};

class Reader final : public AVAssetReader {
public:
    explicit Reader(std::unique_ptr<VideoReader> movie) { reading_->movie = std::move(movie); }

    void addOutput(std::shared_ptr<AVAssetReaderTrackOutput> output) override
    {
        output_ = std::dynamic_pointer_cast<Output>(std::move(output));
        if (output_)
            output_->reading = reading_;
    }
    bool startReading() override
    {
        const bool isStarted = output_ && reading_->movie->startDecoding();
        reading_->status = isStarted ? AVAssetReaderStatus::reading : AVAssetReaderStatus::failed;
        return isStarted;
    }
    [[nodiscard]] AVAssetReaderStatus status() const override { return reading_->status; }

private:
    const std::shared_ptr<Reading> reading_ = std::make_shared<Reading>();
    std::shared_ptr<Output> output_;
};

bool isLater(const CMTime& one, const CMTime& other)
{
    return static_cast<long double>(one.value) * other.timescale
        > static_cast<long double>(other.value) * one.timescale;
}

class Generator final : public AVAssetImageGenerator {
public:
    explicit Generator(std::shared_ptr<const Asset> asset) : asset_(std::move(asset)) { }

    /// Decodes from the start up to the last frame that is not later; the first frame if all are later.
    [[nodiscard]] std::expected<std::shared_ptr<CGImage>, Error> copyCGImage(CMTime time) override
    {
        if (!asset_)
            return std::unexpected(noFile());
        Container container = asset_->take();
        if (!container)
            return std::unexpected(std::move(container.error()));
        VideoReader& movie = **container;
        if (auto started = movie.startDecoding(); !started)
            return std::unexpected(std::move(started.error()));
        std::shared_ptr<CVPixelBuffer> image;
        while (movie.next() == VideoReader::Step::frame) {
            if (image && isLater(sinceStart(movie), time))
                break;
            if (!image || image->width() != movie.width() || image->height() != movie.height())
                image = std::make_shared<CVPixelBuffer>(movie.width(), movie.height());
            if (!movie.convert(*image))
                return std::unexpected(
                    Error{.localizedDescription = "the video's pixels cannot be converted"});
            if (isLater(sinceStart(movie), time))
                break;
        }
        if (!image)
            return std::unexpected(Error{.localizedDescription = "the video has no image"});
        return image;
    }

private:
    static CMTime sinceStart(const VideoReader& movie)
    {
        const CMTime time = movie.time();
        const CMTime start = movie.startTime();
        return {.value = time.value - start.value, .timescale = time.timescale};
    }

    const std::shared_ptr<const Asset> asset_;
};

} // namespace

std::shared_ptr<AVAsset> HostAssets::assetWithURL(const std::filesystem::path& url)
{
    return std::make_shared<Asset>(url);
}

std::expected<std::shared_ptr<AVAssetReader>, Error> HostAssets::makeAssetReader(
    const std::shared_ptr<AVAsset>& asset)
{
    const auto* file = dynamic_cast<const Asset*>(asset.get());
    if (!file)
        return std::unexpected(noFile());
    Container container = file->take();
    if (!container)
        return std::unexpected(std::move(container.error()));
    return std::make_shared<Reader>(std::move(*container));
}

std::shared_ptr<AVAssetReaderTrackOutput> HostAssets::makeTrackOutput(
    const std::shared_ptr<AVAssetTrack>& /*track*/, TrackOutputSettings /*settings*/)
{
    return std::make_shared<Output>(); // for the single track of a reader
}

std::shared_ptr<AVAssetImageGenerator> HostAssets::makeImageGenerator(const std::shared_ptr<AVAsset>& asset)
{
    return std::make_shared<Generator>(std::dynamic_pointer_cast<const Asset>(asset));
}

} // namespace tamsel::host
