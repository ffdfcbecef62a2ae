#include <host/ffmpeg/formatLists.h>

#include <host/ffmpeg/owners.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace tamsel::host {

namespace {

/// Formats that refer to other files or addresses.
constexpr std::array<std::string_view, 10> lists{
    "concat", "concatf", "hls", "dash", "imf", "webm_dash_manifest", "sdp", "rtsp", "lavfi", "image2pipe"};
/// Formats that present pictures and texts as a video.
constexpr std::array<std::string_view, 10> stills{
    "tty", "bin", "xbin", "adf", "idf", "image2", "ffmetadata", "alias_pix", "brender_pix", "txd"};

void append(std::string& list, std::string_view name)
{
    list.append(list.empty() ? "" : ",").append(name);
}

} // namespace

std::string formatsOfFiles(MediaFormats formats)
{
    std::string result;
    void* position = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&position)) {
        const std::string_view name = format->name;
        const bool isStill = name.ends_with("_pipe") || std::ranges::find(stills, name) != stills.end();
        if (std::ranges::find(lists, name) == lists.end() && (formats == MediaFormats::any || !isStill))
            append(result, name);
    }
    return result;
}

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

} // namespace tamsel::host
