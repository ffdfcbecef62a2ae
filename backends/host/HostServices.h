#pragma once

#include <host/HostConfiguration.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/UIDevice.h>
#include <tamsel/platform/core/ReportSink.h>
#include <tamsel/platform/core/Reports.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tamsel::host {

/// The system's clocks.
class SystemClock final : public platform::Clock {
public:
    [[nodiscard]] double timeIntervalSince1970() const override;
    [[nodiscard]] std::chrono::nanoseconds monotonic() const override;
};

/// The offset of the local time from UTC at that time.
[[nodiscard]] int secondsFromUTC(double secondsSince1970);

/// The device of the configuration. It is oriented as it is held, until the program sets the orientation.
class ConfiguredDevice final : public platform::UIDevice {
public:
    explicit ConfiguredDevice(const HostConfiguration& configuration)
        : systemVersion_(configuration.systemVersion),
          model_(configuration.model)
    {
    }

    [[nodiscard]] platform::UIDeviceOrientation orientation() const override
    {
        return given_.load().value_or(held_);
    }
    void setOrientation(platform::UIDeviceOrientation orientation) { given_ = orientation; }
    void turn(platform::UIDeviceOrientation orientation) { held_ = orientation; }
    [[nodiscard]] std::string systemVersion() const override { return systemVersion_; }
    [[nodiscard]] std::string model() const override { return model_; }

private:
    const std::string systemVersion_;
    const std::string model_;
    std::atomic<std::optional<platform::UIDeviceOrientation>> given_;
    std::atomic<platform::UIDeviceOrientation> held_ = platform::UIDeviceOrientation::portrait;
};

/// Writes whole lines, to the program's function or else to a stream of the process. Thread-safe.
class LineWriter final : public platform::DiagnosticLines {
public:
    LineWriter(std::function<void(std::string_view)> write, std::FILE* stream);

    /// A line that arrives during another one, also from the function itself, is written after it by the same thread.
    void writeLine(std::string_view line) override;

private:
    void write(const std::string& line) const;

    Mutex guard_;
    std::deque<std::string> waiting_ TAMSEL_GUARDED_BY(guard_);
    bool isWriting_ TAMSEL_GUARDED_BY(guard_) = false;
    const std::function<void(std::string_view)> write_;
    std::FILE* const stream_;
};

/// Writes each report as a line.
class ReportWriter final : public platform::ReportSink {
public:
    explicit ReportWriter(std::function<void(std::string_view)> write) : lines_(std::move(write), stderr) { }
    void report(const platform::TamselError& error) override { lines_.writeLine(describe(error)); }

private:
    LineWriter lines_;
};

/// The latest line. Thread-safe.
class LastLine {
public:
    void set(std::string line);
    [[nodiscard]] std::string get() const;

private:
    mutable Mutex guard_;
    std::string line_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::host
