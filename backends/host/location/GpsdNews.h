#pragma once

#include <host/location/HostLocationSource.h>

#include <tamsel/platform/CLLocationManager.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace tamsel::host {

/// What a daemon has said last, for whoever asks. Thread-safe.
class GpsdNews {
public:
    /// `whenChanged` is called after each change, on the thread that makes it.
    GpsdNews(const GpsdAddress& address, std::function<void()> whenChanged);

    [[nodiscard]] std::optional<platform::CLLocation> location() const;
    [[nodiscard]] std::optional<platform::CLHeading> heading() const;
    /// One line that names the daemon; empty when it is there and has told a fix.
    [[nodiscard]] std::string problem() const;
    /// Nothing is wrong, and there is no fix yet.
    [[nodiscard]] bool isAwaited() const;

    void setLocation(const platform::CLLocation& location);
    void setHeading(const platform::CLHeading& heading);
    /// What keeps the daemon from being heard; empty when it is heard.
    void setProblem(std::string problem);

private:
    static constexpr const char* connecting = "connecting";

    void tell() const;

    const std::string name_;
    const std::function<void()> whenChanged_;

    mutable std::mutex guard_;
    std::optional<platform::CLLocation> location_;
    std::optional<platform::CLHeading> heading_;
    std::string problem_ = connecting;
};

} // namespace tamsel::host
