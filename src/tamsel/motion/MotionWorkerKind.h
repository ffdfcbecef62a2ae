#pragma once

#include <variant>

namespace tamsel {

/// The kind of worker to make.
class MotionWorkerKind {
public:
    /// Held still: the threshold in radians per second, the duration in seconds.
    struct Stability {
        double threshold;
        double duration;
        bool operator==(const Stability&) const = default;
    };
    /// Tilted far enough: the angle in degrees.
    struct FacingAngle {
        double angle;
        bool operator==(const FacingAngle&) const = default;
    };
    using Value = std::variant<Stability, FacingAngle>;

    /// `threshold` in radians per second, `duration` in seconds.
    [[nodiscard]] static MotionWorkerKind stability(double threshold, double duration)
    {
        return MotionWorkerKind(Stability{threshold, duration});
    }
    /// The smallest pitch that counts, in degrees.
    [[nodiscard]] static MotionWorkerKind facingAngle(double angle)
    {
        return MotionWorkerKind(FacingAngle{angle});
    }

    [[nodiscard]] const Value& value() const { return value_; }

    bool operator==(const MotionWorkerKind&) const = default;

private:
    explicit MotionWorkerKind(Value value) : value_(value) { }

    Value value_;
};

} // namespace tamsel
