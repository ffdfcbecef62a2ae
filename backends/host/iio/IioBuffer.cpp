#include <host/iio/IioBuffer.h>

#include <host/failure.h>
#include <host/iio/IioAttributes.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <map>
#include <ranges>

namespace tamsel::host {

using platform::Error;
using namespace iio;

namespace {

constexpr std::size_t scansInBuffer = 512;
constexpr unsigned mostRepeats = 16;

/// Takes a number from the front of the text; 0 when there is none.
unsigned takeNumber(std::string_view& text)
{
    unsigned number = 0;
    const char* end = std::from_chars(text.data(), text.data() + text.size(), number).ptr;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool take(std::string_view& text, std::string_view word)
{
    const bool isThere = text.starts_with(word);
    text.remove_prefix(isThere ? word.size() : 0);
    return isThere;
}

/// The trigger of new data that the driver of this device registers, by the names that drivers use; others fire on
/// motion only, or belong to another device.
std::optional<std::string> triggerOf(const std::string& root, const std::string& device)
{
    const std::string folder = folderOfDevices(root);
    const std::string name = textIn(folder + device + "/name").value_or("");
    const std::string number = device.substr(device.find_first_of("0123456789"));
    for (const std::string& each : namesIn(folder)) {
        const std::string trigger
            = each.starts_with("trigger") ? textIn(folder + each + "/name").value_or("") : std::string();
        if (!name.empty() && (trigger == name + "-dev" + number || trigger == name + "-trigger"))
            return trigger;
    }
    return std::nullopt;
}

} // namespace

std::optional<ScanFormat> ScanFormat::parse(std::string_view type)
{
    ScanFormat format{.isBigEndian = type.starts_with("be:"), .isSigned = type.substr(0, 4).ends_with('s')};
    if (!(take(type, "be:") || take(type, "le:")) || !(take(type, "s") || take(type, "u")))
        return std::nullopt;
    format.bits = takeNumber(type);
    if (!take(type, "/"))
        return std::nullopt;
    const unsigned storage = takeNumber(type);
    format.storageBytes = storage / 8;
    if (take(type, "X"))
        format.repeat = takeNumber(type);
    if (take(type, ">>"))
        format.shift = takeNumber(type);
    if (!type.empty() || storage < 8 || storage > 64 || !std::has_single_bit(storage) || format.bits == 0
        || format.bits > storage || format.shift > storage - format.bits || format.repeat == 0
        || format.repeat > mostRepeats)
        return std::nullopt;
    return format;
}

double ScanFormat::valueAt(const std::byte* storage) const
{
    std::uint64_t raw = 0;
    for (unsigned each = 0; each < storageBytes; ++each)
        raw = raw << 8
            | std::to_integer<std::uint64_t>(storage[isBigEndian ? each : storageBytes - 1 - each]);
    const unsigned unused = 64 - bits;
    raw = (raw >> shift) << unused; // the sign is the highest bit now
    return isSigned ? static_cast<double>(static_cast<std::int64_t>(raw) >> unused)
                    : static_cast<double>(raw >> unused);
}

std::expected<std::unique_ptr<IioBuffer>, Error> IioBuffer::open(
    const std::string& root, const std::string& device, const std::vector<Channel>& channels)
{
    const std::string folder = folderOfDevices(root) + device + "/";
    const bool hasChannels = std::ranges::all_of(channels,
        [&](const Channel& each) { return exists(folder + "scan_elements/" + each.first + "_en"); });
    if (!hasChannels || textIn(folder + "buffer/enable").value_or("") != "0")
        return nullptr; // without a buffer, or another process has enabled it
    std::optional<std::string> trigger;
    const std::string currentTrigger = folder + "trigger/current_trigger";
    if (exists(currentTrigger) && textIn(currentTrigger).value_or("").empty()) {
        trigger = triggerOf(root, device);
        if (!trigger)
            return nullptr;
    }
    const std::string file = root + "/dev/" + device;
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;

    std::unique_ptr<IioBuffer> buffer(new IioBuffer(file, descriptor));
    std::expected<void, Error> done;
    if (trigger)
        done = buffer->set(currentTrigger, *trigger);
    for (const auto& [channel, count] : channels) {
        if (done)
            done = buffer->set(folder + "scan_elements/" + channel + "_en", "1");
    }
    if (done)
        done = buffer->layOut(folder, channels);
    if (done)
        done = buffer->set(folder + "buffer/length", std::to_string(scansInBuffer));
    if (done)
        done = buffer->set(folder + "buffer/enable", "1");
    if (!done)
        return std::unexpected(done.error());
    return buffer;
}

IioBuffer::~IioBuffer()
{
    for (const auto& [file, text] : std::views::reverse(earlier_))
        (void)writeText(file, text.empty() ? "\n" : text); // nothing at all would not reach the driver
    ::close(descriptor_);
}

std::expected<void, Error> IioBuffer::set(const std::string& file, const std::string& value)
{
    auto before = textIn(file);
    if (!before)
        return std::unexpected(before.error());
    if (*before == value)
        return {};
    auto written = writeText(file, value);
    if (written)
        earlier_.emplace_back(file, std::move(*before));
    return written;
}

/// A scan holds all enabled channels by their index, each aligned to its own size, and the whole to the largest.
std::expected<void, Error> IioBuffer::layOut(const std::string& folder, const std::vector<Channel>& channels)
{
    constexpr std::string_view ending = "_en";
    constexpr double largestIndex = 1000;
    std::map<double, std::pair<std::string, ScanFormat>> enabled; // by index
    for (const std::string& name : namesIn(folder + "scan_elements")) {
        const std::string element = folder + "scan_elements/" + name;
        if (!name.ends_with(ending) || textIn(element).value_or("") != "1")
            continue;
        const std::string channel = name.substr(0, name.size() - ending.size());
        const std::string stem = folder + "scan_elements/" + channel;
        const auto index = numbersIn(stem + "_index", 1, largestIndex);
        if (!index)
            return std::unexpected(index.error());
        const auto type = textIn(stem + "_type");
        const auto format = type ? ScanFormat::parse(*type) : std::nullopt;
        if (!format)
            return failure(stem + "_type", type ? "not a type" : "unreadable");
        if (!enabled.emplace(index->front(), std::pair(channel, *format)).second)
            return failure(stem + "_index", "the index of another channel");
    }
    std::size_t largest = 1;
    std::map<std::string, Place> places;
    for (const auto& [index, element] : enabled) {
        const auto& [channel, format] = element;
        const std::size_t size = format.size();
        scanSize_ = (scanSize_ + size - 1) / size * size;
        places[channel] = {format, scanSize_};
        scanSize_ += size;
        largest = std::max(largest, size);
    }
    scanSize_ = (scanSize_ + largest - 1) / largest * largest;
    for (const auto& [channel, count] : channels) {
        const auto place = places.find(channel);
        if (place == places.end())
            return failure(folder + "scan_elements/" + channel + "_en", "cannot be enabled");
        if (place->second.format.repeat != count)
            return failure(folder + "scan_elements/" + channel + "_type", "another number of values");
        places_.push_back(place->second);
    }
    bytes_.resize(scanSize_ * scansInBuffer);
    return {};
}

std::expected<std::optional<std::vector<double>>, Error> IioBuffer::readNewest()
{
    const ssize_t count = ::read(descriptor_, bytes_.data(), bytes_.size());
    if (count < 0 && errno != EAGAIN && errno != EINTR)
        return failure(file_, std::strerror(errno));
    if (count <= 0)
        return std::nullopt;
    const auto size = static_cast<std::size_t>(count);
    if (size % scanSize_ != 0)
        return failure(file_, "a part of a scan");
    std::vector<double> values;
    for (const auto& [format, offset] : places_) {
        for (std::size_t each = 0; each < format.repeat; ++each)
            values.push_back(format.valueAt(&bytes_[size - scanSize_ + offset + each * format.storageBytes]));
    }
    return values;
}

} // namespace tamsel::host
