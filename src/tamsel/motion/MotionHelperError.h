#pragma once

#include <tamsel/platform/Error.h>

#include <optional>
#include <utility>
#include <variant>

namespace tamsel {

/// Why motion verdicts cannot be given.
class MotionHelperError {
public:
    /// The motion service that a worker needs does not exist on this device.
    struct ServiceNotAvailable {
        bool operator==(const ServiceNotAvailable&) const = default;
    };
    /// What came with a missing sample: an error of the motion service, or the news that there is no service.
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

    /// Absent when no error came with the missing sample, or for `serviceNotAvailable`.
    [[nodiscard]] std::optional<Underlying> underlyingError() const
    {
        const auto* framework = std::get_if<FrameworkError>(&value_);
        return framework ? framework->error : std::nullopt;
    }

    /// As what came with a missing sample: the news that there is no service, or what a `frameworkError` carries.
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
