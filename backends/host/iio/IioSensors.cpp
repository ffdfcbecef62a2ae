#include <host/iio/IioSensors.h>

#include <host/failure.h>
#include <host/iio/IioAttributes.h>

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <string_view>

namespace tamsel::host {

using engine::MotionVector;
using platform::Error;
using std::chrono::nanoseconds;
using namespace iio;

namespace {

constexpr double largestScale = 1000; // a hundred times gravity, and more than any sensor turns, in one step
constexpr double highestFrequency = 1e6;
constexpr MountMatrix asMounted{1, 0, 0, 0, 1, 0, 0, 0, 1};

std::expected<MountMatrix, Error> mountMatrix(const std::string& folder, const std::string& kind)
{
    MountMatrix mount = asMounted;
    const std::string file = firstOf(folder, {kind + "_mount_matrix", "in_mount_matrix", "mount_matrix"});
    if (!exists(file))
        return mount;
    const auto matrix = numbersIn(file, mount.size(), 2);
    if (!matrix)
        return std::unexpected(matrix.error());
    std::ranges::copy(*matrix, mount.begin());
    for (std::size_t cell = 0; cell < mount.size(); ++cell) { // of its product with its own transpose
        const double* row = &mount[cell / 3 * 3];
        const double* other = &mount[cell % 3 * 3];
        const double product = row[0] * other[0] + row[1] * other[1] + row[2] * other[2];
        if (std::abs(product - (row == other ? 1 : 0)) > 0.05)
            return failure(file, "not a rotation");
    }
    return mount;
}

constexpr int rankOfBase = 2;

/// On a convertible computer the sensors of the screen come first and those of the keyboard last.
int rankOf(const std::string& folder)
{
    const std::string place = textIn(firstOf(folder, {"label", "location"})).value_or("");
    if (place.find("display") != std::string::npos || place.find("lid") != std::string::npos)
        return 0;
    return place.find("base") != std::string::npos ? rankOfBase : 1;
}

} // namespace

std::expected<std::vector<double>, Error> IioChannels::poll() const
{
    std::vector<double> values;
    for (const std::string& name : names) {
        const auto raw = numbersIn(folder + name + "_raw", valuesEach, largestRaw, Waiting::yes);
        if (!raw)
            return std::unexpected(raw.error());
        values.insert(values.end(), raw->begin(), raw->end());
    }
    return values;
}

nanoseconds IioChannels::setInterval(nanoseconds interval) const
{
    const std::string file = firstOf(folder, {kind + "_sampling_frequency", "sampling_frequency"});
    const std::string available
        = firstOf(folder, {kind + "_sampling_frequency_available", "sampling_frequency_available"});
    const std::string text = textIn(available).value_or("");
    std::vector<double> choices = numbersOf(text).value_or(std::vector<double>{});
    std::erase_if(choices, [](double choice) { return !(choice > 0 && choice <= highestFrequency); });
    const double wanted = 1 / std::chrono::duration<double>(interval).count();
    if (!exists(available)) // as behind HID hubs
        choices = {std::ceil(wanted)};
    if (text.starts_with('[') && choices.size() == 3) { // least, step, most
        const double steps = std::ceil((wanted - choices[0]) / choices[1]);
        choices = {std::clamp(choices[0] + steps * choices[1], choices[0], std::max(choices[0], choices[2]))};
    }
    if (!choices.empty()) {
        std::ranges::sort(choices);
        const auto enough = std::ranges::lower_bound(choices, wanted);
        std::array<char, 32> number{};
        const auto end = std::to_chars(number.begin(), number.end(),
            enough == choices.end() ? choices.back() : *enough, std::chars_format::fixed)
                             .ptr;
        (void)writeText(file, {number.begin(), end});
    }
    const double frequency = numbersIn(file, 1, highestFrequency).value_or(std::vector<double>{0}).front();
    return frequency > 0 ? nanoseconds(std::llround(1e9 / std::max(frequency, 0.001))) : nanoseconds{};
}

std::expected<IioAxes, Error> IioAxes::describe(const std::string& folder, const std::string& kind)
{
    IioAxes described;
    described.channels_ = {.folder = folder, .kind = kind, .names = {kind + "_x", kind + "_y", kind + "_z"}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::string& name = described.channels_.names[axis];
        if (!exists(folder + name + "_raw"))
            return failure(folder + name + "_raw", "missing");
        const std::string scaleFile = firstOf(folder, {name + "_scale", kind + "_scale"});
        const auto scale = numbersIn(scaleFile, 1, largestScale);
        if (!scale)
            return std::unexpected(scale.error());
        if (scale->front() <= 0)
            return failure(scaleFile, "not above 0");
        described.scale_[axis] = scale->front();
        const std::string offsetFile = firstOf(folder, {name + "_offset", kind + "_offset"});
        if (!exists(offsetFile))
            continue;
        const auto offset = numbersIn(offsetFile, 1, largestRaw);
        if (!offset)
            return std::unexpected(offset.error());
        described.offset_[axis] = offset->front();
    }
    const auto mount = mountMatrix(folder, kind);
    if (!mount)
        return std::unexpected(mount.error());
    described.mount_ = *mount;
    // The kernel wants the acceleration of a device at rest to point up. Sensors behind a HID hub report the opposite.
    const bool isFromHub = textIn(folder + "name").value_or("").starts_with("accel_3d");
    if (isFromHub && kind == "in_accel")
        std::ranges::for_each(described.mount_, [](double& cell) { cell = -cell; });
    return described;
}

MotionVector IioAxes::measured(std::span<const double> raw) const
{
    MotionVector mounted{};
    for (std::size_t cell = 0; cell < mount_.size(); ++cell) {
        const std::size_t axis = cell % 3;
        mounted[cell / 3] += mount_[cell] * (raw[axis] + offset_[axis]) * scale_[axis];
    }
    return mounted;
}

std::expected<IioAttitude, Error> IioAttitude::describe(const std::string& folder)
{
    const auto mount = mountMatrix(folder, "in_rot");
    if (!mount)
        return std::unexpected(mount.error());
    IioAttitude described;
    described.channels_
        = {.folder = folder, .kind = "in_rot", .names = {"in_rot_quaternion"}, .valuesEach = 4};
    described.mount_ = *mount;
    return described;
}

std::optional<platform::CMAttitude> IioAttitude::attitude(std::span<const double> raw) const
{
    const double x = raw[0];
    const double y = raw[1];
    const double z = raw[2];
    const double w = raw[3];
    const double square = x * x + y * y + z * z + w * w;
    if (square <= 0)
        return std::nullopt;
    const double s = 2 / square;
    const MountMatrix turn{1 - s * (y * y + z * z), s * (x * y - w * z), s * (x * z + w * y),
        s * (x * y + w * z), 1 - s * (x * x + z * z), s * (y * z - w * x), s * (x * z - w * y),
        s * (y * z + w * x), 1 - s * (x * x + y * y)};
    /// Of an axis of the device in the frame of the sensor's reference, whose third axis points up.
    const auto component = [&](std::size_t deviceAxis, std::size_t axis) {
        double sum = 0;
        for (std::size_t each = 0; each < 3; ++each)
            sum += turn[axis * 3 + each] * mount_[deviceAxis * 3 + each];
        return sum;
    };
    platform::CMAttitude attitude = engine::attitudeOf({component(0, 2), component(1, 2), component(2, 2)});
    attitude.yaw = std::atan2(-component(1, 0), component(1, 1));
    return attitude;
}

IioSensors IioSensors::discover(const std::string& root, std::vector<std::string>& problems)
{
    IioSensors sensors;
    std::multimap<int, std::string> folders; // the better first, else in the order of the devices
    for (const auto& [name, inode] : iioDevices(root)) {
        const std::string folder = folderOfDevices(root) + name + "/";
        folders.emplace(rankOf(folder), folder);
    }
    /// True when the sensor is this one.
    const auto choose = [&](auto& sensor, const std::string& attribute, const char* name, auto describe) {
        if (sensor || !exists(attribute))
            return false;
        auto described = describe();
        if (described)
            sensor = std::move(*described);
        else
            problems.push_back(std::string(name) + " unusable: " + described.error().localizedDescription);
        return sensor.has_value();
    };
    int gyroscopeRank = 0;
    int accelerometerRank = 0;
    for (const auto& [rank, place] : folders) {
        const std::string& folder = place;
        if (choose(sensors.gyroscope, folder + "in_anglvel_x_raw", "gyroscope",
                [&] { return IioAxes::describe(folder, "in_anglvel"); }))
            gyroscopeRank = rank;
        if (choose(sensors.accelerometer, folder + "in_accel_x_raw", "accelerometer",
                [&] { return IioAxes::describe(folder, "in_accel"); }))
            accelerometerRank = rank;
        if (rank == rankOfBase && sensors.accelerometer && accelerometerRank != rankOfBase)
            continue; // the gravity of the screen is better than the attitude of the keyboard
        choose(sensors.attitude, folder + "in_rot_quaternion_raw", "sensor of the attitude",
            [&] { return IioAttitude::describe(folder); });
    }
    sensors.turnTogether = (gyroscopeRank == rankOfBase) == (accelerometerRank == rankOfBase);
    return sensors;
}

IioDevices iioDevices(const std::string& root)
{
    constexpr std::string_view prefix = "iio:device";
    const std::string folder = folderOfDevices(root);
    IioDevices devices;
    for (const std::string& name : namesIn(folder)) {
        struct stat status{};
        if (name.starts_with(prefix) && ::stat((folder + name).c_str(), &status) == 0)
            devices.emplace_back(name, status.st_ino);
    }
    std::ranges::sort(devices, [](const auto& left, const auto& right) {
        const auto key = [](const auto& device) { return std::pair(device.first.size(), device.first); };
        return key(left) < key(right);
    });
    return devices;
}

} // namespace tamsel::host
