#pragma once

#include "options/Options.h"

#include <tamsel/client/CaptureGate.h>
#include <tamsel/metadata/MetadataObjectType.h>

#include <string>
#include <vector>

namespace tamsel::capture {

/// The conditions for a still, and what else is kept.
struct CaptureOptions {
    std::string folder;
    std::vector<CaptureCondition> conditions{CaptureCondition::still(), CaptureCondition::tilted()};
    double timeout = 30; ///< seconds
    bool looksForFaces = false;
    bool records = false;
    bool failsIfNone = false;
    StillOptions still;
    MotionOptions motion;
    RecordOptions record;
    RecorderOptions recorder;

    [[nodiscard]] bool waitsFor(CaptureCondition::Kind kind) const;
    /// What to detect: codes of all kinds, since the outlines of others help, too.
    [[nodiscard]] std::vector<MetadataObjectType> kinds() const;
    [[nodiscard]] bool needsMotion() const;
};

/// As on the command line, with commas.
[[nodiscard]] std::string joined(const std::vector<CaptureCondition>& conditions);

} // namespace tamsel::capture
