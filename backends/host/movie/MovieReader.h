#pragma once

#include <host/ffmpeg/VideoReader.h>
#include <host/movie/MovieContainer.h>

namespace tamsel::host {

using MovieReader = VideoReader;

} // namespace tamsel::host
