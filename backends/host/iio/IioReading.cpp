#include <host/iio/IioReading.h>

#include <engine/dispatch/monotonicNow.h>

#include <algorithm>
#include <filesystem>
#include <utility>

namespace tamsel::host {

using namespace std::chrono_literals;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr nanoseconds longestSilence = 1s;

std::string polled(const std::string& device, const std::string& reason)
{
    return device + " is polled: " + reason;
}

} // namespace

IioReading::IioReading(const std::string& root, IioPollers& pollers,
    const std::vector<const IioChannels*>& sensors, nanoseconds interval)
    : pollers_(pollers),
      interval_(interval)
{
    for (const IioChannels* sensor : sensors) {
        const std::string name = std::filesystem::path(sensor->folder).parent_path().filename();
        auto device = std::ranges::find(devices_, name, &Device::name);
        if (device == devices_.end())
            device = devices_.insert(device, {.name = name, .sensors = {}, .limit = 2 * interval});
        device->sensors.push_back(sensor);
        const nanoseconds sampling = sensor->setInterval(interval);
        device->limit = std::min(std::max(device->limit, 2 * sampling), longestSilence);
    }
    for (Device& device : devices_) {
        std::vector<IioBuffer::Channel> channels;
        for (const IioChannels* sensor : device.sensors) {
            for (const std::string& name : sensor->names)
                channels.emplace_back(name, sensor->valuesEach);
        }
        auto buffer = IioBuffer::open(root, device.name, channels);
        device.time = engine::monotonicNow();
        if (buffer)
            device.buffer = std::move(*buffer);
        else
            problems_.push_back(polled(device.name, buffer.error().localizedDescription));
        if (!device.buffer)
            poll(device);
    }
}

IioReading::~IioReading()
{
    for (const Device& device : devices_) {
        if (device.poller)
            device.poller->stop();
    }
}

void IioReading::poll(Device& device)
{
    std::vector<IioChannels> sensors;
    for (const IioChannels* sensor : device.sensors)
        sensors.push_back(*sensor);
    auto& poller = pollers_[device.name];
    if (!poller)
        poller = std::make_shared<IioPoller>();
    poller->start(std::move(sensors), interval_);
    device.poller = poller;
}

void IioReading::update(nanoseconds time, std::vector<std::string>& problems)
{
    time_ = time;
    std::ranges::move(problems_, std::back_inserter(problems));
    problems_.clear();
    for (Device& device : devices_) {
        if (!device.buffer)
            continue;
        auto values = device.buffer->readNewest();
        if (values && *values) {
            device.newest = std::move(**values);
            device.time = time;
        } else if (!values || time - device.time > longestSilence) {
            problems.push_back(
                polled(device.name, values ? "its buffer is empty" : values.error().localizedDescription));
            device.buffer = nullptr;
            poll(device);
        }
    }
}

IioReading::Values IioReading::read(const IioChannels& sensor) const
{
    for (const Device& device : devices_) {
        const auto found = std::ranges::find(device.sensors, &sensor);
        if (found == device.sensors.end())
            continue;
        if (device.poller) {
            auto newest = device.poller->newest(static_cast<std::size_t>(found - device.sensors.begin()));
            if (!newest || time_ - newest->time > device.limit)
                return std::nullopt;
            return std::move(newest->values);
        }
        if (device.newest.empty() || time_ - device.time > device.limit)
            return std::nullopt;
        auto begin = device.newest.begin();
        for (auto before = device.sensors.begin(); before != found; ++before)
            begin += static_cast<std::ptrdiff_t>((*before)->valueCount());
        return std::vector<double>(begin, begin + static_cast<std::ptrdiff_t>(sensor.valueCount()));
    }
    return std::nullopt;
}

} // namespace tamsel::host
