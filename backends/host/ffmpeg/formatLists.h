#pragma once

#include <cstdint>
#include <string>

namespace tamsel::host {

enum class MediaFormats : std::uint8_t {
    any,
    assets, ///< neither pictures and texts that could be presented as a video, nor lists that refer to other files
};

/// The names of the formats that a file may have, for the FFmpeg libraries' list: none that refers to other files or
/// addresses.
[[nodiscard]] std::string formatsOfFiles(MediaFormats formats);

/// The names of the decoders that may probe an input: all except those of PNG pictures, for which see `decodePngFrame`.
[[nodiscard]] std::string probingDecoders();

} // namespace tamsel::host
