#include "FakeV4L2.h"

#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tamsel::tests {

namespace {

constexpr std::uint32_t offsetOfOne = 4096;

int fail(int number)
{
    errno = number;
    return -1;
}

bool holds(const std::vector<int>& descriptors, int descriptor)
{
    return std::ranges::find(descriptors, descriptor) != descriptors.end();
}

/// Of any layout; generous where it matters little.
std::uint32_t bytesOf(const v4l2_pix_format& pixels)
{
    return pixels.bytesperline * (pixels.height + 1) * 2 + 4096;
}

} // namespace

host::V4L2Calls FakeV4L2::calls()
{
    return {
        .open = [this](const char* node, int) { return open(node); },
        .close = [this](int descriptor) { return close(descriptor); },
        .ioctl = [this](int descriptor, unsigned long request,
                     void* argument) { return ioctl(descriptor, request, argument); },
        .mmap = [this](std::size_t, int, int, int descriptor, off_t offset) -> void* {
            const std::lock_guard lock(guard_);
            const auto index = static_cast<std::size_t>(offset) / offsetOfOne;
            if (failures.contains(0) || index >= buffers_.size()) {
                errno = failures.contains(0) ? failures.at(0) : EINVAL;
                return MAP_FAILED;
            }
            void* address = buffers_[index].memory->data();
            mappings_[address] = {buffers_[index].memory, descriptor};
            return address;
        },
        .munmap =
            [this](void* address, std::size_t) {
                const std::lock_guard lock(guard_);
                const auto found = mappings_.find(address);
                if (found == mappings_.end())
                    return mistake("unmaps what is not mapped");
                const int descriptor = found->second.descriptor;
                mappings_.erase(found);
                releaseUnused(descriptor);
                return 0;
            },
        .access =
            [this](const char* node, int) {
                const std::lock_guard lock(guard_);
                return isPresent_ && node == path ? 0 : fail(ENOENT);
            },
        .nodes =
            [this] {
                const std::lock_guard lock(guard_);
                return isPresent_ ? std::vector{path} : std::vector<std::string>{};
            },
    };
}

bool FakeV4L2::push(const Frame& frame)
{
    const std::lock_guard lock(guard_);
    const std::uint32_t sequence = frame.sequence.value_or(sequence_);
    sequence_ = sequence + 1;
    const auto free = std::ranges::find(buffers_, true, &Buffer::isQueued);
    if (!isStreaming_ || free == buffers_.end())
        return false;
    free->isQueued = false;
    std::copy_n(
        frame.bytes.begin(), std::min(frame.bytes.size(), free->memory->size()), free->memory->begin());
    v4l2_buffer buffer{};
    buffer.index = static_cast<std::uint32_t>(free - buffers_.begin());
    buffer.bytesused = static_cast<std::uint32_t>(frame.bytes.size());
    buffer.flags = frame.flags;
    buffer.sequence = sequence;
    buffer.timestamp.tv_sec = frame.time.count() / 1'000'000;
    buffer.timestamp.tv_usec = frame.time.count() % 1'000'000;
    done_.push_back(buffer);
    eventfd_write(owner_, 1);
    return true;
}

void FakeV4L2::unplug()
{
    const std::lock_guard lock(guard_);
    isPresent_ = false;
    deadDescriptors_ = descriptors_;
    if (owner_ >= 0)
        eventfd_write(owner_, 1); // readable for good: nobody reads it any more
}

void FakeV4L2::plugIn()
{
    const std::lock_guard lock(guard_);
    isPresent_ = true;
    stream(false);
    owner_ = -1;
    buffers_.clear();
}

int FakeV4L2::open(const char* node)
{
    const std::lock_guard lock(guard_);
    if (!isPresent_ || path != node)
        return fail(ENOENT);
    descriptors_.push_back(eventfd(0, EFD_SEMAPHORE | EFD_NONBLOCK | EFD_CLOEXEC));
    return descriptors_.back();
}

int FakeV4L2::close(int descriptor)
{
    const std::lock_guard lock(guard_);
    if (std::erase(descriptors_, descriptor) == 0)
        return mistake("closes what is not open");
    std::erase(deadDescriptors_, descriptor);
    releaseUnused(descriptor);
    return ::close(descriptor);
}

void FakeV4L2::releaseUnused(int descriptor)
{
    const bool isMapped = std::ranges::any_of(
        mappings_, [&](const auto& mapping) { return mapping.second.descriptor == descriptor; });
    if (owner_ != descriptor || isMapped || holds(descriptors_, descriptor))
        return;
    stream(false);
    buffers_.clear();
    owner_ = -1;
}

int FakeV4L2::ioctl(int descriptor, unsigned long request, void* argument)
{
    const std::lock_guard lock(guard_);
    ++counts_[request];
    if (!holds(descriptors_, descriptor))
        return mistake("uses what is not open");
    if (const auto failure = failures.find(request); failure != failures.end())
        return fail(failure->second);
    if (holds(deadDescriptors_, descriptor))
        return fail(ENODEV);
    return answer(descriptor, request, argument);
}

int FakeV4L2::answer(int descriptor, unsigned long request, void* argument)
{
    switch (request) {
    case VIDIOC_QUERYCAP: {
        auto& capability = *static_cast<v4l2_capability*>(argument);
        std::memcpy(capability.card, "Fake camera", 12);
        capability.capabilities
            = capabilities | V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING | V4L2_CAP_DEVICE_CAPS;
        capability.device_caps = capabilities;
        return 0;
    }
    case VIDIOC_ENUM_FMT:
    case VIDIOC_ENUM_FRAMESIZES:
    case VIDIOC_ENUM_FRAMEINTERVALS:
        return enumerate(request, argument);
    case VIDIOC_G_FMT:
        static_cast<v4l2_format*>(argument)->fmt.pix = pixels_;
        return 0;
    case VIDIOC_S_FMT:
        return setFormat(static_cast<v4l2_format*>(argument)->fmt.pix);
    case VIDIOC_S_PARM:
        interval_ = static_cast<v4l2_streamparm*>(argument)->parm.capture.timeperframe;
        return 0;
    case VIDIOC_QUERYCTRL:
    case VIDIOC_QUERYMENU:
    case VIDIOC_S_CTRL:
        return useControl(request, argument);
    case VIDIOC_REQBUFS:
        return requestBuffers(descriptor, *static_cast<v4l2_requestbuffers*>(argument));
    case VIDIOC_QUERYBUF: {
        auto& buffer = *static_cast<v4l2_buffer*>(argument);
        buffer.length = bytesOf(pixels_);
        buffer.m.offset = buffer.index * offsetOfOne;
        return 0;
    }
    case VIDIOC_QBUF:
        return queue(*static_cast<v4l2_buffer*>(argument));
    case VIDIOC_DQBUF:
        return dequeue(*static_cast<v4l2_buffer*>(argument));
    case VIDIOC_STREAMON:
    case VIDIOC_STREAMOFF:
        if (descriptor != owner_)
            return mistake("streams without holding the device");
        stream(request == VIDIOC_STREAMON);
        return 0;
    default:
        return fail(ENOTTY);
    }
}

int FakeV4L2::enumerate(unsigned long request, void* argument)
{
    // First in all arguments is the index, and then, in two, the pixel format.
    const auto* fields = static_cast<const std::uint32_t*>(argument);
    const std::size_t index = request == endlessList ? 0 : fields[0];
    if (request == VIDIOC_ENUM_FMT) {
        if (index >= formats.size())
            return fail(EINVAL);
        static_cast<v4l2_fmtdesc*>(argument)->pixelformat = formats[index].code;
        return 0;
    }
    const auto format = std::ranges::find(formats, fields[1], &Format::code);
    if (format == formats.end())
        return fail(EINVAL);
    if (request == VIDIOC_ENUM_FRAMESIZES) {
        auto& entry = *static_cast<v4l2_frmsizeenum*>(argument);
        if (format->range && index == 0) {
            entry.type = V4L2_FRMSIZE_TYPE_STEPWISE;
            entry.stepwise = *format->range;
            return 0;
        }
        if (index >= format->sizes.size())
            return fail(EINVAL);
        entry.type = V4L2_FRMSIZE_TYPE_DISCRETE;
        entry.discrete = {format->sizes[index].width, format->sizes[index].height};
        return 0;
    }
    // The intervals of a range belong to sizes that are not larger.
    auto& entry = *static_cast<v4l2_frmivalenum*>(argument);
    const auto size = std::ranges::find_if(format->sizes, [&](const Size& one) {
        return format->range ? entry.width <= one.width
                             : entry.width == one.width && entry.height == one.height;
    });
    if (size == format->sizes.end() || index >= size->intervals.size())
        return fail(EINVAL);
    if (format->range) {
        entry.type = V4L2_FRMIVAL_TYPE_CONTINUOUS;
        entry.stepwise = {size->intervals.front(), size->intervals.back(), {1, 1}};
        return 0;
    }
    entry.type = V4L2_FRMIVAL_TYPE_DISCRETE;
    entry.discrete = size->intervals[index];
    return 0;
}

int FakeV4L2::useControl(unsigned long request, void* argument)
{
    // The identifier comes first in all three arguments.
    const auto control
        = std::ranges::find(controls, *static_cast<std::uint32_t*>(argument), &v4l2_queryctrl::id);
    if (control == controls.end())
        return fail(EINVAL);
    if (request == VIDIOC_QUERYCTRL) {
        *static_cast<v4l2_queryctrl*>(argument) = *control;
        return 0;
    }
    if (request == VIDIOC_QUERYMENU)
        return std::cmp_less_equal(static_cast<v4l2_querymenu*>(argument)->index, control->maximum)
            ? 0
            : fail(EINVAL);
    const std::int32_t value = static_cast<v4l2_control*>(argument)->value;
    if (value < control->minimum || value > control->maximum
        || (value - control->minimum) % control->step != 0)
        return mistake("sets a control to a value that it does not have");
    settings_.emplace_back(control->id, value);
    return 0;
}

int FakeV4L2::setFormat(v4l2_pix_format& pixels)
{
    if (!buffers_.empty())
        return fail(EBUSY);
    if (pixels.pixelformat == refusedCode)
        return fail(EINVAL);
    pixels.bytesperline = 0;
    if (correct)
        correct(pixels);
    if (pixels.bytesperline == 0)
        pixels.bytesperline = pixels.width * 4;
    pixels_ = pixels;
    return 0;
}

int FakeV4L2::requestBuffers(int descriptor, v4l2_requestbuffers& request)
{
    if (owner_ >= 0 && owner_ != descriptor)
        return fail(EBUSY);
    if (isStreaming_)
        return mistake("asks for buffers while it streams");
    buffers_.clear();
    for (std::uint32_t count = 0; count < request.count; ++count)
        buffers_.push_back({std::make_shared<std::vector<std::uint8_t>>(bytesOf(pixels_)), false});
    owner_ = request.count > 0 ? descriptor : -1;
    return 0;
}

int FakeV4L2::queue(const v4l2_buffer& buffer)
{
    if (buffer.index >= buffers_.size() || buffers_[buffer.index].isQueued)
        return mistake("queues a buffer that it does not have");
    buffers_[buffer.index].isQueued = true;
    return 0;
}

int FakeV4L2::dequeue(v4l2_buffer& buffer)
{
    if (!isStreaming_)
        return mistake("takes a frame of a device that does not stream");
    if (done_.empty())
        return fail(EAGAIN);
    buffer = done_.front();
    done_.pop_front();
    eventfd_t one = 0;
    eventfd_read(owner_, &one);
    return 0;
}

void FakeV4L2::stream(bool isOn)
{
    isStreaming_ = isOn;
    sequence_ = 0;
    if (isOn)
        return;
    for (Buffer& buffer : buffers_)
        buffer.isQueued = false;
    for (; !done_.empty(); done_.pop_front()) {
        eventfd_t one = 0;
        if (holds(descriptors_, owner_))
            eventfd_read(owner_, &one);
    }
}

int FakeV4L2::mistake(std::string what)
{
    mistakes_.push_back(std::move(what));
    return fail(EINVAL);
}

} // namespace tamsel::tests
