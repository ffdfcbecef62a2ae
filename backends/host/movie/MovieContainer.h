#pragma once

// The names that recording still uses.

#include <host/ffmpeg/MediaContainer.h>
#include <host/ffmpeg/prepareLibraries.h>

namespace tamsel::host {

struct MovieFormats {
    static constexpr MediaFormats recordings = MediaFormats::assets;
};

inline constexpr auto& openMovie = openMedia;
inline constexpr auto& prepareMovieLibraries = prepareLibraries;

} // namespace tamsel::host
