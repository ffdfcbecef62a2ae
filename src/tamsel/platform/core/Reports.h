#pragma once

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace tamsel::platform {

/// The part of the product that reports: this library.
enum class OvriErrorDomain : std::uint8_t { sm };
/// The severity of a report.
enum class OvriErrorSeverity : std::uint8_t { error };
/// The categories that the product counts separately.
enum class OvriErrorEvent : std::uint8_t { captureImageFailed };

class ReportSink;

/// A missing permission or capability of the device.
class DeviceError {
public:
    enum class Permission : std::uint8_t { camera };
    enum class Capability : std::uint8_t { gyro, motion };

    /// The content of a report.
    struct Factory {
        OvriErrorDomain domain = OvriErrorDomain::sm;
        OvriErrorSeverity severity = OvriErrorSeverity::error;
        std::variant<Permission, Capability> subject;
    };

    [[nodiscard]] static DeviceError permission(Factory factory) { return DeviceError(factory); }
    [[nodiscard]] static DeviceError capability(Factory factory) { return DeviceError(factory); }

    [[nodiscard]] const Factory& factory() const { return factory_; }
    void report(ReportSink& sink) const;

private:
    explicit DeviceError(Factory factory) : factory_(factory) { }

    Factory factory_;
};

/// A failure in the flow of a capture.
class FlowError {
public:
    /// The content of a report.
    struct Factory {
        OvriErrorDomain domain = OvriErrorDomain::sm;
        OvriErrorSeverity severity = OvriErrorSeverity::error;
        std::optional<std::string> element;
        std::optional<std::string> reason;
        std::optional<std::string> recovery;
        std::optional<std::string> discussion;
        std::optional<OvriErrorEvent> event;
    };

    [[nodiscard]] static FlowError general(Factory factory) { return FlowError(std::move(factory)); }

    [[nodiscard]] const Factory& factory() const { return factory_; }
    void report(ReportSink& sink) const;

private:
    explicit FlowError(Factory factory) : factory_(std::move(factory)) { }

    Factory factory_;
};

/// An unchanged platform error.
class NativeError {
public:
    /// The content of a report.
    struct Factory {
        OvriErrorDomain domain = OvriErrorDomain::sm;
        OvriErrorSeverity severity = OvriErrorSeverity::error;
        Error error;
    };

    [[nodiscard]] static NativeError error(Factory factory) { return NativeError(std::move(factory)); }

    [[nodiscard]] const Factory& factory() const { return factory_; }
    void report(ReportSink& sink) const;

private:
    explicit NativeError(Factory factory) : factory_(std::move(factory)) { }

    Factory factory_;
};

/// Any of the three.
using TamselError = std::variant<DeviceError, FlowError, NativeError>;

/// The report in one line, for example `flow error: Video frame error (AVCaptureSession)`.
[[nodiscard]] std::string describe(const TamselError& error);

} // namespace tamsel::platform
