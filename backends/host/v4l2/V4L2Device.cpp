#include <host/v4l2/V4L2Device.h>

#include <fcntl.h>
#include <linux/videodev2.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace tamsel::host {

platform::Error v4l2Error(const std::string& path, std::string_view what, int number)
{
    return {.localizedDescription
        = path + ": " + std::string(what) + ": " + std::generic_category().message(number),
        .code = number};
}

std::expected<std::shared_ptr<V4L2Device>, platform::Error> V4L2Device::open(
    const std::string& path, std::shared_ptr<const V4L2Calls> calls)
{
    int descriptor = -1;
    do {
        descriptor = calls->open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return std::unexpected(v4l2Error(path, "cannot be opened", errno));
    auto device = std::make_shared<V4L2Device>(path, std::move(calls), descriptor);
    if (auto identified = device->identify(); !identified)
        return std::unexpected(std::move(identified.error()));
    return device;
}

V4L2Device::V4L2Device(std::string path, std::shared_ptr<const V4L2Calls> calls, int descriptor)
    : path_(std::move(path)),
      calls_(std::move(calls)),
      descriptor_(descriptor)
{
}

V4L2Device::~V4L2Device()
{
    calls_->close(descriptor_);
}

std::expected<void, platform::Error> V4L2Device::identify()
{
    v4l2_capability capability{};
    if (const int number = control(VIDIOC_QUERYCAP, &capability); number != 0)
        return std::unexpected(error("is not a video device", number));
    // A device with several nodes reports the capabilities of the node and of the whole device separately.
    const bool tellsOfNode = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0;
    const std::uint32_t can = tellsOfNode ? capability.device_caps : capability.capabilities;
    if ((can & V4L2_CAP_VIDEO_CAPTURE) == 0)
        return std::unexpected(error("captures no video", ENOTSUP));
    if ((can & V4L2_CAP_STREAMING) == 0)
        return std::unexpected(error("does not stream", ENOTSUP));
    const auto* card = reinterpret_cast<const char*>(capability.card);
    card_.assign(card, strnlen(card, sizeof capability.card));
    return {};
}

int V4L2Device::control(unsigned long request, void* argument) const
{
    while (calls_->ioctl(descriptor_, request, argument) < 0) {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

int V4L2Device::requestBuffers(std::uint32_t count) const
{
    v4l2_requestbuffers request{};
    request.count = count;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    const int number = control(VIDIOC_REQBUFS, &request);
    return number == 0 ? static_cast<int>(request.count) : -number;
}

platform::Error V4L2Device::error(std::string_view what, int number) const
{
    return v4l2Error(path_, what, number);
}

} // namespace tamsel::host
