#pragma once

#include <host/InputAccess.h>

#include <cstdint>
#include <string>

struct AVInputFormat;

namespace tamsel::host {

enum class MediaKind : std::uint8_t {
    file, ///< a regular file, or none: it can be rewound
    stream, ///< a URL, a pipe, a device of libavdevice: each frame is read once
};

/// The input that a text names for the FFmpeg libraries: an existing file is used as it is; "name:rest" is a device of
/// that name; anything with "://" is a URL; all else is a file that does not exist.
struct MediaInput {
    explicit MediaInput(std::string text);

    /// Whether it exists and may be read. URLs and devices count as readable until they are opened.
    [[nodiscard]] InputAccess access() const;
    /// A URL.
    [[nodiscard]] bool isOnNetwork() const { return kind == MediaKind::stream && !isOnDisk && !device; }

    std::string name; ///< the text
    std::string url; ///< in the form that the libraries expect
    const AVInputFormat* device = nullptr; ///< of libavdevice; absent if it is none
    bool isOnDisk = false; ///< as a file, or as another kind of node
    MediaKind kind = MediaKind::file;
};

} // namespace tamsel::host
