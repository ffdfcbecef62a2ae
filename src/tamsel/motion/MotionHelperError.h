#pragma once

#include <tamsel/platform/Error.h>

#include <optional>
#include <utility>
#include <variant>

namespace tamsel {

/// The reason why there are no motion verdicts.
class MotionHelperError {
public:
    /// The motion service that a worker needs does not exist on this device.
    struct ServiceNotAvailable {
        bool operator==(const ServiceNotAvailable&) const = default;
    };
    /// The cause of a missing sample: an error of the motion service, or the absence of the service.
    using Underlying = std::variant<platform::Error, ServiceNotAvailable>;

    /// A sample could not be obtained.
    [[nodiscard]] static MotionHelperError frameworkError(std::optional<Underlying> error)
    {
        return MotionHelperError(FrameworkError{std::move(error)});
    }
    [[nodiscard]] static MotionHelperError serviceNotAvailable()
    {
        return MotionHelperError(ServiceNotAvailable{});
    }

    [[nodiscard]] bool isFrameworkError() const { return std::holds_alternative<FrameworkError>(value_); }
    [[nodiscard]] bool isServiceNotAvailable() const { return !isFrameworkError(); }

    /// Absent when the missing sample had no error, or for `serviceNotAvailable`.
    [[nodiscard]] std::optional<Underlying> underlyingError() const
    {
        const auto* framework = std::get_if<FrameworkError>(&value_);
        return framework ? framework->error : std::nullopt;
    }

    /// As the cause of a missing sample: the absence of the service, or the payload of a `frameworkError`.
    operator Underlying() const // NOLINT: an error may be the cause of another
    {
        return underlyingError().value_or(Underlying(ServiceNotAvailable{}));
    }

    bool operator==(const MotionHelperError&) const = default;
    friend bool operator==(const Underlying& cause, const MotionHelperError& error)
    {
        return error.isServiceNotAvailable() && std::holds_alternative<ServiceNotAvailable>(cause);
    }

private:
    struct FrameworkError {
        std::optional<Underlying> error;
        bool operator==(const FrameworkError&) const = default;
    };

    explicit MotionHelperError(std::variant<FrameworkError, ServiceNotAvailable> value)
        : value_(std::move(value))
    {
    }

    std::variant<FrameworkError, ServiceNotAvailable> value_;
};

} // namespace tamsel
