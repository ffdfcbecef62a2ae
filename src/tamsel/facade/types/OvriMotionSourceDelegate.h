#pragma once

namespace tamsel {

class OvriSourceManager;

/// Receives motion verdicts: the first of each kind and every change.
/// Held weakly by the manager and called on its response queue, never inside a public operation. Override what you need.
class OvriMotionSourceDelegate {
public:
    virtual ~OvriMotionSourceDelegate() = default;

    virtual void sourceManagerDidDetectStability(OvriSourceManager& /*manager*/, bool /*isStable*/) { }
    virtual void sourceManagerDidDetectFacingAngle(OvriSourceManager& /*manager*/, bool /*isFacing*/) { }
};

} // namespace tamsel
