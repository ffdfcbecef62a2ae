#pragma once

#include <tamsel/platform/core/Reports.h>

namespace tamsel::platform {

/// Where `report()` goes. Thread-safe.
class ReportSink {
public:
    virtual ~ReportSink() = default;

    /// Receives one report; not to wait for anything.
    virtual void report(const TamselError& error) = 0;
};

} // namespace tamsel::platform
