#include <host/movie/MovieContainer.h>

#include <host/movie/movieFailure.h>

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr const char* pulseFragment
    = "3840"; // bytes: 20 ms of 16-bit stereo; without it sound comes seconds late
constexpr const char* networkTimeout = "10000000"; // microseconds

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

/// The names of the formats that a file may have, as the libraries want them.
std::string formatsOfFiles(MovieFormats formats)
{
    std::string result;
    void* position = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&position)) {
        const std::string_view name = format->name;
        const bool isStill = name.ends_with("_pipe") || std::ranges::find(stills, name) != stills.end();
        if (std::ranges::find(lists, name) == lists.end() && (formats == MovieFormats::any || !isStill))
            result.append(result.empty() ? "" : ",").append(name);
    }
    return result;
}

int interrupt(void* opaque)
{
    const auto* isCancelled = static_cast<const std::atomic<bool>*>(opaque);
    return isCancelled && *isCancelled ? 1 : 0;
}

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
    const std::string& input, MovieFormats formats, const std::atomic<bool>* isCancelled)
{
    const MovieKind kind = movieKindOf(input);
    const Source source = sourceOf(input);
    AVFormatContext* opened = avformat_alloc_context();
    opened->interrupt_callback
        = {.callback = interrupt, .opaque = const_cast<std::atomic<bool>*>(isCancelled)};
    if (source.isDevice)
        opened->flags |= AVFMT_FLAG_NONBLOCK; // a blocking device could not be left
    const AVInputFormat* inputFormat = source.format;
    AVDictionary* options = nullptr;
    // Of a file nothing else is opened: neither what a list names, nor the files of a pattern.
    if (kind == MovieKind::file || formats == MovieFormats::recordings) {
        opened->format_whitelist = av_strdup(formatsOfFiles(formats).c_str());
        av_dict_set(&options, "pattern_type", "none", 0);
    }
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
        const bool isRefused
            = (kind == MovieKind::file || formats == MovieFormats::recordings) && code == AVERROR(EINVAL);
        return failure(input, isRefused ? "holds no video of its own" : messageOf(code), code);
    }
    MovieContainer container(opened);
    // A device says what it delivers; probing it would take its first frames.
    if (!source.isDevice) {
        if (const int found = avformat_find_stream_info(container.get(), nullptr); found < 0)
            return failure(input, messageOf(found), found);
    }
    return container;
}

} // namespace tamsel::host
