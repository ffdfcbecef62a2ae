#include "otherCameras.h"

#include <algorithm>

namespace tamsel::capture {

std::vector<host::AvailableCamera> otherCameras(const GlobalOptions& options, Environment& environment)
{
    if (options.isSimulated())
        return {};
    std::vector<host::AvailableCamera> cameras = host::availableCameras();
    for (const auto& used : environment.cameras()) {
        std::erase_if(cameras, [name = used->localizedName()](const host::AvailableCamera& camera) {
            return camera.input == name || camera.otherInput == name;
        });
    }
    return cameras;
}

std::string describe(const host::AvailableCamera& camera)
{
    std::string remark = camera.title;
    if (!camera.otherInput.empty())
        remark += (remark.empty() ? "" : ", ") + camera.otherInput;
    return camera.input + (remark.empty() ? "" : " (" + remark + ")");
}

} // namespace tamsel::capture
