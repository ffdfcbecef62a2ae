#include <host/iio/IioSensors.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>

namespace tamsel::host {

using engine::MotionVector;
using platform::Error;

namespace {

constexpr double largestRaw = 2147483648.0; // the kernel's are integers of 32 bits
constexpr double largestScale = 1000; // a hundred times gravity, and more than any sensor turns, in one step
constexpr const char* axes[] = {"_x", "_y", "_z"};

std::unexpected<Error> failure(const std::string& file, const std::string& what)
{
    return std::unexpected(Error{.localizedDescription = file + ": " + what});
}

bool exists(const std::string& file)
{
    return ::access(file.c_str(), F_OK) == 0;
}

/// A pipe or a missing driver must not hold up what only asks for a description; a reading waits.
enum class Waiting : bool { no, yes };

std::expected<std::string, Error> textIn(const std::string& file, Waiting waiting)
{
    const int descriptor
        = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | (waiting == Waiting::yes ? 0 : O_NONBLOCK));
    if (descriptor < 0)
        return failure(file, std::strerror(errno));
    std::string text(4096, '\0'); // as much as an attribute can have
    std::size_t size = 0;
    ssize_t count = 0;
    do {
        count = ::read(descriptor, text.data() + size, text.size() - size);
        size += count > 0 ? static_cast<std::size_t>(count) : 0;
    } while ((count > 0 && size < text.size()) || (count < 0 && errno == EINTR));
    const int problem = count < 0 ? errno : 0;
    ::close(descriptor);
    if (problem != 0)
        return failure(file, std::strerror(problem));
    text.resize(size);
    return text;
}

/// All numbers of a text, between spaces, commas, semicolons and brackets; absent when there is anything else.
std::optional<std::vector<double>> numbersOf(std::string_view text)
{
    std::vector<double> numbers;
    constexpr std::string_view between = " \t\n,;[]";
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(between), text.size()));
        if (text.empty())
            return numbers;
        const auto [end, problem]
            = std::from_chars(text.data(), text.data() + text.size(), numbers.emplace_back());
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (problem != std::errc{} || (!text.empty() && between.find(text.front()) == std::string_view::npos))
            return std::nullopt;
    }
}

/// So many finite numbers that are not larger.
std::expected<std::vector<double>, Error> numbersIn(
    const std::string& file, std::size_t count, double largest, Waiting waiting = Waiting::no)
{
    const auto text = textIn(file, waiting);
    if (!text)
        return std::unexpected(text.error());
    if (text->find_first_not_of(" \t\n") == std::string::npos)
        return failure(file, "empty");
    const auto numbers = numbersOf(*text);
    if (!numbers || numbers->size() != count)
        return failure(file, count == 1 ? "not a number" : "not " + std::to_string(count) + " numbers");
    if (!std::ranges::all_of(*numbers, [&](double number) { return std::abs(number) <= largest; }))
        return failure(file, "a number that cannot be");
    return *numbers;
}

/// The first of these attributes that is there, or the last one.
std::string firstOf(const std::string& folder, std::initializer_list<std::string> names)
{
    const auto* name = std::ranges::find_if(names, [&](const auto& each) { return exists(folder + each); });
    return folder + (name == names.end() ? *(names.end() - 1) : *name);
}

std::string folderOfDevices(const std::string& root)
{
    return root + "/sys/bus/iio/devices/";
}

constexpr int rankOfBase = 2;

/// On a convertible computer the sensors of the screen come first and those of the keyboard last.
int rankOf(const std::string& folder)
{
    const std::string place = textIn(firstOf(folder, {"label", "location"}), Waiting::no).value_or("");
    if (place.find("display") != std::string::npos || place.find("lid") != std::string::npos)
        return 0;
    return place.find("base") != std::string::npos ? rankOfBase : 1;
}

} // namespace

std::expected<IioAxes, Error> IioAxes::describe(const std::string& folder, const std::string& channel)
{
    IioAxes described;
    described.folder_ = folder;
    described.channel_ = channel;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::string one = channel + axes[axis];
        if (!exists(folder + one + "_raw"))
            return failure(folder + one + "_raw", "missing");
        const std::string scaleFile = firstOf(folder, {one + "_scale", channel + "_scale"});
        const auto scale = numbersIn(scaleFile, 1, largestScale);
        if (!scale)
            return std::unexpected(scale.error());
        if (scale->front() <= 0)
            return failure(scaleFile, "not above 0");
        described.scale_[axis] = scale->front();
        const std::string offsetFile = firstOf(folder, {one + "_offset", channel + "_offset"});
        if (!exists(offsetFile))
            continue;
        const auto offset = numbersIn(offsetFile, 1, largestRaw);
        if (!offset)
            return std::unexpected(offset.error());
        described.offset_[axis] = offset->front();
    }
    const std::string matrixFile
        = firstOf(folder, {channel + "_mount_matrix", "in_mount_matrix", "mount_matrix"});
    if (exists(matrixFile)) {
        const auto matrix = numbersIn(matrixFile, 9, 2);
        if (!matrix)
            return std::unexpected(matrix.error());
        std::ranges::copy(*matrix, described.mount_.begin());
        for (std::size_t cell = 0; cell < 9; ++cell) { // of its product with its own transpose
            const double* row = &described.mount_[cell / 3 * 3];
            const double* other = &described.mount_[cell % 3 * 3];
            const double product = row[0] * other[0] + row[1] * other[1] + row[2] * other[2];
            if (std::abs(product - (row == other ? 1 : 0)) > 0.05)
                return failure(matrixFile, "not a rotation");
        }
    }
    // The kernel wants the acceleration of a device at rest to point up. Sensors behind a HID hub report the opposite.
    const bool isFromHub = textIn(folder + "name", Waiting::no).value_or("").starts_with("accel_3d");
    if (isFromHub && channel == "in_accel")
        std::ranges::for_each(described.mount_, [](double& cell) { cell = -cell; });
    return described;
}

std::expected<MotionVector, Error> IioAxes::read() const
{
    MotionVector measured{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto raw = numbersIn(folder_ + channel_ + axes[axis] + "_raw", 1, largestRaw, Waiting::yes);
        if (!raw)
            return std::unexpected(raw.error());
        measured[axis] = (raw->front() + offset_[axis]) * scale_[axis];
    }
    MotionVector mounted{};
    for (std::size_t cell = 0; cell < 9; ++cell)
        mounted[cell / 3] += mount_[cell] * measured[cell % 3];
    return mounted;
}

void IioAxes::setInterval(std::chrono::nanoseconds interval) const
{
    const std::string file = firstOf(folder_, {channel_ + "_sampling_frequency", "sampling_frequency"});
    const std::string available
        = firstOf(folder_, {channel_ + "_sampling_frequency_available", "sampling_frequency_available"});
    const std::string text = textIn(available, Waiting::no).value_or("");
    std::vector<double> choices = numbersOf(text).value_or(std::vector<double>{});
    std::erase_if(choices, [](double choice) { return !(choice > 0 && choice <= 1e6); });
    const double wanted = 1 / std::chrono::duration<double>(interval).count();
    if (text.starts_with('[') && choices.size() == 3) { // least, step, most
        const double steps = std::ceil((wanted - choices[0]) / choices[1]);
        choices = {std::clamp(choices[0] + steps * choices[1], choices[0], std::max(choices[0], choices[2]))};
    }
    if (choices.empty())
        return;
    std::ranges::sort(choices);
    const auto enough = std::ranges::lower_bound(choices, wanted);
    const double chosen = enough == choices.end() ? choices.back() : *enough;
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_TRUNC);
    if (descriptor < 0)
        return;
    std::array<char, 32> number{};
    const auto end = std::to_chars(number.begin(), number.end(), chosen, std::chars_format::fixed).ptr;
    [[maybe_unused]] const ssize_t written
        = ::write(descriptor, number.data(), static_cast<std::size_t>(end - number.data()));
    ::close(descriptor);
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
    const auto choose = [&](std::optional<IioAxes>& sensor, const std::string& folder,
                            const std::string& channel, const char* name) {
        if (sensor || !exists(folder + channel + "_x_raw"))
            return false;
        auto described = IioAxes::describe(folder, channel);
        if (described)
            sensor = std::move(*described);
        else
            problems.push_back(std::string(name) + " unusable: " + described.error().localizedDescription);
        return sensor.has_value();
    };
    int gyroscopeRank = 0;
    int accelerometerRank = 0;
    for (const auto& [rank, folder] : folders) {
        if (choose(sensors.gyroscope, folder, "in_anglvel", "gyroscope"))
            gyroscopeRank = rank;
        if (choose(sensors.accelerometer, folder, "in_accel", "accelerometer"))
            accelerometerRank = rank;
        if (sensors.quaternion.empty() && exists(folder + "in_rot_quaternion_raw"))
            sensors.quaternion = folder + "in_rot_quaternion_raw";
    }
    sensors.turnTogether = (gyroscopeRank == rankOfBase) == (accelerometerRank == rankOfBase);
    return sensors;
}

std::expected<MotionVector, Error> IioSensors::readUp() const
{
    const auto parts = numbersIn(quaternion, 4, largestRaw, Waiting::yes);
    if (!parts)
        return std::unexpected(parts.error());
    const double x = (*parts)[0];
    const double y = (*parts)[1];
    const double z = (*parts)[2];
    const double w = (*parts)[3];
    const double square = x * x + y * y + z * z + w * w;
    if (square <= 0)
        return failure(quaternion, "no attitude yet");
    return MotionVector{
        2 * (x * z - w * y) / square, 2 * (y * z + w * x) / square, (w * w - x * x - y * y + z * z) / square};
}

IioDevices iioDevices(const std::string& root)
{
    constexpr std::string_view prefix = "iio:device";
    const std::string folder = folderOfDevices(root);
    IioDevices devices;
    std::error_code problem;
    for (std::filesystem::directory_iterator entry(folder, problem), end; !problem && entry != end;
        entry.increment(problem)) {
        const std::string name = entry->path().filename();
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
