#pragma once

namespace tamsel {

class OvriSourceManager;

/// Receives motion verdicts: the first of each kind and every change.
/// Held weakly by the manager and called on its response queue, never inside a public operation. Override what you need.
class OvriMotionSourceDelegate {
public:
    virtual ~OvriMotionSourceDelegate() = default;

    /// Whether the device is held still.
    virtual void sourceManagerDidDetectStability(OvriSourceManager& /*manager*/, bool /*isStable*/) { }
    /// Whether the device is tilted up far enough.
    virtual void sourceManagerDidDetectFacingAngle(OvriSourceManager& /*manager*/, bool /*isFacing*/) { }
};

} // namespace tamsel
