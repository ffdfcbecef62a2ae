#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/client/CaptureCondition.h>
#include <tamsel/facade/types/OvriMetadataOutputDelegate.h>
#include <tamsel/facade/types/OvriMotionSourceDelegate.h>
#include <tamsel/platform/Dispatch.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel::platform {
class Clock;
struct Platform;
} // namespace tamsel::platform

namespace tamsel {

/// Opens once all conditions of a capture hold at the same time: the moment for `captureStillImage`. A capture screen
/// passes it to `startMotionDetection` and `setMetadataDetection` as the delegate, or forwards the calls of its own
/// delegates to it.
///
/// Each `arm` opens it at most once. Before it opens again, at least one condition must have failed meanwhile, so a
/// device that is held still before one sheet does not capture it twice. Verdicts are reported when they change, so a
/// gate belongs to one run of motion detection: make a new one for the next. Thread-safe.
class CaptureGate final : public OvriMotionSourceDelegate,
                          public OvriMetadataOutputDelegate,
                          public std::enable_shared_from_this<CaptureGate> {
    struct Private { };

public:
    using WhenOpen = std::function<void()>;
    /// A code or a face that was reported within this time counts as in view.
    static constexpr std::chrono::nanoseconds defaultViewTime = std::chrono::milliseconds(300);

    /// Not armed. `whenOpen` is called on the response queue, which must be the manager's, when the last condition is
    /// met; never inside `arm`. Neither may be empty. The callback may do anything with the gate, also release it.
    /// Without conditions every `arm` opens. The platform must outlive the gate.
    [[nodiscard]] static std::shared_ptr<CaptureGate> create(std::vector<CaptureCondition> conditions,
        std::shared_ptr<platform::DispatchQueue> responseQueue, WhenOpen whenOpen,
        platform::Platform& platform, std::chrono::nanoseconds viewTime = defaultViewTime);

    CaptureGate(Private, std::vector<CaptureCondition> conditions,
        std::shared_ptr<platform::DispatchQueue> responseQueue, WhenOpen whenOpen,
        platform::Platform& platform, std::chrono::nanoseconds viewTime);

    /// Waits for the conditions from now on; earlier reports count. Has no effect on an armed gate.
    void arm();
    /// Like `arm`, to repeat an attempt, for example after a failed still: also opens when all conditions have held
    /// ever since.
    void retry();
    /// Stops waiting. On the response queue, or while nothing is posted there, it guarantees that the gate stays closed
    /// until it is armed again.
    void cancel();
    [[nodiscard]] bool isArmed() const;

    /// The conditions that do not hold now, in the given order.
    [[nodiscard]] std::vector<CaptureCondition> missing() const;

    // On the response queue.
    void sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable) override;
    void sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing) override;
    void sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face) override;
    void sourceManagerDidDetect(
        OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override;

private:
    struct State {
        CaptureCondition condition;
        bool holds = false; ///< of a verdict
        std::optional<std::chrono::nanoseconds> lastSeen; ///< of a code or a face
    };

    void look();
    [[nodiscard]] bool holds(const State& state, std::chrono::nanoseconds now) const;
    [[nodiscard]] bool isWhole(std::chrono::nanoseconds now) const TAMSEL_REQUIRES(guard_);
    /// Applies a report, and opens if all conditions hold now.
    void take(const std::function<void(State&, std::chrono::nanoseconds now)>& news);

    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    const WhenOpen whenOpen_;
    platform::Clock& clock_;
    const std::chrono::nanoseconds viewTime_;

    mutable Mutex guard_;
    std::vector<State> states_ TAMSEL_GUARDED_BY(guard_);
    bool isArmed_ TAMSEL_GUARDED_BY(guard_) = false;
    bool hasOpened_ TAMSEL_GUARDED_BY(guard_) = false; ///< and all conditions have held since then
};

} // namespace tamsel
