#include <host/ffmpeg/MediaContainer.h>

#include <host/ffmpeg/PipeReader.h>
#include <host/ffmpeg/failure.h>
#include <host/image/PictureFormats.h>

#include <engine/dispatch/startThread.h>

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <future>
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

/// The header of a PNG file; without a size for other files.
PictureHeader pngHeader(const MediaInput& input)
{
    if (input.kind != MediaKind::file)
        return {};
    std::array<char, 33> start{};
    std::ifstream(input.name, std::ios::binary).read(start.data(), start.size());
    return pngFormat().readHeader(std::as_bytes(std::span(start))).value_or(PictureHeader{});
}

/// The format of the input; null if it must be probed.
const AVInputFormat* formatOf(const MediaInput& input, MediaFormats formats, const PictureHeader& png)
{
    if (formats == MediaFormats::assets && av_match_ext(input.name.c_str(), "mjpeg,mjpg") != 0)
        return av_find_input_format("mjpeg"); // probing would return a picture format
    // The first picture of an animation.
    return png.width > 0 ? av_find_input_format("png_pipe") : input.device;
}

int interrupt(void* interest)
{
    return static_cast<const MediaInterest*>(interest)->hasEnded() ? 1 : 0;
}

std::expected<MediaContainer, Error> openNow(
    const MediaInput& input, MediaFormats formats, std::shared_ptr<MediaInterest> interest)
{
    std::shared_ptr<PipeReader> pipe;
    if (input.isOnDisk && input.kind == MediaKind::stream) {
        const int descriptor = ::open(input.name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (const int code = AVERROR(errno); descriptor < 0)
            return failure(input.name, messageOf(code), code);
        pipe = std::make_shared<PipeReader>(descriptor, *interest);
    }
    AVFormatContext* opened = avformat_alloc_context();
    opened->interrupt_callback = {.callback = interrupt, .opaque = interest.get()};
    opened->pb = pipe ? pipe->io() : nullptr;
    opened->codec_whitelist = av_strdup(probingDecoders().c_str());
    Dictionary options;
    // A file must not open anything else: neither entries of a list, nor the files of a pattern.
    const bool isRestricted
        = input.isOnDisk || input.kind == MediaKind::file || formats == MediaFormats::assets;
    if (isRestricted) {
        opened->format_whitelist = av_strdup(formatsOfFiles(formats).c_str());
        options.set("pattern_type", "none");
    }
    if (input.device) {
        opened->flags |= AVFMT_FLAG_NONBLOCK; // a blocking device could not be interrupted
        if (std::string_view(input.device->name) == "pulse")
            options.set("fragment_size", pulseFragment);
    } else if (input.kind == MediaKind::stream) {
        options.set("rw_timeout", networkTimeout);
        options.set("fpsprobesize", "0"); // the frame rate does not matter, and to find it takes 20 frames
    }
    const PictureHeader png = pngHeader(input);
    if (const int code
        = avformat_open_input(&opened, input.url.c_str(), formatOf(input, formats, png), options.get());
        code < 0) { // the context is freed by then
        const bool isRefused = isRestricted && code == AVERROR(EINVAL);
        return failure(input.name, isRefused ? "contains no video of its own" : messageOf(code), code);
    }
    MediaContainer container(opened, {.interest = std::move(interest), .pipe = std::move(pipe)});
    if (png.width > 0 && !png.isTooLarge()) {
        container->streams[0]->codecpar->width = static_cast<int>(png.width);
        container->streams[0]->codecpar->height = static_cast<int>(png.height);
    }
    // A device declares what it delivers; probing would consume its first frames.
    if (!input.device) {
        if (const int code = findStreams(*container); code < 0)
            return failure(input.name, messageOf(code), code);
    }
    return container;
}

} // namespace

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

std::expected<MediaContainer, Error> openMedia(
    const std::string& text, MediaFormats formats, const MediaWait& wait)
{
    prepareLibraries();
    const MediaInput input(text);
    auto interest = std::make_shared<MediaInterest>(wait.isCancelled);
    if (input.kind == MediaKind::file)
        return openNow(input, formats, std::move(interest));
    std::promise<std::expected<MediaContainer, Error>> promise;
    auto result = promise.get_future();
    std::thread thread
        = engine::startThread([promise = std::move(promise), input, formats, interest]() mutable {
              promise.set_value(openNow(input, formats, interest));
          });
    if (!thread.joinable())
        return failure(text, "the system has no thread left");
    thread.detach();
    const auto end = std::chrono::steady_clock::now() + wait.limit;
    do {
        const bool isUnwanted = interest->hasEnded() || (wait.isUnwanted && wait.isUnwanted());
        if (isUnwanted || std::chrono::steady_clock::now() >= end) {
            interest->end();
            return failure(text, isUnwanted ? "was cancelled" : "did not open in time");
        }
    } while (result.wait_for(pauseBetweenLooks) != std::future_status::ready);
    return result.get();
}

} // namespace tamsel::host
