#include <host/ffmpeg/MediaInput.h>

#include <host/ffmpeg/owners.h>

#include <unistd.h>

#include <filesystem>
#include <system_error>
#include <utility>

namespace tamsel::host {

MediaInput::MediaInput(std::string text) : name(std::move(text)), url(name)
{
    std::error_code ignored;
    isOnDisk = std::filesystem::exists(url, ignored);
    if (isOnDisk) {
        kind = std::filesystem::is_regular_file(url, ignored) ? MediaKind::file : MediaKind::stream;
        url.insert(0, "file:");
        return;
    }
    prepareLibraries(); // registers the devices
    const std::size_t colon = url.find(':');
    if (colon == std::string::npos)
        return;
    const AVInputFormat* format
        = url.find("://") == colon ? nullptr : av_find_input_format(url.substr(0, colon).c_str());
    if (format && (format->flags & AVFMT_NOFILE) != 0) {
        device = format;
        url.erase(0, colon + 1);
    }
    if (device || name.find("://") != std::string::npos)
        kind = MediaKind::stream;
}

InputAccess MediaInput::access() const
{
    return kind == MediaKind::stream && !isOnDisk ? InputAccess::readable : inputAccess(name, R_OK);
}

} // namespace tamsel::host
