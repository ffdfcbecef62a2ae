#pragma once

#include <simulated/Journal.h>

#include <engine/audio/SystemSounds.h>

#include <tamsel/platform/AudioServices.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/core/ReportSink.h>
#include <tamsel/platform/core/Reports.h>

#include <string>
#include <string_view>
#include <vector>

namespace tamsel::simulated {

/// Logs each sound with its time.
class JournaledSounds final : public engine::SoundDriver {
public:
    JournaledSounds(platform::Clock& clock, Journal& journal) : clock_(clock), journal_(journal) { }
    void play(platform::SystemSoundID id) override { write("play", id); }
    void stop(platform::SystemSoundID id) override { write("dispose", id); }

private:
    void write(const char* what, platform::SystemSoundID id)
    {
        journal_.write(clock_.monotonic(), std::string("sound ") + what + " " + std::to_string(id));
    }

    platform::Clock& clock_;
    Journal& journal_;
};

/// Logs each diagnostic line with its time.
class JournaledLines final : public platform::DiagnosticLines {
public:
    JournaledLines(platform::Clock& clock, Journal& journal) : clock_(clock), journal_(journal) { }
    void writeLine(std::string_view line) override
    {
        journal_.write(clock_.monotonic(), "line " + std::string(line));
    }

private:
    platform::Clock& clock_;
    Journal& journal_;
};

/// Logs each report with its time, and keeps it.
class JournaledReports final : public platform::ReportSink {
public:
    JournaledReports(platform::Clock& clock, Journal& journal) : clock_(clock), journal_(journal) { }
    void report(const platform::TamselError& error) override
    {
        journal_.write(clock_.monotonic(), "report " + describe(error));
        errors_.push_back(error);
    }
    [[nodiscard]] const std::vector<platform::TamselError>& errors() const { return errors_; }

private:
    platform::Clock& clock_;
    Journal& journal_;
    std::vector<platform::TamselError> errors_;
};

} // namespace tamsel::simulated
