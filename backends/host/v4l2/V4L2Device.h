#pragma once

#include <host/v4l2/V4L2Calls.h>

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <string_view>

namespace tamsel::host {

/// One open descriptor of a capture device; closed by its last owner. Thread-safe.
class V4L2Device {
public:
    /// Opens the node and checks that it captures and streams. Errors carry `errno` as their code.
    [[nodiscard]] static std::expected<std::shared_ptr<V4L2Device>, platform::Error> open(
        const std::string& path, std::shared_ptr<const V4L2Calls> calls);

    V4L2Device(std::string path, std::shared_ptr<const V4L2Calls> calls, int descriptor);
    ~V4L2Device();
    V4L2Device(const V4L2Device&) = delete;
    V4L2Device& operator=(const V4L2Device&) = delete;

    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] const V4L2Calls& calls() const { return *calls_; }
    /// The name that the device reports.
    [[nodiscard]] const std::string& card() const { return card_; }

    /// 0 or the number of the error.
    [[nodiscard]] int control(unsigned long request, void* argument) const;

    /// Requests buffers in the device's memory. Returns their number, which may differ, or the negative number of the error.
    /// Buffers keep other processes from using the device; a request for none releases it.
    [[nodiscard]] int requestBuffers(std::uint32_t count) const;

    /// "node: what: reason"
    [[nodiscard]] platform::Error error(std::string_view what, int number) const;

private:
    [[nodiscard]] std::expected<void, platform::Error> identify();

    const std::string path_;
    const std::shared_ptr<const V4L2Calls> calls_;
    const int descriptor_;
    std::string card_;
};

[[nodiscard]] platform::Error v4l2Error(const std::string& path, std::string_view what, int number);

} // namespace tamsel::host
