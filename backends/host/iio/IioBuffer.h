#pragma once

#include <tamsel/platform/Error.h>

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tamsel::host {

/// How a channel is stored in a scan: the attribute `in_…_type` of the kernel's "Industrial I/O Devices Driver
/// Developer's Guide", chapter "Buffers", and of its documentation of sysfs.
struct ScanFormat {
    /// "le:s12/16>>4", or "le:s32/32X4>>0" for several values; absent when it is anything else.
    [[nodiscard]] static std::optional<ScanFormat> parse(std::string_view type);

    [[nodiscard]] std::size_t size() const { return storageBytes * repeat; }
    [[nodiscard]] double valueAt(const std::byte* storage) const;

    bool isBigEndian = false;
    bool isSigned = false;
    unsigned bits = 0; ///< that count
    unsigned storageBytes = 0;
    unsigned repeat = 1;
    unsigned shift = 0; ///< of the bits that count, to the left
};

/// The buffer of a device, which collects scans while it exists. Never waits for a sample. Used by one thread.
class IioBuffer {
public:
    /// A channel and the number of its values.
    using Channel = std::pair<std::string, std::size_t>;

    /// Null where the device has no buffer or trigger for these channels, or where the buffer is not available to this
    /// process. Takes as long as the sensor needs to wake up. `root` is a prefix of /sys and /dev.
    [[nodiscard]] static std::expected<std::unique_ptr<IioBuffer>, platform::Error> open(
        const std::string& root, const std::string& device, const std::vector<Channel>& channels);
    /// Restores what `open` has changed.
    ~IioBuffer();
    IioBuffer(const IioBuffer&) = delete;
    IioBuffer& operator=(const IioBuffer&) = delete;

    /// The values of the newest scan, those of each channel in turn; absent when there has been none since the last
    /// call.
    [[nodiscard]] std::expected<std::optional<std::vector<double>>, platform::Error> readNewest();

private:
    struct Place {
        ScanFormat format;
        std::size_t offset;
    };

    IioBuffer(std::string file, int descriptor) : file_(std::move(file)), descriptor_(descriptor) { }
    [[nodiscard]] std::expected<void, platform::Error> set(const std::string& file, const std::string& value);
    [[nodiscard]] std::expected<void, platform::Error> layOut(
        const std::string& folder, const std::vector<Channel>& channels);

    const std::string file_;
    const int descriptor_;
    std::vector<std::pair<std::string, std::string>> earlier_; ///< attributes and their texts before `open`
    std::vector<Place> places_; ///< of the channels
    std::size_t scanSize_ = 0;
    std::vector<std::byte> bytes_;
};

} // namespace tamsel::host
