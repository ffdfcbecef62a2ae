#include <host/HostParts.h>

#include <host/ffmpeg/owners.h>
#include <host/recording/HostMovieWriter.h>

namespace tamsel::host {

namespace {

#ifdef TAMSEL_HEIF
constexpr bool hasHeif = true;
#else
constexpr bool hasHeif = false;
#endif
#ifdef TAMSEL_GPSD
constexpr bool hasGpsd = true;
#else
constexpr bool hasGpsd = false;
#endif
#ifdef TAMSEL_BUS
constexpr bool hasBus = true;
#else
constexpr bool hasBus = false;
#endif
#ifdef TAMSEL_PIPEWIRE
constexpr bool hasPipeWire = true;
#else
constexpr bool hasPipeWire = false;
#endif
#ifdef TAMSEL_FACES
constexpr bool hasFaces = true;
#else
constexpr bool hasFaces = false;
#endif

} // namespace

HostParts hostParts()
{
    HostParts parts{.ffmpegVersion = av_version_info(),
        .ffmpegLicence = avcodec_license(),
        .encoders = {},
        .optionalParts = {{{"HEIC and AVIF pictures", hasHeif}, {"locations of gpsd", hasGpsd},
            {"the buses of the machine", hasBus}, {"cameras and microphones of PipeWire", hasPipeWire},
            {"faces", hasFaces}}}};
    for (std::string& name : HostMovieWriters::defaultEncoders()) {
        if (avcodec_find_encoder_by_name(name.c_str()) != nullptr)
            parts.encoders.push_back(std::move(name));
    }
    return parts;
}

} // namespace tamsel::host
