#pragma once

#include <tamsel/platform/CLLocationManager.h>

#include <memory>
#include <optional>
#include <string>

namespace tamsel::host {

/// Reads the daemon's reports, which are lines of JSON.
class GpsdReports {
public:
    GpsdReports();
    ~GpsdReports();
    GpsdReports(const GpsdReports&) = delete;
    GpsdReports& operator=(const GpsdReports&) = delete;

    struct Report {
        /// A three-dimensional fix whose altitude, accuracy and time are known.
        std::optional<platform::CLLocation> location = std::nullopt;
        std::optional<platform::CLHeading> heading = std::nullopt;
    };

    /// What is of interest in one line.
    [[nodiscard]] Report read(std::string line);

private:
    struct Data;

    const std::unique_ptr<Data> data_;
};

} // namespace tamsel::host
