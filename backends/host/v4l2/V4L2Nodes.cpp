#include <host/v4l2/V4L2Nodes.h>

#include <host/v4l2/V4L2Device.h>

#include <charconv>
#include <map>
#include <string_view>
#include <system_error>

namespace tamsel::host {

std::vector<std::string> videoNodes(const std::filesystem::path& folder)
{
    constexpr std::string_view prefix = "video";
    std::map<unsigned, std::string> nodes;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
        entry.increment(failure)) {
        const std::string name = entry->path().filename().string();
        unsigned number = 0;
        if (!name.starts_with(prefix))
            continue;
        const char* last = name.data() + name.size();
        const auto [rest, error] = std::from_chars(name.data() + prefix.size(), last, number);
        if (error == std::errc() && rest == last)
            nodes.emplace(number, entry->path().string());
    }
    std::vector<std::string> paths;
    for (auto& [number, path] : nodes)
        paths.push_back(std::move(path));
    return paths;
}

std::vector<std::string> captureNodes(const V4L2Calls& calls)
{
    const auto shared = std::make_shared<const V4L2Calls>(calls);
    std::vector<std::string> found = calls.nodes();
    std::erase_if(found, [&](const std::string& path) { return !V4L2Device::open(path, shared); });
    return found;
}

} // namespace tamsel::host
