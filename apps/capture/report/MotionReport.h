#pragma once

#include "options/Options.h"
#include "report/Console.h"

#include <tamsel/Mutex.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/Clock.h>

#include <formats/MotionLog.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// One verdict and its time.
struct MotionVerdict {
    enum class Kind : std::uint8_t { stability, facingAngle };

    Kind kind;
    bool holds;
    double time; ///< seconds on the clock of the log; since the start without a log
};

/// Reports motion verdicts and keeps them.
class MotionReport final : public OvriMotionSourceDelegate {
public:
    /// `log` is null when the sensors of the machine are used.
    MotionReport(Console& console, platform::Clock& clock, std::shared_ptr<const formats::MotionLog> log);

    /// Starts the verdicts in the options. Without a log, times count from `zero`, by default the start.
    void start(OvriSourceManager& manager, const std::shared_ptr<OvriMotionSourceDelegate>& self,
        const MotionOptions& options, std::optional<std::chrono::nanoseconds> zero = std::nullopt);

    /// In the order of arrival.
    [[nodiscard]] std::vector<MotionVerdict> verdicts() const;

    // On the response queue.
    void sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable) override;
    void sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing) override;

private:
    void add(MotionVerdict::Kind kind, bool holds);

    Console& console_;
    platform::Clock& clock_;
    const std::shared_ptr<const formats::MotionLog> log_;
    std::chrono::nanoseconds start_{};
    mutable Mutex guard_;
    std::vector<MotionVerdict> verdicts_ TAMSEL_GUARDED_BY(guard_);
};

/// The options with every verdict that the log or the sensors of the machine allow.
[[nodiscard]] MotionOptions withPossibleVerdicts(MotionOptions options, platform::Platform& platform);

/// Why a requested verdict, or any verdict, is not possible, in one line; absent when all are possible.
[[nodiscard]] std::optional<std::string> missingFor(
    const MotionOptions& options, platform::Platform& platform);

/// In a few words, for example "held still".
[[nodiscard]] const char* describe(MotionVerdict::Kind kind, bool holds);

} // namespace tamsel::capture
