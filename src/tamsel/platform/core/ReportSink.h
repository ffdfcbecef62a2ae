#pragma once

#include <tamsel/platform/core/Reports.h>

namespace tamsel::platform {

/// The destination of `report()`. Thread-safe.
class ReportSink {
public:
    virtual ~ReportSink() = default;

    /// Receives one report. Must not wait.
    virtual void report(const TamselError& error) = 0;
};

} // namespace tamsel::platform
