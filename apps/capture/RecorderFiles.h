#pragma once

#include "Files.h"
#include "options/Options.h"
#include "report/Console.h"

#include <engine/record/FlightRecorder.h>

#include <functional>
#include <memory>

namespace tamsel::capture {

/// The recorder of a session, and the files that are made of it.
class RecorderFiles {
public:
    /// Without options there is no recorder. Claims the files; throws `Unusable`.
    RecorderFiles(const RecorderOptions& options, const Inputs& inputs, bool overwrites);

    /// Absent when nothing is recorded.
    [[nodiscard]] const std::shared_ptr<engine::FlightRecorder>& recorder() const { return recorder_; }
    /// Writes the recording as it is now, and reports a failure; absent when none is wanted.
    [[nodiscard]] std::function<void()> writer() const;
    /// Writes all files. False, and reported, on failure.
    [[nodiscard]] bool finish(Console& console) const;

private:
    const RecorderOptions options_;
    std::shared_ptr<engine::FlightRecorder> recorder_;
};

} // namespace tamsel::capture
