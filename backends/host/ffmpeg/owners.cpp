#include <host/ffmpeg/owners.h>

#include <mutex>

namespace tamsel::host {

void prepareLibraries()
{
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_QUIET);
        avdevice_register_all();
    });
}

} // namespace tamsel::host
