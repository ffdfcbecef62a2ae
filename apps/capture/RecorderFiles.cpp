#include "RecorderFiles.h"

#include "options/Unusable.h"

#include <formats/FlightTrace.h>

#include <filesystem>
#include <span>
#include <sstream>

namespace tamsel::capture {

namespace {

void write(const engine::FlightRecorder& recorder, const std::string& file)
{
    if (const auto written = recorder.write(file); !written)
        Console(false).note(written.error().localizedDescription);
}

} // namespace

RecorderFiles::RecorderFiles(const RecorderOptions& options, const Inputs& inputs, bool overwrites)
    : options_(options)
{
    if (!options.recording && !options.trace)
        return;
    std::string recording = options.recording.value_or("");
    std::error_code unknown;
    const bool isThere = std::filesystem::exists(recording, unknown);
    if (recording == "-" || (isThere && !std::filesystem::is_regular_file(recording)))
        throw Unusable("--recording is written more than once, so it needs a file");
    std::string trace = options.trace.value_or("");
    claimOutputs(
        {options.recording ? &recording : nullptr, options.trace ? &trace : nullptr}, inputs, overwrites);
    engine::FlightRecorder::Options made;
    if (options.recording)
        made.whenFailed = [recording](engine::FlightRecorder& recorder) { write(recorder, recording); };
    recorder_ = std::make_shared<engine::FlightRecorder>(std::move(made));
}

std::function<void()> RecorderFiles::writer() const
{
    if (!options_.recording)
        return nullptr;
    return [recorder = recorder_, file = *options_.recording] { write(*recorder, file); };
}

bool RecorderFiles::finish(Console& console) const
{
    bool isWritten = true;
    const auto fail = [&](const std::string& problem) {
        isWritten = false;
        console.fail(problem);
    };
    if (options_.recording) {
        if (const auto written = recorder_->write(*options_.recording); !written)
            fail(written.error().localizedDescription);
    }
    if (options_.trace) {
        std::ostringstream text;
        writeTrace(text, recorder_->recording());
        const std::string file = *options_.trace == "-" ? "/dev/stdout" : *options_.trace;
        if (const auto written = writeFile(std::as_bytes(std::span(text.view())), file); !written)
            fail(written.error());
    }
    return isWritten;
}

} // namespace tamsel::capture
