#pragma once

#include <host/InputAccess.h>

#include <cstdint>
#include <string>

struct AVInputFormat;

namespace tamsel::host {

enum class MediaKind : std::uint8_t {
    file, ///< a regular file, or none: it has a start that one can go back to
    stream, ///< a URL, a pipe, a device of libavdevice: frames come once
};

/// What a text names for the FFmpeg libraries: an existing file is taken as it is; "name:rest" is a device of that name;
/// anything with "://" is a URL; all else is a file that does not exist.
struct MediaInput {
    explicit MediaInput(std::string text);

    /// Whether it is there, and may be read. What is no file is taken to be: that shows when it is opened.
    [[nodiscard]] InputAccess access() const;

    std::string name; ///< the text
    std::string url; ///< as the libraries want it
    const AVInputFormat* device = nullptr; ///< absent when it is no device of libavdevice
    bool isOnDisk = false; ///< as a file, or as a node that is no file
    MediaKind kind = MediaKind::file;
};

} // namespace tamsel::host
