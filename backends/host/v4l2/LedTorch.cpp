#include <host/v4l2/LedTorch.h>

#include <unistd.h>

#include <fstream>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace tamsel::host {

LedTorch::LedTorch(std::filesystem::path brightness, std::string maximum)
    : brightness_(std::move(brightness)),
      maximum_(std::move(maximum))
{
}

std::optional<LedTorch> LedTorch::find(const std::filesystem::path& folder)
{
    std::error_code failure;
    std::set<std::filesystem::path> lights;
    for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
        entry.increment(failure))
        lights.insert(entry->path());
    for (const std::string_view kind : {"torch", "flash"}) {
        for (const std::filesystem::path& light : lights) {
            const std::filesystem::path brightness = light / "brightness";
            unsigned maximum = 0;
            if (light.filename().string().contains(kind) && ::access(brightness.c_str(), W_OK) == 0
                && std::ifstream(light / "max_brightness") >> maximum && maximum > 0)
                return LedTorch(brightness, std::to_string(maximum));
        }
    }
    return std::nullopt;
}

void LedTorch::set(bool isOn) const
{
    std::ofstream(brightness_) << (isOn ? maximum_ : "0") << '\n';
}

} // namespace tamsel::host
