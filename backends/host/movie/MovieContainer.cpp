#include <host/movie/MovieContainer.h>

#include <host/image/PictureFormats.h>
#include <host/movie/movieFailure.h>

#include <engine/dispatch/startThread.h>

#include <tamsel/Mutex.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr const char* pulseFragment
    = "3840"; // bytes: 20 ms of 16-bit stereo; without it sound comes seconds late
constexpr const char* networkTimeout = "10000000"; // microseconds
constexpr std::chrono::milliseconds pauseBetweenLooks{50};

struct Source {
    std::string url;
    const AVInputFormat* format = nullptr; ///< absent: to be found out
    bool isDevice = false;
};

/// An existing file is taken as it stands; "name:rest" opens a device of that name; anything with "://" is a URL.
Source sourceOf(const std::string& input)
{
    std::error_code ignored;
    if (std::filesystem::exists(input, ignored))
        return {.url = "file:" + input};
    const std::size_t colon = input.find(':');
    if (colon != std::string::npos && !input.substr(colon).starts_with("://")) {
        const AVInputFormat* format = av_find_input_format(input.substr(0, colon).c_str());
        if (format && (format->flags & AVFMT_NOFILE) != 0)
            return {.url = input.substr(colon + 1), .format = format, .isDevice = true};
    }
    return {.url = input};
}

/// They name other files or addresses.
constexpr std::array<std::string_view, 10> lists{
    "concat", "concatf", "hls", "dash", "imf", "webm_dash_manifest", "sdp", "rtsp", "lavfi", "image2pipe"};
/// They show pictures and texts as a video.
constexpr std::array<std::string_view, 10> stills{
    "tty", "bin", "xbin", "adf", "idf", "image2", "ffmetadata", "alias_pix", "brender_pix", "txd"};

void append(std::string& list, std::string_view name)
{
    list.append(list.empty() ? "" : ",").append(name);
}

/// The names of the formats that a file may have, as the libraries want them.
std::string formatsOfFiles(MovieFormats formats)
{
    std::string result;
    void* position = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&position)) {
        const std::string_view name = format->name;
        const bool isStill = name.ends_with("_pipe") || std::ranges::find(stills, name) != stills.end();
        if (std::ranges::find(lists, name) == lists.end() && (formats == MovieFormats::any || !isStill))
            append(result, name);
    }
    return result;
}

/// What a PNG file says of itself; without a size for other files.
PictureHeader pngHeader(const std::string& file)
{
    std::array<char, 33> start{};
    std::ifstream(file, std::ios::binary).read(start.data(), start.size());
    return pngFormat().readHeader(std::as_bytes(std::span(start))).value_or(PictureHeader{});
}

/// The names of the decoders that may look into an input to know what it holds: all but those of PNG pictures, for which
/// see decodePngFrame.
std::string probingDecoders()
{
    std::string result;
    void* position = nullptr;
    while (const AVCodec* codec = av_codec_iterate(&position)) {
        if (av_codec_is_decoder(codec) != 0 && codec->id != AV_CODEC_ID_PNG && codec->id != AV_CODEC_ID_APNG)
            append(result, codec->name);
    }
    return result;
}

/// Finds out what the input holds, with decoders that keep to the largest picture.
int findStreams(AVFormatContext& format)
{
    std::vector<AVDictionary*> options(format.nb_streams);
    for (AVDictionary*& option : options)
        av_dict_set_int(&option, "max_pixels", static_cast<std::int64_t>(maximumPixels), 0);
    const int result = avformat_find_stream_info(&format, options.data());
    for (AVDictionary*& option : options)
        av_dict_free(&option);
    return result;
}

} // namespace

/// Whether anybody still waits for an input, or reads it. Thread-safe.
class MovieInterest {
public:
    explicit MovieInterest(std::shared_ptr<const std::atomic<bool>> isCancelled)
        : isCancelled_(std::move(isCancelled))
    {
    }

    void end() { hasEnded_ = true; }
    [[nodiscard]] bool hasEnded() const { return hasEnded_ || (isCancelled_ && *isCancelled_); }

private:
    std::atomic<bool> hasEnded_ = false;
    const std::shared_ptr<const std::atomic<bool>> isCancelled_;
};

/// A pipe or another node that is no file, read so that waiting for it can end.
class MovieNode {
public:
    /// Takes the descriptor over.
    MovieNode(int descriptor, const MovieInterest& interest) : interest_(interest), descriptor_(descriptor)
    {
        auto* buffer = static_cast<unsigned char*>(av_malloc(nodeBuffer));
        context_ = avio_alloc_context(buffer, nodeBuffer, 0, this, &read, nullptr, nullptr);
    }
    ~MovieNode()
    {
        av_freep(static_cast<void*>(&context_->buffer));
        avio_context_free(&context_);
        ::close(descriptor_);
    }
    MovieNode(const MovieNode&) = delete;
    MovieNode& operator=(const MovieNode&) = delete;

    [[nodiscard]] AVIOContext* context() const { return context_; }

private:
    static constexpr int nodeBuffer = 1 << 15;
    static constexpr int pauseBetweenLooks = 50; // milliseconds

    static int read(void* opaque, std::uint8_t* bytes, int size)
    {
        const auto& self = *static_cast<const MovieNode*>(opaque);
        while (!self.interest_.hasEnded()) {
            // A pipe that nobody has opened for writing yet is silent here, and would be at its end for a read.
            pollfd polled{.fd = self.descriptor_, .events = POLLIN, .revents = 0};
            if (::poll(&polled, 1, pauseBetweenLooks) <= 0)
                continue;
            const ssize_t count = ::read(self.descriptor_, bytes, static_cast<std::size_t>(size));
            if (count > 0)
                return static_cast<int>(count);
            if (count == 0)
                return AVERROR_EOF;
            if (errno != EAGAIN && errno != EINTR)
                return AVERROR(errno);
        }
        return AVERROR_EXIT;
    }

    const MovieInterest& interest_;
    const int descriptor_;
    AVIOContext* context_;
};

namespace {

int interrupt(void* opaque)
{
    return static_cast<const MovieInterest*>(opaque)->hasEnded() ? 1 : 0;
}

std::expected<MovieContainer, Error> openNow(
    const std::string& input, MovieFormats formats, std::shared_ptr<MovieInterest> interest)
{
    const MovieKind kind = movieKindOf(input);
    const Source source = sourceOf(input);
    std::error_code ignored;
    const bool isOnDisk = std::filesystem::exists(input, ignored);
    std::shared_ptr<MovieNode> node;
    if (isOnDisk && kind == MovieKind::stream) {
        const int descriptor = ::open(input.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (const int code = AVERROR(errno); descriptor < 0)
            return failure(input, messageOf(code), code);
        node = std::make_shared<MovieNode>(descriptor, *interest);
    }
    AVFormatContext* opened = avformat_alloc_context();
    opened->interrupt_callback = {.callback = interrupt, .opaque = interest.get()};
    if (node)
        opened->pb = node->context();
    if (source.isDevice)
        opened->flags |= AVFMT_FLAG_NONBLOCK; // a blocking device could not be left
    const AVInputFormat* inputFormat = source.format;
    AVDictionary* options = nullptr;
    // Of a file nothing else is opened: neither what a list names, nor the files of a pattern.
    const bool isRestricted = isOnDisk || kind == MovieKind::file || formats == MovieFormats::recordings;
    if (isRestricted) {
        opened->format_whitelist = av_strdup(formatsOfFiles(formats).c_str());
        av_dict_set(&options, "pattern_type", "none", 0);
    }
    const PictureHeader png = kind == MovieKind::file ? pngHeader(input) : PictureHeader{};
    if (png.width > 0)
        inputFormat = av_find_input_format("png_pipe"); // of a moving one the first picture
    opened->codec_whitelist = av_strdup(probingDecoders().c_str());
    if (formats == MovieFormats::recordings) {
        if (av_match_ext(input.c_str(), "mjpeg,mjpg") != 0)
            inputFormat = av_find_input_format("mjpeg"); // which begins as a picture does
    }
    if (kind == MovieKind::stream && !source.isDevice)
        av_dict_set(&options, "rw_timeout", networkTimeout, 0);
    if (source.isDevice && std::string_view(source.format->name) == "pulse")
        av_dict_set(&options, "fragment_size", pulseFragment, 0);
    const int code = avformat_open_input(&opened, source.url.c_str(), inputFormat, &options);
    av_dict_free(&options);
    if (code < 0) { // the context is freed by then
        const bool isRefused = isRestricted && code == AVERROR(EINVAL);
        return failure(input, isRefused ? "holds no video of its own" : messageOf(code), code);
    }
    MovieContainer container(opened, {.interest = std::move(interest), .node = std::move(node)});
    if (png.width > 0 && !png.isTooLarge()) {
        container->streams[0]->codecpar->width = static_cast<int>(png.width);
        container->streams[0]->codecpar->height = static_cast<int>(png.height);
    }
    // A device says what it delivers; probing it would take its first frames.
    if (!source.isDevice) {
        if (const int found = findStreams(*container); found < 0)
            return failure(input, messageOf(found), found);
    }
    return container;
}

/// What the thread that opens an input shares with the one that waits for it.
struct Opening {
    Mutex guard;
    Condition isDone;
    std::optional<std::expected<MovieContainer, Error>> result;
};

} // namespace

void prepareMovieLibraries()
{
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_QUIET);
        avdevice_register_all();
    });
}

void CloseMovie::operator()(AVFormatContext* format) const
{
    avformat_close_input(&format);
}

MovieKind movieKindOf(const std::string& input)
{
    prepareMovieLibraries(); // else it knows no devices
    std::error_code ignored;
    if (std::filesystem::exists(input, ignored))
        return std::filesystem::is_regular_file(input, ignored) ? MovieKind::file : MovieKind::stream;
    const Source source = sourceOf(input);
    return source.isDevice || input.find("://") != std::string::npos ? MovieKind::stream : MovieKind::file;
}

InputAccess movieAccess(const std::string& input)
{
    if (movieKindOf(input) == MovieKind::stream && ::access(input.c_str(), F_OK) != 0)
        return InputAccess::readable;
    return inputAccess(input, R_OK);
}

std::expected<MovieContainer, Error> openMovie(
    const std::string& input, MovieFormats formats, const MovieWait& wait)
{
    auto interest = std::make_shared<MovieInterest>(wait.isCancelled);
    if (movieKindOf(input) == MovieKind::file)
        return openNow(input, formats, std::move(interest));
    const auto opening = std::make_shared<Opening>();
    std::thread thread = engine::startThread([opening, input, formats, interest] {
        auto result = openNow(input, formats, interest);
        const MutexLock lock(opening->guard);
        opening->result.emplace(std::move(result));
        opening->isDone.notifyOne();
    });
    if (!thread.joinable())
        return failure(input, "no thread is left");
    thread.detach();
    const auto end = std::chrono::steady_clock::now() + wait.limit;
    MutexLock lock(opening->guard);
    while (!opening->result) {
        const bool isUnwanted = interest->hasEnded() || (wait.isUnwanted && wait.isUnwanted());
        if (isUnwanted || std::chrono::steady_clock::now() >= end) {
            interest->end();
            return failure(input, isUnwanted ? "is not wanted any more" : "takes too long to open");
        }
        opening->isDone.waitUntil(lock, std::chrono::steady_clock::now() + pauseBetweenLooks);
    }
    return *std::move(opening->result);
}

} // namespace tamsel::host
